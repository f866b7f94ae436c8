#ifndef TRACK_H
#define TRACK_H

#include "mediaclock.h"
#include "stream.h"

#include <memory>
#include <string>
#include <vector>

class Pacer;

/**
 * The video or the audio of a source: a sequence of units (a frame, a block of samples), one of
 * which is ready at a time. All times are media time in microseconds. Thread-bound.
 */
class Track
{
public:
    enum class State
    {
        Ready,   /**< begin(), due(), end() and publish() are about the unit that comes next */
        Starved, /**< the input has to deliver first */
        Ended
    };

    virtual ~Track() = default;

    /** Makes a unit ready if none is; @p now is the media time that is due now. Never waits. */
    virtual State prepare(int64_t now) = 0;

    virtual int64_t begin() const = 0;
    virtual int64_t end() const = 0;

    /** When to publish: a picture as it begins, sound when it has been heard. */
    virtual int64_t due() const = 0;

    /** Publishes the unit with @p timestamp as the one of its begin(). */
    virtual void publish(int64_t timestamp) = 0;

    /** Gives every slot of the stream back, also those that a decoder holds. */
    virtual void releaseSlots() {}
};

/** Where media come from. Its tracks live as long as it does. Thread-bound. */
class Source
{
public:
    virtual ~Source() = default;

    virtual MediaClock::Basis basis() const = 0;

    /**
     * Finds out what there is to publish; may wait.
     * @return false when a signal ended the wait; throws Failure when there is nothing
     */
    virtual bool open(Pacer& pacer) = 0;

    virtual MediaFormat format() const = 0;

    /** Publishes into @p stream from now on, which outlives this. */
    virtual void attach(Stream& stream) = 0;

    virtual std::vector<Track*> tracks() = 0;

    /** What ended the tracks before their time; empty when nothing did. */
    virtual std::string error() const { return {}; }
};

#endif
