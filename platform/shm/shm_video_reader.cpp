#include "shm_video_reader.h"

#include "shm_arithmetic.h"

#include <algorithm>

namespace shm {

namespace {

// An honest writer moves a few times a second and one repetition nearly always does. The bound is
// for memory that somebody scribbles over.
constexpr int maximumAttempts = 64;

Wide distance(int64_t a, int64_t b)
{
    return absolute(Wide(a) - b);
}

} // namespace

void VideoReader::setRate(FrameRate rate)
{
    mRate.store(uint64_t(rate.num) << 32 | rate.den, std::memory_order_relaxed);
}

bool VideoReader::readWindow(Window& window) const
{
    VideoState const& state = mMedia.video();
    window.tail = state.tail.load(std::memory_order_acquire);
    window.head = state.head.load(std::memory_order_acquire);
    return window.tail == state.tail.load(std::memory_order_acquire) &&
           window.tail <= window.head && window.head - window.tail <= mMedia.config().frame_count;
}

bool VideoReader::readFrame(uint64_t number, Frame& frame) const
{
    FrameEntry const& entry = mMedia.frameEntry(number);
    if (entry.sequence.load(std::memory_order_acquire) != number + 1)
        return false;
    frame.number = number;
    frame.timestamp = entry.timestamp.load(std::memory_order_acquire);
    frame.previous = entry.previous.load(std::memory_order_acquire);
    uint64_t const slot = entry.slot.load(std::memory_order_acquire);
    if (slot >= mMedia.config().slot_count)
        return false;
    frame.slot = uint32_t(slot);
    return entry.sequence.load(std::memory_order_acquire) == number + 1;
}

bool VideoReader::readPresentation(Window window, Presentation& presentation) const
{
    FrameRate const nominal = {mMedia.config().rate_num, mMedia.config().rate_den};
    uint64_t const packed = mRate.load(std::memory_order_relaxed);
    FrameRate const asked = {uint32_t(packed >> 32), uint32_t(packed)};
    uint64_t const count = window.head - window.tail;
    Frame first = {};
    Frame last = {};
    if (count != 0 && !(readFrame(window.tail, first) && readFrame(window.head - 1, last)))
        return false;
    presentation = Presentation(nominal, asked, first.timestamp, last.timestamp, count);
    return true;
}

bool VideoReader::tryCollect(Frames& frames) const
{
    Window window;
    Presentation presentation{FrameRate()};
    if (!readWindow(window) || !readPresentation(window, presentation))
        return false;
    frames.count = 0;
    frames.interval = presentation.interval();
    for (uint64_t number = window.tail; number != window.head; ++number) {
        Frame& frame = frames.items[frames.count];
        if (!readFrame(number, frame))
            return false;
        if (presentation.shows(frame))
            ++frames.count;
    }
    return true;
}

VideoReader::Frames VideoReader::collect() const
{
    Frames frames;
    for (int i = 0; i < maximumAttempts; ++i) {
        if (tryCollect(frames))
            return frames;
    }
    frames.count = 0;
    return frames;
}

void VideoReader::getStatus(shm_video_status_t& status) const
{
    Frames const frames = collect();
    status = {};
    status.frames_valid = frames.count != 0;
    status.frame_count = frames.count;
    status.frame_interval = frames.interval;
    status.frames_written = mMedia.video().head.load(std::memory_order_relaxed);
    status.frames_dropped = mMedia.video().dropped.load(std::memory_order_relaxed);
    if (frames.count == 0)
        return;
    status.first_timestamp = frames.items[0].timestamp;
    status.last_timestamp = frames.items[frames.count - 1].timestamp;
    if (frames.count == 1)
        return;
    uint32_t const gaps = frames.count - 1;
    if (frames.interval == 0) {
        Wide const span = Wide(status.last_timestamp) - status.first_timestamp;
        status.frame_interval = toInt64(roundDivide(span, gaps));
    }
    Wide deviation = 0;
    for (uint32_t i = 0; i < gaps; ++i) {
        Wide const gap = Wide(frames.items[i + 1].timestamp) - frames.items[i].timestamp;
        deviation += absolute(gap - status.frame_interval);
    }
    status.interval_jitter = toInt64(roundDivide(deviation, gaps));
}

int VideoReader::getTimestamps(int64_t* out, int capacity) const
{
    Frames const frames = collect();
    uint32_t const count = std::min(frames.count, uint32_t(capacity));
    for (uint32_t i = 0; i < count; ++i)
        out[i] = frames.items[frames.count - count + i].timestamp;
    return int(count);
}

/** Binary search: @p number is that of the oldest frame later than @p timestamp, or the head. */
VideoReader::Search VideoReader::firstAfter(
    Window window, int64_t timestamp, uint64_t& number) const
{
    uint64_t low = window.tail;
    uint64_t high = window.head;
    while (low < high) {
        uint64_t const middle = low + (high - low) / 2;
        Frame frame = {};
        if (!readFrame(middle, frame))
            return Search::Moved;
        if (frame.timestamp <= timestamp)
            low = middle + 1;
        else
            high = middle;
    }
    number = low;
    return Search::Found;
}

VideoReader::Search VideoReader::shownAtOrBefore(
    Window window, uint64_t end, Presentation const& presentation, Frame& found) const
{
    for (uint64_t number = end; number-- != window.tail;) {
        if (!readFrame(number, found))
            return Search::Moved;
        if (presentation.shows(found))
            return Search::Found;
    }
    return Search::None;
}

VideoReader::Search VideoReader::shownAtOrAfter(
    Window window, uint64_t begin, Presentation const& presentation, Frame& found) const
{
    for (uint64_t number = begin; number != window.head; ++number) {
        if (!readFrame(number, found))
            return Search::Moved;
        if (presentation.shows(found))
            return Search::Found;
    }
    return Search::None;
}

/** @p split is the number of the first frame later than @p timestamp. */
VideoReader::Search VideoReader::nearest(Window window, uint64_t split, int64_t timestamp,
    Presentation const& presentation, Frame& found) const
{
    Frame before = {};
    Frame after = {};
    Search const searchBefore = shownAtOrBefore(window, split, presentation, before);
    Search const searchAfter = shownAtOrAfter(window, split, presentation, after);
    if (searchBefore == Search::Moved || searchAfter == Search::Moved)
        return Search::Moved;
    if (searchBefore == Search::None && searchAfter == Search::None)
        return Search::None;
    bool const takeBefore =
        searchAfter == Search::None ||
        (searchBefore == Search::Found &&
            distance(before.timestamp, timestamp) <= distance(after.timestamp, timestamp));
    found = takeBefore ? before : after;
    return Search::Found;
}

VideoReader::Search VideoReader::find(
    shm_video_lookup_mode_t mode, int64_t timestamp, Frame& found) const
{
    Window window;
    Presentation presentation{FrameRate()};
    if (!readWindow(window) || !readPresentation(window, presentation))
        return Search::Moved;
    if (mode == SHM_VIDEO_LOOKUP_LATEST)
        return shownAtOrBefore(window, window.head, presentation, found);

    uint64_t split = 0;
    if (mode == SHM_VIDEO_LOOKUP_AT_OR_AFTER) {
        // The first one later than the instant before.
        if (timestamp == INT64_MIN)
            return shownAtOrAfter(window, window.tail, presentation, found);
        Search const search = firstAfter(window, timestamp - 1, split);
        return search == Search::Found ? shownAtOrAfter(window, split, presentation, found)
                                       : search;
    }
    Search const search = firstAfter(window, timestamp, split);
    if (search != Search::Found)
        return search;
    return mode == SHM_VIDEO_LOOKUP_AT_OR_BEFORE
               ? shownAtOrBefore(window, split, presentation, found)
               : nearest(window, split, timestamp, presentation, found);
}

bool VideoReader::tryPin(Frame const& frame)
{
    if (!mPins.add(frame.slot))
        return false;
    // The writer clears the generation before it looks at the pins, and the pin is set here before
    // the generation is looked at: at least one of the two sees the other.
    if (mMedia.generation(frame.slot).load(std::memory_order_seq_cst) == frame.number + 1)
        return true;
    mPins.remove(frame.slot);
    return false;
}

int VideoReader::lock(shm_video_frame_t& frame, shm_video_lookup_mode_t mode)
{
    for (int i = 0; i < maximumAttempts; ++i) {
        Frame found = {};
        Search const search = find(mode, frame.timestamp, found);
        if (search == Search::None)
            return -1;
        if (search == Search::Found && tryPin(found)) {
            describe(found, frame);
            return int(found.slot);
        }
    }
    return -1;
}

void VideoReader::describe(Frame const& found, shm_video_frame_t& frame) const
{
    MediaConfig const& config = mMedia.config();
    uint8_t* const base = mMedia.slot(found.slot);
    frame.width = int32_t(config.video_width);
    frame.height = int32_t(config.video_height);
    frame.timestamp = found.timestamp;
    frame.plane0 = base;
    frame.plane1 = base + config.plane1_offset;
    frame.plane2 = base + config.plane2_offset;
    frame.stride0 = int32_t(config.luma_stride);
    frame.stride1 = int32_t(config.chroma_stride);
    frame.stride2 = int32_t(config.chroma_stride);
}

} // namespace shm
