#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QSignalSpy>
#include <QSocketNotifier>

#include "application/appeventfilter.h"
#include "messagecheck.h"
#include "systemcalls.h"
#include "testapplication.h"

namespace {

constexpr int CaughtSignals[] = {SIGTERM, SIGINT, SIGHUP, SIGUSR1, SIGUSR2};

struct sigaction dispositionOf(int signal)
{
    struct sigaction action = {};
    sigaction(signal, nullptr, &action);
    return action;
}

// Those that a test framework or a sanitizer does not change behind our back.
QVector<int> signalsOfOthers()
{
    QVector<int> result;
    for (int signal = 1; signal < SIGSYS; ++signal) {
        if (std::find(std::begin(CaughtSignals), std::end(CaughtSignals), signal) ==
            std::end(CaughtSignals))
            result << signal;
    }
    return result;
}

void compareActions(QVector<systemcalls::Action> const& actions)
{
    QCOMPARE(actions.size(), int(std::size(CaughtSignals)));
    for (int i = 0; i < actions.size(); ++i) {
        struct sigaction const& action = actions[i].action;
        QCOMPARE(actions[i].signal, CaughtSignals[i]);
        QVERIFY(action.sa_handler == &QVorlinApplication::signalHandler);
        QCOMPARE(action.sa_flags, SA_RESTART);
        for (int signal = 1; signal < SIGRTMIN; ++signal)
            QCOMPARE(sigismember(&action.sa_mask, signal), 0);
        QVERIFY(!actions[i].asksForOld);
    }
}

} // namespace

class SignalSetupTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { systemcalls::start(); }

    // Stands first: an earlier application would have left a pair of sockets.
    void noSockets_leavesAnApplicationWithoutSignals()
    {
        systemcalls::socketPairFails = true;
        expectMessage(QtWarningMsg, QStringLiteral("QSocketNotifier: Invalid socket specified"));
        TestApplication app;
        QCOMPARE(systemcalls::socketPairs.size(), 1);
        QSignalSpy const spy(&app, &QVorlinApplication::signalUSR1);
        QCOMPARE(raise(SIGUSR1), 0);
        QCoreApplication::processEvents();
        QCOMPARE(spy.size(), 0);
    }

    void sockets_areAskedForOnce()
    {
        TestApplication const app;
        QCOMPARE(systemcalls::socketPairs.size(), 1);
        systemcalls::SocketPair const pair = systemcalls::socketPairs.constFirst();
        QCOMPARE(pair.domain, AF_UNIX);
        QCOMPARE(pair.type, int(SOCK_STREAM));
        QCOMPARE(pair.protocol, 0);
    }

    void sockets_neverBlockAndAreNotInherited()
    {
        TestApplication const app;
        for (int end : systemcalls::socketPairs.constFirst().ends) {
            QVERIFY(fcntl(end, F_GETFL) & O_NONBLOCK);
            QVERIFY(fcntl(end, F_GETFD) & FD_CLOEXEC);
        }
    }

    void notifier_watchesTheReadEnd()
    {
        TestApplication const app;
        auto const* notifier = app.findChild<QSocketNotifier*>();
        QVERIFY(notifier);
        QCOMPARE(int(notifier->socket()), systemcalls::socketPairs.constFirst().ends[1]);
        QCOMPARE(notifier->type(), QSocketNotifier::Read);
        QVERIFY(notifier->isEnabled());
    }

    void handlers_areInstalledInOrder()
    {
        TestApplication const app;
        compareActions(systemcalls::actions);
    }

    void handlers_canBeInstalledAgain()
    {
        TestApplication const app;
        systemcalls::start();
        QVorlinApplication::installSignalHandlers();
        compareActions(systemcalls::actions);
        QCOMPARE(systemcalls::socketPairs.size(), 0);
    }

    void otherSignals_keepTheirDisposition()
    {
        QVector<int> const others = signalsOfOthers();
        QVERIFY(others.contains(SIGQUIT));
        QVector<struct sigaction> before;
        for (int signal : others)
            before << dispositionOf(signal);
        TestApplication const app;
        for (int i = 0; i < others.size(); ++i) {
            struct sigaction const after = dispositionOf(others[i]);
            QVERIFY2(after.sa_handler == before[i].sa_handler, strsignal(others[i]));
            QCOMPARE(after.sa_flags, before[i].sa_flags);
        }
    }

    void steps_followEachOther()
    {
        QStringList steps;
        auto const state = [] {
            QStringList result;
            if (auto const* app = QCoreApplication::instance()) {
                if (app->findChild<QSocketNotifier*>())
                    result << QStringLiteral("notifier");
                if (app->findChild<AppEventFilter*>())
                    result << QStringLiteral("filter");
            } else {
                result << QStringLiteral("no application");
            }
            return result.join(QLatin1Char('+'));
        };
        systemcalls::onSocketPair = [&] {
            steps << QStringLiteral("socketpair ") + state();
        };
        systemcalls::onAction = [&] {
            steps << QStringLiteral("sigaction ") + state();
        };
        TestApplication const app;
        steps << state();
        steps.removeDuplicates();
        QStringList const expected{QStringLiteral("socketpair "),
            QStringLiteral("sigaction notifier"), QStringLiteral("notifier+filter")};
        QCOMPARE(steps, expected);
    }

    void end_closesTheWriteEndAlone()
    {
        QVector<struct sigaction> before;
        {
            TestApplication const app;
            for (int signal : CaughtSignals)
                before << dispositionOf(signal);
        }
        systemcalls::SocketPair const pair = systemcalls::socketPairs.constFirst();
        QCOMPARE(fcntl(pair.ends[0], F_GETFD), -1);
        QVERIFY(fcntl(pair.ends[1], F_GETFD) >= 0);
        for (int i = 0; i < before.size(); ++i)
            QVERIFY(dispositionOf(CaughtSignals[i]).sa_handler == before[i].sa_handler);
    }
};

QVORLIN_APPLICATION_TEST_MAIN(SignalSetupTest)

#include "tst_signalsetup.moc"
