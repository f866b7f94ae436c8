#ifndef STEPPEDCLOCK_H
#define STEPPEDCLOCK_H

#include <atomic>
#include <cstdint>

#include <QFile>
#include <QStringList>
#include <QTemporaryDir>

/** The environment of a program whose wall clock the test can set. */
class SteppedClock
{
public:
    SteppedClock()
        : mFile(mDirectory.filePath(QStringLiteral("step")))
    {
        mFile.open(QIODevice::ReadWrite);
        mFile.resize(sizeof(int64_t));
        mStep = reinterpret_cast<std::atomic<int64_t>*>(mFile.map(0, sizeof(int64_t)));
        if (!mStep)
            qFatal("no room for the clock's step");
    }

    /** Lets the clock be ahead of the real one by @p microseconds. */
    void setStep(int64_t microseconds) { *mStep = microseconds; }

    QStringList environment() const
    {
        // The sanitizers want to be loaded first; here the order does not matter.
        QString const asan = QString::fromLocal8Bit(qgetenv("ASAN_OPTIONS"));
        return {QStringLiteral("LD_PRELOAD=" CLOCKSTEP),
            QStringLiteral("CLOCKSTEP_FILE=") + mFile.fileName(),
            QStringLiteral("ASAN_OPTIONS=") + asan + QStringLiteral(":verify_asan_link_order=0")};
    }

private:
    QTemporaryDir mDirectory;
    QFile mFile;
    std::atomic<int64_t>* mStep = nullptr;
};

#endif
