#include "utils/videoconverter.h"

#include <cstdint>
#include <cstdlib>
#include <limits>

#include <QMutexLocker>
#include <QVariant>

extern "C" {
#include <libswscale/swscale.h>
}

#include "qvorlinassert.h"

namespace {

constexpr int PoolSize = 4;

// The same bytes as AV_PIX_FMT_BGRA on a little-endian machine; the samples are always opaque, so
// premultiplied, which Qt paints fastest, costs nothing.
constexpr QImage::Format ImageFormat = QImage::Format_ARGB32_Premultiplied;

// libswscale writes whole groups of 16 pixels where it does not scale: into the memory behind the
// last line of an image whose lines are not a multiple of that, or it leaves out the last columns.
constexpr int LineAlignment = 64;

// An image with room for what libswscale writes; null without memory.
QImage makeImage(QSize const& size)
{
    qint64 const lineBytes =
        (size.width() * qint64(4) + LineAlignment - 1) / LineAlignment * LineAlignment;
    if (size.isEmpty() || lineBytes > std::numeric_limits<int>::max() / size.height())
        return {};
    void* const pixels = std::aligned_alloc(LineAlignment, size_t(lineBytes * size.height()));
    if (!pixels)
        return {};
    return QImage(static_cast<uchar*>(pixels), size.width(), size.height(), int(lineBytes),
        ImageFormat, std::free, pixels);
}

bool hasRoom(QImage const& image)
{
    return image.format() == ImageFormat && image.bytesPerLine() % LineAlignment == 0;
}

// Live frames use the whole range of 0 to 255; libswscale takes YUV as limited unless told.
void takeSourceAsFullRange(SwsContext* context)
{
    int* inverseTable = nullptr;
    int* table = nullptr;
    int sourceRange = 0;
    int destinationRange = 0;
    int brightness = 0;
    int contrast = 0;
    int saturation = 0;
    bool const known = sws_getColorspaceDetails(context, &inverseTable, &sourceRange, &table,
                           &destinationRange, &brightness, &contrast, &saturation) == 0;
    // Setting the details rebuilds the tables of the context: only when there is something to set.
    if (known && sourceRange != 1) {
        sws_setColorspaceDetails(
            context, inverseTable, 1, table, destinationRange, brightness, contrast, saturation);
    }
}

bool scale(SwsContext* context, QVideoFrame& frame, QImage& image)
{
    // What receivers hold stays as it is.
    bool const inPlace = image.isDetached() && hasRoom(image);
    QImage fresh = inPlace ? QImage() : makeImage(image.size());
    QImage& target = inPlace ? image : fresh;
    if (target.isNull() || !frame.map(QAbstractVideoBuffer::ReadOnly))
        return false;
    uint8_t const* const planes[] = {frame.bits(0), frame.bits(1), frame.bits(2), nullptr};
    int const strides[] = {frame.bytesPerLine(0), frame.bytesPerLine(1), frame.bytesPerLine(2), 0};
    uint8_t* const pixels[] = {target.bits(), nullptr, nullptr, nullptr};
    int const lineBytes[] = {target.bytesPerLine(), 0, 0, 0};
    int const lines = sws_scale(context, planes, strides, 0, frame.height(), pixels, lineBytes);
    frame.unmap();
    if (lines < 0)
        return false;
    if (!inPlace)
        image = fresh;
    return true;
}

void setTexts(QImage& image, QVideoFrame const& frame)
{
    image.setText(QStringLiteral("pts"), QString::number(frame.startTime()));
    QVariantMap const metaData = frame.availableMetaData();
    for (auto entry = metaData.begin(); entry != metaData.end(); ++entry)
        image.setText(entry.key(), entry.value().toString());
}

// How gladly a pool image is taken for an image of the given size, 0 the most. A free image is one
// whose pixels nobody else holds; a null image has none and does not count as free.
int reluctance(QImage const& image, QSize const& size)
{
    bool const fits = image.size() == size;
    if (image.isDetached())
        return fits ? 0 : image.isNull() ? 1 : 2;
    if (image.isNull())
        return 3;
    return fits ? 4 : 5;
}

} // namespace

