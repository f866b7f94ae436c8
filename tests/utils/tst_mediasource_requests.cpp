#include "utils/mediasource.h"

#include <atomic>
#include <memory>
#include <thread>

#include <dlfcn.h>

#include <QDeadlineTimer>
#include <QMetaMethod>
#include <QSemaphore>
#include <QThread>

#include "fakeshm.h"
#include "messagecheck.h"
#include "stillclock.h"

namespace {

constexpr qint64 Now = 1700000000000000;

/** Writes down what a source tells, in order. */
struct Listener
{
    QStringList told;
    QVideoFrame frame;
    QImage image;
    QAudioBuffer audio;

    explicit Listener(MediaSource& source)
    {
        QObject::connect(&source, &MediaSource::videoReady, [this](QVideoFrame const& ready) {
            told.append(ready.isValid() ? QStringLiteral("video %1").arg(ready.startTime())
                                        : QStringLiteral("no video"));
            frame = ready;
        });
        QObject::connect(&source, &MediaSource::imageReady, [this](QImage const& ready) {
            told.append(ready.isNull()
                            ? QStringLiteral("no image")
                            : QStringLiteral("image %1").arg(ready.text(QStringLiteral("pts"))));
            image = ready;
        });
        QObject::connect(&source, &MediaSource::audioReady, [this](QAudioBuffer const& ready) {
            told.append(
                ready.isValid()
                    ? QStringLiteral("audio %1 %2").arg(ready.startTime()).arg(ready.frameCount())
                    : QStringLiteral("no audio"));
            audio = ready;
        });
    }
};

struct Bench
{
    StillClock clock{Now};
    FakeShm shm;
    MediaSource source{QStringLiteral("camera")};
    Listener listener{source};

    void publishBoth()
    {
        shm.publishVideo(64, 36, Now - 500000);
        shm.publishAudio(48000, 2, Now - 1000000, Now);
        source.open();
        source.getVideoFrameSize();
        shm.takeCalls();
    }
};

std::atomic<int> constructing{-1};

QString line(char const* format, qint64 value)
{
    return QString::fromLatin1(format).arg(value);
}

} // namespace

// Stands in front of the converter's constructor, which goes by this name: two threads that want a
// converter meet in it, when a test has set constructing to 0.
extern "C" __attribute__((visibility("default"))) void constructConverter(void* self,
    QSize const& size, bool keepAspectRatio,
    bool pointScaling) __asm__("_ZN25VideoFrameStreamConverterC1ERK5QSizebb");

void constructConverter(void* self, QSize const& size, bool keepAspectRatio, bool pointScaling)
{
    if (constructing >= 0) {
        ++constructing;
        QDeadlineTimer const deadline(20000);
        while (constructing < 2 && !deadline.hasExpired())
            std::this_thread::yield();
    }
    auto const real = reinterpret_cast<void (*)(void*, QSize const&, bool, bool)>(
        dlsym(RTLD_NEXT, "_ZN25VideoFrameStreamConverterC1ERK5QSizebb"));
    real(self, size, keepAspectRatio, pointScaling);
}

class TestMediaSourceRequests : public QObject
{
    Q_OBJECT

private slots:
    void requestVideo_tellsFrame();
    void requestVideoAtTimestamp_asksByTimestamp();
    void requestVideoWithoutStream_tellsInvalidFrame();
    void requestImage_tellsImage();
    void requestImageAtTimestamp_asksByTimestamp();
    void requestImageWithoutStream_tellsNullImage();
    void requestAudio_tellsTheNewestTenthOfASecond();
    void requestAudioAtTimestamp_startsThere();
    void requestAudio_tellsTheRequestedLength();
    void requestAudioWithoutAudio_tellsEmptyBuffer();
    void requestVideoAudio_tellsFrameThenItsAudio();
    void requestVideoAudioWithoutAudio_tellsFrameThenEmptyBuffer();
    void requestVideoAudioWithoutFrame_tellsInvalidFrameOnly();
    void requestVideoAudioOfFrameAheadOfAudio_tellsTheNewestAudio();
    void requestImageAudio_tellsImageThenItsAudio();
    void requestImageAudioWithoutAudio_tellsImageThenEmptyBuffer();
    void requestImageAudioWithoutFrame_tellsNullImageOnly();
    void frame_isGivenBackBeforeItsImageIsTold_data();
    void frame_isGivenBackBeforeItsImageIsTold();

