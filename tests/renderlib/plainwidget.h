#ifndef PLAINWIDGET_H
#define PLAINWIDGET_H

#include <QTest>
#include <QWidget>
#include <QWindow>

/** A widget with an OpenGL window that paints nothing, but counts how often it is asked to. */
class PlainWidget : public QWidget
{
public:
    PlainWidget()
    {
        setAttribute(Qt::WA_PaintOnScreen);
        setAttribute(Qt::WA_OpaquePaintEvent);
        setAttribute(Qt::WA_NativeWindow);
        resize(160, 90);
        windowHandle()->setSurfaceType(QSurface::OpenGLSurface);
        windowHandle()->create();
    }

    /** Shows it, and forgets what it has been asked so far. */
    bool showAndWait()
    {
        show();
        bool const exposed =
            QTest::qWaitForWindowExposed(this) && QTest::qWaitFor([this] { return paints > 0; });
        QTest::qWait(50);
        paints = 0;
        return exposed;
    }

    int paints = 0;

protected:
    QPaintEngine* paintEngine() const override { return nullptr; }
    void paintEvent(QPaintEvent* /*event*/) override { ++paints; }
};

#endif
