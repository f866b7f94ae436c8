#include "utils/mediasource.h"

#include <memory>
#include <vector>

#include <dlfcn.h>

#include "fakeshm.h"
#include "messagecheck.h"
#include "objectlayout.h"
#include "stillclock.h"
#include "utils/videoconverter.h"

struct SwsContext;

namespace {

constexpr qint64 Now = 1700000000000000;

FakeShm* witness = nullptr;

/** A source of the stream "camera" that no clock disturbs. */
struct Bench
{
    StillClock clock{Now};
    FakeShm shm;
    MediaSource source{QStringLiteral("camera")};

    /** Opens the source, has its liveness checked, and forgets the calls. */
    void settle()
    {
        source.open();
        source.getVideoFrameSize();
        shm.takeCalls();
    }
};

} // namespace

// Writes the end of a converter down among the calls to the stream library.
extern "C" __attribute__((visibility("default"))) void sws_freeContext(SwsContext* context)
{
    if (witness)
        witness->record(QStringLiteral("sws_freeContext"));
    auto const real = reinterpret_cast<void (*)(SwsContext*)>(dlsym(RTLD_NEXT, "sws_freeContext"));
    real(context);
}

class TestMediaSource : public QObject
{
    Q_OBJECT

private slots:
    void construct_opensNothing();
    void construct_takesParent();
    void name_isUnchanged_data();
    void name_isUnchanged();
    void nameWithNul_endsThere();
    void open_opensAtOnce();
    void openMissingStream_fails();
    void close_closesHandle();
    void destroy_endsConverterBeforeReader();
    void destroyWhileFrameHeld_keepsFrameValid();

    void syncRange_refusesMedia();
    void frameRate_isApplied();
    void frameRateAsNumber_isApplied();

    void videoFrameSize_isTheStreams();
    void videoFrameSizeWithoutStream_isInvalid();
    void grabVideo_asksByTimestamp();
    void grabImage_convertsTheFrame();
    void grabImageWithoutFrame_isNull();
    void audioFormat_isTheStreams();
    void rawAudio_passesModeAndCount();
    void audio_usesModeZero();
    void audioAtNegativeTime_countsBackFromTheNewest();
    void audioLastTimestamp_usesModeZero();
    void defaultSamplesCount_isATenthOfASecond();
    void defaultSamplesCount_isTheRequestedOne();
    void defaultSamplesCount_returnsToDefaultWithZero();
    void defaultSamplesCountWithoutAudio_isZero();
    void requestedSamplesCountWithoutAudio_isKept();
    void defaultSamplesCount_followsTheStream();
    void defaultSamplesCountOfNegativeRate_isZero();
    void videoStatus_isTheStreams();
    void videoStatusWithoutFrames_isDefault();
    void videoStatusWithoutStream_isDefault();

    void converter_isMadeOnFirstUseAtFrameSize();
    void requestedImageSize_makesTheConverter();
    void requestedImageSize_resetsTheConverter();
    void requestedImageSettings_reachTheConverter();

    void members_keepTheirOrder();
};

void TestMediaSource::construct_opensNothing()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);

    QCOMPARE(bench.shm.takeCalls(), QStringList());
}

void TestMediaSource::construct_takesParent()
{
    QObject parent;
    auto const* source = new MediaSource(QStringLiteral("camera"), &parent);

    QCOMPARE(source->parent(), &parent);
}

void TestMediaSource::name_isUnchanged_data()
{
    QTest::addColumn<QString>("name");

    QTest::newRow("plain") << "camera";
    QTest::newRow("empty") << "";
    QTest::newRow("path") << "../hdmi 1/main";
    QTest::newRow("beyond ASCII") << QString::fromUtf8("Bühne ½ 日本 🎥");
}

void TestMediaSource::name_isUnchanged()
{
    QFETCH(QString, name);
    MediaSource const source(name);

    QCOMPARE(source.name(), name);
}

void TestMediaSource::nameWithNul_endsThere()
{
    FakeShm shm;
    MediaSource source(QString(QLatin1String("cam\0era", 7)));

    QCOMPARE(source.name(), QStringLiteral("cam"));
    source.open();
    QCOMPARE(shm.takeCalls(), FakeShm::calls("open cam"));
}

void TestMediaSource::open_opensAtOnce()
{
    Bench bench;
    bench.source.open();
    bench.shm.takeCalls();
    bench.shm.publishVideo(4, 2, Now);

    // Without the wait for a stream that was absent a moment ago.
    QVERIFY(bench.source.open());

    QCOMPARE(bench.shm.takeCalls(), FakeShm::calls("open camera; get_format 1; set_fps 1 1 1"));
}

