#include "gallerywindow.h"

#include <algorithm>
#include <cmath>

#include <QHBoxLayout>
#include <QPainter>
#include <QScreen>

#include "buttoncard.h"
#include "codecard.h"
#include "galleryheader.h"
#include "galleryoptions.h"
#include "gallerystyle.h"
#include "imagecard.h"
#include "imageglcard.h"
#include "metercard.h"
#include "storecard.h"
#include "videocard.h"
#include "videoview.h"
#include "widgets/imageglwidget.h"
#include "widgets/imagewidget.h"

namespace {

// Sizes are those of a window of this size; others are in proportion.
constexpr QSize DesignSize(1280, 720);
constexpr double MinScale = 0.75;
constexpr double ScaleStep = 0.125;

constexpr int Margin = 16;
constexpr int Gap = 12;
constexpr int RefreshMs = 500;

} // namespace

GalleryWindow::GalleryWindow(GalleryOptions const& options)
    : mHeader(new GalleryHeader(options.stream, this))
    , mVideo(new VideoCard(options.stream, this))
    , mImage(new ImageCard(this))
    , mImageGL(new ImageGLCard(this))
    , mMeters(new MeterCard(this))
    , mButton(new ButtonCard(this))
    , mCode(new CodeCard(options.codeText(), this))
    , mStore(new StoreCard(options.shownKeys(), this))
    , mDisplay(options.stream, options.rateNum, options.rateDen, mVideo->view())
    , mImages(QSharedPointer<MediaSource>::create(options.stream), options.rateNum, options.rateDen)
    , mLevels(mDisplay.source())
{
    setWindowTitle(QStringLiteral("QVorlin gallery: %1").arg(options.stream));
    setAttribute(Qt::WA_StyledBackground);
    setMinimumSize(DesignSize * MinScale);
    makeLayout();
    connectStream();
    connect(&mRefreshTimer, &QTimer::timeout, this, &GalleryWindow::refresh);
    resize(DesignSize.boundedTo(screen()->availableSize()));
    if (options.fullScreen) {
        // Without a window manager only the geometry makes it so.
        setGeometry(screen()->geometry());
        setWindowState(Qt::WindowFullScreen);
    }
    // What is painted by OpenGL keeps the resolution that it has when it is first shown.
    fitScale();
    for (QWidget* widget : findChildren<QWidget*>())
        widget->ensurePolished();
}

GalleryWindow::~GalleryWindow() = default;

void GalleryWindow::start()
{
    mDisplay.start();
    mImages.start();
    mLevels.start();
    mRefreshTimer.start(RefreshMs);
    refresh();
}

void GalleryWindow::stop()
{
    mRefreshTimer.stop();
    mLevels.stop();
    mImages.stop();
    mDisplay.stop();
}

QJsonObject GalleryWindow::report() const
{
    QJsonObject result = mDisplay.report().toJson();
    QString const renderer = mVideo->view().renderer();
    result[QStringLiteral("renderer")] = renderer.isNull() ? QJsonValue() : QJsonValue(renderer);
    ImageGLWidget const& images = mImageGL->view();
    result[QStringLiteral("images")] = QJsonObject{
        {QStringLiteral("updateRate"), rounded(images.updateRate())},
        {QStringLiteral("renderRate"), rounded(images.renderRate())},
        {QStringLiteral("displayRate"), rounded(images.displayRate())},
    };
    return result;
}

QImage GalleryWindow::picture()
{
    QImage const video = mVideo->view().picture();
    if (video.isNull())
        return {};
    // The video widget, a window of its own, is not among what is grabbed.
    QImage result = grab().toImage();
    VideoView& view = mVideo->view();
    QPainter(&result).drawImage(QRect(view.mapTo(this, QPoint()), view.size()), video);
    return result;
}

void GalleryWindow::resizeEvent(QResizeEvent* /*event*/)
{
    fitScale();
}

void GalleryWindow::fitScale()
{
    double const room =
        std::min(double(width()) / DesignSize.width(), double(height()) / DesignSize.height());
    // In steps, since each costs a new layout.
    double const scale = std::max(MinScale, std::floor(room / ScaleStep) * ScaleStep);
    if (scale != mScale)
        setScale(scale);
}

void GalleryWindow::makeLayout()
{
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(mHeader);
    mRows = new QVBoxLayout;
    column->addLayout(mRows, 1);
    struct Place
    {
        Card* card;
        int row;
        int share; /**< of the row's width */
    };
    // The upper row leaves the video widget room in the shape of most pictures.
    Place const places[] = {
        {mVideo, 0, 556},
        {mImage, 0, 334},
        {mImageGL, 0, 334},
        {mMeters, 1, 420},
        {mButton, 1, 220},
        {mCode, 1, 300},
        {mStore, 1, 272},
    };
    for (int const share : {384, 236})
        mRows->addLayout(new QHBoxLayout, share);
    for (Place const& place : places)
        static_cast<QHBoxLayout*>(mRows->itemAt(place.row)->layout())
            ->addWidget(place.card, place.share);
}

void GalleryWindow::connectStream()
{
    connect(&mDisplay, &StreamDisplay::waiting, this, [this] {
        mImage->wait();
        mImageGL->wait();
    });
    connect(&mImages, &ImagePump::imageReady, this, [this](QImage const& image) {
        mImage->showImage(image);
        mImageGL->showImage(image);
    });
    connect(&mLevels, &SoundLevels::channelsChanged, this, [this](int channels) {
        mVideo->meter().setSoundChannels(channels);
        if (channels > 0)
            mMeters->setChannels(channels);
    });
    connect(&mLevels, &SoundLevels::levelsChanged, this, [this](AudioLevels const& levels) {
        mVideo->meter().updateAudioLevels(levels);
        mMeters->showLevels(levels);
    });
}

void GalleryWindow::setScale(double scale)
{
    mScale = scale;
    setStyleSheet(gallerystyle::sheet(scale));
    int const margin = qRound(Margin * scale);
    mRows->setContentsMargins(margin, margin, margin, margin);
    mRows->setSpacing(qRound(Gap * scale));
    for (int row = 0; row < mRows->count(); ++row)
        mRows->itemAt(row)->layout()->setSpacing(qRound(Gap * scale));
    mHeader->setScale(scale);
    for (Card* card : findChildren<Card*>())
        card->setScale(scale);
}

void GalleryWindow::refresh()
{
    // The images are made no larger than they are shown.
    mImages.fitImagesInto(mImage->view().size());
    mHeader->refresh(mDisplay.report().stream, mLevels.format());
    mImage->refresh();
    mImageGL->refresh();
    mCode->refresh();
    mStore->refresh();
}
