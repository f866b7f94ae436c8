#include "stream.h"

#include "failure.h"

#include <algorithm>

namespace {

/** Spare slots left to the readers, whatever the source holds. */
constexpr unsigned ReadersShare = 8;
constexpr unsigned MaxSpareSlots = 64;

} // namespace

Stream::Stream(Options const& options, MediaFormat const& format)
    : mOptions(options)
    , mFormat(format)
{
    mFormat.heldSlots = std::min<int>(format.heldSlots, MaxSpareSlots - ReadersShare);
    open();
}

void Stream::open()
{
    shm_writer_config_t config = {};
    shm_writer_config_init(&config);
    config.name = mOptions.name.c_str();
    config.video_width = mFormat.width;
    config.video_height = mFormat.height;
    config.video_frame_count = mOptions.frames;
    config.video_spare_count = static_cast<int>(ReadersShare) + mFormat.heldSlots;
    config.frame_rate_num = static_cast<uint32_t>(mFormat.rate.num);
    config.frame_rate_den = static_cast<uint32_t>(mFormat.rate.num ? mFormat.rate.den : 0);
    config.audio_sample_rate = mFormat.sampleRate;
    config.audio_channels = mFormat.channels;
    config.mode = mOptions.mode;
    config.group = mOptions.group.empty() ? nullptr : mOptions.group.c_str();

    char error[512] = "";
    mWriter.reset(shm_writer_open(&config, error, sizeof error));
    if (!mWriter)
        throw Failure(*error ? error : "stream '" + mOptions.name + "' can't be opened");
}

bool Stream::mayTakeAhead() const
{
    return statistics().pinned_slots <= ReadersShare;
}

bool Stream::acquire(shm_writer_frame_t& frame)
{
    return shm_writer_acquire_frame(mWriter.get(), &frame) == 0;
}

bool Stream::commit(shm_writer_frame_t const& frame, int64_t timestamp)
{
    return shm_writer_commit_frame(mWriter.get(), &frame, timestamp) == 0;
}

void Stream::hold(shm_writer_frame_t const& frame)
{
    shm_writer_hold_frame(mWriter.get(), &frame);
}

void Stream::release(shm_writer_frame_t const& frame)
{
    shm_writer_release_frame(mWriter.get(), &frame);
}

void Stream::append(int16_t const* samples, uint32_t count, int64_t timestamp)
{
    shm_writer_append_audio(mWriter.get(), samples, count, timestamp);
}

void Stream::reopen()
{
    mBefore = statistics();
    mWriter.reset();
    open();
}

shm_writer_statistics_t Stream::statistics() const
{
    shm_writer_statistics_t sum = {};
    shm_writer_get_statistics(mWriter.get(), &sum);
    sum.video_frames_written += mBefore.video_frames_written;
    sum.video_frames_dropped += mBefore.video_frames_dropped;
    sum.audio_frames_written += mBefore.audio_frames_written;
    sum.audio_breaks += mBefore.audio_breaks;
    return sum;
}
