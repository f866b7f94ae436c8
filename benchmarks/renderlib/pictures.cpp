#include "pictures.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int darkest = 60;
constexpr int brightest = 190;
constexpr uchar noColour = 128;

Picture makePicture(const QSize& size, int grey)
{
    const int lumaBytes = size.width() * size.height();
    const int chromaBytes = lumaBytes / 4;
    QVideoFrame frame(lumaBytes + 2 * chromaBytes, size, size.width(), QVideoFrame::Format_YUV420P);
    frame.map(QAbstractVideoBuffer::WriteOnly);
    uchar* const luma = frame.bits();
    for (int i = 0; i < lumaBytes; ++i)
        luma[i] = uchar(grey + i % 9 - 4);
    std::memset(luma + lumaBytes, noColour, size_t(2 * chromaBytes));
    // The frame owns this memory for as long as it lives, mapped or not.
    const Picture picture = {frame, {luma, luma + lumaBytes, luma + lumaBytes + chromaBytes}, grey};
    frame.unmap();
    return picture;
}

} // namespace

std::vector<Picture> makePictures(const QSize& size, int count)
{
    std::vector<Picture> pictures;
    for (int i = 0; i < count; ++i) {
        pictures.push_back(
            makePicture(size, darkest + (brightest - darkest) * i / std::max(count - 1, 1)));
        pictures.back().frame.setStartTime(1 + i);
    }
    return pictures;
}
