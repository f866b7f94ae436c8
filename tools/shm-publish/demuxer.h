#ifndef DEMUXER_H
#define DEMUXER_H

#include "inputformat.h"
#include "packetbuffer.h"

#include <memory>
#include <string>
#include <thread>

class Pacer;

/**
 * Opens an input and reads it ahead on a thread of its own, over and over again when asked to.
 * Everything but that thread is thread-bound.
 */
class Demuxer
{
public:
    /**
     * Opens the input of @p options; throws Failure. @p pacer is woken when there are packets
     * after there were none; it must outlive this.
     */
    Demuxer(Options const& options, Pacer& pacer);

    /**
     * Ends the thread. One that a device keeps in the kernel for over a second is left to the
     * end of the process.
     */
    ~Demuxer();

    InputStream const& stream(Medium medium) const;
    PacketBuffer& packets();

    void start();

    /** What ended the reading before the end of the input; for after PacketBuffer::Finished. */
    std::string error() const;

private:
    class Reader;

    std::shared_ptr<Reader> mReader; /**< shared with the thread, so that that can be left behind */
    std::thread mThread;
};

#endif
