#ifndef SHM_VIDEO_READER_H
#define SHM_VIDEO_READER_H

#include "shm_media.h"
#include "shm_pins.h"
#include "shm_presentation.h"
#include "shm_reader.h"

#include <array>
#include <atomic>

namespace shm {

/** Finds and locks frames. Thread-safe without locks; makes no system call. */
class VideoReader
{
public:
    VideoReader(Media const& media, ReaderPins& pins)
        : mMedia(media)
        , mPins(pins)
    {}

    void setRate(FrameRate rate);
    void getStatus(shm_video_status_t& status) const;
    int getTimestamps(int64_t* out, int capacity) const;

    /**
     * Locks a frame and fills all of @p frame but its lock field.
     * @return the slot, or -1 when there is no such frame (@p frame is then unchanged).
     */
    int lock(shm_video_frame_t& frame, shm_video_lookup_mode_t mode);
    void unlock(uint32_t slot) { mPins.remove(slot); }

private:
    /** Frames numbered tail up to, not including, head. */
    struct Window
    {
        uint64_t tail = 0;
        uint64_t head = 0;
    };
    /** Copies of the presented frames in the window, oldest first. */
    struct Frames
    {
        std::array<Frame, maximumFrameCount> items;
        uint32_t count = 0;
        int64_t interval = 0;
    };
    enum class Search
    {
        Found,
        None,
        Moved /**< the writer moved on meanwhile: search again */
    };

    bool readWindow(Window& window) const;
    bool readFrame(uint64_t number, Frame& frame) const;
    bool readPresentation(Window window, Presentation& presentation) const;
    Frames collect() const;
    bool tryCollect(Frames& frames) const;

    Search find(shm_video_lookup_mode_t mode, int64_t timestamp, Frame& found) const;
    Search firstAfter(Window window, int64_t timestamp, uint64_t& number) const;
    Search shownAtOrBefore(
        Window window, uint64_t end, Presentation const& presentation, Frame& found) const;
    Search shownAtOrAfter(
        Window window, uint64_t begin, Presentation const& presentation, Frame& found) const;
    Search nearest(Window window, uint64_t split, int64_t timestamp,
        Presentation const& presentation, Frame& found) const;

    bool tryPin(Frame const& frame);
    void describe(Frame const& found, shm_video_frame_t& frame) const;

    Media const& mMedia;
    ReaderPins& mPins;
    std::atomic<uint64_t> mRate{0}; /**< num in the upper half, den in the lower */
};

} // namespace shm

#endif
