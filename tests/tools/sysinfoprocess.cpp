#include "sysinfoprocess.h"

#include <signal.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QProcessEnvironment>
#include <QThread>

namespace {

constexpr int Patience = 30000;

} // namespace

StorePlace::StorePlace()
{
    // For a user without rights too.
    QFile::setPermissions(mDir.path(), QFile::Permissions(0x7755));
    QDir::setCurrent(mDir.path());
    qputenv("SYSINFO_PROFILE", QFile::encodeName(root()));
}

StorePlace::~StorePlace()
{
    QDir::setCurrent(QDir::rootPath());
}

void StorePlace::clear()
{
    QDir(above()).removeRecursively();
}

QString sysinfoProgram()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/sysinfo");
}

Ended runSysinfo(QStringList const& arguments, QByteArray const& input)
{
    QProcess process;
    process.start(sysinfoProgram(), arguments);
    process.write(input);
    process.closeWriteChannel();
    return endOf(process);
}

Ended runAsNobody(QStringList const& command)
{
    QProcess process;
    process.start(
        QStringLiteral("setpriv"), QStringList{QStringLiteral("--reuid=65534"),
                                       QStringLiteral("--clear-groups"), QStringLiteral("--")} +
                                       command);
    process.closeWriteChannel();
    return endOf(process);
}

Ended runScript(QByteArray const& lines)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("PATH"), QCoreApplication::applicationDirPath() +
                                                   QLatin1Char(':') +
                                                   environment.value(QStringLiteral("PATH")));
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral("bash"), QStringList());
    process.write(lines);
    process.closeWriteChannel();
    return endOf(process);
}

WatchProcess::WatchProcess(QStringList const& arguments)
{
    mProcess.start(sysinfoProgram(), QStringList(QStringLiteral("watch")) + arguments);
    if (!mProcess.waitForStarted())
        qCritical("sysinfo does not start");
}

WatchProcess::~WatchProcess()
{
    mProcess.kill();
    mProcess.waitForFinished();
}

QByteArray WatchProcess::nextLine()
{
    QDeadlineTimer const deadline(Patience);
    while (!mProcess.canReadLine() && !deadline.hasExpired()) {
        if (!mProcess.waitForReadyRead(int(deadline.remainingTime())))
            return {};
    }
    QByteArray line = mProcess.readLine();
    line.chop(1);
    return line;
}

int WatchProcess::linesUntil(QByteArray const& line)
{
    for (int count = 1;; ++count) {
        QByteArray const next = nextLine();
        if (next == line)
            return count;
        if (next.isNull())
            return 0;
    }
}

bool WatchProcess::waitsForLock() const
{
    QByteArray const process = QByteArray::number(mProcess.processId());
    for (QDeadlineTimer const deadline(Patience); !deadline.hasExpired(); QThread::msleep(1)) {
        QFile locks(QStringLiteral("/proc/locks"));
        if (!locks.open(QIODevice::ReadOnly))
            return false;
        for (QByteArray const& line : locks.readAll().split('\n')) {
            QByteArrayList const words = line.simplified().split(' ');
            if (words.contains("->") && words.contains("FLOCK") && words.contains(process))
                return true;
        }
    }
    return false;
}

Ended WatchProcess::stop(int signal)
{
    ::kill(pid_t(mProcess.processId()), signal);
    return endOf(mProcess);
}
