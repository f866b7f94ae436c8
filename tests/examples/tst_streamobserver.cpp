#include "streamobserver.h"

#include <memory>

#include <QCoreApplication>
#include <QSignalSpy>
#include <QTest>

#include "framestatistics.h"
#include "messagecheck.h"
#include "streamplace.h"
#include "teststream.h"

namespace {

/** The states told, received in the test's own thread, which QSignalSpy would not do. */
class States : public QObject
{
public:
    explicit States(StreamObserver& observer)
    {
        connect(&observer, &StreamObserver::stateChanged, this, [this](StreamState const& state) {
            last = state;
            ++count;
        });
    }

    StreamState last;
    int count = 0;
};

} // namespace

class TestStreamObserver : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void absentStream_changesNothing();
    void frames_areAllCounted();
    void stream_appearsGoesAndReturns();
    void framePaintedBeforeItIsNoticed_isASignOfLife();
    void stop_endsTheObservation();

private:
    QSharedPointer<MediaSource> source() const
    {
        return QSharedPointer<MediaSource>::create(
            QString::fromLatin1(QTest::currentTestFunction()));
    }

    StreamPlace mPlace;
};

void TestStreamObserver::absentStream_changesNothing()
{
    FrameStatistics statistics(wallClock());
    StreamObserver observer(source(), statistics);
    States const states(observer);
    observer.start();
    QTest::qWait(100);
    QCOMPARE(states.count, 0);
    QCOMPARE(statistics.figures().published, 0);
}

void TestStreamObserver::frames_areAllCounted()
{
    FrameStatistics statistics(wallClock());
    TestStream stream(QTest::currentTestFunction());
    QVERIFY(stream.isOpen());
    StreamObserver observer(source(), statistics);
    observer.start();
    for (int i = 0; i < 100; ++i) {
        QVERIFY(stream.publish());
        QThread::msleep(4);
    }
    QTRY_COMPARE(statistics.figures().published, 100);
}

void TestStreamObserver::stream_appearsGoesAndReturns()
{
    FrameStatistics statistics(wallClock());
    StreamObserver observer(source(), statistics);
    States const states(observer);
    observer.start();

    auto stream = std::make_unique<TestStream>(QTest::currentTestFunction());
    QVERIFY(stream->isOpen() && stream->publish());
    QTRY_VERIFY(states.last.present);
    QCOMPARE(states.last.size, QSize(TestStream::Width, TestStream::Height));
    QCOMPARE(states.last.rate, 50.0);

    QElapsedTimer gone;
    gone.start();
    stream.reset();
    QTRY_VERIFY(!states.last.present);
    QVERIFY(gone.elapsed() > 900);
    // What was seen last is still known.
    QCOMPARE(states.last.size, QSize(TestStream::Width, TestStream::Height));

    stream = std::make_unique<TestStream>(QTest::currentTestFunction());
    QVERIFY(stream->isOpen() && stream->publish());
    QTRY_VERIFY(states.last.present);
    QCOMPARE(statistics.figures().published, 2);
}

void TestStreamObserver::framePaintedBeforeItIsNoticed_isASignOfLife()
{
    FrameStatistics statistics(wallClock());
    TestStream stream(QTest::currentTestFunction());
    QVERIFY(stream.isOpen() && stream.publish());
    auto const watched = source();
    statistics.painted(watched->grabVideo(0).startTime(), wallClock());
    StreamObserver observer(watched, statistics);
    States const states(observer);
    observer.start();
    QTRY_VERIFY(states.last.present);
    QCOMPARE(statistics.figures().published, 1);
}

void TestStreamObserver::stop_endsTheObservation()
{
    FrameStatistics statistics(wallClock());
    TestStream stream(QTest::currentTestFunction());
    StreamObserver observer(source(), statistics);
    observer.start();
    QVERIFY(stream.publish());
    QTRY_COMPARE(statistics.figures().published, 1);
    observer.stop();
    QVERIFY(stream.publish());
    QTest::qWait(50);
    QCOMPARE(statistics.figures().published, 1);
}

QVORLIN_TEST_MAIN(QCoreApplication, TestStreamObserver)
#include "tst_streamobserver.moc"
