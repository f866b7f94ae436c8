#ifndef IMAGEWIDGET_H
#define IMAGEWIDGET_H

#include <array>

#include <QBrush>
#include <QColor>
#include <QImage>
#include <QPen>
#include <QPixmap>
#include <QPoint>
#include <QRect>
#include <QWidget>

#include "qvorlinexport.h"
#include "utils/opsratecounter.h"

/**
 * Shows a still or slowly changing image, scaled into the widget, or a busy indicator.
 *
 * The scaled image is cached, so that a repaint costs no scaling. Images made from live frames
 * carry the texts "shmname" and "pts"; one that repeats both is recognised and costs nothing.
 *
 * Thread-bound to the GUI thread; connect images from other threads to updateImage() queued.
 */
class QVORLIN_EXPORT ImageWidget : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(QColor bgColor MEMBER mBgColor WRITE setBgColor)
    Q_PROPERTY(bool keepAspectRatio MEMBER mKeepAspectRatio WRITE setKeepAspectRatio)
    Q_PROPERTY(QImage image READ getImage WRITE updateImage)

public:
    explicit ImageWidget(QWidget* parent = nullptr);

    /**
     * Shows the busy indicator instead of the image. The next image that is not a repeat ends it;
     * turning it off by hand shows the image from before again.
     */
    void setBusy(bool busy);

    /** The image shown; while busy a black one of the widget's size. */
    QImage getImage() const;

public Q_SLOTS:
    /**
     * Shows @p value and ends the busy state; a null image empties the widget, a translucent one is
     * shown over black. Nothing happens for a repeat: an image of the same size, stream and time
     * stamp, the last not being "0".
     */
    void updateImage(QImage value);

    /** Sets the colour of the bars and of the widget without an image; black at first. */
    void setBgColor(QColor value);

    /** Chooses between bars beside the image (at first) and stretching it over the widget. */
    void setKeepAspectRatio(bool value);

Q_SIGNALS:
    /** A mouse button was pressed on the widget; the parent receives the press as well. */
    void clicked();

protected:
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void timerEvent(QTimerEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    struct SpinnerDot
    {
        int radius;
        double opacity;
    };

    void refreshCache();
    void placeSpinnerPoints();
    void paintSpinner(QPainter& painter) const;

    QImage mImage;
    QPixmap mCache;
    QRect mImageRect;
    std::array<QRect, 2> mBorderRects;
    bool mCacheDirty = false;
    bool mKeepAspectRatio = true;
    QColor mBgColor = Qt::black;
    bool mBusy = false;
    int mBusyTimerId = 0;
    std::array<QPoint, 10> mSpinnerPoints;
    std::array<SpinnerDot, 8> mSpinnerDots;
    int mSpinnerStep = 0;
    QPen mSpinnerPen;
    QBrush mSpinnerBrush;
    OpsRateCounter mUpdateRate{0.1, 1.0};
    OpsRateCounter mRenderRate{0.1, 1.0};
    OpsRateCounter mDisplayRate{0.1, 1.0};
};

#endif