    void metaObject_listsSignalsAndSlots();
    void metaTypes_areRegistered();
    void queuedRequests_areAnswered();
    void signals_crossThreads();
    void getConverterOnTwoThreads_givesOne();
    void requestsOnManyThreads_areAllAnswered();
};

void TestMediaSourceRequests::requestVideo_tellsFrame()
{
    Bench bench;
    bench.publishBoth();

    bench.source.requestVideo();

    QCOMPARE(bench.listener.told, QStringList(line("video %1", Now - 500000)));
    QCOMPARE(bench.listener.frame.size(), QSize(64, 36));
    QCOMPARE(bench.shm.takeCalls(), FakeShm::calls("lock_video 1 0 1"));
}

void TestMediaSourceRequests::requestVideoAtTimestamp_asksByTimestamp()
{
    Bench bench;
    bench.publishBoth();

    bench.source.requestVideo(5000);

    QCOMPARE(bench.shm.takeCalls(), FakeShm::calls("lock_video 1 5000 0"));
}

void TestMediaSourceRequests::requestVideoWithoutStream_tellsInvalidFrame()
{
    Bench bench;

    bench.source.requestVideo();

    QCOMPARE(bench.listener.told, FakeShm::calls("no video"));
}

void TestMediaSourceRequests::requestImage_tellsImage()
{
    Bench bench;
    bench.publishBoth();

    bench.source.requestImage();

    QCOMPARE(bench.listener.told, QStringList(line("image %1", Now - 500000)));
    QCOMPARE(bench.listener.image.size(), QSize(64, 36));
    QCOMPARE(bench.shm.takeCalls(), FakeShm::calls("lock_video 1 0 1; unlock_video 1"));
}

void TestMediaSourceRequests::requestImageAtTimestamp_asksByTimestamp()
{
    Bench bench;
    bench.publishBoth();

    bench.source.requestImage(5000);

    QCOMPARE(bench.shm.takeCalls(), FakeShm::calls("lock_video 1 5000 0; unlock_video 1"));
}

void TestMediaSourceRequests::requestImageWithoutStream_tellsNullImage()
{
    Bench bench;

    bench.source.requestImage();

    QCOMPARE(bench.listener.told, FakeShm::calls("no image"));
}

void TestMediaSourceRequests::requestAudio_tellsTheNewestTenthOfASecond()
{
    Bench bench;
    bench.publishBoth();

    bench.source.requestAudio();

    QCOMPARE(bench.listener.told, QStringList(line("audio %1 4800", Now - 100000)));
}

void TestMediaSourceRequests::requestAudioAtTimestamp_startsThere()
{
    Bench bench;
    bench.publishBoth();

    bench.source.requestAudio(Now - 300000);

    QCOMPARE(bench.listener.told, QStringList(line("audio %1 4800", Now - 300000)));
}

void TestMediaSourceRequests::requestAudio_tellsTheRequestedLength()
{
    Bench bench;
    bench.publishBoth();
    bench.source.setRequestedAudioSamplesCount(480);

    bench.source.requestAudio();

    QCOMPARE(bench.listener.told, QStringList(line("audio %1 480", Now - 10000)));
}

void TestMediaSourceRequests::requestAudioWithoutAudio_tellsEmptyBuffer()
{
    Bench bench;
    bench.shm.publishVideo(64, 36, Now);

    bench.source.requestAudio();

    QCOMPARE(bench.listener.told, FakeShm::calls("no audio"));
}

void TestMediaSourceRequests::requestVideoAudio_tellsFrameThenItsAudio()
{
    Bench bench;
    bench.publishBoth();

    bench.source.requestVideoAudio(5000);

    // The audio begins with the frame that was found, not with the time asked for.
    QCOMPARE(bench.listener.told,
        QStringList() << line("video %1", Now - 500000) << line("audio %1 4800", Now - 500000));
    QCOMPARE(bench.shm.takeCalls(), QStringList()
                                        << QStringLiteral("lock_video 1 5000 0")
                                        << QStringLiteral("get_audio_status 1 0")
                                        << line("query_audio 1 0 1 4800 %1", Now - 500000));
}

void TestMediaSourceRequests::requestVideoAudioWithoutAudio_tellsFrameThenEmptyBuffer()
{
    Bench bench;
    bench.shm.publishVideo(64, 36, Now);

    bench.source.requestVideoAudio();

    QCOMPARE(
        bench.listener.told, QStringList() << line("video %1", Now) << QStringLiteral("no audio"));
}

