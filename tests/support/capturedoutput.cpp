#include "capturedoutput.h"

#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

CapturedOutput::CapturedOutput(int fd)
    : mFd(fd)
    , mSaved(fcntl(fd, F_DUPFD_CLOEXEC, 10))
{
    if (mSaved < 0 || !mFile.open())
        qFatal("can't redirect descriptor %d", fd);
    fflush(nullptr);
    dup2(mFile.handle(), mFd);
}

CapturedOutput::~CapturedOutput()
{
    fflush(nullptr);
    dup2(mSaved, mFd);
    ::close(mSaved);
}

QByteArray CapturedOutput::text()
{
    fflush(nullptr);
    QFile file(mFile.fileName());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