void TestMediaSource::openMissingStream_fails()
{
    Bench bench;

    QVERIFY(!bench.source.open());
}

void TestMediaSource::close_closesHandle()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.settle();

    bench.source.close();

    QCOMPARE(bench.shm.takeCalls(), FakeShm::calls("close 1"));
}

void TestMediaSource::destroy_endsConverterBeforeReader()
{
    FakeShm shm;
    shm.publishVideo(64, 36, Now);
    auto source = std::make_unique<MediaSource>(QStringLiteral("camera"));
    QVERIFY(!source->grabImage(0).isNull());
    shm.takeCalls();

    witness = &shm;
    source.reset();
    witness = nullptr;

    QCOMPARE(shm.takeCalls(), FakeShm::calls("sws_freeContext; close 1"));
}

void TestMediaSource::destroyWhileFrameHeld_keepsFrameValid()
{
    FakeShm shm;
    shm.publishVideo(4, 2, Now);
    auto source = std::make_unique<MediaSource>(QStringLiteral("camera"));
    QVideoFrame frame = source->grabVideo(0);

    source.reset();

    QCOMPARE(shm.openHandles(), 1);
    QVERIFY(frame.map(QAbstractVideoBuffer::ReadOnly));
    QCOMPARE(frame.bits(2)[0], uchar{0});
    frame.unmap();
    frame = QVideoFrame();
    QCOMPARE(shm.openHandles(), 0);
}

void TestMediaSource::syncRange_refusesMedia()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now - 1500000);
    bench.source.setRealtimeSyncRange(-1000, 0);

    QVERIFY(!bench.source.grabVideo(0).isValid());
    bench.shm.frame.timestamp = Now - 500000;
    QVERIFY(bench.source.grabVideo(0).isValid());
    bench.shm.frame.timestamp = Now + 1;
    QVERIFY(!bench.source.grabVideo(0).isValid());
}

void TestMediaSource::frameRate_isApplied()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.settle();

    bench.source.setVideoFrameRate(30000u, 1001u);

    QCOMPARE(bench.shm.takeCalls(), FakeShm::calls("set_fps 1 30000 1001"));
}

void TestMediaSource::frameRateAsNumber_isApplied()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.settle();

    bench.source.setVideoFrameRate(29.97);

    QCOMPARE(bench.shm.takeCalls(), FakeShm::calls("set_fps 1 29970 1000"));
}

void TestMediaSource::videoFrameSize_isTheStreams()
{
    Bench bench;
    bench.shm.publishVideo(1920, 1080, Now);

    QCOMPARE(bench.source.getVideoFrameSize(), QSize(1920, 1080));
}

void TestMediaSource::videoFrameSizeWithoutStream_isInvalid()
{
    Bench bench;

    QCOMPARE(bench.source.getVideoFrameSize(), QSize(-1, -1));
}

void TestMediaSource::grabVideo_asksByTimestamp()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.settle();

    QCOMPARE(bench.source.grabVideo(0).startTime(), Now);
    QCOMPARE(bench.source.grabVideo(5000).startTime(), Now);

    QCOMPARE(bench.shm.takeCalls(),
        FakeShm::calls("lock_video 1 0 1; unlock_video 1; lock_video 1 5000 0; unlock_video 1"));
}

void TestMediaSource::grabImage_convertsTheFrame()
{
    Bench bench;
    bench.shm.publishVideo(64, 36, Now);
    bench.settle();

    QImage const image = bench.source.grabImage(5000);

    // The frame is given back as soon as it is converted.
    QCOMPARE(bench.shm.takeCalls(), FakeShm::calls("lock_video 1 5000 0; unlock_video 1"));
    QCOMPARE(image.size(), QSize(64, 36));
    QCOMPARE(image.text(QStringLiteral("pts")), QString::number(Now));
    QCOMPARE(image.text(QStringLiteral("shmname")), QStringLiteral("camera"));
}

void TestMediaSource::grabImageWithoutFrame_isNull()
{
    Bench bench;

    QVERIFY(bench.source.grabImage(0).isNull());
}

void TestMediaSource::audioFormat_isTheStreams()
{
    Bench bench;
    QCOMPARE(bench.source.getAudioFormat(), QAudioFormat());

    bench.shm.publishAudio(44100, 6, Now - 1000000, Now);
    bench.settle();

    QAudioFormat const format = bench.source.getAudioFormat();
    QCOMPARE(format.sampleRate(), 44100);
    QCOMPARE(format.channelCount(), 6);
    QCOMPARE(format.codec(), QStringLiteral("audio/pcm"));
}

