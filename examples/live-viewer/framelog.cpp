#include "framelog.h"

#include <cstdio>

FrameLog::FrameLog(QString const& name)
    : mFile(name)
{
    if (!name.isEmpty())
        mFile.open(QIODevice::WriteOnly);
}

void FrameLog::write(qint64 timestamp, qint64 painted)
{
    if (mFile.isOpen())
        mFile.write(QByteArray::number(timestamp) + ' ' + QByteArray::number(painted) + '\n');
}

bool FrameLog::finish(char const* program)
{
    if (mFile.isOpen())
        mFile.flush();
    if (mFile.error() == QFileDevice::NoError)
        return true;
    std::fprintf(stderr, "%s: can't write the frame log to %s: %s\n", program,
        qPrintable(mFile.fileName()), qPrintable(mFile.errorString()));
    return false;
}
