#include "greyframe.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int Tolerance = 4;

} // namespace

QVideoFrame greyFrame(qint64 timestamp, Quarters const& quarters, QSize const& size)
{
    int const luma = size.width() * size.height();
    QVideoFrame frame(luma + luma / 2, size, size.width(), QVideoFrame::Format_YUV420P);
    frame.map(QAbstractVideoBuffer::WriteOnly);
    std::memset(frame.bits(), 128, size_t(luma + luma / 2));
    for (int y = 0; y < size.height(); ++y) {
        uchar* line = frame.bits() + y * size.width();
        size_t const lower = y < size.height() / 2 ? 0 : 2;
        int const half = size.width() / 2;
        std::memset(line, quarters[lower], size_t(half));
        std::memset(line + half, quarters[lower + 1], size_t(size.width() - half));
    }
    frame.unmap();
    frame.setStartTime(timestamp);
    return frame;
}

Quarters quartersOf(QImage const& picture)
{
    Quarters result = {-1, -1, -1, -1};
    if (picture.isNull())
        return result;
    for (int i = 0; i < 4; ++i) {
        QColor const colour = picture.pixelColor(
            picture.width() * (1 + 2 * (i % 2)) / 4, picture.height() * (1 + 2 * (i / 2)) / 4);
        auto const [least, most] = std::minmax({colour.red(), colour.green(), colour.blue()});
        if (most - least <= Tolerance)
            result[size_t(i)] = colour.green();
    }
    return result;
}

bool alike(Quarters const& a, Quarters const& b)
{
    return std::equal(a.begin(), a.end(), b.begin(),
        [](int first, int second) { return qAbs(first - second) <= Tolerance; });
}
