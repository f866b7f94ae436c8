#include "soundrecorder.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <limits>

#include <QDeadlineTimer>
#include <QProcess>

namespace {

constexpr int FrameSize = 4;
/** How far around a sample the time base is looked for: clocks drift apart in longer times. */
constexpr int Surroundings = 5 * SoundRecording::Rate;

qint64 wallClock()
{
    using namespace std::chrono;
    return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
}

qint64 duration(int frames)
{
    return qint64{frames} * 1000000 / SoundRecording::Rate;
}

} // namespace

void SoundRecording::append(std::vector<qint16> const& samples, qint64 time)
{
    for (size_t i = 0; i + 1 < samples.size(); i += 2) {
        mLeft.push_back(samples[i]);
        mRight.push_back(samples[i + 1]);
    }
    mArrivals.push_back({time, size()});
}

qint64 SoundRecording::timeOf(int index) const
{
    auto const first = std::lower_bound(mArrivals.begin(), mArrivals.end(), index - Surroundings,
        [](Arrival const& arrival, int end) { return arrival.end < end; });
    qint64 start = std::numeric_limits<qint64>::max();
    for (auto it = first; it != mArrivals.end() && it->end <= index + Surroundings; ++it)
        start = std::min(start, it->time - duration(it->end));
    return start + duration(index);
}

int SoundRecording::indexAt(qint64 time) const
{
    // Times ascend but for the jitter of the time base, far below what is asked for.
    int first = 0;
    int last = std::max(0, size() - 1);
    while (first < last) {
        int const middle = (first + last) / 2;
        if (timeOf(middle) < time)
            first = middle + 1;
        else
            last = middle;
    }
    return first;
}

SoundRecorder::SoundRecorder(QString const& source)
    : mThread(QThread::create([this, source] { record(source); }))
{
    mThread->start();
}

SoundRecorder::~SoundRecorder()
{
    mEnd = true;
    mThread->wait();
}

bool SoundRecorder::isRecording(int timeoutMs) const
{
    QDeadlineTimer const deadline(timeoutMs);
    while (recording().size() == 0 && !deadline.hasExpired() && mThread->isRunning())
        QThread::msleep(5);
    return recording().size() > 0;
}

SoundRecording SoundRecorder::recording() const
{
    QMutexLocker const lock(&mMutex);
    return mRecording;
}

void SoundRecorder::record(QString const& source)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(QStringLiteral("parec"),
        {QStringLiteral("-d"), source, QStringLiteral("--raw"), QStringLiteral("--format=s16le"),
            QStringLiteral("--rate=%1").arg(SoundRecording::Rate), QStringLiteral("--channels=2"),
            QStringLiteral("--latency-msec=10")});
    QByteArray bytes;
    while (!mEnd && (process.waitForReadyRead(50) || process.state() == QProcess::Running)) {
        qint64 const time = wallClock();
        bytes += process.readAllStandardOutput();
        int const frames = bytes.size() / FrameSize;
        if (frames == 0)
            continue;
        std::vector<qint16> samples(size_t(frames) * 2);
        std::memcpy(samples.data(), bytes.constData(), size_t(frames) * FrameSize);
        bytes.remove(0, frames * FrameSize);
        QMutexLocker const lock(&mMutex);
        mRecording.append(samples, time);
    }
    process.kill();
    process.waitForFinished();
}