void TestMediaSourceRequests::requestVideoAudioWithoutFrame_tellsInvalidFrameOnly()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);

    bench.source.requestVideoAudio();

    QCOMPARE(bench.listener.told, FakeShm::calls("no video"));
}

void TestMediaSourceRequests::requestVideoAudioOfFrameAheadOfAudio_tellsTheNewestAudio()
{
    Bench bench;
    bench.publishBoth();
    bench.shm.frame.timestamp = Now + 40000;

    bench.source.requestVideoAudio();

    QCOMPARE(bench.listener.told,
        QStringList() << line("video %1", Now + 40000) << line("audio %1 4800", Now - 100000));
}

void TestMediaSourceRequests::requestImageAudio_tellsImageThenItsAudio()
{
    Bench bench;
    bench.publishBoth();

    bench.source.requestImageAudio(5000);

    QCOMPARE(bench.listener.told,
        QStringList() << line("image %1", Now - 500000) << line("audio %1 4800", Now - 500000));
    QCOMPARE(bench.shm.takeCalls(), QStringList() << QStringLiteral("lock_video 1 5000 0")
                                                  << QStringLiteral("get_audio_status 1 0")
                                                  << line("query_audio 1 0 1 4800 %1", Now - 500000)
                                                  << QStringLiteral("unlock_video 1"));
}

void TestMediaSourceRequests::requestImageAudioWithoutAudio_tellsImageThenEmptyBuffer()
{
    Bench bench;
    bench.shm.publishVideo(64, 36, Now);

    bench.source.requestImageAudio();

    QCOMPARE(
        bench.listener.told, QStringList() << line("image %1", Now) << QStringLiteral("no audio"));
}

void TestMediaSourceRequests::requestImageAudioWithoutFrame_tellsNullImageOnly()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);

    bench.source.requestImageAudio();

    QCOMPARE(bench.listener.told, FakeShm::calls("no image"));
}

void TestMediaSourceRequests::frame_isGivenBackBeforeItsImageIsTold_data()
{
    QTest::addColumn<QByteArray>("request");

    QTest::newRow("image") << QByteArray("requestImage");
    QTest::newRow("image and audio") << QByteArray("requestImageAudio");
}

void TestMediaSourceRequests::frame_isGivenBackBeforeItsImageIsTold()
{
    QFETCH(QByteArray, request);
    Bench bench;
    bench.publishBoth();
    int lockedFrames = -1;
    QObject::connect(
        &bench.source, &MediaSource::imageReady, [&] { lockedFrames = bench.shm.lockedFrames(); });

    QVERIFY(QMetaObject::invokeMethod(&bench.source, request.constData()));

    QCOMPARE(lockedFrames, 0);
}

void TestMediaSourceRequests::metaObject_listsSignalsAndSlots()
{
    QMetaObject const& meta = MediaSource::staticMetaObject;
    QStringList listed[2];
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        QMetaMethod const method = meta.method(i);
        bool const isSignal = method.methodType() == QMetaMethod::Signal;
        listed[isSignal ? 1 : 0].append(QString::fromLatin1(method.methodSignature()));
    }

    QCOMPARE(listed[1],
        FakeShm::calls("videoReady(QVideoFrame); imageReady(QImage); audioReady(QAudioBuffer)"));
    QCOMPARE(listed[0],
        FakeShm::calls("requestVideo(qlonglong); requestVideo(); requestImage(qlonglong); "
                       "requestImage(); requestAudio(qlonglong); requestAudio(); "
                       "requestVideoAudio(qlonglong); requestVideoAudio(); "
                       "requestImageAudio(qlonglong); requestImageAudio()"));
    // Programs write the type by its other name.
    QVERIFY(meta.indexOfSlot("requestVideo(qint64)") >= 0);
}

void TestMediaSourceRequests::metaTypes_areRegistered()
{
    MediaSource const source(QStringLiteral("camera"));

    QCOMPARE(QMetaType::type("QVideoFrame"), qMetaTypeId<QVideoFrame>());
    QCOMPARE(QMetaType::type("QAudioBuffer"), qMetaTypeId<QAudioBuffer>());
    QMetaType::TypeFlags const flags = QMetaType::typeFlags(QMetaType::type("QAudioBuffer"));
    QVERIFY(flags.testFlag(QMetaType::MovableType));
    QVERIFY(flags.testFlag(QMetaType::NeedsConstruction));
    QVERIFY(flags.testFlag(QMetaType::NeedsDestruction));
}

