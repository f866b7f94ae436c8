#ifndef PUBLISHER_H
#define PUBLISHER_H

#include "track.h"

class Report;

/** Publishes what a source has, each unit at its time. Thread-bound. */
class Publisher
{
public:
    /** All must outlive this. @param duration µs of media to publish; 0: all */
    Publisher(Source& source, Stream& stream, Pacer& pacer, Report& report, int64_t duration);

    /** Returns at the end of the media or on a signal; throws Failure. */
    void run();

private:
    struct Next
    {
        Track* track = nullptr; /**< the one whose unit is due first; null: none is ready */
        bool ended = true;      /**< all of them */
    };

    Next prepareTracks();
    void startClock();
    void followWallClock();
    void publish(Track& track);

    Source& mSource;
    Stream& mStream;
    Pacer& mPacer;
    Report& mReport;
    int64_t mDuration;
    MediaClock mClock;
    std::vector<Track*> mTracks;
    int64_t mLimit = INT64_MAX; /**< nothing that begins here or later is published */
    int64_t mLastEnd = 0;       /**< of all that was published */
};

#endif
