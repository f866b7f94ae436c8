#ifndef SUPPORT_LIVESTREAM_H
#define SUPPORT_LIVESTREAM_H

#include "childprocess.h"

#include "shm_writer.h"

#include <string>

/** What a stream carries: 60 frames a second of a size, audio; 0: none. */
struct StreamShape
{
    int width;
    int height;
    int audioRate;
    int audioChannels;
};

/** @return null when the stream can't be opened; why has been said */
shm_writer_t* openWriter(const std::string& name, const StreamShape& shape);

/**
 * A stream that another process publishes in real time for as long as the object lives. From the
 * start it holds all it can hold.
 */
class LiveStream
{
public:
    /** Ends the program when the stream can't be opened. */
    LiveStream(const std::string& name, const StreamShape& shape);

    /** Unique to this process, so that two runs don't meet. */
    const std::string& name() const { return mName; }

private:
    std::string mName;
    ChildProcess mPublisher;
};

#endif
