#include "utils/mediasource.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>
#include <vector>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>

#include "messagecheck.h"

namespace {

constexpr int Timeout = 20000;
constexpr qint64 FrameInterval = 40000;

qint64 now()
{
    using namespace std::chrono;
    return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
}

QString newName()
{
    static int count = 0;
    return QStringLiteral("qvorlin-test/%1-%2")
        .arg(QCoreApplication::applicationPid())
        .arg(++count);
}

/** The program that publishes, in a process of its own. */
class Writer
{
public:
    explicit Writer(QString const& name)
        : mName(name)
    {}
    ~Writer() { end(); }

    /** @return whether there is a second of media */
    bool start()
    {
        mProcess.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        mProcess.start(QCoreApplication::applicationDirPath() + QLatin1String("/livewriter"),
            QStringList(mName));
        return mProcess.waitForReadyRead(Timeout) && mProcess.readAll() == "ready\n";
    }

    /** Without a chance to clean up. */
    void kill()
    {
        mProcess.kill();
        mProcess.waitForFinished(Timeout);
    }

    bool end()
    {
        mProcess.closeWriteChannel();
        return mProcess.waitForFinished(Timeout) && mProcess.exitStatus() == QProcess::NormalExit &&
               mProcess.exitCode() == 0;
    }

private:
    QString mName;
    QProcess mProcess;
};

/** Whether each byte of the picture is the one that was written for the time of the frame. */
bool showsItsTime(QVideoFrame frame)
{
    if (!frame.map(QAbstractVideoBuffer::ReadOnly))
        return false;
    int wrong = frame.planeCount() == 3 ? 0 : 1;
    for (int plane = 0; plane < frame.planeCount(); ++plane) {
        auto const value = static_cast<uchar>(frame.startTime() / FrameInterval + plane);
        int const width = plane == 0 ? frame.width() : frame.width() / 2;
        int const height = plane == 0 ? frame.height() : frame.height() / 2;
        for (int y = 0; y < height; ++y) {
            uchar const* line = frame.bits(plane) + y * frame.bytesPerLine(plane);
            wrong += static_cast<int>(width - std::count(line, line + width, value));
        }
    }
    frame.unmap();
    return wrong == 0;
}

/** Whether this is what the planes of that time make, full range, give or take rounding. */
bool isColourOf(qint64 timestamp, QRgb colour)
{
    auto const value = [&](int plane) {
        return static_cast<double>(static_cast<uchar>(timestamp / FrameInterval + plane));
    };
    double const cb = value(1) - 128;
    double const cr = value(2) - 128;
    auto const isNear = [&](int channel, double offset) {
        return std::abs(channel - qBound(0.0, value(0) + offset, 255.0)) <= 3;
    };
    return isNear(qRed(colour), 1.402 * cr) && isNear(qGreen(colour), -0.344 * cb - 0.714 * cr) &&
           isNear(qBlue(colour), 1.772 * cb);
}

/** Whether the samples are those that were written, in order; @p first is the first's number. */
bool countFrom(qint64 first, qint16 const* samples, int frameCount)
{
    for (int i = 0; i < frameCount; ++i) {
        auto const number = static_cast<qint16>(first + i);
        if (samples[2 * i] != number || samples[2 * i + 1] != static_cast<qint16>(~number))
            return false;
    }
    return true;
}

/** The number of the sample of this time, from the epoch on. */
qint64 sampleAt(qint64 timestamp)
{
    return (timestamp * 6 + 62) / 125;
}

bool soundsItsTime(QAudioBuffer const& buffer)
{
    return buffer.isValid() &&
           countFrom(sampleAt(buffer.startTime()), buffer.constData<qint16>(), buffer.frameCount());
}

} // namespace

class TestMediaSourceLive : public QObject
{
    Q_OBJECT

private slots:
    void grabVideo_givesTheNewestFrame();
    void grabVideoAtTimestamp_givesThatFrame();
    void videoStatus_listsFrames();
    void frameRate_thinsTheVideo();
    void syncRange_refusesWhatIsNotLive();
    void grabAudio_givesTheSamplesOfThatTime();
    void rawAudio_goesOnSampleBySample();
    void requestVideoAudio_tellsWhatBelongsTogether();
    void requestImage_tellsPictureOfTheFrame();
    void framesHeld_neverChange();
    void streamThatComesLater_isFound();
    void writerEnded_streamIsGone();
    void writerKilledAndRestarted_streamIsBackWithinTwoSeconds();
    void writerKilled_framesHeldStay();
};

