#include "support/report.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <QApplication>
#include <QImage>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFramebufferObject>
#include <QOpenGLFunctions>
#include <QOpenGLPaintDevice>
#include <QPaintEvent>
#include <QPainter>
#include <QSurfaceFormat>

#include "widgets/audiometerwidget.h"

namespace {

constexpr int channelCounts[] = {2, 8};
constexpr int barThickness = 16; // pixels
constexpr int barLength = 480;   // pixels, 121 strokes

QSize meterSize(int channels)
{
    return QSize(barLength, channels * barThickness);
}

/** A rectangle as it comes from a meter. */
struct Fill
{
    QRect rect;
    QColor colour;
};
using Fills = std::vector<Fill>;

void fillAll(QPainter& painter, const Fills& fills)
{
    for (const Fill& fill : fills)
        painter.fillRect(fill.rect, fill.colour);
}

/** The levels of two frames in turn, so that each frame differs from the one before. */
AudioLevels levelsOf(int frame, int channels)
{
    AudioLevels levels;
    for (int i = 0; i < channels; ++i) {
        const float level = -3.1F - 6.31F * float(i) - float(frame % 2);
        levels.push_back({level - 3, level});
    }
    return levels;
}

/** In which order the rectangles of a bar are filled. */
enum class Order
{
    EachStrokeWithItsShadow,
    ShadowsFirst
};

/** What a meter fills for these levels, by a computation that is as simple as its settings. */
Fills fillsOf(const AudioLevels& levels, Order order = Order::EachStrokeWithItsShadow)
{
    constexpr int spacing = 2;
    constexpr int step = 4;
    const int count = levels.size();
    const QSize size = meterSize(count);
    const int height = (size.height() - (count - 1) * spacing) / count;
    Fills fills;
    for (int bar = 0; bar < count; ++bar) {
        const int level = int(std::floor((levels.at(bar).max / 60 + 1) * barLength));
        for (int left = 0; left <= barLength; left += step) {
            const QRect stroke(left, (size.height() + spacing) * bar / count, 1, height);
            const int band = (left > barLength * 7 / 10) + (left > barLength * 17 / 20);
            const QColor lit[] = {Qt::green, Qt::yellow, Qt::red};
            const QColor unlit[] = {QColor(96, 96, 96), QColor(48, 48, 48), QColor(48, 48, 48)};
            fills.push_back({stroke.translated(1, 1), Qt::black});
            fills.push_back({stroke, level > left - 1 ? lit[band] : unlit[band]});
        }
        if (order == Order::ShadowsFirst) {
            const auto isShadow = [](const Fill& fill) {
                return fill.colour == Qt::black;
            };
            std::stable_partition(fills.end() - 2 * (barLength / step + 1), fills.end(), isShadow);
        }
    }
    return fills;
}

/** The peer of AudioMeterWidget: fills the same rectangles. */
class BareWidget : public QWidget
{
public:
    explicit BareWidget(int channels)
        : mFrames{fillsOf(levelsOf(0, channels)), fillsOf(levelsOf(1, channels))}
    {}

    void show(int frame)
    {
        mFrame = size_t(frame % 2);
        update();
    }
    using QWidget::show;

protected:
    void paintEvent(QPaintEvent* event) override
    {
        QPainter painter(this);
        painter.setClipRegion(event->region());
        fillAll(painter, mFrames[mFrame]);
    }

private:
    const Fills mFrames[2];
    size_t mFrame = 0;
};

bool showAndWait(QWidget& widget, int channels)
{
    widget.setGeometry(QRect(QPoint(0, 0), meterSize(channels)));
    widget.show();
    for (int i = 0; i < 500 && !widget.isVisible(); ++i)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    QCoreApplication::processEvents(QEventLoop::AllEvents, 100);
    return widget.isVisible();
}

/** A frame is a whole repaint of a window, until it has been handed to the X server. */
void paintMeterWidget(benchmark::State& state, int channels)
{
    AudioMeterWidget meter(nullptr);
    meter.setChannels(channels);
    if (!showAndWait(meter, channels))
        return state.SkipWithError("the window didn't come up");
    const AudioLevels levels[] = {levelsOf(0, channels), levelsOf(1, channels)};
    int frame = 0;
    for (auto _ : state) {
        meter.updateAudioLevels(levels[++frame % 2]);
        meter.repaint();
    }
}

void paintBareWidget(benchmark::State& state, int channels)
{
    BareWidget widget(channels);
    if (!showAndWait(widget, channels))
        return state.SkipWithError("the window didn't come up");
    int frame = 0;
    for (auto _ : state) {
        widget.show(++frame);
        widget.repaint();
    }
}

/** Somewhere to paint frames. */
class Target
{
public:
    virtual ~Target() = default;
    virtual void paint(const std::function<void(QPainter&)>& frame) = 0;
};

class ImageTarget : public Target
{
public:
    explicit ImageTarget(const QSize& size)
        : mImage(size, QImage::Format_RGB32)
    {
        mImage.fill(Qt::black);
    }

    void paint(const std::function<void(QPainter&)>& frame) override
    {
        QPainter painter(&mImage);
        frame(painter);
    }

private:
    QImage mImage;
};

/** A framebuffer in an OpenGL context, which is made as the video widget makes its own. */
class OpenGLTarget : public Target
{
public:
    explicit OpenGLTarget(const QSize& size)
    {
        mSurface.create();
        if (!mContext.create() || !mContext.makeCurrent(&mSurface))
            return;
        mFramebuffer = std::make_unique<QOpenGLFramebufferObject>(size);
        mDevice = std::make_unique<QOpenGLPaintDevice>(size);
    }
    ~OpenGLTarget() override
    {
        mContext.makeCurrent(&mSurface);
        mDevice.reset();
        mFramebuffer.reset();
    }

