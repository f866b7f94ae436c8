#ifndef SHM_PRESENTATION_H
#define SHM_PRESENTATION_H

#include <cstdint>

namespace shm {

/** One published frame as its index entry describes it. */
struct Frame
{
    uint64_t number;
    int64_t timestamp;
    int64_t previous; /**< timestamp of the frame before; of no meaning in frame 0 */
    uint32_t slot;
};

/** A frame rate; num 0: none. */
struct FrameRate
{
    uint32_t num = 0;
    uint32_t den = 0;
};

/**
 * Which frames a reader is shown, and how far apart they nominally are.
 *
 * A frame belongs to the presented ones when it is the first at or after an instant of the grid of
 * the asked rate, which is counted from the epoch: so the answer depends on the frame and its
 * predecessor alone, and stays the same while the stream moves on.
 */
class Presentation
{
public:
    /** Every frame of a stream of @p nominal rate. */
    explicit Presentation(FrameRate nominal)
        : mNominal(nominal)
    {}

    /**
     * Thins to @p asked unless that is 1/1 or no slower than the stream: than its nominal rate,
     * or, if it has none, than that of @p count frames between @p first and @p last.
     */
    Presentation(FrameRate nominal, FrameRate asked, int64_t first, int64_t last, uint64_t count);

    bool shows(Frame const& frame) const;

    /** Time between two presented frames, µs; 0: not known. */
    int64_t interval() const;

private:
    FrameRate mNominal;
    FrameRate mGrid; /**< num 0: every frame is shown */
};

} // namespace shm

#endif
