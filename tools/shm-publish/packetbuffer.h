#ifndef PACKETBUFFER_H
#define PACKETBUFFER_H

#include "ffmpeg.h"

#include <array>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>

/** What a packet is of; an index into arrays. */
enum Medium
{
    Video,
    Audio
};
constexpr int MediumCount = 2;

/**
 * Packets read ahead, between the thread that reads the input and the one that decodes. It holds
 * about half a second of each medium, more of one where the input delivers the other late, and
 * never more than a fixed number of bytes. Thread-safe.
 */
class PacketBuffer
{
public:
    enum class Result
    {
        Packet,
        EndOfPass, /**< all packets of one pass through the input have been taken */
        Empty,     /**< more will come */
        Finished   /**< nothing will come any more */
    };

    /** @param refilled called, by the thread that adds, when there is more after Result::Empty */
    explicit PacketBuffer(std::function<void()> refilled);

    /** Says that packets of @p medium are to be expected; others are thrown away. */
    void expect(Medium medium);
    /** Takes that back. */
    void ignore(Medium medium);

    /**
     * Adds a packet; waits while the buffer is full.
     * @param end where it ends, µs of media
     * @param bytes memory that it occupies
     * @return false after abort()
     */
    bool put(Medium medium, ffmpeg::Packet packet, int64_t end, size_t bytes);

    /** Marks the end of one pass through the input. */
    void endPass();
    /** Says that nothing follows. */
    void finish();
    /** Makes put() return at once from now on. */
    void abort();

    /** Takes the next of @p medium. Never waits. */
    Result take(Medium medium, ffmpeg::Packet& packet);

    /** Tells whether put() has to wait. */
    bool isFull() const;

private:
    struct Item
    {
        ffmpeg::Packet packet; /**< null: the end of a pass */
        int64_t end;
        size_t bytes;
    };

    struct Queue
    {
        bool expected = false;
        std::deque<Item> items;
    };

    bool isFullLocked() const;
    void notifyRefilled(std::unique_lock<std::mutex> lock);

    std::function<void()> mRefilled;
    mutable std::mutex mMutex;
    std::condition_variable mTaken;
    std::array<Queue, MediumCount> mQueues;
    size_t mBytes = 0;
    bool mStarving = false;
    bool mFinished = false;
    bool mAborted = false;
};

#endif