    bool isReady() const { return mFramebuffer && mFramebuffer->isValid(); }

    /** Until the pixels are there. */
    void paint(const std::function<void(QPainter&)>& frame) override
    {
        mContext.makeCurrent(&mSurface);
        mFramebuffer->bind();
        QPainter painter(mDevice.get());
        frame(painter);
        painter.end();
        mContext.functions()->glFinish();
    }

private:
    QOffscreenSurface mSurface;
    QOpenGLContext mContext;
    std::unique_ptr<QOpenGLFramebufferObject> mFramebuffer;
    std::unique_ptr<QOpenGLPaintDevice> mDevice;
};

std::unique_ptr<Target> makeTarget(benchmark::State& state, bool isOpenGL, int channels)
{
    if (!isOpenGL)
        return std::make_unique<ImageTarget>(meterSize(channels));
    auto target = std::make_unique<OpenGLTarget>(meterSize(channels));
    if (target->isReady())
        return target;
    state.SkipWithError("there is no OpenGL ES 2 here");
    return nullptr;
}

void paintOverlay(benchmark::State& state, bool isOpenGL, int channels)
{
    renderlib::CustomVideoWidget video;
    AudioMeterGLWidget meter(&video);
    meter.resize(meterSize(channels));
    meter.setChannels(channels);
    const AudioLevels levels[] = {levelsOf(0, channels), levelsOf(1, channels)};
    const std::unique_ptr<Target> target = makeTarget(state, isOpenGL, channels);
    if (!target)
        return;
    int frame = 0;
    for (auto _ : state) {
        meter.updateAudioLevels(levels[++frame % 2]);
        target->paint([&](QPainter& painter) { meter.paint(&painter); });
    }
}

void paintBare(benchmark::State& state, bool isOpenGL, Order order, int channels)
{
    const Fills frames[] = {
        fillsOf(levelsOf(0, channels), order), fillsOf(levelsOf(1, channels), order)};
    const std::unique_ptr<Target> target = makeTarget(state, isOpenGL, channels);
    if (!target)
        return;
    size_t frame = 0;
    for (auto _ : state)
        target->paint([&](QPainter& painter) { fillAll(painter, frames[++frame % 2]); });
}

/** Whether the peers paint what the meter paints. */
bool areSamePictures(int channels)
{
    AudioMeterWidget meter(nullptr);
    meter.setChannels(channels);
    meter.resize(meterSize(channels));
    meter.updateAudioLevels(levelsOf(0, channels));
    QImage pictures[2];
    for (QImage& picture : pictures) {
        picture = QImage(meterSize(channels), QImage::Format_RGB32);
        picture.fill(Qt::blue);
        QPainter painter(&picture);
        if (&picture == pictures)
            meter.painter()->paint(painter);
        else
            fillAll(painter, fillsOf(levelsOf(0, channels)));
    }
    return pictures[0] == pictures[1];
}

const std::string repaint = "AudioMeterWidget, repaint";
const std::string bareRepaint = "bare widget, repaint";
const std::string image = "AudioMeterPainter, QImage";
const std::string bareImage = "bare fillRect, QImage";
const std::string openGL = "AudioMeterGLWidget, OpenGL";
const std::string bareOpenGL = "bare fillRect, OpenGL";
const std::string bareStrokes = "bare fillRect, stroke by stroke, OpenGL";

} // namespace

int main(int argc, char** argv)
{
    Report report(argc, argv);
    QSurfaceFormat format;
    format.setRenderableType(QSurfaceFormat::OpenGLES);
    format.setVersion(2, 0);
    QSurfaceFormat::setDefaultFormat(format);
    const QApplication app(argc, argv);

    for (const int channels : channelCounts) {
        if (!areSamePictures(channels))
            report.fail("meter", "its peer fills other rectangles");
    }

    std::vector<Comparison> comparisons;
    for (const int channels : channelCounts) {
        const std::string count = ", " + std::to_string(channels) + " channels";
        const auto add = [&](const std::string& name, auto run, auto... arguments) {
            benchmark::RegisterBenchmark((name + count).c_str(), run, arguments..., channels)
                ->MeasureProcessCPUTime();
        };
        const auto compare = [&](const std::string& figure, const std::string& peer,
                                 const std::string& goal) {
            comparisons.push_back({figure + count, peer + count, goal});
        };
        add(repaint, paintMeterWidget);
        add(bareRepaint, paintBareWidget);
        compare(repaint, bareRepaint, "at most 1.1");
        add(image, paintOverlay, false);
        add(bareImage, paintBare, false, Order::EachStrokeWithItsShadow);
        compare(image, bareImage, "at most 1.1");
        add(openGL, paintOverlay, true);
        add(bareOpenGL, paintBare, true, Order::ShadowsFirst);
        compare(openGL, bareOpenGL, "at most 1.1");
        add(bareStrokes, paintBare, true, Order::EachStrokeWithItsShadow);
        compare(openGL, bareStrokes, "");
    }
    report.runLoops();
    return report.finish(comparisons);
}
