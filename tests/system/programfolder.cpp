#include "programfolder.h"

#include <QFile>

ProgramFolder::ProgramFolder()
    : mFormerPath(qgetenv("PATH"))
{
    qputenv("PATH", QFile::encodeName(mFolder.path()) + ':' + mFormerPath);
}

ProgramFolder::~ProgramFolder()
{
    qputenv("PATH", mFormerPath);
}

void ProgramFolder::addScript(QString const& name, QByteArray const& commands)
{
    // How many there are is noted too: an argument may be empty and may hold a newline.
    addFile(name, "#!/bin/sh\n"
                  "here='" +
                      QFile::encodeName(mFolder.path()) +
                      "'\n"
                      "note() { printf '%s\\0' \"$#\" \"${0##*/}\" \"$@\" >>\"$here/calls\"; }\n" +
                      commands + '\n');
    QFile::setPermissions(path(name), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

void ProgramFolder::addFile(QString const& name, QByteArray const& content)
{
    QFile file(path(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("can't write %s", qPrintable(file.fileName()));
}

QByteArray ProgramFolder::file(QString const& name) const
{
    QFile file(path(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QVector<QStringList> ProgramFolder::takeCalls()
{
    QList<QByteArray> words = file(QStringLiteral("calls")).split('\0');
    words.removeLast(); // behind the last NUL
    QFile::remove(path(QStringLiteral("calls")));

    QVector<QStringList> calls;
    while (!words.isEmpty()) {
        QStringList call;
        int const argumentCount = words.takeFirst().toInt();
        for (int i = 0; i <= argumentCount && !words.isEmpty(); ++i)
            call << QString::fromUtf8(words.takeFirst());
        calls << call;
    }
    return calls;
}
