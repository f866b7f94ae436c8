#include "viewer.h"

#include <algorithm>
#include <iterator>

#include <QKeyEvent>
#include <QWidget>

#include "application/qvorlinapplication.h"
#include "framestatistics.h"
#include "imageviewer.h"
#include "options.h"
#include "screenshot.h"
#include "videoviewer.h"

namespace {

constexpr int VolumeStep = 10;
constexpr qint64 MicrosecondsPerMs = 1000;

constexpr qint64 MaxOffset = 2'000'000;    // µs; all beyond counts as this
constexpr qint64 OffsetClass = 100;        // µs
constexpr qint64 OffsetPeriod = 1'000'000; // µs; how often the figure is shown

QJsonValue milliseconds(std::optional<double> const& microseconds)
{
    return microseconds ? QJsonValue(rounded(*microseconds / MicrosecondsPerMs)) : QJsonValue();
}

} // namespace

std::unique_ptr<Viewer> Viewer::make(Options const& options)
{
    if (options.renderer == Renderer::OpenGL)
        return std::make_unique<VideoViewer>(options);
    return std::make_unique<ImageViewer>(options);
}

Viewer::Viewer(Options const& options)
    : mScreenshots(options.screenshots.isEmpty() ? QStringLiteral(".") : options.screenshots)
    , mAudioDelay(options.audioDelayMs * MicrosecondsPerMs)
    , mOffsets(-MaxOffset, MaxOffset, OffsetClass)
{
    if (options.audio) {
        mSound = std::make_unique<StreamSound>(options.audioDevice, mAudioDelay);
        connect(mSound.get(), &StreamSound::channelsChanged, this, &Viewer::onChannelsChanged);
        connect(mSound.get(), &StreamSound::levelsChanged, this, &Viewer::showLevels);
    }
    connect(this, &Viewer::showing, this, [this] { mLipSync.restart(); });
    connect(this, &Viewer::framePainted, this, &Viewer::onFramePainted);
}

void Viewer::start()
{
    window().installEventFilter(this);
    window().show();
    startPicture();
    if (mSound)
        mSound->open(source());
}

void Viewer::stop()
{
    if (mSound)
        mSound->close();
    stopPicture();
}

void Viewer::reopen()
{
    if (mSound)
        mSound->close();
    reopenPicture();
    if (mSound)
        mSound->open(source());
}

void Viewer::heed(QVorlinApplication& application, double inactivity)
{
    using Application = QVorlinApplication;
    connect(&application, &Application::signalHUP, this, &Viewer::reopen);
    connect(&application, &Application::signalUSR1, this, &Viewer::saveScreenshot);
    connect(&application, &Application::inactivityTimeout, this, [this] { setDimmed(true); });
    connect(&application, &Application::active, this, [this] { setDimmed(false); });
    application.setInactivityTimeout(qRound(inactivity * 1000));
}

void Viewer::saveScreenshot()
{
    ::saveScreenshot(picture(), mScreenshots);
}

QJsonValue Viewer::audioReport() const
{
    // A stream without sound, or nothing to play it on, leaves nothing to tell.
    if (!mOffsets.percentile(0))
        return {};
    SoundFigures const figures = mSound->figures();
    return QJsonObject{
        {QStringLiteral("delayMs"), mAudioDelay / MicrosecondsPerMs},
        {QStringLiteral("underruns"), figures.underruns},
        {QStringLiteral("reanchors"), figures.reanchors},
        {QStringLiteral("silentMs"), rounded(double(figures.silence) / MicrosecondsPerMs)},
        {QStringLiteral("audioVideoOffsetMs"),
            QJsonObject{
                {QStringLiteral("p1"), milliseconds(mOffsets.percentile(0.01))},
                {QStringLiteral("p50"), milliseconds(mOffsets.percentile(0.50))},
                {QStringLiteral("p99"), milliseconds(mOffsets.percentile(0.99))},
            }},
    };
}

bool Viewer::eventFilter(QObject* watched, QEvent* event)
{
    struct Key
    {
        int key;
        void (Viewer::*act)();
        bool needsSound;
    };
    constexpr Key Keys[] = {
        {Qt::Key_Plus, &Viewer::louder, true},
        {Qt::Key_Up, &Viewer::louder, true},
        {Qt::Key_Minus, &Viewer::softer, true},
        {Qt::Key_Down, &Viewer::softer, true},
        {Qt::Key_S, &Viewer::toggleMuted, true},
        {Qt::Key_Print, &Viewer::saveScreenshot, false},
    };
    if (event->type() != QEvent::KeyPress)
        return QObject::eventFilter(watched, event);
    auto const found = std::find_if(std::begin(Keys), std::end(Keys),
        [key = static_cast<QKeyEvent*>(event)->key()](
            Key const& entry) { return entry.key == key; });
    if (found == std::end(Keys) || (found->needsSound && !mSound))
        return QObject::eventFilter(watched, event);
    (this->*found->act)();
    return true;
}

void Viewer::louder()
{
    mSound->changeVolume(VolumeStep);
    noteSoundChanges();
}

void Viewer::softer()
{
    mSound->changeVolume(-VolumeStep);
    noteSoundChanges();
}

void Viewer::toggleMuted()
{
    if (!mSound)
        return;
    mSound->setMuted(!mSound->isMuted());
    noteSoundChanges();
    Q_EMIT mutedChanged(mSound->isMuted());
}

void Viewer::noteSoundChanges()
{
    if (mSound->isMuted())
        noteSound(QStringLiteral("muted"));
    else if (mSound->volume() < 100)
        noteSound(QStringLiteral("volume %1 %").arg(mSound->volume()));
    else
        noteSound(QString());
}

void Viewer::onFramePainted(qint64 timestamp, qint64 now)
{
    std::optional<qint64> const lag = mSound ? mSound->lag() : std::nullopt;
    if (!lag)
        return;
    qint64 const offset = timestamp - (now - *lag);
    mOffsets.add(offset);
    mOffsetSum += offset;
    ++mNewOffsets;
    if (now - mOffsetsSince >= OffsetPeriod || now < mOffsetsSince) {
        showOffset(double(mOffsetSum) / mNewOffsets / MicrosecondsPerMs);
        mOffsetsSince = now;
        mNewOffsets = 0;
        mOffsetSum = 0;
    }
    double const rate = report().stream.rate;
    if (rate > 0) {
        if (auto const moment = mLipSync.painted(timestamp, now, *lag, qint64(1e6 / rate)))
            moveTo(*moment);
    }
}

void Viewer::onChannelsChanged(int channels)
{
    setChannels(channels);
    mLipSync.restart();
    if (channels == 0) {
        showOffset({});
        // No longer held back for the sound's sake.
        moveTo(wallClock());
    }
}
