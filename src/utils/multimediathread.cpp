#include "utils/multimediathread.h"

#include "utils/multimediathreadimpl.h"

MultimediaThread::MultimediaThread(QObject* parent)
    : QObject(parent)
{}

MultimediaThread::~MultimediaThread()
{
    stop(0);
}

void MultimediaThread::start(int intervalNum, int intervalDen, qint64 startDelay)
{
    if (mImpl || intervalNum <= 0 || intervalDen <= 0 || receivers(SIGNAL(tick())) == 0)
        return;
    mImpl =
        new MultimediaThreadImpl(intervalNum, intervalDen, startDelay, [this] { Q_EMIT tick(); });
    mImpl->setObjectName(objectName());
    mImpl->start(QThread::HighPriority);
}

bool MultimediaThread::stop(qint64 timeout)
{
    if (!mImpl)
        return true;
    bool const ended = mImpl->stop(timeout);
    delete mImpl;
    mImpl = nullptr;
    return ended;
}
