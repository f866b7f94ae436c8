#include "support/report.h"

#include <string>
#include <vector>

#include <QGuiApplication>
#include <QImage>
#include <QPainter>

#include <qrencode.h>

#include "widgets/qrcode.h"

namespace {

constexpr int moduleSize = 4; // pixels
constexpr int margin = 16;    // pixels
constexpr QRErrorCorrLevel level = QRErrorCorrMedium;

/** Data that all but fills a version. */
struct Sample
{
    int version;
    int bytes;
};
constexpr Sample samples[] = {{1, 12}, {10, 200}, {40, 2300}};

QByteArray dataOf(const Sample& sample)
{
    QByteArray data(sample.bytes, 0);
    for (int i = 0; i < data.size(); ++i)
        data[i] = char(i * 7 + 128);
    return data;
}

QImage imageFor(const Sample& sample)
{
    const int side = (17 + 4 * sample.version) * moduleSize + 2 * margin;
    return QImage(side, side, QImage::Format_RGB32);
}

QRcode* encode(const Sample& sample, const QByteArray& data)
{
    const auto* bytes = reinterpret_cast<const unsigned char*>(data.constData());
    return QRcode_encodeData(data.size(), bytes, sample.version, QR_ECLEVEL_M);
}

void fillEachModule(QPainter& painter, const QRcode& symbol, const QBrush& brush)
{
    const unsigned char* module = symbol.data;
    for (int y = 0; y < symbol.width; ++y) {
        for (int x = 0; x < symbol.width; ++x) {
            if (*module++ & 1) {
                painter.fillRect(margin + x * moduleSize, margin + y * moduleSize, moduleSize,
                    moduleSize, brush);
            }
        }
    }
}

void encodeBare(benchmark::State& state, const Sample& sample)
{
    const QByteArray data = dataOf(sample);
    for (auto _ : state)
        QRcode_free(encode(sample, data));
}

void create(benchmark::State& state, const Sample& sample)
{
    const QByteArray data = dataOf(sample);
    for (auto _ : state) {
        const QPixmap code =
            createQRCode(data, sample.version, level, Qt::white, Qt::black, moduleSize, margin);
        benchmark::DoNotOptimize(&code);
    }
}

void draw(QImage& image, const Sample& sample, const QByteArray& data)
{
    QPainter painter(&image);
    drawQRCode(
        painter, QPoint(), data, sample.version, level, Qt::white, Qt::black, moduleSize, margin);
}

/** The peer of drawing: encodes, then fills one module after the other. */
void drawBare(QImage& image, const Sample& sample, const QByteArray& data)
{
    QRcode* const symbol = encode(sample, data);
    QPainter painter(&image);
    painter.fillRect(image.rect(), Qt::white);
    fillEachModule(painter, *symbol, QBrush(Qt::black));
    QRcode_free(symbol);
}

using Draw = void (*)(QImage&, const Sample&, const QByteArray&);

void drawOnImage(benchmark::State& state, Draw run, const Sample& sample)
{
    const QByteArray data = dataOf(sample);
    QImage image = imageFor(sample);
    for (auto _ : state)
        run(image, sample, data);
}

bool areSamePictures(const Sample& sample)
{
    QImage pictures[] = {imageFor(sample), imageFor(sample)};
    draw(pictures[0], sample, dataOf(sample));
    drawBare(pictures[1], sample, dataOf(sample));
    return pictures[0] == pictures[1];
}

} // namespace

int main(int argc, char** argv)
{
    Report report(argc, argv);
    const QGuiApplication app(argc, argv);

    std::vector<Comparison> comparisons;
    for (const Sample& sample : samples) {
        const std::string version = ", version " + std::to_string(sample.version);
        if (!areSamePictures(sample))
            report.fail("drawing" + version, "its peer paints another picture");
        const std::string encoding = "bare QRcode_encodeData" + version;
        const std::string creating = "createQRCode" + version;
        const std::string drawing = "drawQRCode, QImage" + version;
        const std::string bareDrawing = "encoding + fillRect each, QImage" + version;
        benchmark::RegisterBenchmark(encoding.c_str(), encodeBare, sample);
        benchmark::RegisterBenchmark(creating.c_str(), create, sample);
        benchmark::RegisterBenchmark(drawing.c_str(), drawOnImage, draw, sample);
        benchmark::RegisterBenchmark(bareDrawing.c_str(), drawOnImage, drawBare, sample);
        comparisons.push_back({creating, encoding, ""});
        comparisons.push_back({drawing, encoding, ""});
        comparisons.push_back({drawing, bareDrawing, "at most 1"});
    }
    report.runLoops();
    return report.finish(comparisons);
}
