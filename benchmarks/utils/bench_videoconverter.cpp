#include "support/report.h"

#include <memory>
#include <string>
#include <vector>

#include <QImage>
#include <QVideoFrame>

extern "C" {
#include <libswscale/swscale.h>
}

#include "utils/videoconverter.h"

namespace {

struct Case
{
    const char* name;
    QSize from;
    QSize to;
    bool pointScaling;
};

const Case cases[] = {
    {"1080p to 640x360", {1920, 1080}, {640, 360}, false},
    {"1080p to 640x360, nearest", {1920, 1080}, {640, 360}, true},
    {"1080p unscaled", {1920, 1080}, {1920, 1080}, false},
    {"2160p to 1920x1080", {3840, 2160}, {1920, 1080}, false},
};

const char* const cachedFigure = "convert, frame just converted";
const char* const imageCopy = "copy of a QImage";

QVideoFrame makeFrame(const QSize& size)
{
    const int bytes = size.width() * size.height() * 3 / 2;
    QVideoFrame frame(bytes, size, size.width(), QVideoFrame::Format_YUV420P);
    frame.map(QAbstractVideoBuffer::WriteOnly);
    for (int i = 0; i < bytes; ++i)
        frame.bits()[i] = uchar(i * 7 + i / size.width());
    frame.unmap();
    frame.setMetaData(QStringLiteral("shmname"), QStringLiteral("live"));
    return frame;
}

// Each pass a new frame, as far as the converter can tell; its image is let go at once.
void convert(benchmark::State& state, const Case& measured)
{
    QVideoFrame frame = makeFrame(measured.from);
    VideoFrameStreamConverter converter(measured.to, true, measured.pointScaling);
    qint64 timestamp = 0;
    for (auto _ : state) {
        frame.setStartTime(++timestamp);
        if (converter.convert(frame).isNull()) {
            state.SkipWithError("no image");
            break;
        }
    }
}

// The same frame, context and kind of destination.
void bareScale(benchmark::State& state, const Case& measured)
{
    QVideoFrame frame = makeFrame(measured.from);
    frame.map(QAbstractVideoBuffer::ReadOnly);
    const uint8_t* const planes[] = {frame.bits(0), frame.bits(1), frame.bits(2), nullptr};
    const int strides[] = {frame.bytesPerLine(0), frame.bytesPerLine(1), frame.bytesPerLine(2), 0};
    QImage image(measured.to, QImage::Format_ARGB32_Premultiplied);
    uint8_t* const target[] = {image.bits(), nullptr, nullptr, nullptr};
    const int targetStrides[] = {image.bytesPerLine(), 0, 0, 0};

    const std::unique_ptr<SwsContext, void (*)(SwsContext*)> context(
        sws_getContext(measured.from.width(), measured.from.height(), AV_PIX_FMT_YUV420P,
            measured.to.width(), measured.to.height(), AV_PIX_FMT_BGRA,
            measured.pointScaling ? SWS_POINT : SWS_FAST_BILINEAR, nullptr, nullptr, nullptr),
        sws_freeContext);
    const int* const table = sws_getCoefficients(SWS_CS_DEFAULT);
    sws_setColorspaceDetails(context.get(), table, 1, table, 0, 0, 1 << 16, 1 << 16);
    for (auto _ : state) {
        if (sws_scale(context.get(), planes, strides, 0, frame.height(), target, targetStrides) !=
            image.height()) {
            state.SkipWithError("not scaled");
            break;
        }
    }
    frame.unmap();
}

void convertCached(benchmark::State& state)
{
    QVideoFrame frame = makeFrame({1920, 1080});
    frame.setStartTime(1);
    VideoFrameStreamConverter converter({640, 360}, true, false);
    converter.convert(frame);
    for (auto _ : state)
        benchmark::DoNotOptimize(converter.convert(frame));
}

void copyImage(benchmark::State& state)
{
    const QImage image(640, 360, QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state)
        benchmark::DoNotOptimize(QImage(image));
}

} // namespace

int main(int argc, char** argv)
{
    Report report(argc, argv);
    std::vector<Comparison> comparisons;
    for (const Case& measured : cases) {
        const std::string figure = std::string("convert, ") + measured.name;
        const std::string peer = std::string("bare sws_scale, ") + measured.name;
        benchmark::RegisterBenchmark(figure.c_str(), convert, measured)->MinTime(0.3);
        benchmark::RegisterBenchmark(peer.c_str(), bareScale, measured)->MinTime(0.3);
        comparisons.push_back({figure, peer, "at most 1.03"});
    }
    benchmark::RegisterBenchmark(cachedFigure, convertCached);
    benchmark::RegisterBenchmark(imageCopy, copyImage);
    comparisons.push_back({cachedFigure, imageCopy, "below 1 µs"});
    report.runLoops();
    return report.finish(comparisons);
}
