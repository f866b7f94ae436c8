#include "fakeshm.h"

#include <algorithm>
#include <cstring>
#include <thread>

#include <QtGlobal>

// What the library keeps to itself.
struct shm_reader
{
    int number;
    std::atomic<bool> busy{false};
};

namespace {

FakeShm* fake = nullptr;

template<typename Record>
bool isZero(Record const& record)
{
    Record const zero = {};
    return std::memcmp(&record, &zero, sizeof(Record)) == 0;
}

} // namespace

/** A thread's stay in a handle. */
class FakeShm::Entry
{
public:
    explicit Entry(shm_reader_t* handle)
        : mHandle(handle)
    {
        if (mHandle->busy.exchange(true))
            fake->mOverlapped = true;
        // Gives another thread the chance to come in.
        std::this_thread::yield();
    }
    ~Entry() { mHandle->busy = false; }

private:
    shm_reader_t* mHandle;
};

FakeShm::FakeShm()
{
    if (fake)
        qFatal("there is one stream library at a time");
    fake = this;
}

FakeShm::~FakeShm()
{
    if (mOpenHandles != 0 || !mLocks.empty())
        qFatal("%d handles and %d frames were not given back", mOpenHandles.load(), lockedFrames());
    fake = nullptr;
}

void FakeShm::publishVideo(int width, int height, int64_t timestamp)
{
    exists = true;
    format.valid = 1;
    format.has_video = 1;
    format.video_width = width;
    format.video_height = height;
    frame.width = width;
    frame.height = height;
    frame.timestamp = timestamp;
    frame.stride0 = width;
    frame.stride1 = frame.stride2 = (width + 1) / 2;
}

void FakeShm::publishAudio(int sampleRate, int channels, int64_t first, int64_t last)
{
    exists = true;
    format.valid = 1;
    format.has_audio = 1;
    format.audio_sample_rate = sampleRate;
    format.audio_channels = channels;
    audioStatus.valid = 1;
    audioStatus.sample_count = static_cast<uint32_t>((last - first) * sampleRate / 1000000);
    audioStatus.first_timestamp = first;
    audioStatus.last_timestamp = last;
}

QStringList FakeShm::takeCalls()
{
    QMutexLocker const lock(&mMutex);
    QStringList calls;
    calls.swap(mCalls);
    return calls;
}

QStringList FakeShm::calls(char const* text)
{
    return QString::fromUtf8(text).split(QStringLiteral("; "), Qt::SkipEmptyParts);
}

int FakeShm::lockedFrames() const
{
    QMutexLocker const lock(&mMutex);
    return static_cast<int>(mLocks.size());
}

void FakeShm::record(QString const& call)
{
    QMutexLocker const lock(&mMutex);
    mCalls.append(call);
}

shm_reader_t* FakeShm::newHandle()
{
    ++mOpenHandles;
    return new shm_reader{++mHandleCount};
}

void FakeShm::endHandle(shm_reader_t* handle)
{
    --mOpenHandles;
    delete handle;
}

void FakeShm::lockFrame(shm_video_frame_t* target)
{
    QMutexLocker const lock(&mMutex);
    Lock made{frame, nullptr};
    if (!made.frame.plane0 && !noPlanes) {
        size_t const luma = static_cast<size_t>(frame.height * frame.stride0);
        size_t const chroma = static_cast<size_t>((frame.height + 1) / 2 * frame.stride1);
        // Memory of its own for each lock, so that a use after the unlock is seen.
        made.memory = std::make_unique<uint8_t[]>(luma + 2 * chroma);
        made.frame.plane0 = made.memory.get();
        made.frame.plane1 = made.frame.plane0 + luma;
        made.frame.plane2 = made.frame.plane1 + chroma;
    }
    if (made.frame.plane0)
        made.frame.lock = ++mLockCount;
    *target = made.frame;
    if (made.frame.plane0)
        mLocks.emplace(made.frame.lock, std::move(made));
}

bool FakeShm::unlockFrame(shm_video_frame_t const& given)
{
    QMutexLocker const lock(&mMutex);
    auto const found = mLocks.find(given.lock);
    if (found == mLocks.end())
        return false;
    bool const same = std::memcmp(&found->second.frame, &given, sizeof(given)) == 0;
    mLocks.erase(found);
    return same;
}

