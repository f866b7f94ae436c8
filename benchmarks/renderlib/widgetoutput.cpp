#include "videooutput.h"

#include <utility>

#include <QAbstractVideoSurface>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QImage>
#include <QPainter>
#include <QVideoSurfaceFormat>
#include <QVideoWidget>
#include <QWidget>

extern "C" {
#include <libswscale/swscale.h>
}

#include "renderlib/customsubwidget.h"
#include "renderlib/customvideowidget.h"

namespace {

constexpr int patience = 5000; // ms

// Notices when a widget is asked to paint.
class PaintObserver : public QObject
{
public:
    explicit PaintObserver(QWidget* widget) { widget->installEventFilter(this); }

    bool take() { return std::exchange(mHasPainted, false); }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Paint)
            mHasPainted = true;
        return QObject::eventFilter(watched, event);
    }

private:
    bool mHasPainted = false;
};

// A widget, to which pictures are handed. A widget that refuses it doesn't repaint.
class Tile
{
public:
    Tile(const Pictures& pictures, QWidget* widget, const QRect& geometry)
        : mPictures(pictures)
        , mPaints(widget)
    {
        widget->setGeometry(geometry);
    }
    virtual ~Tile() = default;

    virtual void give(size_t index) = 0;
    /** Whether it has painted since this was last called. */
    bool takePaints() { return mPaints.take(); }

protected:
    const Pictures& mPictures;

private:
    PaintObserver mPaints;
};

class Overlay : public renderlib::CustomSubWidget
{
public:
    Overlay(renderlib::CustomVideoWidget* widget, int index)
        : CustomSubWidget(widget)
    {
        setGeometry(40, 40 + index * 120, 400, 80);
    }

    void paint(QPainter* painter) override
    {
        painter->save();
        painter->fillRect(0, 0, width(), height(), QColor(0, 0, 0, 128));
        painter->setPen(Qt::white);
        painter->drawText(
            QRect(0, 0, width(), height()), Qt::AlignCenter, QString::number(++mPaintCount));
        painter->restore();
    }

private:
    int mPaintCount = 0;
};

class CustomTile : public Tile
{
public:
    CustomTile(const Pictures& pictures, renderlib::CustomVideoWidget* widget,
        const QRect& geometry, int overlays)
        : Tile(pictures, widget, geometry)
        , mWidget(widget)
    {
        for (int i = 0; i < overlays; ++i)
            mOverlays.push_back(std::make_unique<Overlay>(widget, i));
    }

    void give(size_t index) override { mWidget->updateFrame(mPictures[index].frame); }

private:
    renderlib::CustomVideoWidget* mWidget;
    std::vector<std::unique_ptr<Overlay>> mOverlays;
};

// Takes the least time that a conversion to RGB can take: into memory that is there already.
class RgbConverter
{
public:
    explicit RgbConverter(const QSize& size)
        : mImages{QImage(size, QImage::Format_RGB32), QImage(size, QImage::Format_RGB32)}
        , mContext(
              sws_getContext(size.width(), size.height(), AV_PIX_FMT_YUV420P, size.width(),
                  size.height(), AV_PIX_FMT_BGRA, SWS_FAST_BILINEAR, nullptr, nullptr, nullptr),
              sws_freeContext)
    {
        const int* const table = sws_getCoefficients(SWS_CS_DEFAULT);
        sws_setColorspaceDetails(mContext.get(), table, 1, table, 0, 0, 1 << 16, 1 << 16);
    }

    QVideoFrame convert(const Picture& picture)
    {
        // Whoever shows the last frame still holds the other image.
        std::swap(mImages[0], mImages[1]);
        QImage& image = mImages[0];
        const int width = image.width();
        const uint8_t* const planes[] = {
            picture.planes[0], picture.planes[1], picture.planes[2], nullptr};
        const int strides[] = {width, width / 2, width / 2, 0};
        uint8_t* const target[] = {image.bits(), nullptr, nullptr, nullptr};
        const int targetStrides[] = {image.bytesPerLine(), 0, 0, 0};
        sws_scale(mContext.get(), planes, strides, 0, image.height(), target, targetStrides);
        return QVideoFrame(image);
    }

private:
    std::array<QImage, 2> mImages;
    std::unique_ptr<SwsContext, void (*)(SwsContext*)> mContext;
};

class QtTile : public Tile
{
public:
    QtTile(const Pictures& pictures, QVideoWidget* widget, const QRect& geometry,
        Conversion conversion)
        : Tile(pictures, widget, geometry)
        , mConverter(pictures.front().frame.size())
        , mSurface(widget->videoSurface())
    {
        if (conversion == Conversion::EachTime)
            return;
        for (const Picture& picture : pictures)
            mConverted.emplace_back(mConverter.convert(picture).image().copy());
    }

    void give(size_t index) override
    {
        const QVideoFrame frame =
            mConverted.empty() ? mConverter.convert(mPictures[index]) : mConverted[index];
        if (!mSurface->isActive())
            mSurface->start(QVideoSurfaceFormat(frame.size(), frame.pixelFormat()));
        mSurface->present(frame);
    }

private:
    RgbConverter mConverter;
    std::vector<QVideoFrame> mConverted;
    QAbstractVideoSurface* mSurface;
};

class WidgetOutput : public VideoOutput
{
public:
    explicit WidgetOutput(const Pictures& pictures)
        : mPictures(pictures)
    {
        mWindow.setGeometry(QRect({}, windowSize));
    }

    QWidget* window() { return &mWindow; }

    void add(std::unique_ptr<Tile> tile) { mTiles.push_back(std::move(tile)); }

    // What a widget needs for painting it gets in its first paint events.
    bool open()
    {
        mWindow.show();
        return waitForPaints();
    }

    bool show(int index) override
    {
        for (size_t tile = 0; tile < mTiles.size(); ++tile)
            mTiles[tile]->give((size_t(index) + tile) % mPictures.size());
        return waitForPaints();
    }

private:
    // Until each widget has painted once more.
    bool waitForPaints()
    {
        QElapsedTimer timer;
        timer.start();
        for (size_t tile = 0; tile < mTiles.size();) {
            if (mTiles[tile]->takePaints())
                ++tile;
            else if (timer.elapsed() > patience)
                return false;
            else
                QCoreApplication::processEvents();
        }
        return true;
    }

    const Pictures& mPictures;
    std::vector<std::unique_ptr<Tile>> mTiles;
    QWidget mWindow; // ends before the overlays
};

std::unique_ptr<VideoOutput> opened(std::unique_ptr<WidgetOutput> output)
{
    return output->open() ? std::move(output) : nullptr;
}

} // namespace

std::unique_ptr<VideoOutput> widgetOutput(const Pictures& pictures, int tiles, int overlays)
{
    auto output = std::make_unique<WidgetOutput>(pictures);
    for (int i = 0; i < tiles; ++i)
        output->add(std::make_unique<CustomTile>(pictures,
            new renderlib::CustomVideoWidget(output->window()), tileRect(windowSize, i, tiles),
            overlays));
    return opened(std::move(output));
}

std::unique_ptr<VideoOutput> qtOutput(const Pictures& pictures, Conversion conversion)
{
    auto output = std::make_unique<WidgetOutput>(pictures);
    output->add(std::make_unique<QtTile>(
        pictures, new QVideoWidget(output->window()), tileRect(windowSize, 0, 1), conversion));
    return opened(std::move(output));
}
