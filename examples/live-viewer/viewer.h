#ifndef VIEWER_H
#define VIEWER_H

#include <memory>
#include <optional>

#include <QImage>
#include <QJsonObject>
#include <QObject>
#include <QString>

#include "distribution.h"
#include "lipsync.h"
#include "streamreport.h"
#include "streamsound.h"

class QVorlinApplication;
class QWidget;
struct Options;

/** A window that shows a stream, by either renderer, and plays its sound. */
class Viewer : public QObject
{
    Q_OBJECT

public:
    /** The viewer for the renderer that @p options ask for. */
    static std::unique_ptr<Viewer> make(Options const& options);

    void start();
    void stop();

    /** Opens the stream, the sound and all that goes with them anew; the window stays. */
    void reopen();

    /**
     * Reopens and saves screenshots at the application's signals, and dims the controls after
     * @p inactivity seconds without input; 0: never.
     */
    void heed(QVorlinApplication& application, double inactivity);

    /** Lets the controls stand back, or come forth again. */
    virtual void setDimmed(bool dimmed) = 0;

    /** The picture of the window now. */
    virtual QImage picture() = 0;

    /** Saves the picture of the window now. */
    void saveScreenshot();

    virtual StreamReport report() const = 0;

    /** What became of the sound; null without. */
    QJsonValue audioReport() const;

    /** The device that paints; null when it is not OpenGL. */
    virtual QString renderer() const = 0;

    bool eventFilter(QObject* watched, QEvent* event) override;

Q_SIGNALS:
    /** The first frame since the start, or since waiting(), is on the screen. */
    void showing();

    /** The stream has gone. */
    void waiting();

    /** The sound can no longer be heard, or can again. */
    void mutedChanged(bool muted);

    /** The frame of this time is on the screen for the first time, at @p now. */
    void framePainted(qint64 timestamp, qint64 now);

protected:
    explicit Viewer(Options const& options);

    void toggleMuted();

    /** What the kinds of viewers have each in their own way. @{ */
    virtual QWidget& window() = 0;
    virtual void startPicture() = 0;
    virtual void stopPicture() = 0;
    virtual void reopenPicture() = 0;
    virtual QSharedPointer<MediaSource> source() const = 0;
    virtual void moveTo(qint64 timestamp) = 0;
    virtual void noteSound(QString const& note) = 0;
    virtual void setChannels(int channels) = 0;
    virtual void showLevels(AudioLevels const& levels) = 0;
    /** @} */

    /** How far the picture is ahead of the sound; nothing: there is no sound. */
    virtual void showOffset(std::optional<double> milliseconds) = 0;

private:
    void louder();
    void softer();
    void noteSoundChanges();
    void onFramePainted(qint64 timestamp, qint64 now);
    void onChannelsChanged(int channels);

    QString const mScreenshots;
    qint64 const mAudioDelay;            // µs
    std::unique_ptr<StreamSound> mSound; // null: not wanted
    LipSync mLipSync;
    Distribution mOffsets; // of the frames painted from the sound heard, µs
    // Of the frames since the figure was last shown.
    int mNewOffsets = 0;
    qint64 mOffsetSum = 0;
    qint64 mOffsetsSince = 0;
};

#endif
