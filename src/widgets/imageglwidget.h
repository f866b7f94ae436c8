#ifndef IMAGEGLWIDGET_H
#define IMAGEGLWIDGET_H

#include <QColor>
#include <QImage>
#include <QOpenGLWidget>
#include <QString>

#include "qvorlinexport.h"
#include "utils/opsratecounter.h"

/**
 * Shows an image through OpenGL, scaled on every paint, and measures how often images arrive, are
 * painted and are new. Images made from live frames carry the text "pts"; one with the time stamp
 * of the image shown is a repeat and is dropped.
 *
 * The picture has the resolution that the widget has when it is first shown; a later change of size
 * stretches it. So give the widget its size before it is shown.
 *
 * Thread-bound to the GUI thread; connect images from other threads to updateImage() queued.
 * Without a working OpenGL context the widget stays empty.
 */
class QVORLIN_EXPORT ImageGLWidget : public QOpenGLWidget
{
    Q_OBJECT
    Q_PROPERTY(QColor bgColor MEMBER mBgColor WRITE setBgColor)
    Q_PROPERTY(bool keepAspectRatio MEMBER mKeepAspectRatio WRITE setKeepAspectRatio)
    Q_PROPERTY(QImage image MEMBER mImage WRITE updateImage)

public:
    explicit ImageGLWidget(QWidget* parent = nullptr);

    /** Images accepted per second. */
    double updateRate() const { return mUpdateRate.rate(); }

    /** Paints per second. */
    double renderRate() const { return mRenderRate.rate(); }

    /** Paints per second that showed another image than the paint before. */
    double displayRate() const { return mDisplayRate.rate(); }

public Q_SLOTS:
    /**
     * Shows @p value unless it is a repeat; a null image empties the widget, a translucent one is
     * shown over black.
     */
    void updateImage(QImage value);

    /** Sets the colour of the bars and of the widget without an image; black at first. */
    void setBgColor(QColor value);

    /** Chooses between bars beside the image (at first) and stretching it over the widget. */
    void setKeepAspectRatio(bool value);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void resizeGL(int width, int height) override;
    void paintGL() override;

private:
    void countPaint();

    QImage mImage;
    bool mKeepAspectRatio = true;
    QColor mBgColor = Qt::black;
    OpsRateCounter mUpdateRate{0.1, 1.0};
    OpsRateCounter mRenderRate{0.1, 1.0};
    OpsRateCounter mDisplayRate{0.1, 1.0};
    QString mLastPts;
};

#endif
