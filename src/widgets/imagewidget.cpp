#include "widgets/imagewidget.h"

#include <cmath>

#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QTimerEvent>

#include "widgets/letterbox.h"

namespace {

constexpr double Pi = 3.14159265358979323846;
constexpr int SpinnerRadius = 20;
// Ten steps of this size leave a wider gap between the last dot and the first.
constexpr double SpinnerAngleStep = 3 * Pi / 16;
constexpr int SpinnerIntervalMs = 40;

bool isRepeat(QImage const& image, QImage const& shown)
{
    if (image.isNull() || image.size() != shown.size())
        return false;
    QString const stream = image.text(QStringLiteral("shmname"));
    QString const pts = image.text(QStringLiteral("pts"));
    // A time stamp of 0 is one that nobody set.
    return !stream.isEmpty() && !pts.isEmpty() && pts != QLatin1String("0") &&
           stream == shown.text(QStringLiteral("shmname")) &&
           pts == shown.text(QStringLiteral("pts"));
}

} // namespace

ImageWidget::ImageWidget(QWidget* parent)
    : QWidget(parent, Qt::FramelessWindowHint)
    , mSpinnerPen(Qt::gray)
    , mSpinnerBrush(Qt::gray)
{
    setAttribute(Qt::WA_OpaquePaintEvent);
    int const last = int(mSpinnerDots.size()) - 1;
    for (int i = 0; i <= last; ++i)
        mSpinnerDots[i] = {int(1 + i * 3.0f / last), 0.2 + i * 0.8 / last};
}

void ImageWidget::updateImage(QImage value)
{
    if (isRepeat(value, mImage))
        return;
    setBusy(false);
    mImage = value;
    mCacheDirty = true;
    update();
}

void ImageWidget::setBgColor(QColor value)
{
    if (value == mBgColor)
        return;
    mBgColor = value;
    update();
}

void ImageWidget::setKeepAspectRatio(bool value)
{
    if (value == mKeepAspectRatio)
        return;
    mKeepAspectRatio = value;
    mCacheDirty = true;
    update();
}

void ImageWidget::setBusy(bool busy)
{
    if (busy == mBusy)
        return;
    mBusy = busy;
    if (busy) {
        mSpinnerStep = 0;
        placeSpinnerPoints();
        mBusyTimerId = startTimer(SpinnerIntervalMs, Qt::CoarseTimer);
    } else {
        killTimer(mBusyTimerId);
        mBusyTimerId = 0;
    }
    update();
}

QImage ImageWidget::getImage() const
{
    if (!mBusy)
        return mImage;
    QImage black(size(), QImage::Format_ARGB32);
    black.fill(Qt::black);
    return black;
}

void ImageWidget::resizeEvent(QResizeEvent* /*event*/)
{
    mCacheDirty = true;
    if (mBusy)
        placeSpinnerPoints();
    update();
}

void ImageWidget::showEvent(QShowEvent* /*event*/) {}

void ImageWidget::mousePressEvent(QMouseEvent* event)
{
    Q_EMIT clicked();
    event->ignore();
}

void ImageWidget::timerEvent(QTimerEvent* event)
{
    if (event->timerId() != mBusyTimerId) {
        QWidget::timerEvent(event);
        return;
    }
    mSpinnerStep = (mSpinnerStep + 1) % int(mSpinnerPoints.size());
    update();
    event->accept();
}

void ImageWidget::paintEvent(QPaintEvent* event)
{
    QPainter painter(this);
    painter.setClipRegion(event->region());
    if (mCacheDirty)
        refreshCache();

    if (mBusy) {
        painter.fillRect(rect(), mBgColor);
        paintSpinner(painter);
    } else if (mImageRect.isNull()) {
        painter.fillRect(rect(), mBgColor);
    } else {
        painter.drawPixmap(mImageRect.topLeft(), mCache);
        for (QRect const& bar : mBorderRects) {
            if (bar.isValid())
                painter.fillRect(bar, mBgColor);
        }
    }
}

void ImageWidget::refreshCache()
{
    mCacheDirty = false;
    if (mImage.isNull()) {
        mImageRect = QRect();
        mBorderRects = {};
    } else if (mKeepAspectRatio) {
        Letterbox const layout = letterbox(mImage.size(), size());
        mImageRect = layout.image;
        mBorderRects = layout.bars;
    } else {
        mImageRect = rect();
        mBorderRects = {};
    }
    if (mImageRect.isEmpty()) {
        mCache = QPixmap();
        return;
    }

    if (mCache.size() != mImageRect.size())
        mCache = QPixmap(mImageRect.size());
    // The cache still holds the last picture, which must not shine through.
    if (mImage.hasAlphaChannel())
        mCache.fill(Qt::black);
    QPainter painter(&mCache);
    painter.drawImage(mCache.rect(), mImage);
}

void ImageWidget::placeSpinnerPoints()
{
    QPoint const centre = contentsRect().center();
    for (size_t k = 0; k < mSpinnerPoints.size(); ++k) {
        double const angle = k * SpinnerAngleStep;
        mSpinnerPoints[k] = centre + QPoint(int(std::cos(angle) * SpinnerRadius),
                                         int(std::sin(angle) * SpinnerRadius));
    }
}

void ImageWidget::paintSpinner(QPainter& painter) const
{
    painter.save();
    painter.setPen(mSpinnerPen);
    painter.setBrush(mSpinnerBrush);
    painter.setRenderHint(QPainter::Antialiasing);
    for (size_t i = 0; i < mSpinnerDots.size(); ++i) {
        auto const [radius, opacity] = mSpinnerDots[i];
        QPoint const& centre = mSpinnerPoints[(mSpinnerStep + i) % mSpinnerPoints.size()];
        painter.setOpacity(opacity);
        painter.drawEllipse(centre.x() - radius, centre.y() - radius, 2 * radius, 2 * radius);
    }
    painter.restore();
}
