#ifndef SOUNDLAG_H
#define SOUNDLAG_H

#include <deque>
#include <optional>

#include <QtGlobal>

/**
 * How far the sound that is heard lies behind the wall clock. The positions that an output reports
 * advance in steps of what it fetches at a time, and jump while it fills its buffer; the lag is the
 * middle one of the last second, once they have ascended for half a second. All in microseconds.
 */
class SoundLag
{
public:
    /** The sound of @p position is heard at @p now. */
    void add(qint64 position, qint64 now);

    /** What is heard now has nothing to do with what was heard before. */
    void clear() { mReports.clear(); }

    std::optional<qint64> value() const;

private:
    struct Report
    {
        qint64 position;
        qint64 time;
    };

    std::deque<Report> mReports;
};

#endif
