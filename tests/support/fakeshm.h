#ifndef FAKESHM_H
#define FAKESHM_H

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include <QMutex>
#include <QStringList>

#include "shm_reader.h"

/**
 * A stream library under the test's hand: link qvorlin_fake_shm, and its shm_reader_ functions take
 * the place of the library's. They answer from the one FakeShm that lives, and write down each
 * call with its arguments; handles are numbered from 1 as they are opened, for example
 * "set_fps 1 25000 1000".
 *
 * A record that should come in all zero and doesn't is written down with " dirty", one that is not
 * given back as it was handed out with " changed".
 *
 * The fields are for the test's own thread, while no other calls; the rest is thread-safe.
 */
class FakeShm
{
public:
    FakeShm();
    ~FakeShm();
    FakeShm(FakeShm const&) = delete;
    FakeShm& operator=(FakeShm const&) = delete;

    /** Makes the stream exist with frames of this size, the one that is found at @p timestamp. */
    void publishVideo(int width, int height, int64_t timestamp);
    /** Makes the stream exist with audio that lasts from @p first to @p last, µs. */
    void publishAudio(int sampleRate, int channels, int64_t first, int64_t last);

    bool exists = false;
    bool ready = true;
    shm_reader_format_t format = {};
    shm_video_status_t videoStatus = {};
    std::vector<int64_t> timestamps;
    std::optional<int> timestampsResult;
    /** What a lock gives; planes are made for it when it has none. */
    shm_video_frame_t frame = {};
    bool noPlanes = false;
    shm_audio_status_t audioStatus = {};
    int audioStatusResult = 0;
    /** Otherwise all that is asked is copied: the samples count up from 0. */
    std::optional<int> queryResult;

    /** The calls since the last time. */
    QStringList takeCalls();
    /** A list of calls, which @p text separates by semicolons. */
    static QStringList calls(char const* text);
    int openHandles() const { return mOpenHandles; }
    int lockedFrames() const;
    /** Whether two threads were in one handle at a time, unlocking and closing aside. */
    bool overlapped() const { return mOverlapped; }

    // For the functions of the library.
    class Entry;
    void record(QString const& call);
    shm_reader_t* newHandle();
    void endHandle(shm_reader_t* handle);
    void lockFrame(shm_video_frame_t* target);
    bool unlockFrame(shm_video_frame_t const& given);

private:
    struct Lock
    {
        shm_video_frame_t frame;
        std::unique_ptr<uint8_t[]> memory;
    };

    mutable QMutex mMutex;
    QStringList mCalls;
    std::map<uint64_t, Lock> mLocks;
    uint64_t mLockCount = 0;
    int mHandleCount = 0;
    std::atomic<int> mOpenHandles{0};
    std::atomic<bool> mOverlapped{false};
};

#endif