shm_reader_t* shm_reader_open(const char* name)
{
    fake->record(QStringLiteral("open %1").arg(QString::fromUtf8(name)));
    return fake->exists ? fake->newHandle() : nullptr;
}

void shm_reader_close(shm_reader_t* reader)
{
    fake->record(QStringLiteral("close %1").arg(reader->number));
    fake->endHandle(reader);
}

int shm_reader_is_ready(shm_reader_t* reader)
{
    FakeShm::Entry const entry(reader);
    fake->record(QStringLiteral("is_ready %1").arg(reader->number));
    return fake->ready ? 1 : 0;
}

int shm_reader_get_format(shm_reader_t* reader, shm_reader_format_t* format)
{
    FakeShm::Entry const entry(reader);
    fake->record(QStringLiteral("get_format %1").arg(reader->number));
    *format = fake->format;
    return format->valid ? 0 : -1;
}

int shm_reader_set_fps(shm_reader_t* reader, unsigned num, unsigned den)
{
    FakeShm::Entry const entry(reader);
    fake->record(QStringLiteral("set_fps %1 %2 %3").arg(reader->number).arg(num).arg(den));
    return 0;
}

int shm_reader_get_video_status(shm_reader_t* reader, shm_video_status_t* status)
{
    FakeShm::Entry const entry(reader);
    fake->record(QStringLiteral("get_video_status %1%2")
                     .arg(reader->number)
                     .arg(QLatin1String(isZero(*status) ? "" : " dirty")));
    *status = fake->videoStatus;
    return 0;
}

int shm_reader_get_video_timestamps(shm_reader_t* reader, int64_t* out, int capacity)
{
    FakeShm::Entry const entry(reader);
    fake->record(QStringLiteral("get_video_timestamps %1 %2").arg(reader->number).arg(capacity));
    int const count = qMin(capacity, static_cast<int>(fake->timestamps.size()));
    std::copy_n(fake->timestamps.begin(), count, out);
    return fake->timestampsResult.value_or(count);
}

int shm_reader_lock_video(
    shm_reader_t* reader, shm_video_frame_t* frame, shm_video_lookup_mode_t mode)
{
    FakeShm::Entry const entry(reader);
    shm_video_frame_t rest = *frame;
    rest.timestamp = 0;
    fake->record(QStringLiteral("lock_video %1 %2 %3%4")
                     .arg(reader->number)
                     .arg(frame->timestamp)
                     .arg(static_cast<int>(mode))
                     .arg(QLatin1String(isZero(rest) ? "" : " dirty")));
    fake->lockFrame(frame);
    return frame->plane0 ? 0 : -1;
}

void shm_reader_unlock_video(shm_reader_t* reader, shm_video_frame_t* frame)
{
    bool const same = fake->unlockFrame(*frame);
    fake->record(QStringLiteral("unlock_video %1%2")
                     .arg(reader->number)
                     .arg(QLatin1String(same ? "" : " changed")));
}

int shm_reader_get_audio_status(shm_reader_t* reader, int mode, shm_audio_status_t* status)
{
    FakeShm::Entry const entry(reader);
    fake->record(QStringLiteral("get_audio_status %1 %2").arg(reader->number).arg(mode));
    *status = fake->audioStatus;
    return fake->audioStatusResult;
}

int shm_reader_query_audio(shm_reader_t* reader, int mode, void* dest, unsigned long blocks,
    unsigned long block_frames, int64_t timestamp)
{
    FakeShm::Entry const entry(reader);
    fake->record(QStringLiteral("query_audio %1 %2 %3 %4 %5")
                     .arg(reader->number)
                     .arg(mode)
                     .arg(blocks)
                     .arg(block_frames)
                     .arg(timestamp));
    if (fake->queryResult)
        return *fake->queryResult;
    unsigned long const samples =
        blocks * block_frames * static_cast<unsigned long>(fake->format.audio_channels);
    for (unsigned long i = 0; i < samples; ++i)
        static_cast<int16_t*>(dest)[i] = static_cast<int16_t>(i);
    return static_cast<int>(blocks);
}
