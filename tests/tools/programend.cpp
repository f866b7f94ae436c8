#include "programend.h"

#include <QProcess>

namespace {

constexpr int Patience = 30000;

} // namespace

Ended endOf(QProcess& process)
{
    if (process.state() != QProcess::NotRunning && !process.waitForFinished(Patience)) {
        process.kill();
        process.waitForFinished();
        return {};
    }
    int const code = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return {code, process.readAllStandardOutput(), process.readAllStandardError()};
}
