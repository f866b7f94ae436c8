#include "testpicture.h"

#include "bitmapfont.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace {

constexpr uint8_t White = 255;
constexpr uint8_t Black = 0;
constexpr uint8_t StripGrey = 48;
constexpr uint8_t Neutral = 128;
constexpr int Bars = 8;
constexpr int64_t MarkerPeriod = 4000000;
constexpr int TextLines = 3;
constexpr int NumberColumns = 14; /**< of the frame number's line, the longest one */
constexpr int TextLineDots = 10;  /**< height of a line, its distance to the next included */

struct Colour
{
    uint8_t y, cb, cr;
};

uint8_t byte(double value)
{
    return static_cast<uint8_t>(std::clamp(std::lround(value), 0L, 255L));
}

/** Full-range BT.601. */
Colour fromRgb(double r, double g, double b)
{
    double const y = 0.299 * r + 0.587 * g + 0.114 * b;
    return {byte(y), byte(128 + (b - y) / 1.772), byte(128 + (r - y) / 1.402)};
}

/** The bars from left to right: white, yellow, cyan, green, magenta, red, blue, black at 75 %. */
Colour barColour(int bar)
{
    constexpr double Level = 191;
    return fromRgb(bar & 2 ? 0 : Level, bar & 4 ? 0 : Level, bar & 1 ? 0 : Level);
}

int half(int pixels)
{
    return (pixels + 1) / 2;
}

void copyLines(uint8_t* to, ptrdiff_t stride, uint8_t const* from, int width, int lines)
{
    for (int i = 0; i < lines; ++i, to += stride, from += width)
        std::memcpy(to, from, static_cast<size_t>(width));
}

void fillLines(uint8_t* to, ptrdiff_t stride, uint8_t value, int width, int lines)
{
    for (int i = 0; i < lines; ++i, to += stride)
        std::memset(to, value, static_cast<size_t>(width));
}

} // namespace

TestPicture::TestPicture(int width, int height, AVRational rate)
    : mWidth(width)
    , mHeight(height)
    // Even, so that no chroma sample lies across two parts.
    , mBarsEnd(height * 55 / 200 * 2)
    , mStripEnd(height * 67 / 200 * 2)
    , mTextScale(std::min(width / ((NumberColumns + 2) * bitmapfont::Advance),
          (height - mStripEnd) / (TextLines * TextLineDots + 2)))
    , mTextTop(mStripEnd + (height - mStripEnd - (TextLines * TextLineDots - 3) * mTextScale) / 2)
    , mTextLeft((width - NumberColumns * bitmapfont::Advance * mTextScale) / 2)
    , mStripLine(static_cast<size_t>(width))
{
    drawBackground(rate);
}

void TestPicture::drawBackground(AVRational rate)
{
    auto const luma = static_cast<size_t>(mWidth) * static_cast<size_t>(mHeight);
    auto const chroma = static_cast<size_t>(half(mWidth)) * static_cast<size_t>(half(mHeight));
    mBackground[0].assign(luma, Black);
    mBackground[1].assign(chroma, Neutral);
    mBackground[2].assign(chroma, Neutral);

    for (int x = 0; x < mWidth; ++x) {
        Colour const colour = barColour(x / 2 * 2 * Bars / mWidth);
        mBackground[0][static_cast<size_t>(x)] = colour.y;
        mBackground[1][static_cast<size_t>(x / 2)] = colour.cb;
        mBackground[2][static_cast<size_t>(x / 2)] = colour.cr;
    }
    for (int plane = 0; plane < 3; ++plane) {
        int const width = plane ? half(mWidth) : mWidth;
        uint8_t* const first = mBackground[plane].data();
        int const lines = plane ? mBarsEnd / 2 : mBarsEnd;
        for (uint8_t* line = first + width; line < first + ptrdiff_t(lines) * width; line += width)
            std::memcpy(line, first, static_cast<size_t>(width));
    }

    char text[64];
    int const length =
        std::snprintf(text, sizeof text, "%dX%d %.5g FPS", mWidth, mHeight, av_q2d(rate));
    int const scale = std::max(1, mTextScale * 3 / 4);
    if (mTextScale > 0 && mTextLeft + length * bitmapfont::Advance * scale <= mWidth)
        bitmapfont::draw(textLine(mBackground[0].data(), mWidth, 2), mWidth, scale, text);
}

void TestPicture::draw(
    shm_writer_frame_t const& frame, int64_t timestamp, uint64_t number, bool flash)
{
    for (int plane = 0; plane < 3; ++plane) {
        int const width = plane ? half(mWidth) : mWidth;
        int const height = plane ? half(mHeight) : mHeight;
        int const flashed = flash ? (plane ? mStripEnd / 2 : mStripEnd) : 0;
        uint8_t* const to = frame.plane[plane];
        ptrdiff_t const stride = frame.stride[plane];
        fillLines(to, stride, plane ? Neutral : White, width, flashed);
        copyLines(to + flashed * stride, stride,
            mBackground[plane].data() + ptrdiff_t(flashed) * width, width, height - flashed);
    }
    if (!flash)
        drawMarker(frame, timestamp);
    if (mTextScale > 0)
        drawTexts(frame, timestamp, number);
}

void TestPicture::drawMarker(shm_writer_frame_t const& frame, int64_t timestamp)
{
    double const width = mWidth;
    double const markerWidth = std::max(2.0, width / 24);
    double const left = static_cast<double>(timestamp % MarkerPeriod) / MarkerPeriod * width;
    std::memset(mStripLine.data(), StripGrey, mStripLine.size());
    // Pixels that the marker covers in part are blended, so that it moves by less than a pixel.
    for (int i = static_cast<int>(left); i < left + markerWidth; ++i) {
        double const covered = std::min(i + 1.0, left + markerWidth) - std::max<double>(i, left);
        mStripLine[static_cast<size_t>(i % mWidth)] =
            byte(StripGrey + covered * (White - StripGrey));
    }
    ptrdiff_t const stride = frame.stride[0];
    uint8_t* const strip = frame.plane[0] + mBarsEnd * stride;
    for (uint8_t* line = strip; line < frame.plane[0] + mStripEnd * stride; line += stride)
        std::memcpy(line, mStripLine.data(), mStripLine.size());
}

void TestPicture::drawTexts(shm_writer_frame_t const& frame, int64_t timestamp, uint64_t number)
{
    char numberText[32];
    std::snprintf(numberText, sizeof numberText, "FRAME %08llu",
        static_cast<unsigned long long>(number % 100000000));
    uint8_t* const plane = frame.plane[0];
    ptrdiff_t const stride = frame.stride[0];
    bitmapfont::draw(textLine(plane, stride, 0), stride, mTextScale, clockText(timestamp));
    bitmapfont::draw(textLine(plane, stride, 1), stride, mTextScale, numberText);
}

uint8_t* TestPicture::textLine(uint8_t* plane, ptrdiff_t stride, int line) const
{
    return plane + (mTextTop + line * TextLineDots * mTextScale) * stride + mTextLeft;
}

std::string TestPicture::clockText(int64_t timestamp)
{
    time_t const second = timestamp / 1000000;
    if (second != mSecond) {
        localtime_r(&second, &mTime);
        mSecond = second;
    }
    char text[32];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d.%03d", mTime.tm_hour, mTime.tm_min,
        mTime.tm_sec, static_cast<int>(timestamp / 1000 % 1000));
    return text;
}