void TestMediaSource::rawAudio_passesModeAndCount()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);
    bench.settle();
    short samples[8] = {};

    QCOMPARE(bench.source.grabAudio(3, 4ul, samples, 7000), 4ul);

    QCOMPARE(bench.shm.takeCalls(), FakeShm::calls("query_audio 1 3 4 1 7000"));
    QCOMPARE(samples[7], short{7});
}

void TestMediaSource::audio_usesModeZero()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);
    bench.settle();

    QCOMPARE(bench.source.grabAudio(48ul, static_cast<long>(Now - 500000)).frameCount(), 48);

    QCOMPARE(bench.shm.takeCalls(),
        QStringList() << QStringLiteral("get_audio_status 1 0")
                      << QStringLiteral("query_audio 1 0 1 48 %1").arg(Now - 500000));
}

void TestMediaSource::audioAtNegativeTime_countsBackFromTheNewest()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);

    QCOMPARE(bench.source.grabAudio(4800ul, 0L).startTime(), Now - 100000);
    QCOMPARE(bench.source.grabAudio(4800ul, -50000L).startTime(), Now - 150000);
}

void TestMediaSource::audioLastTimestamp_usesModeZero()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);
    bench.settle();

    QCOMPARE(bench.source.getAudioLastTimestamp(), Now);

    QCOMPARE(bench.shm.takeCalls(), FakeShm::calls("get_audio_status 1 0"));
}

void TestMediaSource::defaultSamplesCount_isATenthOfASecond()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);

    QCOMPARE(bench.source.getDefaultSamplesCount(), 4800ul);
}

void TestMediaSource::defaultSamplesCount_isTheRequestedOne()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);

    bench.source.setRequestedAudioSamplesCount(1024);

    QCOMPARE(bench.source.getDefaultSamplesCount(), 1024ul);
}

void TestMediaSource::defaultSamplesCount_returnsToDefaultWithZero()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);
    bench.source.setRequestedAudioSamplesCount(1024);

    bench.source.setRequestedAudioSamplesCount(0);

    QCOMPARE(bench.source.getDefaultSamplesCount(), 4800ul);
}

void TestMediaSource::defaultSamplesCountWithoutAudio_isZero()
{
    Bench bench;
    QCOMPARE(bench.source.getDefaultSamplesCount(), 0ul);

    bench.shm.publishVideo(4, 2, Now);
    bench.settle();
    QCOMPARE(bench.source.getDefaultSamplesCount(), 0ul);
}

void TestMediaSource::requestedSamplesCountWithoutAudio_isKept()
{
    Bench bench;

    bench.source.setRequestedAudioSamplesCount(1024);

    QCOMPARE(bench.source.getDefaultSamplesCount(), 1024ul);
    QCOMPARE(bench.shm.takeCalls(), QStringList());
}

void TestMediaSource::defaultSamplesCount_followsTheStream()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);
    QCOMPARE(bench.source.getDefaultSamplesCount(), 4800ul);

    bench.shm.publishAudio(44100, 2, Now - 1000000, Now);
    bench.source.open();

    QCOMPARE(bench.source.getDefaultSamplesCount(), 4410ul);
}

void TestMediaSource::defaultSamplesCountOfNegativeRate_isZero()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);
    bench.shm.format.audio_sample_rate = -48000;

    QCOMPARE(bench.source.getDefaultSamplesCount(), 0ul);
}

void TestMediaSource::videoStatus_isTheStreams()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.shm.format.video_frame_count = 8;
    bench.shm.videoStatus.frames_valid = 1;
    bench.shm.videoStatus.frame_interval = 40000;
    bench.shm.videoStatus.interval_jitter = 120;
    bench.shm.timestamps = {Now - 40000, Now};
    bench.settle();

    MediaSource::VideoStatus const status = bench.source.getVideoStatus();

    QCOMPARE(bench.shm.takeCalls(), FakeShm::calls("get_video_status 1; get_video_timestamps 1 8"));
    QCOMPARE(status.timestamps, (QVector<qint64>{Now - 40000, Now}));
    QCOMPARE(status.frameInterval, qint64{40000});
    QCOMPARE(status.intervalJitter, qint64{120});
}

