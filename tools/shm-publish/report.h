#ifndef REPORT_H
#define REPORT_H

#include "stream.h"

#include <string>

/**
 * Tells a person and a program how it goes, once a second: a progress line on standard error when
 * that is a terminal, and lines of JSON on standard output when asked for.
 */
class Report
{
public:
    /** @p stream must outlive this. */
    Report(Options const& options, Stream const& stream);

    /** When the next update is due, µs on the monotonic clock. */
    int64_t nextUpdate() const { return mNext; }

    /** Writes what is due at @p now. */
    void update(int64_t now);

    /** Writes the last statistics and ends the progress line. */
    void finish();

private:
    void writeProgress(shm_writer_statistics_t const& statistics, double seconds);
    void writeStatistics(shm_writer_statistics_t const& statistics, bool last);

    Stream const& mStream;
    std::string mName;
    bool mStats;
    bool mProgress;
    bool mProgressShown = false;
    int64_t mStart;
    int64_t mUpdated;
    int64_t mNext;
    uint64_t mFramesBefore = 0;
};

#endif
