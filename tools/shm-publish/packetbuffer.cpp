#include "packetbuffer.h"

#include <algorithm>
#include <utility>

namespace {

constexpr int64_t EnoughAhead = 500000; /**< µs */
constexpr size_t EnoughPackets = 256;   /**< where the times of the packets say nothing */
constexpr size_t MaxBytes = 48 << 20;

} // namespace

PacketBuffer::PacketBuffer(std::function<void()> refilled)
    : mRefilled(std::move(refilled))
{}

void PacketBuffer::expect(Medium medium)
{
    std::lock_guard const lock(mMutex);
    mQueues[medium].expected = true;
}

void PacketBuffer::ignore(Medium medium)
{
    std::lock_guard const lock(mMutex);
    for (Item const& item : mQueues[medium].items)
        mBytes -= item.bytes;
    mQueues[medium] = Queue();
    mTaken.notify_all();
}

bool PacketBuffer::put(Medium medium, ffmpeg::Packet packet, int64_t end, size_t bytes)
{
    std::unique_lock lock(mMutex);
    mTaken.wait(lock, [this] { return mAborted || !isFullLocked(); });
    if (mAborted)
        return false;
    if (!mQueues[medium].expected)
        return true;
    mQueues[medium].items.push_back({std::move(packet), end, bytes});
    mBytes += bytes;
    notifyRefilled(std::move(lock));
    return true;
}

void PacketBuffer::endPass()
{
    std::unique_lock lock(mMutex);
    for (Queue& queue : mQueues) {
        if (queue.expected)
            queue.items.push_back({nullptr, queue.items.empty() ? 0 : queue.items.back().end, 0});
    }
    notifyRefilled(std::move(lock));
}

void PacketBuffer::finish()
{
    std::unique_lock lock(mMutex);
    mFinished = true;
    notifyRefilled(std::move(lock));
}

void PacketBuffer::abort()
{
    std::lock_guard const lock(mMutex);
    mAborted = true;
    mTaken.notify_all();
}

PacketBuffer::Result PacketBuffer::take(Medium medium, ffmpeg::Packet& packet)
{
    std::lock_guard const lock(mMutex);
    auto& items = mQueues[medium].items;
    if (items.empty()) {
        mStarving = !mFinished;
        return mFinished ? Result::Finished : Result::Empty;
    }
    packet = std::move(items.front().packet);
    mBytes -= items.front().bytes;
    items.pop_front();
    mTaken.notify_all();
    return packet ? Result::Packet : Result::EndOfPass;
}

bool PacketBuffer::isFull() const
{
    std::lock_guard const lock(mMutex);
    return isFullLocked();
}

bool PacketBuffer::isFullLocked() const
{
    return mBytes >= MaxBytes ||
           std::all_of(mQueues.begin(), mQueues.end(), [](Queue const& queue) {
               auto const& items = queue.items;
               return !queue.expected || items.size() >= EnoughPackets ||
                      (!items.empty() && items.back().end - items.front().end >= EnoughAhead);
           });
}

void PacketBuffer::notifyRefilled(std::unique_lock<std::mutex> lock)
{
    bool const starving = std::exchange(mStarving, false) && !mAborted;
    lock.unlock();
    if (starving && mRefilled)
        mRefilled();
}