void TestMediaSource::videoStatusWithoutFrames_isDefault()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.shm.format.video_frame_count = 8;
    bench.shm.videoStatus.frame_interval = 40000;
    bench.shm.videoStatus.interval_jitter = 120;
    bench.shm.timestamps = {Now};
    bench.settle();

    MediaSource::VideoStatus const status = bench.source.getVideoStatus();

    QCOMPARE(bench.shm.takeCalls(), FakeShm::calls("get_video_status 1"));
    QVERIFY(status.timestamps.isEmpty());
    QCOMPARE(status.frameInterval, qint64{0});
    QCOMPARE(status.intervalJitter, qint64{0});
}

void TestMediaSource::videoStatusWithoutStream_isDefault()
{
    Bench bench;

    MediaSource::VideoStatus const status = bench.source.getVideoStatus();

    QVERIFY(status.timestamps.isEmpty());
    QCOMPARE(status.frameInterval, qint64{0});
    QCOMPARE(status.intervalJitter, qint64{0});
}

void TestMediaSource::converter_isMadeOnFirstUseAtFrameSize()
{
    Bench bench;
    bench.shm.publishVideo(80, 38, Now);

    VideoFrameConverter* const converter = bench.source.getVideoFrameConverter();

    QVERIFY(dynamic_cast<VideoFrameStreamConverter*>(converter));
    QCOMPARE(bench.source.getVideoFrameConverter(), converter);
    QCOMPARE(bench.source.grabImage(0).size(), QSize(80, 38));
    QCOMPARE(bench.source.getVideoFrameConverter(), converter);
}

void TestMediaSource::requestedImageSize_makesTheConverter()
{
    Bench bench;
    bench.shm.publishVideo(64, 36, Now);

    bench.source.setRequestedImageSize(QSize(32, 32), false, true);

    QCOMPARE(bench.source.grabImage(0).size(), QSize(32, 32));
}

void TestMediaSource::requestedImageSize_resetsTheConverter()
{
    Bench bench;
    bench.shm.publishVideo(64, 36, Now);
    bench.source.setRequestedImageSize(QSize(32, 32), false, true);
    QCOMPARE(bench.source.grabImage(0).size(), QSize(32, 32));
    VideoFrameConverter* const converter = bench.source.getVideoFrameConverter();

    bench.source.setRequestedImageSize(QSize(16, 8), false, true);

    QCOMPARE(bench.source.getVideoFrameConverter(), converter);
    QCOMPARE(bench.source.grabImage(0).size(), QSize(16, 8));
}

void TestMediaSource::requestedImageSettings_reachTheConverter()
{
    Bench bench;
    bench.shm.publishVideo(16, 16, Now);
    // Black on the left, white on the right.
    std::vector<uint8_t> luma(16 * 16);
    for (size_t i = 0; i < luma.size(); ++i)
        luma[i] = i % 16 < 8 ? 0 : 255;
    std::vector<uint8_t> chroma(8 * 8, 128);
    bench.shm.frame.plane0 = luma.data();
    bench.shm.frame.plane1 = bench.shm.frame.plane2 = chroma.data();

    // Stretched, not fitted; and nearest samples, so that there is no grey between black and white.
    bench.source.setRequestedImageSize(QSize(128, 32), false, true);
    QImage const sharp = bench.source.grabImage(0);
    QCOMPARE(sharp.size(), QSize(128, 32));
    for (int x = 0; x < sharp.width(); ++x)
        QVERIFY(qGray(sharp.pixel(x, 0)) < 5 || qGray(sharp.pixel(x, 0)) > 250);

    // Fitted, and blended.
    bench.source.setRequestedImageSize(QSize(128, 64), true, false);
    QImage const soft = bench.source.grabImage(0);
    QCOMPARE(soft.size(), QSize(64, 64));
    int greys = 0;
    for (int x = 0; x < soft.width(); ++x)
        greys += qGray(soft.pixel(x, 0)) > 50 && qGray(soft.pixel(x, 0)) < 200 ? 1 : 0;
    QVERIFY(greys > 0);
}

void TestMediaSource::members_keepTheirOrder()
{
    MediaSource source(QStringLiteral("camera"));
    unsigned long const count = 0x123456789abcdef;
    source.setRequestedAudioSamplesCount(count);
    auto* const converter =
        static_cast<VideoFrameStreamConverter*>(source.getVideoFrameConverter());

    constexpr size_t reader = sizeof(QObject);
    QCOMPARE(static_cast<size_t>(offsetIn(source, count)), reader + sizeof(void*));
    QCOMPARE(
        static_cast<size_t>(offsetIn(source, converter)), reader + sizeof(void*) + sizeof(count));
    QCOMPARE(sizeof(source), reader + 2 * sizeof(void*) + sizeof(count));
}

QVORLIN_TEST_MAIN(QCoreApplication, TestMediaSource)
#include "tst_mediasource.moc"