void TestMediaSourceRequests::queuedRequests_areAnswered()
{
    FakeShm shm;
    MediaSource source(QStringLiteral("camera"));
    Listener listener(source);

    for (char const* request : {"requestVideo", "requestImage", "requestAudio"}) {
        QVERIFY(QMetaObject::invokeMethod(&source, request, Qt::QueuedConnection));
        QVERIFY(
            QMetaObject::invokeMethod(&source, request, Qt::QueuedConnection, Q_ARG(qint64, 5000)));
    }
    QCOMPARE(listener.told, QStringList());
    QCoreApplication::processEvents();

    QCOMPARE(listener.told,
        FakeShm::calls("no video; no video; no image; no image; no audio; no audio"));
}

void TestMediaSourceRequests::signals_crossThreads()
{
    FakeShm shm;
    shm.publishVideo(64, 36, Now);
    shm.publishAudio(48000, 2, Now - 1000000, Now);
    MediaSource source(QStringLiteral("camera"));
    QThread thread;
    auto receiver = std::make_unique<QObject>();
    receiver->moveToThread(&thread);
    QSemaphore received;
    std::atomic<int> complete{0};
    auto const count = [&](bool valid) {
        if (valid && QThread::currentThread() == &thread)
            ++complete;
        received.release();
    };
    connect(&source, &MediaSource::videoReady, receiver.get(),
        [&](QVideoFrame const& frame) { count(frame.startTime() == Now); });
    connect(&source, &MediaSource::imageReady, receiver.get(),
        [&](QImage const& image) { count(image.size() == QSize(64, 36)); });
    connect(&source, &MediaSource::audioReady, receiver.get(),
        [&](QAudioBuffer const& buffer) { count(buffer.frameCount() == 4800); });
    thread.start();

    source.requestVideoAudio();
    source.requestImage();

    bool const all = received.tryAcquire(3, 20000);
    thread.quit();
    thread.wait();
    receiver.reset();
    QVERIFY(all);
    QCOMPARE(complete.load(), 3);
    // The frame went back from the other thread.
    QCOMPARE(shm.lockedFrames(), 0);
}

void TestMediaSourceRequests::getConverterOnTwoThreads_givesOne()
{
    MediaSource source(QStringLiteral("camera"));
    VideoFrameConverter* converters[2] = {};
    constructing = 0;

    std::thread first([&] { converters[0] = source.getVideoFrameConverter(); });
    std::thread second([&] { converters[1] = source.getVideoFrameConverter(); });
    first.join();
    second.join();

    QCOMPARE(constructing.exchange(-1), 2);
    QCOMPARE(converters[0], converters[1]);
    QCOMPARE(source.getVideoFrameConverter(), converters[0]);
}

void TestMediaSourceRequests::requestsOnManyThreads_areAllAnswered()
{
    FakeShm shm;
    shm.publishVideo(64, 36, Now);
    shm.publishAudio(48000, 2, Now - 1000000, Now);
    MediaSource source(QStringLiteral("camera"));
    std::atomic<int> frames{0};
    std::atomic<int> images{0};
    std::atomic<int> buffers{0};
    // Without a receiver, the lambdas run where the signal is emitted.
    connect(&source, &MediaSource::videoReady, [&](QVideoFrame const& frame) {
        if (frame.isValid())
            ++frames;
    });
    connect(&source, &MediaSource::imageReady, [&](QImage const& image) {
        if (image.size() == QSize(64, 36))
            ++images;
    });
    connect(&source, &MediaSource::audioReady, [&](QAudioBuffer const& buffer) {
        if (buffer.frameCount() == 4800)
            ++buffers;
    });

    auto const work = [&] {
        for (int i = 0; i < 100; ++i) {
            source.requestVideoAudio();
            source.requestImageAudio();
            source.setRequestedAudioSamplesCount(4800);
        }
    };
    std::thread first(work);
    std::thread second(work);
    first.join();
    second.join();

    QCOMPARE(frames.load(), 200);
    QCOMPARE(images.load(), 200);
    QCOMPARE(buffers.load(), 400);
    QVERIFY(!shm.overlapped());
    QCOMPARE(shm.lockedFrames(), 0);
}

QVORLIN_TEST_MAIN(QCoreApplication, TestMediaSourceRequests)
#include "tst_mediasource_requests.moc"
