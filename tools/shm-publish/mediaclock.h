#ifndef MEDIACLOCK_H
#define MEDIACLOCK_H

#include <cstdint>

/**
 * Tells when media are due and which wall-clock time they bear. All times are microseconds.
 *
 * Media wait by the monotonic clock and are stamped by the wall clock. The two are tied together
 * once and again only when the wall clock was set by more than a second, so that timestamps stay
 * evenly spaced whatever small corrections the clock gets.
 *
 * Thread-bound.
 */
class MediaClock
{
public:
    /** What media time 0 means. */
    enum class Basis
    {
        WallClock, /**< the Unix epoch: media time is the wall clock itself */
        Start      /**< whatever start() says */
    };

    explicit MediaClock(Basis basis);

    /** Makes @p media due now. With Basis::WallClock nothing changes. */
    void start(int64_t media);

    /** The media time that is due now. */
    int64_t now() const { return monotonicNow() - mMediaToMonotonic; }

    /** When @p media is due, on the monotonic clock. */
    int64_t dueTime(int64_t media) const { return media + mMediaToMonotonic; }

    /** The timestamp of @p media. */
    int64_t wallTime(int64_t media) const { return dueTime(media) + mMonotonicToWall; }

    /** Makes all media due later by @p by; not for Basis::WallClock. */
    void delay(int64_t by) { mMediaToMonotonic += by; }

    /**
     * Takes over a new setting of the wall clock.
     * @return by how much it was set; 0 when that was a second or less, which is not taken over
     */
    int64_t followWallClock();

    static int64_t monotonicNow();

private:
    Basis mBasis;
    int64_t mMediaToMonotonic = 0;
    int64_t mMonotonicToWall;
};

#endif
