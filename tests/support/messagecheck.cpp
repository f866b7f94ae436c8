#include "messagecheck.h"

#include <cstdio>
#include <utility>

#include <QMutex>
#include <QVector>

namespace {

using Message = std::pair<QtMsgType, QString>;

QMutex mutex;
QVector<Message> expected;
int unexpectedCount = 0;
QtMessageHandler qtestHandler = nullptr;

void checkingHandler(QtMsgType type, QMessageLogContext const& context, QString const& text)
{
    {
        QMutexLocker lock(&mutex);
        if (expected.removeOne(Message(type, text)))
            return;
        if (type == QtWarningMsg || type == QtCriticalMsg)
            ++unexpectedCount;
    }
    if (qtestHandler)
        qtestHandler(type, context, text);
}

} // namespace

void expectMessage(QtMsgType type, QString const& text)
{
    QMutexLocker lock(&mutex);
    expected.append(Message(type, text));
}

int runCheckingMessages(QObject* test, int argc, char** argv)
{
    // QtTest puts its own handler in place in qInit(); ours has to stand in front of it.
    QTest::qInit(test, argc, argv);
    qtestHandler = qInstallMessageHandler(checkingHandler);
    int failures = QTest::qRun();
    qInstallMessageHandler(qtestHandler);
    QTest::qCleanup();

    QMutexLocker lock(&mutex);
    for (Message const& message : std::as_const(expected)) {
        std::fprintf(stderr, "FAIL!  : announced message did not come: \"%s\"\n",
            qPrintable(message.second));
        ++failures;
    }
    if (unexpectedCount > 0) {
        std::fprintf(
            stderr, "FAIL!  : %d unexpected warning(s), see the output above\n", unexpectedCount);
        failures += unexpectedCount;
    }
    return failures;
}
