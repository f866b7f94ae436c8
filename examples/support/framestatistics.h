#ifndef FRAMESTATISTICS_H
#define FRAMESTATISTICS_H

#include <deque>
#include <mutex>
#include <optional>

#include <QVector>

#include "distribution.h"

/** Now, in the microseconds of the wall clock that frames carry. */
qint64 wallClock();

/** What became of the frames of a stream; counts of frames unless said otherwise. */
struct FrameFigures
{
    qint64 published = 0; /**< since the start */
    qint64 shown = 0;     /**< each counted once */
    qint64 repeated = 0;  /**< times that there was no new one to show */
    qint64 missed = 0; /**< published between the first and the last one shown, but never shown */
    double displayRate = 0;             /**< new frames shown per second, from first to last */
    std::optional<double> latencyP50Ms; /**< from a frame's time to its first paint */
    std::optional<double> latencyP99Ms;
    double longestPauseMs = 0; /**< between two new frames shown */
};

/**
 * Follows the frames of one stream from publication to the screen, at a fixed cost of memory
 * however long it runs. All times are microseconds of the wall clock.
 *
 * Thread-safe.
 */
class FrameStatistics
{
public:
    /** @param start frames with an earlier time are none that were published since */
    explicit FrameStatistics(qint64 start);

    /** The stream holds frames of these times, ascending. */
    void published(QVector<qint64> const& timestamps);

    /** The frame of @p timestamp was painted at @p now. @return whether for the first time */
    bool painted(qint64 timestamp, qint64 now);

    /** It was time for another frame, but the one shown came again. */
    void repeated();

    FrameFigures figures() const;

private:
    struct Frame
    {
        qint64 timestamp;
        bool shown;
    };

    void append(qint64 timestamp);
    qint64 indexOf(qint64 timestamp) const;

    mutable std::mutex mMutex;
    qint64 const mStart;
    std::deque<Frame> mRecent; // in the order of publication
    qint64 mRecentBegin = 0;   // index of the first of them among all frames
    qint64 mFirstShown = -1;   // index
    qint64 mLastShown = -1;    // index
    qint64 mFirstPaint = 0;    // time
    qint64 mLastPaint = 0;     // time
    qint64 mLongestPause = 0;  // µs
    FrameFigures mCounts;
    Distribution mLatencies; // µs
};

#endif
