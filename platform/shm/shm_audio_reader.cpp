#include "shm_audio_reader.h"

#include "shm_fence.h"

#include <algorithm>
#include <cstring>

namespace shm {

namespace {

// As for video: an honest writer needs one or two, the bound is for a corrupt stream.
constexpr int maximumAttempts = 64;

/** A continuous reader's timestamp may differ by this much from where its audio really goes on. */
constexpr int64_t continuityTolerance = 10000;

} // namespace

bool AudioReader::tryReadSpan(Span& span) const
{
    AudioState const& state = mMedia.audio();
    uint64_t const sequence = state.sequence.load(std::memory_order_acquire);
    if (sequence == 0) {
        span = {};
        return true;
    }
    AudioSpan const& shared = state.spans[sequence % 2];
    span.begin = shared.begin.load(std::memory_order_acquire);
    span.end = shared.end.load(std::memory_order_acquire);
    span.anchorTail = shared.anchor_tail.load(std::memory_order_acquire);
    span.anchorHead = shared.anchor_head.load(std::memory_order_acquire);
    // The writer fills the other copy first, so this one may only have changed if the sequence has.
    return state.sequence.load(std::memory_order_acquire) == sequence && span.begin <= span.end &&
           span.count() <= mMedia.config().audio_readable && span.anchorTail < span.anchorHead &&
           span.anchorHead - span.anchorTail <= mMedia.config().anchor_capacity;
}

bool AudioReader::readSpan(Span& span) const
{
    for (int i = 0; i < maximumAttempts; ++i) {
        if (tryReadSpan(span))
            return true;
    }
    return false;
}

bool AudioReader::readAnchor(uint64_t number, Anchor& anchor) const
{
    AudioAnchor const& shared = mMedia.audioAnchor(number);
    if (shared.sequence.load(std::memory_order_acquire) != number + 1)
        return false;
    anchor.position = shared.position.load(std::memory_order_acquire);
    anchor.timestamp = shared.timestamp.load(std::memory_order_acquire);
    return shared.sequence.load(std::memory_order_acquire) == number + 1;
}

/** The last anchor that isn't later, or the first one if all are. */
template<typename IsLater>
bool AudioReader::findAnchor(
    Span const& span, IsLater isLater, uint64_t& number, Anchor& anchor) const
{
    uint64_t low = span.anchorTail;
    uint64_t high = span.anchorHead - 1;
    while (low < high) {
        uint64_t const middle = high - (high - low) / 2;
        if (!readAnchor(middle, anchor))
            return false;
        if (isLater(anchor))
            high = middle - 1;
        else
            low = middle;
    }
    number = low;
    return readAnchor(low, anchor);
}

bool AudioReader::timeOf(Span const& span, uint64_t position, int64_t& timestamp) const
{
    uint64_t number = 0;
    Anchor anchor;
    auto const isLater = [&](Anchor const& a) {
        return a.position > position;
    };
    if (!findAnchor(span, isLater, number, anchor))
        return false;
    Wide const offset = Wide(position) - anchor.position;
    timestamp = toInt64(
        anchor.timestamp + floorDivide(offset * microsecondsPerSecond, mMedia.config().audio_rate));
    return true;
}

bool AudioReader::positionOf(Span const& span, int64_t timestamp, Wide& position) const
{
    uint64_t number = 0;
    Anchor anchor;
    auto const isLater = [&](Anchor const& a) {
        return a.timestamp > timestamp;
    };
    if (!findAnchor(span, isLater, number, anchor))
        return false;
    Wide const offset = Wide(timestamp) - anchor.timestamp;
    position =
        anchor.position + roundDivide(offset * mMedia.config().audio_rate, microsecondsPerSecond);
    // In a gap between two blocks the next block begins.
    Anchor next;
    if (number + 1 != span.anchorHead) {
        if (!readAnchor(number + 1, next))
            return false;
        position = std::min(position, Wide(next.position));
    }
    return true;
}

void AudioReader::getStatus(shm_audio_status_t& status) const
{
    for (int i = 0; i < maximumAttempts; ++i) {
        status = {};
        Span span;
        if (!tryReadSpan(span))
            continue;
        if (span.count() == 0)
            return;
        if (!timeOf(span, span.begin, status.first_timestamp) ||
            !timeOf(span, span.end, status.last_timestamp))
            continue;
        status.valid = 1;
        status.sample_count = uint32_t(span.count());
        return;
    }
    status = {};
}

/** Where a strict read of @p count sample frames begins; false: not all of them are held. */
bool AudioReader::strictStart(
    Span const& span, uint64_t count, int64_t timestamp, uint64_t& start) const
{
    int64_t first = 0;
    int64_t last = 0;
    Wide position = 0;
    if (!timeOf(span, span.begin, first) || !timeOf(span, span.end, last) ||
        !positionOf(span, timestamp, position))
        return false;
    uint64_t const rate = mMedia.config().audio_rate;
    // Callers reckon in whole microseconds and cut off fractions: they may miss an end by one, or
    // by half a sample.
    int64_t const tolerance = 1 + microsecondsPerSecond / 2 / int64_t(rate);
    if (timestamp < Wide(first) - tolerance)
        return false;
    // Where the writer's clock runs faster or slower than its samples, one of the two measures
    // says too much.
    Wide const duration = Wide(count) * microsecondsPerSecond / rate;
    if (timestamp + duration > Wide(last) + tolerance && position + count > span.end)
        return false;
    Wide const latest = Wide(span.end) - count;
    start = uint64_t(std::max(std::min(position, latest), Wide(span.begin)));
    return true;
}

uint64_t AudioReader::readStrict(
    int16_t* dest, uint64_t blocks, uint64_t blockFrames, int64_t timestamp)
{
    for (int i = 0; i < maximumAttempts; ++i) {
        Span span;
        uint64_t start = 0;
        if (!readSpan(span) || blocks > span.count() / blockFrames)
            return 0;
        uint64_t const count = blocks * blockFrames;
        if (!strictStart(span, count, timestamp, start)) {
            // Either the audio isn't there or the writer moved on in the middle of the look-up.
            Span again;
            if (readSpan(again) && again.end == span.end)
                return 0;
            continue;
        }
        if (copy(dest, start, count))
            return blocks;
    }
    return 0;
}

/** Where a continuous read begins; false: the writer moved on meanwhile. */
bool AudioReader::continuousStart(Span const& span, int64_t timestamp, uint64_t& start) const
{
    Wide position = 0;
    int64_t expected = 0;
    bool goesOn = false;
    if (mHasNext && mNext <= span.end) {
        if (!timeOf(span, mNext, expected))
            return false;
        goesOn = absolute(Wide(timestamp) - expected) <= continuityTolerance;
    }
    if (goesOn)
        position = mNext;
    else if (!positionOf(span, timestamp, position))
        return false;
    start = uint64_t(std::min(std::max(position, Wide(span.begin)), Wide(span.end)));
    return true;
}

uint64_t AudioReader::readContinuous(
    int16_t* dest, uint64_t blocks, uint64_t blockFrames, int64_t timestamp)
{
    std::lock_guard<std::mutex> const guard(mMutex);
    for (int i = 0; i < maximumAttempts; ++i) {
        Span span;
        uint64_t start = 0;
        if (!readSpan(span) || span.count() == 0)
            return 0;
        if (!continuousStart(span, timestamp, start))
            continue;
        uint64_t const delivered = std::min(blocks, (span.end - start) / blockFrames);
        if (delivered == 0)
            return 0;
        if (!copy(dest, start, delivered * blockFrames))
            continue;
        mHasNext = true;
        mNext = start + delivered * blockFrames;
        return delivered;
    }
    return 0;
}

/** @return false when the writer overtook the copying. */
bool AudioReader::copy(int16_t* dest, uint64_t start, uint64_t count) const
{
    MediaConfig const& config = mMedia.config();
    uint64_t const channels = config.audio_channels;
    uint64_t const offset = start % config.audio_capacity;
    uint64_t const untilWrap = std::min(count, config.audio_capacity - offset);
    int16_t const* const samples = mMedia.samples();
    std::memcpy(dest, samples + offset * channels, untilWrap * channels * sizeof *dest);
    std::memcpy(
        dest + untilWrap * channels, samples, (count - untilWrap) * channels * sizeof *dest);
    loadFence();
    return mMedia.audio().intact.load(std::memory_order_relaxed) <= start;
}

} // namespace shm