VideoFrameConverter::VideoFrameConverter(QSize const& size, bool keepAspectRatio, bool pointScaling)
    : mSize(size)
    , mKeepAspectRatio(keepAspectRatio)
    , mPointScaling(pointScaling)
{}

VideoFrameConverter::~VideoFrameConverter()
{
    sws_freeContext(mContext);
}

QImage VideoFrameConverter::convert(QVideoFrame frame)
{
    if (!frame.isValid())
        return {};

    QMutexLocker const lock(&mMutex);
    qint64 const timestamp = frame.startTime();
    if (QImage const* cached = getCachedImage(timestamp))
        return *cached;

    QSize const size = outputSize(frame.size());
    if (!prepareContext(frame.size(), size))
        return {};

    QImage* const kept = allocateImage(size);
    QImage fresh = kept ? QImage() : makeImage(size);
    QImage& image = kept ? *kept : fresh;
    if (image.isNull() || !scale(mContext, frame, image))
        return {};

    setTexts(image, frame);
    if (kept)
        updateCache(kept, timestamp);
    return image;
}

QImage VideoFrameConverter::convert(
    QVideoFrame frame, QSize const& size, bool keepAspectRatio, bool pointScaling)
{
    return VideoFrameConverter(size, keepAspectRatio, pointScaling).convert(frame);
}

QImage* VideoFrameConverter::getCachedImage(qint64)
{
    return nullptr;
}

QImage* VideoFrameConverter::allocateImage(QSize const&)
{
    return nullptr;
}

void VideoFrameConverter::updateCache(QImage*, qint64) {}

QSize VideoFrameConverter::outputSize(QSize const& frameSize) const
{
    if (mSize.isEmpty())
        return frameSize;
    if (!mKeepAspectRatio)
        return mSize;
    QSize const fitted = frameSize.scaled(mSize, Qt::KeepAspectRatio);
    return {fitted.width() & ~1, fitted.height() & ~1};
}

bool VideoFrameConverter::prepareContext(QSize const& frameSize, QSize const& size)
{
    mContext = sws_getCachedContext(mContext, frameSize.width(), frameSize.height(),
        AV_PIX_FMT_YUV420P, size.width(), size.height(), AV_PIX_FMT_BGRA,
        mPointScaling ? SWS_POINT : SWS_FAST_BILINEAR, nullptr, nullptr, nullptr);
    if (!mContext)
        return false;
    takeSourceAsFullRange(mContext);
    return true;
}

VideoFrameStreamConverter::VideoFrameStreamConverter(
    QSize const& size, bool keepAspectRatio, bool pointScaling)
    : VideoFrameConverter(size, keepAspectRatio, pointScaling)
    , mImages(PoolSize)
{}

void VideoFrameStreamConverter::reset(QSize const& size, bool keepAspectRatio, bool pointScaling)
{
    QMutexLocker const lock(&mMutex);
    if (size != mSize) {
        mCachedImage = nullptr;
        mCachedTimestamp = 0;
        mImages.fill(QImage());
    }
    mSize = size;
    mKeepAspectRatio = keepAspectRatio;
    mPointScaling = pointScaling;
}

QImage* VideoFrameStreamConverter::getCachedImage(qint64 timestamp)
{
    return timestamp == mCachedTimestamp ? mCachedImage : nullptr;
}

QImage* VideoFrameStreamConverter::allocateImage(QSize const& size)
{
    QImage* chosen = nullptr;
    int least = std::numeric_limits<int>::max();
    for (QImage& image : mImages) {
        int const current = reluctance(image, size);
        if (current < least) {
            chosen = &image;
            least = current;
        }
        if (least == 0)
            break;
    }
    QVORLIN_ASSERT(chosen, "false", "utils/videoconverter");

    if (chosen->size() != size) {
        // The conversion may still fail, and the cache must never lead to an image without a
        // picture.
        if (chosen == mCachedImage)
            mCachedImage = nullptr;
        *chosen = makeImage(size);
    }
    return chosen;
}

void VideoFrameStreamConverter::updateCache(QImage* image, qint64 timestamp)
{
    mCachedImage = image;
    mCachedTimestamp = timestamp;
}
