#include <thread>

#include <pthread.h>
#include <unistd.h>

#include <QSocketNotifier>
#include <QThread>

#include "messagecheck.h"
#include "systemcalls.h"
#include "testapplication.h"

namespace {

using Signal = void (QVorlinApplication::*)();

struct NamedSignal
{
    char const* name;
    int number;
    Signal signal;
};

constexpr NamedSignal NamedSignals[] = {
    {"TERM", SIGTERM, &QVorlinApplication::signalTERM},
    {"INT", SIGINT, &QVorlinApplication::signalINT},
    {"HUP", SIGHUP, &QVorlinApplication::signalHUP},
    {"USR1", SIGUSR1, &QVorlinApplication::signalUSR1},
    {"USR2", SIGUSR2, &QVorlinApplication::signalUSR2},
};

// What the application emits, in order, and in which thread.
class Emissions : public QObject
{
public:
    explicit Emissions(QVorlinApplication& app)
    {
        for (NamedSignal const& named : NamedSignals) {
            connect(
                &app, named.signal, this,
                [this, name = QLatin1String(named.name)] {
                    mNames << name;
                    if (QThread::currentThread() != thread())
                        mNames << QStringLiteral("in another thread");
                },
                Qt::DirectConnection);
        }
    }

    QStringList names() const { return mNames; }

private:
    QStringList mNames;
};

void writeRaw(void const* data, size_t length)
{
    QCOMPARE(write(systemcalls::socketPairs.constLast().ends[0], data, length), ssize_t(length));
}

void writeNumber(int number)
{
    writeRaw(&number, sizeof number);
}

} // namespace

class SignalsTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { systemcalls::start(); }
    void cleanup() { systemcalls::start(); }

    void eachSignal_isEmittedOnce_data()
    {
        QTest::addColumn<int>("number");
        for (NamedSignal const& named : NamedSignals)
            QTest::newRow(named.name) << named.number;
    }
    void eachSignal_isEmittedOnce()
    {
        QFETCH(int, number);
        TestApplication app;
        Emissions const emissions(app);
        QCOMPARE(raise(number), 0);
        QCOMPARE(emissions.names(), QStringList());
        QStringList const expected{QString::fromLatin1(QTest::currentDataTag())};
        QTRY_COMPARE(emissions.names(), expected);
        QTest::qWait(20);
        QCOMPARE(emissions.names(), expected);
    }

    void severalSignals_areEmittedInTheirOrder()
    {
        TestApplication app;
        Emissions const emissions(app);
        for (int number : {SIGUSR2, SIGTERM, SIGUSR1, SIGTERM, SIGHUP, SIGINT})
            QCOMPARE(raise(number), 0);
        QStringList const expected{QStringLiteral("USR2"), QStringLiteral("TERM"),
            QStringLiteral("USR1"), QStringLiteral("TERM"), QStringLiteral("HUP"),
            QStringLiteral("INT")};
        QTRY_COMPARE(emissions.names(), expected);
    }

    void oneCall_takesOneNumber()
    {
        TestApplication app;
        Emissions const emissions(app);
        QCOMPARE(raise(SIGUSR1), 0);
        QCOMPARE(raise(SIGUSR2), 0);
        QVERIFY(QMetaObject::invokeMethod(&app, "handleSignal"));
        QCOMPARE(emissions.names(), QStringList{QStringLiteral("USR1")});
        QVERIFY(QMetaObject::invokeMethod(&app, "handleSignal"));
        QCOMPARE(emissions.names().size(), 2);
    }

    // A read that blocks would hang the test here.
    void callWithoutSignal_emitsNothing()
    {
        TestApplication app;
        Emissions const emissions(app);
        QVERIFY(QMetaObject::invokeMethod(&app, "handleSignal"));
        QCOMPARE(emissions.names(), QStringList());
    }

    void notifier_restsDuringReadAndEmission()
    {
        TestApplication app;
        auto const* notifier = app.findChild<QSocketNotifier*>();
        QVector<bool> enabled;
        systemcalls::onRead = [&] {
            enabled << notifier->isEnabled();
        };
        connect(
            &app, &QVorlinApplication::signalUSR1, this, [&] { enabled << notifier->isEnabled(); });
        QCOMPARE(raise(SIGUSR1), 0);
        QTRY_VERIFY(enabled.size() >= 2);
        QVERIFY(notifier->isEnabled());
        QCOMPARE(enabled, (QVector<bool>{false, false}));
    }

    void signalDuringAReceiver_waitsForItsEnd()
    {
        TestApplication app;
        Emissions const emissions(app);
        connect(&app, &QVorlinApplication::signalUSR1, this, [&] {
            QCOMPARE(raise(SIGUSR2), 0);
            QTest::qWait(20);
            QCOMPARE(emissions.names(), QStringList{QStringLiteral("USR1")});
        });
        QCOMPARE(raise(SIGUSR1), 0);
        QStringList const expected{QStringLiteral("USR1"), QStringLiteral("USR2")};
        QTRY_COMPARE(emissions.names(), expected);
    }

    void otherNumbers_areIgnored()
    {
        TestApplication app;
        Emissions const emissions(app);
        for (int number = 0; number <= 64; ++number) {
            bool const isKnown = std::any_of(std::begin(NamedSignals), std::end(NamedSignals),
                [number](NamedSignal const& named) { return named.number == number; });
            if (!isKnown)
                writeNumber(number);
        }
        for (int number :
            {-1, -15, INT_MIN, INT_MAX, SIGTERM << 8, SIGTERM << 24, SIGHUP | 1 << 16})
            writeNumber(number);
        // The numbers are read in order, so the others are through when this one comes.
        writeNumber(SIGHUP);
        QTRY_COMPARE(emissions.names(), QStringList{QStringLiteral("HUP")});
    }

    void shortRead_emitsNothing()
    {
        TestApplication app;
        Emissions const emissions(app);
        int const number = SIGTERM;
        int reads = 0;
        systemcalls::onRead = [&reads] {
            ++reads;
        };
        for (int length = 1; length < int(sizeof number); ++length) {
            writeRaw(&number, size_t(length));
            QTRY_COMPARE(reads, length);
            QCOMPARE(emissions.names(), QStringList());
        }
        QCOMPARE(raise(SIGHUP), 0);
        QTRY_COMPARE(emissions.names(), QStringList{QStringLiteral("HUP")});
    }

    void signalTakenByAnotherThread_isEmittedInTheGuiThread()
    {
        TestApplication app;
        Emissions const emissions(app);
        std::thread other([] { pthread_kill(pthread_self(), SIGUSR1); });
        other.join();
        QTRY_COMPARE(emissions.names(), QStringList{QStringLiteral("USR1")});
    }

    void signalsOfManyThreads_areAllEmitted()
    {
        constexpr int ThreadCount = 8;
        constexpr int SignalsEach = 20;
        TestApplication app;
        Emissions const emissions(app);
        std::vector<std::thread> threads;
        for (int i = 0; i < ThreadCount; ++i) {
            threads.emplace_back([number = NamedSignals[i % std::size(NamedSignals)].number] {
                for (int k = 0; k < SignalsEach; ++k)
                    pthread_kill(pthread_self(), number);
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        QTRY_COMPARE(emissions.names().size(), ThreadCount * SignalsEach);
        QCOMPARE(emissions.names().count(QStringLiteral("TERM")), 2 * SignalsEach);
        QCOMPARE(emissions.names().count(QStringLiteral("USR2")), SignalsEach);
        QVERIFY(!emissions.names().contains(QStringLiteral("in another thread")));
    }
};

QVORLIN_APPLICATION_TEST_MAIN(SignalsTest)

#include "tst_signals.moc"
