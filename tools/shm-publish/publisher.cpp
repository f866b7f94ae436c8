#include "publisher.h"

#include "pacer.h"
#include "report.h"

#include <algorithm>

namespace {

/** An input that is late by more came to a halt: what follows is moved, not hurried after. */
constexpr int64_t MaxLateness = 500000;

} // namespace

Publisher::Publisher(Source& source, Stream& stream, Pacer& pacer, Report& report, int64_t duration)
    : mSource(source)
    , mStream(stream)
    , mPacer(pacer)
    , mReport(report)
    , mDuration(duration)
    , mClock(source.basis())
    , mTracks(source.tracks())
{}

void Publisher::run()
{
    startClock();
    for (;;) {
        followWallClock();
        Next const next = prepareTracks();
        int64_t const now = MediaClock::monotonicNow();
        mReport.update(now);

        int64_t deadline = mReport.nextUpdate();
        if (next.track)
            deadline = std::min(deadline, mClock.dueTime(next.track->due()));
        else if (next.ended)
            deadline = std::min(deadline, mClock.dueTime(mLastEnd));

        Pacer::Event const event = mPacer.wait(deadline);
        if (event == Pacer::Event::Stopped)
            return;
        if (event == Pacer::Event::Woken)
            continue;
        if (next.track && mClock.now() >= next.track->due())
            publish(*next.track);
        // The last picture stays for its own time as well.
        if (next.ended && mClock.now() >= mLastEnd)
            return;
    }
}

void Publisher::startClock()
{
    int64_t begin = INT64_MAX;
    for (Track* const track : mTracks) {
        if (track->prepare(mClock.now()) == Track::State::Ready)
            begin = std::min(begin, track->begin());
    }
    mClock.start(begin);
    if (mDuration > 0)
        mLimit = begin + mDuration;
}

void Publisher::followWallClock()
{
    int64_t const step = mClock.followWallClock();
    if (step != 0 && mSource.basis() == MediaClock::Basis::WallClock) {
        mLimit += mDuration > 0 ? step : 0;
        mLastEnd += step;
    }
    if (step >= 0)
        return;
    // The timestamps of one stream only ascend.
    for (Track* const track : mTracks)
        track->releaseSlots();
    mStream.reopen();
}

Publisher::Next Publisher::prepareTracks()
{
    Next next;
    int64_t const now = mClock.now();
    for (Track* const track : mTracks) {
        Track::State const state = track->prepare(now);
        if (state == Track::State::Ready && track->begin() < mLimit) {
            if (!next.track || track->due() < next.track->due())
                next.track = track;
            next.ended = false;
        } else if (state == Track::State::Starved) {
            next.ended = false;
        }
    }
    return next;
}

void Publisher::publish(Track& track)
{
    int64_t const lateness = mClock.now() - track.due();
    if (lateness > MaxLateness && mSource.basis() == MediaClock::Basis::Start) {
        mClock.delay(lateness);
        ++mStream.counters.stalls;
    }
    mLastEnd = std::max(mLastEnd, track.end());
    track.publish(mClock.wallTime(track.begin()));
}
