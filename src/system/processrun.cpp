#include "system/processrun.h"

#include <QProcess>

namespace {

constexpr int timeout = 30000; // ms

} // namespace

void runProcess(QProcess& process, QString const& program, QStringList const& arguments)
{
    // What the program complains of must not get among what it answers.
    process.setProcessChannelMode(QProcess::SeparateChannels);
    process.start(program, arguments, QIODevice::ReadWrite);
    process.waitForStarted(timeout);
    process.waitForFinished(timeout);
}
