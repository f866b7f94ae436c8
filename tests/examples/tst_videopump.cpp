#include "videopump.h"

#include <QCoreApplication>
#include <QSignalSpy>
#include <QTest>

#include "messagecheck.h"
#include "streamplace.h"
#include "teststream.h"

namespace {

/** A pump at 200 frames a second of the stream named after the test, which has one frame. */
struct Fixture
{
    QSharedPointer<MediaSource> source =
        QSharedPointer<MediaSource>::create(QString::fromLatin1(QTest::currentTestFunction()));
    VideoPump pump{source, 200, 1};
    QSignalSpy frames{&pump, &VideoPump::frameReady};
    TestStream stream{QTest::currentTestFunction()};

    bool waitForFrames()
    {
        if (!stream.isOpen() || !stream.publish())
            return false;
        pump.start();
        return QTest::qWaitFor([this] { return frames.size() >= 5; });
    }
};

} // namespace

class TestVideoPump : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void streamWithoutFrames_givesNone();
    void stream_givesItsFrames();
    void source_worksInAnotherThread();
    void busyReceiver_leavesFewFramesInTheQueue();
    void stop_endsTheFrames();

private:
    StreamPlace mPlace;
};

void TestVideoPump::streamWithoutFrames_givesNone()
{
    Fixture f;
    f.pump.start();
    QTest::qWait(100);
    QCOMPARE(f.frames.size(), 0);
}

void TestVideoPump::stream_givesItsFrames()
{
    Fixture f;
    QVERIFY(f.waitForFrames());
    auto const frame = f.frames.last().first().value<QVideoFrame>();
    QCOMPARE(frame.size(), QSize(TestStream::Width, TestStream::Height));
    QCOMPARE(frame.metaData(QStringLiteral("shmname")).toString(), f.source->name());
}

void TestVideoPump::source_worksInAnotherThread()
{
    Fixture const f;
    QVERIFY(f.source->thread() != QThread::currentThread());
}

void TestVideoPump::busyReceiver_leavesFewFramesInTheQueue()
{
    Fixture f;
    QVERIFY(f.waitForFrames());

    // About 60 ticks pass while this thread takes nothing.
    QThread::msleep(300);
    f.frames.clear();
    QVERIFY(f.pump.skippedTicks() >= 20);
    QCoreApplication::sendPostedEvents(&f.pump);
    QVERIFY2(f.frames.size() <= 3, qPrintable(QString::number(f.frames.size())));
    // And then it goes on.
    QTRY_VERIFY(f.frames.size() >= 10);
}

void TestVideoPump::stop_endsTheFrames()
{
    Fixture f;
    QVERIFY(f.waitForFrames());
    f.pump.stop();
    QCoreApplication::processEvents();
    f.frames.clear();
    QTest::qWait(50);
    QCOMPARE(f.frames.size(), 0);
}

QVORLIN_TEST_MAIN(QCoreApplication, TestVideoPump)
#include "tst_videopump.moc"
