#include "program.h"

#include <QCoreApplication>

namespace {

constexpr int patience = 20000; // ms

} // namespace

Program::Program(const QString& name, const QStringList& arguments)
{
    mProcess.setProcessChannelMode(QProcess::ForwardedChannels);
    mProcess.start(QCoreApplication::applicationDirPath() + QLatin1Char('/') + name, arguments);
    mProcess.waitForStarted(patience);
}

bool Program::end()
{
    if (!isRunning())
        return false;
    mProcess.terminate();
    if (!mProcess.waitForFinished(patience)) {
        mProcess.kill();
        mProcess.waitForFinished(patience);
    }
    return mProcess.exitStatus() == QProcess::NormalExit && mProcess.exitCode() == 0;
}

int secondsToMeasure(int usual)
{
    bool ok = false;
    const int seconds = qEnvironmentVariableIntValue("QVORLIN_BENCH_SECONDS", &ok);
    return ok && seconds > 0 ? seconds : usual;
}