void TestMediaSourceLive::grabVideo_givesTheNewestFrame()
{
    QString const name = newName();
    Writer writer(name);
    QVERIFY(writer.start());
    MediaSource source(name);

    QVideoFrame const frame = source.grabVideo(0);

    QVERIFY(frame.isValid());
    QCOMPARE(frame.size(), QSize(320, 180));
    QCOMPARE(source.getVideoFrameSize(), QSize(320, 180));
    QCOMPARE(frame.metaData(QStringLiteral("shmname")).toByteArray(), name.toUtf8());
    QVERIFY(frame.startTime() <= now());
    QVERIFY(frame.startTime() > now() - 5000000);
    QVERIFY(showsItsTime(frame));
    QVERIFY(writer.end());
}

void TestMediaSourceLive::grabVideoAtTimestamp_givesThatFrame()
{
    QString const name = newName();
    Writer writer(name);
    QVERIFY(writer.start());
    MediaSource source(name);
    qint64 asked = 0;
    QVideoFrame frame;

    // Not the newest; on a busy machine it may have gone before it is asked for.
    QTRY_VERIFY((asked = source.getVideoStatus().timestamps.value(6),
        frame = source.grabVideo(asked + 10000), frame.startTime() == asked));

    QVERIFY(showsItsTime(frame));
}

void TestMediaSourceLive::videoStatus_listsFrames()
{
    QString const name = newName();
    Writer writer(name);
    QVERIFY(writer.start());
    MediaSource source(name);

    MediaSource::VideoStatus const status = source.getVideoStatus();

    QCOMPARE(status.timestamps.size(), 8);
    for (int i = 1; i < status.timestamps.size(); ++i)
        QCOMPARE(status.timestamps.at(i) - status.timestamps.at(i - 1), FrameInterval);
    QCOMPARE(status.frameInterval, FrameInterval);
    QCOMPARE(status.intervalJitter, qint64{0});
}

void TestMediaSourceLive::frameRate_thinsTheVideo()
{
    QString const name = newName();
    Writer writer(name);
    QVERIFY(writer.start());
    MediaSource source(name);
    source.setVideoFrameRate(12.5);

    MediaSource::VideoStatus const status = source.getVideoStatus();

    QVERIFY(status.timestamps.size() > 1);
    for (int i = 1; i < status.timestamps.size(); ++i)
        QCOMPARE(status.timestamps.at(i) - status.timestamps.at(i - 1), 2 * FrameInterval);
    QCOMPARE(status.frameInterval, 2 * FrameInterval);
}

void TestMediaSourceLive::syncRange_refusesWhatIsNotLive()
{
    QString const name = newName();
    Writer writer(name);
    QVERIFY(writer.start());
    MediaSource source(name);

    source.setRealtimeSyncRange(-10000, 0);
    QVERIFY(source.grabVideo(0).isValid());
    QVERIFY(source.grabAudio(480ul, 0L).isValid());

    source.setRealtimeSyncRange(1000, 10000);
    QVERIFY(!source.grabVideo(0).isValid());
    QVERIFY(!source.grabAudio(480ul, 0L).isValid());
}

void TestMediaSourceLive::grabAudio_givesTheSamplesOfThatTime()
{
    QString const name = newName();
    Writer writer(name);
    QVERIFY(writer.start());
    MediaSource source(name);
    QCOMPARE(source.getAudioFormat().sampleRate(), 48000);
    QCOMPARE(source.getAudioFormat().channelCount(), 2);
    long const time = static_cast<long>(source.getAudioLastTimestamp() - 500000);

    QAudioBuffer const buffer = source.grabAudio(4800ul, time);

    QCOMPARE(buffer.startTime(), static_cast<qint64>(time));
    QCOMPARE(buffer.frameCount(), 4800);
    QVERIFY(soundsItsTime(buffer));
    QVERIFY(soundsItsTime(source.grabAudio(4800ul, 0L)));
}

void TestMediaSourceLive::rawAudio_goesOnSampleBySample()
{
    QString const name = newName();
    Writer writer(name);
    QVERIFY(writer.start());
    MediaSource source(name);
    qint64 const start = source.getAudioLastTimestamp() - 400000;
    std::vector<short> samples(2 * 441);

    // 441 samples don't last a whole number of microseconds.
    for (int i = 0; i < 30; ++i) {
        qint64 const time = start + i * 441 * 125 / 6;
        QCOMPARE(source.grabAudio(3, 441ul, samples.data(), time), 441ul);
        QVERIFY(countFrom(sampleAt(start) + i * 441, samples.data(), 441));
    }
}

void TestMediaSourceLive::requestVideoAudio_tellsWhatBelongsTogether()
{
    QString const name = newName();
    Writer writer(name);
    QVERIFY(writer.start());
    MediaSource source(name);
    QVideoFrame frame;
    QAudioBuffer audio;
    connect(&source, &MediaSource::videoReady, [&](QVideoFrame const& ready) { frame = ready; });
    connect(&source, &MediaSource::audioReady, [&](QAudioBuffer const& ready) { audio = ready; });
    QVector<qint64> const timestamps = source.getVideoStatus().timestamps;
    QVERIFY(timestamps.size() > 4);

    // Three frames before the newest, there are at least 120 ms of audio.
    source.requestVideoAudio(timestamps.at(timestamps.size() - 4));

    QVERIFY(showsItsTime(frame));
    QCOMPARE(audio.startTime(), frame.startTime());
    QCOMPARE(audio.frameCount(), 4800);
    QVERIFY(soundsItsTime(audio));
}

