#include <cerrno>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QSignalSpy>
#include <QTemporaryFile>

#include "messagecheck.h"
#include "systemcalls.h"
#include "testapplication.h"

namespace {

int writeEnd()
{
    return systemcalls::socketPairs.constLast().ends[0];
}

// The numbers that wait to be read; they are gone then.
QVector<int> takeNumbers()
{
    QVector<int> result;
    int number = 0;
    while (
        read(systemcalls::socketPairs.constLast().ends[1], &number, sizeof number) == sizeof number)
        result << number;
    return result;
}

// How many numbers a pair of sockets takes on this machine when nobody reads.
int socketCapacity()
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends) != 0)
        return -1;
    int count = 0;
    int const number = SIGUSR1;
    while (write(ends[0], &number, sizeof number) == sizeof number)
        ++count;
    close(ends[0]);
    close(ends[1]);
    return count;
}

constexpr int Burst = 1000;

} // namespace

class SignalHandlerTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { mCapacity = socketCapacity(); }
    void init() { systemcalls::start(); }

    void signal_isOneWriteOfItsNumber_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("SIGTERM") << SIGTERM;
        QTest::newRow("SIGINT") << SIGINT;
        QTest::newRow("SIGHUP") << SIGHUP;
        QTest::newRow("SIGUSR1") << SIGUSR1;
        QTest::newRow("SIGUSR2") << SIGUSR2;
    }
    void signal_isOneWriteOfItsNumber()
    {
        QFETCH(int, signal);
        TestApplication const app;
        QCOMPARE(raise(signal), 0);
        QCOMPARE(systemcalls::writeCount(), 1);
        QCOMPARE(systemcalls::lastWriteLength(), size_t(4));
        QCOMPARE(takeNumbers(), QVector<int>{signal});
    }

    void directCall_writesWhateverItIsGiven()
    {
        TestApplication const app;
        QVorlinApplication::signalHandler(-7);
        QVorlinApplication::signalHandler(64);
        QCOMPARE(takeNumbers(), (QVector<int>{-7, 64}));
    }

    void errno_isKept()
    {
        TestApplication const app;
        errno = ENOTTY;
        QVorlinApplication::signalHandler(SIGUSR1);
        QCOMPARE(errno, ENOTTY);
    }

    void errno_isKeptWhenTheSocketIsFull()
    {
        TestApplication const app;
        for (int i = 0; i <= mCapacity; ++i)
            QVorlinApplication::signalHandler(SIGUSR1);
        errno = ENOTTY;
        QVorlinApplication::signalHandler(SIGUSR1);
        QCOMPARE(errno, ENOTTY);
    }

    // A handler that blocks would hang the test here.
    void fullSocket_dropsSignalsAndNeverBlocks()
    {
        TestApplication app;
        QSignalSpy const spy(&app, &QVorlinApplication::signalUSR1);
        QSignalSpy const termSpy(&app, &QVorlinApplication::signalTERM);
        for (int i = 0; i < mCapacity; ++i)
            QCOMPARE(raise(SIGUSR1), 0);
        QElapsedTimer timer;
        timer.start();
        for (int i = 0; i < 10 * Burst; ++i)
            QCOMPARE(raise(SIGTERM), 0);
        QVERIFY(timer.elapsed() < 10000);
        QTRY_COMPARE(spy.size(), mCapacity);
        QCoreApplication::processEvents();
        QCOMPARE(termSpy.size(), 0);

        QCOMPARE(raise(SIGTERM), 0);
        QTRY_COMPARE(termSpy.size(), 1);
    }

    void burst_losesNoneThatTheSocketHolds()
    {
        TestApplication app;
        QSignalSpy const spy(&app, &QVorlinApplication::signalUSR1);
        for (int i = 0; i < Burst; ++i)
            QCOMPARE(raise(SIGUSR1), 0);
        QCOMPARE(systemcalls::writeCount(), Burst);
        int const held = std::min(Burst, mCapacity);
        QVERIFY(held > 100);
        QTRY_COMPARE(spy.size(), held);
        QTest::qWait(20);
        QCOMPARE(spy.size(), held);
    }

    void burstBesideTheEventLoop_losesNone()
    {
        TestApplication app;
        QSignalSpy const spy(&app, &QVorlinApplication::signalHUP);
        for (int i = 1; i <= Burst; ++i) {
            QCOMPARE(raise(SIGHUP), 0);
            if (i % 50 == 0)
                QTRY_COMPARE(spy.size(), i);
        }
        QCOMPARE(spy.size(), Burst);
    }

    void signalAfterTheEnd_isHarmless()
    {
        {
            TestApplication const app;
        }
        for (int signal : {SIGTERM, SIGINT, SIGHUP, SIGUSR1, SIGUSR2})
            QCOMPARE(raise(signal), 0);
        QCOMPARE(systemcalls::writeCount(), 0);
    }

    void signalAfterTheEnd_isNotWrittenIntoAnotherFile()
    {
        {
            TestApplication const app;
        }
        // The number that has become free goes to one of the next files.
        QTemporaryFile files[20];
        QTemporaryFile* heir = nullptr;
        for (QTemporaryFile& file : files) {
            QVERIFY(file.open());
            if (file.handle() == writeEnd())
                heir = &file;
        }
        QVERIFY(heir);
        QCOMPARE(raise(SIGTERM), 0);
        QCOMPARE(heir->size(), 0);
    }

    void nextApplication_getsItsSignals()
    {
        {
            TestApplication const app;
        }
        TestApplication app;
        QSignalSpy const spy(&app, &QVorlinApplication::signalUSR2);
        QCOMPARE(raise(SIGUSR2), 0);
        QTRY_COMPARE(spy.size(), 1);
    }

private:
    int mCapacity = 0;
};

QVORLIN_APPLICATION_TEST_MAIN(SignalHandlerTest)

#include "tst_signalhandler.moc"
