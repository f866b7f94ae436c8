#ifndef CUSTOMRENDERERVIDEOWIDGETBACKEND_H
#define CUSTOMRENDERERVIDEOWIDGETBACKEND_H

#include <QRect>
#include <QRectF>
#include <QVector>

#include "qvorlinexport.h"
#include "renderlib/customvideowidgetbackend.h"

class QOpenGLContext;
class QOpenGLPaintDevice;
class QPainter;
class QVideoSurfaceFormat;
class QWidget;
class QWindow;

namespace renderlib {

class CustomPainterVideoSurface;

/**
 * Renders video and overlays into a widget's native window, in an OpenGL context of its own.
 *
 * The context is created by the first paint and lives as long as the backend, also when the widget
 * gets another native window. The widget and the overlays stay the caller's; the widget must
 * outlive the backend, and is repainted by it when there is a new frame.
 *
 * Thread-bound to the GUI thread. Failures show as error(); the next frame starts anew.
 */
class QVORLIN_EXPORT CustomRendererVideoWidgetBackend : public CustomVideoWidgetBackend
{
    Q_OBJECT

public:
    explicit CustomRendererVideoWidgetBackend(QWidget* widget);
    ~CustomRendererVideoWidgetBackend() override;

    QColor backgroundColor() const override;
    void setBackgroundColor(QColor const& color) override;
    Qt::AspectRatioMode aspectRatioMode() const override;
    void setAspectRatioMode(Qt::AspectRatioMode mode) override;
    QRectF viewport() const override;
    void setViewport(QRectF const& viewport) override;
    bool mirrored() const override;
    void setMirrored(bool mirrored) override;
    RenderError updateFrame(QVideoFrame const& frame) override;
    QPaintEngine* paintEngine() const override;
    void addCustomSubWidget(CustomSubWidget* subWidget) override;

    QSize sizeHint() const override;
    void showEvent() override;
    void hideEvent(QHideEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void moveEvent(QMoveEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

    /** What became of the last frame or paint. */
    RenderError error() const { return mLastError; }

    bool eventFilter(QObject* watched, QEvent* event) override;

private Q_SLOTS:
    void frameChanged();
    void formatChanged(QVideoSurfaceFormat const& format);

private:
    RenderError startWith(QVideoFrame const& frame);
    QVideoSurfaceFormat surfaceFormat(QVideoFrame const& frame) const;
    RenderError surfaceError() const;
    bool createContext(QWindow* window);
    bool enterWindow(QWindow* window);
    void leaveWindow();
    void paintVideo(QPainter& painter, QWindow* window);
    void paintSubWidgets(QPainter& painter);
    void adoptContext();
    void fillBorder(QPainter& painter, QRegion const& region) const;
    void updateRects();

    QWidget* mWidget;
    QVector<CustomSubWidget*> mSubWidgets;
    CustomPainterVideoSurface* mSurface;
    QOpenGLContext* mContext = nullptr;
    QOpenGLPaintDevice* mPaintDevice = nullptr;
    QRectF mViewport;
    bool mMirrored = false;
    QRect mBoundingRect;
    QRectF mSourceRect;
    QSize mNativeSize;
    bool mNeedsContext = true;
    bool mUpdatePaintDevice = true;
    RenderError mLastError = RenderNoError;
};

} // namespace renderlib

#endif
