#include "shm_audio_writer.h"

#include "shm_arithmetic.h"
#include "shm_fence.h"

#include <algorithm>
#include <cstring>

namespace shm {

namespace {

/** A gap or a step back of more than this ends the older audio, µs. */
constexpr int64_t breakTolerance = 1000;

/** A timestamp in units of 1 / rate µs, in which sample frames fall on whole numbers. */
Wide exactTime(int64_t timestamp, uint64_t frames, uint64_t rate)
{
    return Wide(timestamp) * rate + Wide(frames) * microsecondsPerSecond;
}

} // namespace

AudioWriter::AudioWriter(uint8_t* media, MediaConfig const& config)
    : mMedia(media)
    , mConfig(config)
    , mShared(reinterpret_cast<MediaHeader*>(media)->audio)
{}

AudioAnchor& AudioWriter::sharedAnchor(uint64_t number) const
{
    auto* const anchors = reinterpret_cast<AudioAnchor*>(mMedia + mConfig.anchors_offset);
    return anchors[number % mConfig.anchor_capacity];
}

void AudioWriter::append(int16_t const* samples, uint64_t count, int64_t timestamp)
{
    place(timestamp);
    mLastBlock = {mEnd, timestamp};
    uint64_t const step = mConfig.audio_capacity - mConfig.audio_readable;
    for (uint64_t done = 0; done < count;) {
        uint64_t const part = std::min(step, count - done);
        write(samples + done * mConfig.audio_channels, part);
        done += part;
    }
}

/** Says that the sample frame to come was captured at @p timestamp. */
void AudioWriter::place(int64_t timestamp)
{
    if (mEnd == 0) {
        addAnchor(timestamp);
        return;
    }
    uint64_t const rate = mConfig.audio_rate;
    Wide const now = exactTime(timestamp, 0, rate);
    Wide const offAnchor =
        absolute(now - exactTime(mLastAnchor.timestamp, mEnd - mLastAnchor.position, rate));
    Wide const offBlock =
        absolute(now - exactTime(mLastBlock.timestamp, mEnd - mLastBlock.position, rate));
    // The older half of the anchors is left alone for readers in the middle of a look-up; and a
    // look-up by time needs them in ascending order.
    bool const mayAnchor = mAnchorHead - mAnchorTail < mConfig.anchor_capacity / 2 &&
                           timestamp > mLastAnchor.timestamp;
    // Timestamps come in whole microseconds, cut off or rounded; hence the one more.
    Wide const limit = Wide(breakTolerance + 1) * rate;
    if (offBlock >= limit || (!mayAnchor && offAnchor >= limit)) {
        ++mBreaks;
        mBegin = mEnd;
        mAnchorTail = mAnchorHead;
        addAnchor(timestamp);
    } else if (mayAnchor && offAnchor >= Wide(rate)) {
        addAnchor(timestamp);
    }
}

void AudioWriter::addAnchor(int64_t timestamp)
{
    AudioAnchor& anchor = sharedAnchor(mAnchorHead);
    anchor.sequence.store(0, std::memory_order_relaxed);
    anchor.position.store(mEnd, std::memory_order_release);
    anchor.timestamp.store(timestamp, std::memory_order_release);
    anchor.sequence.store(++mAnchorHead, std::memory_order_release);
    mLastAnchor = {mEnd, timestamp};
}

/** @p count is no more than the part of the ring that isn't readable. */
void AudioWriter::write(int16_t const* samples, uint64_t count)
{
    uint64_t const capacity = mConfig.audio_capacity;
    uint64_t const channels = mConfig.audio_channels;
    uint64_t const newEnd = mEnd + count;
    if (newEnd > capacity) {
        mIntact = std::max(mIntact, newEnd - capacity);
        mShared.intact.store(mIntact, std::memory_order_relaxed);
        // Whoever reads one of the samples that follow also sees that they are no longer intact.
        fullFence();
    }
    auto* const ring = reinterpret_cast<int16_t*>(mMedia + mConfig.samples_offset);
    uint64_t const offset = mEnd % capacity;
    uint64_t const untilWrap = std::min(count, capacity - offset);
    std::memcpy(ring + offset * channels, samples, untilWrap * channels * sizeof *ring);
    std::memcpy(
        ring, samples + untilWrap * channels, (count - untilWrap) * channels * sizeof *ring);
    mEnd = newEnd;
    if (mEnd - mBegin > mConfig.audio_readable)
        mBegin = mEnd - mConfig.audio_readable;
    while (mAnchorTail + 1 < mAnchorHead &&
           sharedAnchor(mAnchorTail + 1).position.load(std::memory_order_relaxed) <= mBegin)
        ++mAnchorTail;
    publish();
}

void AudioWriter::publish()
{
    uint64_t const sequence = ++mSequence;
    AudioSpan& span = mShared.spans[sequence % 2];
    span.begin.store(mBegin, std::memory_order_release);
    span.end.store(mEnd, std::memory_order_release);
    span.anchor_tail.store(mAnchorTail, std::memory_order_release);
    span.anchor_head.store(mAnchorHead, std::memory_order_release);
    mShared.sequence.store(sequence, std::memory_order_release);
}

} // namespace shm
