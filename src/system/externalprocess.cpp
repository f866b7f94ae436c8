#include "system/externalprocess.h"

#include <utility>

#include <QProcess>

#include "system/processrun.h"

int execExternalProcess(QString program, QStringList const& arguments, QStringList& output)
{
    QProcess process;
    runProcess(process, program, arguments);
    // As a C string, so that a NUL ends it.
    QString const text = QString::fromLatin1(process.readAllStandardOutput().constData());
    output = text.split(QLatin1Char('\n'), Qt::KeepEmptyParts);
    return process.exitCode();
}

QStringList execExternalProcess(QString program, QStringList const& arguments)
{
    QStringList output;
    execExternalProcess(std::move(program), arguments, output);
    return output;
}