void TestMediaSourceLive::requestImage_tellsPictureOfTheFrame()
{
    QString const name = newName();
    Writer writer(name);
    QVERIFY(writer.start());
    MediaSource source(name);
    source.setRequestedImageSize(QSize(160, 160), true, true);
    QImage image;
    connect(&source, &MediaSource::imageReady, [&](QImage const& ready) { image = ready; });

    source.requestImage();

    QCOMPARE(image.size(), QSize(160, 90));
    qint64 const time = image.text(QStringLiteral("pts")).toLongLong();
    QCOMPARE(time % FrameInterval, qint64{0});
    QVERIFY(time > now() - 5000000);
    QCOMPARE(image.text(QStringLiteral("shmname")), name);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            QVERIFY(isColourOf(time, image.pixel(x, y)));
    }
}

void TestMediaSourceLive::framesHeld_neverChange()
{
    QString const name = newName();
    Writer writer(name);
    QVERIFY(writer.start());
    MediaSource source(name);
    QVector<QVideoFrame> held;

    // More frames than stay visible, each from another time.
    QElapsedTimer timer;
    timer.start();
    while (held.size() < 12 && timer.elapsed() < Timeout) {
        QVideoFrame const frame = source.grabVideo(0);
        QVERIFY(frame.isValid());
        if (held.isEmpty() || frame.startTime() != held.last().startTime())
            held.append(frame);
        QTest::qWait(5);
    }

    QCOMPARE(held.size(), 12);
    for (QVideoFrame const& frame : held)
        QVERIFY(showsItsTime(frame));
}

void TestMediaSourceLive::streamThatComesLater_isFound()
{
    QString const name = newName();
    MediaSource source(name);
    QVERIFY(!source.grabVideo(0).isValid());
    Writer writer(name);

    QVERIFY(writer.start());

    QTRY_VERIFY_WITH_TIMEOUT(source.grabVideo(0).isValid(), 2000);
}

void TestMediaSourceLive::writerEnded_streamIsGone()
{
    QString const name = newName();
    Writer writer(name);
    QVERIFY(writer.start());
    MediaSource source(name);
    QVERIFY(source.grabVideo(0).isValid());

    QVERIFY(writer.end());

    QTRY_VERIFY_WITH_TIMEOUT(!source.grabVideo(0).isValid(), 2000);
    QCOMPARE(source.getVideoFrameSize(), QSize(-1, -1));
    QVERIFY(source.getVideoStatus().timestamps.isEmpty());
    QVERIFY(!source.getAudioFormat().isValid());
    QVERIFY(!source.grabAudio(480ul, 0L).isValid());
    QCOMPARE(source.getAudioLastTimestamp(), qint64{0});
}

void TestMediaSourceLive::writerKilledAndRestarted_streamIsBackWithinTwoSeconds()
{
    QString const name = newName();
    MediaSource source(name);
    source.setVideoFrameRate(12.5);
    Writer killed(name);
    QVERIFY(killed.start());
    QVERIFY(source.open());
    QVideoFrame held = source.grabVideo(0);
    QVERIFY(held.isValid());

    killed.kill();
    Writer restarted(name);
    QVERIFY(restarted.start());
    qint64 const restart = now();

    QTRY_VERIFY_WITH_TIMEOUT(source.grabVideo(0).startTime() > restart, 2000);
    QVideoFrame const frame = source.grabVideo(0);
    QVERIFY(showsItsTime(frame));
    // The rate has come along, and so has what is held of the stream before.
    QCOMPARE(source.getVideoStatus().frameInterval, 2 * FrameInterval);
    QVERIFY(showsItsTime(held));
    QVERIFY(restarted.end());
}

void TestMediaSourceLive::writerKilled_framesHeldStay()
{
    QString const name = newName();
    auto source = std::make_unique<MediaSource>(name);
    QVideoFrame held;
    {
        Writer writer(name);
        QVERIFY(writer.start());
        held = source->grabVideo(0);
        QVERIFY(held.isValid());
        writer.kill();
    }
    QTRY_VERIFY_WITH_TIMEOUT(!source->grabVideo(0).isValid(), 2000);
    QVERIFY(showsItsTime(held));

    // Nor does it need the source, or mind another writer under the name.
    source.reset();
    Writer another(name);
    QVERIFY(another.start());
    QVERIFY(showsItsTime(held));
    held = QVideoFrame();
    QVERIFY(another.end());
}

QVORLIN_TEST_MAIN(QCoreApplication, TestMediaSourceLive)
#include "tst_mediasource_live.moc"
