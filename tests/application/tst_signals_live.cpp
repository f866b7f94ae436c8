#include <csignal>

#include <QProcess>

#include "messagecheck.h"

namespace {

constexpr int Patience = 20000; // ms

} // namespace

class SignalsLiveTest : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        mProgram.reset(new QProcess);
        mProgram->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        mProgram->start(QCoreApplication::applicationDirPath() + QStringLiteral("/signalprinter"),
            QStringList());
        QVERIFY(mProgram->waitForStarted(Patience));
        QCOMPARE(nextLine(), QByteArray("ready"));
    }
    void cleanup()
    {
        mProgram->kill();
        mProgram->waitForFinished(Patience);
    }

    void signal_isEmittedOnceInTheGuiThread_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("TERM") << SIGTERM;
        QTest::newRow("INT") << SIGINT;
        QTest::newRow("HUP") << SIGHUP;
        QTest::newRow("USR1") << SIGUSR1;
        QTest::newRow("USR2") << SIGUSR2;
    }
    void signal_isEmittedOnceInTheGuiThread()
    {
        QFETCH(int, signal);
        send(signal);
        QCOMPARE(nextLine(), QByteArray(QTest::currentDataTag()));

        // It has survived, and has nothing more to say.
        mProgram->closeWriteChannel();
        QVERIFY(mProgram->waitForFinished(Patience));
        QCOMPARE(mProgram->exitStatus(), QProcess::NormalExit);
        QCOMPARE(mProgram->exitCode(), 0);
        QCOMPARE(mProgram->readAllStandardOutput(), QByteArray());
    }

    void quitSignal_endsTheProgram()
    {
        send(SIGQUIT);
        QVERIFY(mProgram->waitForFinished(Patience));
        QCOMPARE(mProgram->exitStatus(), QProcess::CrashExit);
        QCOMPARE(mProgram->readAllStandardOutput(), QByteArray());
    }

    // A signal that still waits swallows the next one of its kind, so each waits for the last.
    void manySignals_areAllEmitted()
    {
        for (int i = 0; i < 1000; ++i) {
            send(i % 2 ? SIGUSR1 : SIGUSR2);
            QCOMPARE(nextLine(), QByteArray(i % 2 ? "USR1" : "USR2"));
        }
    }

    void flood_endsInTheProgramAlive()
    {
        for (int i = 0; i < 1000; ++i)
            send(SIGUSR1);
        send(SIGTERM);
        // Of two that wait, either may come first.
        QMap<QByteArray, int> counts;
        while (!counts.contains("USR1") || !counts.contains("TERM")) {
            QByteArray const line = nextLine();
            QVERIFY2(line == "USR1" || line == "TERM", line);
            ++counts[line];
        }
        QCOMPARE(counts["TERM"], 1);
        QVERIFY(counts["USR1"] <= 1000);
    }

private:
    void send(int signal) { ::kill(pid_t(mProgram->processId()), signal); }

    QByteArray nextLine()
    {
        while (!mProgram->canReadLine()) {
            if (!mProgram->waitForReadyRead(Patience))
                return "nothing came";
        }
        return mProgram->readLine().trimmed();
    }

    QScopedPointer<QProcess> mProgram;
};

QVORLIN_TEST_MAIN(QCoreApplication, SignalsLiveTest)

#include "tst_signals_live.moc"
