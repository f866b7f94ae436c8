#include <utility>

#include <QProcess>
#include <QTest>

#include "messagecheck.h"
#include "programfolder.h"
#include "system/externalprocess.h"
#include "system/restapi.h"
#include "textliteral.h"

namespace {

QStringList calls;

} // namespace

// These take the place of Qt's own and do the same by other means of QProcess, but tell of every
// wait that it failed.

void QProcess::setProcessChannelMode(ProcessChannelMode mode)
{
    calls << "setProcessChannelMode %1"_s.arg(mode);
}

void QProcess::start(QString const& program, QStringList const& arguments, OpenMode mode)
{
    calls << "start %1 %2 %3"_s.arg(program, arguments.join(QLatin1Char(' '))).arg(mode);
    setProgram(program);
    setArguments(arguments);
    start(mode);
}

bool QProcess::waitForStarted(int timeout)
{
    calls << "waitForStarted %1"_s.arg(timeout);
    return false;
}

bool QProcess::waitForFinished(int timeout)
{
    calls << "waitForFinished %1"_s.arg(timeout);
    while (waitForReadyRead(-1)) {
    }
    return false;
}

class ProcessCallsTest : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        mPrograms.addScript("rest_api"_s, "echo \"$@\"");
        calls.clear();
    }

    void externalProcess_isStartedAndWaitedForUnchecked()
    {
        QStringList output;
        QCOMPARE(execExternalProcess("rest_api"_s, {"a"_s, "b"_s}, output), 0);
        QCOMPARE(output, (QStringList{"a b"_s, ""_s}));
        QCOMPARE(calls, (QStringList{
                            "setProcessChannelMode %1"_s.arg(QProcess::SeparateChannels),
                            "start rest_api a b %1"_s.arg(QIODevice::ReadWrite),
                            "waitForStarted 30000"_s,
                            "waitForFinished 30000"_s,
                        }));
    }

    void restRequest_isStartedAndWaitedForUnchecked()
    {
        QCOMPARE(restAPI::get("/a"_s, {}), QVariant("GET /a\n"_s));
        QCOMPARE(calls, (QStringList{
                            "setProcessChannelMode %1"_s.arg(QProcess::SeparateChannels),
                            "start rest_api GET /a %1"_s.arg(QIODevice::ReadWrite),
                            "waitForStarted 30000"_s,
                            "waitForFinished 30000"_s,
                        }));
    }

private:
    ProgramFolder mPrograms;
};

QVORLIN_TEST_MAIN(QCoreApplication, ProcessCallsTest)

#include "tst_processcalls.moc"
