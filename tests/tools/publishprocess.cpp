#include "publishprocess.h"

#include <signal.h>

#include <QCoreApplication>
#include <QJsonDocument>
#include <QProcessEnvironment>

PublishProcess::PublishProcess(QStringList const& arguments, QStringList const& environment)
{
    QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
    for (QString const& variable : environment) {
        variables.insert(
            variable.section(QLatin1Char('='), 0, 0), variable.section(QLatin1Char('='), 1));
    }
    mProcess.setProcessEnvironment(variables);
    mProcess.start(
        QCoreApplication::applicationDirPath() + QStringLiteral("/shm-publish"), arguments);
    if (!mProcess.waitForStarted())
        qCritical("shm-publish does not start");
}

PublishProcess::~PublishProcess()
{
    // Killed, it would leave its stream's memory to whoever publishes next.
    mProcess.terminate();
    if (isRunning() && !mProcess.waitForFinished(5000)) {
        mProcess.kill();
        mProcess.waitForFinished();
    }
}

void PublishProcess::write(QByteArray const& input)
{
    mProcess.write(input);
    while (mProcess.bytesToWrite() > 0 && mProcess.waitForBytesWritten()) {
    }
}

int PublishProcess::stop(int signal)
{
    if (isRunning())
        ::kill(static_cast<pid_t>(id()), signal);
    return wait();
}

int PublishProcess::wait(int milliseconds)
{
    if (isRunning() && !mProcess.waitForFinished(milliseconds))
        return -1;
    return mProcess.exitStatus() == QProcess::NormalExit ? mProcess.exitCode() : -1;
}

QString PublishProcess::errors()
{
    mErrors += mProcess.readAllStandardError();
    return QString::fromUtf8(mErrors);
}

QByteArray PublishProcess::output()
{
    mOutput += mProcess.readAllStandardOutput();
    return mOutput;
}

QJsonObject PublishProcess::statistics()
{
    QList<QByteArray> const lines = output().trimmed().split('\n');
    return QJsonDocument::fromJson(lines.last()).object();
}

QStringList arguments(QString const& line, QString const& name)
{
    return line.split(QLatin1Char(' '), Qt::SkipEmptyParts) +
           QStringList{QStringLiteral("--name"), name};
}

QStringList play(QString const& input, QString const& name, QString const& options)
{
    return arguments(options, name) + QStringList{input};
}

bool isOneLine(QString const& errors, QString const& what)
{
    bool const good = errors.startsWith(QLatin1String("shm-publish: ")) && errors.contains(what) &&
                      errors.count(QLatin1Char('\n')) == 1 && errors.endsWith(QLatin1Char('\n'));
    if (!good)
        qCritical("unexpected errors: %s", qPrintable(errors));
    return good;
}

QString uniqueName(char const* suffix)
{
    static int count = 0;
    return QStringLiteral("test-%1-%2%3")
        .arg(QCoreApplication::applicationPid())
        .arg(++count)
        .arg(QLatin1String(suffix));
}
