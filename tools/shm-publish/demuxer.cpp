#include "demuxer.h"

#include "continuoustime.h"
#include "failure.h"
#include "inputformat.h"
#include "pacer.h"

#include <pthread.h>
#include <signal.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <optional>

namespace {

constexpr auto PollInterval = std::chrono::milliseconds(5);
constexpr int PollsBeforeLeaving = 200;

} // namespace

/** What the thread does and needs. */
class Demuxer::Reader
{
public:
    Reader(Options const& options, Pacer& pacer);

    void run();
    void quit();
    bool hasEnded() const { return mEnded; }

    PacketBuffer packets;
    std::array<InputStream, MediumCount> streams;
    std::string error; /**< written before the packets finish */

private:
    bool pass();
    bool startOver();
    bool keep(ffmpeg::Packet packet);
    void open();
    void discardOthers();

    Options mOptions;
    std::array<int, MediumCount> mIndices = {-1, -1};
    std::optional<ContinuousTime> mTime;
    std::atomic<bool> mQuit = false;
    std::atomic<bool> mEnded = false;
    ffmpeg::Format mFormat; /**< last, as closing it still asks whether to quit */
};

Demuxer::Reader::Reader(Options const& options, Pacer& pacer)
    : packets([&pacer] { pacer.wake(); })
    , mOptions(options)
{
    open();
    bool const wanted[] = {options.video, options.audio};
    constexpr AVMediaType Types[] = {AVMEDIA_TYPE_VIDEO, AVMEDIA_TYPE_AUDIO};
    for (Medium const medium : {Video, Audio}) {
        int const index =
            wanted[medium] ? findStream(mFormat.get(), Types[medium], mIndices[Video]) : -1;
        mIndices[medium] = index;
        if (index < 0)
            continue;
        streams[medium] = describe(mFormat.get(), mFormat->streams[index]);
        packets.expect(medium);
    }
    if (mIndices[Video] < 0 && mIndices[Audio] < 0) {
        throw Failure(!options.audio   ? "has no video"
                      : !options.video ? "has no audio"
                                       : "has neither video nor audio");
    }
    discardOthers();
    mTime.emplace(
        mFormat->start_time, streams[Video].frameRate, mFormat->iformat->flags & AVFMT_TS_DISCONT);
}

void Demuxer::Reader::open()
{
    AVIOInterruptCB const interrupt = {[](void* reader) -> int {
                                           return static_cast<Reader*>(reader)->mQuit ||
                                                  Pacer::stopRequested();
                                       },
        this};
    mFormat = openInput(mOptions, interrupt);
}

void Demuxer::Reader::discardOthers()
{
    for (unsigned i = 0; i < mFormat->nb_streams; ++i) {
        if (std::find(mIndices.begin(), mIndices.end(), static_cast<int>(i)) == mIndices.end())
            mFormat->streams[i]->discard = AVDISCARD_ALL;
    }
}

void Demuxer::Reader::run()
{
    while (pass() && mOptions.loop && startOver()) {
    }
    packets.finish();
    mEnded = true;
}

void Demuxer::Reader::quit()
{
    mQuit = true;
    packets.abort();
}

/** Reads to the end of the input. @return false when nothing more is to be read */
bool Demuxer::Reader::pass()
{
    bool empty = true;
    while (!mQuit) {
        ffmpeg::Packet packet(av_packet_alloc());
        int const result = av_read_frame(mFormat.get(), packet.get());
        if (result == AVERROR(EAGAIN)) {
            std::this_thread::sleep_for(PollInterval);
            continue;
        }
        if (result < 0) {
            if (result != AVERROR_EOF && !mQuit && !Pacer::stopRequested())
                error = ffmpeg::errorText(result);
            packets.endPass();
            // What gave nothing once would do so for ever.
            return result == AVERROR_EOF && !empty;
        }
        empty = false;
        if (!keep(std::move(packet)))
            return false;
    }
    return false;
}

/** Puts a packet of the media wanted into the buffer. @return false when it takes no more */
bool Demuxer::Reader::keep(ffmpeg::Packet packet)
{
    auto const found = std::find(mIndices.begin(), mIndices.end(), packet->stream_index);
    if (found == mIndices.end())
        return true;
    auto const medium = static_cast<Medium>(found - mIndices.begin());
    InputStream const& stream = streams[medium];
    if (packet->duration == 0 && stream.frameRate.num)
        packet->duration = av_rescale_q(1, av_inv_q(stream.frameRate), stream.timeBase);
    int64_t const end = mTime->move(*packet, stream.timeBase);
    size_t const bytes = memorySize(*packet, *stream.parameters);
    return packets.put(medium, std::move(packet), end, bytes);
}

/** Opens the input again: seeking to the beginning does not work in every format. */
bool Demuxer::Reader::startOver()
{
    try {
        mFormat.reset();
        open();
    } catch (Failure const& failure) {
        if (!mQuit && !Pacer::stopRequested())
            error = std::string("can't begin again: ") + failure.what();
        return false;
    }
    for (Medium const medium : {Video, Audio}) {
        auto const index = static_cast<unsigned>(mIndices[medium]);
        if (mIndices[medium] < 0)
            continue;
        if (index >= mFormat->nb_streams ||
            mFormat->streams[index]->codecpar->codec_id != streams[medium].parameters->codec_id ||
            av_cmp_q(mFormat->streams[index]->time_base, streams[medium].timeBase) != 0) {
            error = "can't begin again: it has become another";
            return false;
        }
    }
    discardOthers();
    mTime->startPass();
    return true;
}

Demuxer::Demuxer(Options const& options, Pacer& pacer)
{
    av_log_set_level(AV_LOG_QUIET);
    mReader = std::make_shared<Reader>(options, pacer);
}

Demuxer::~Demuxer()
{
    if (!mThread.joinable())
        return;
    mReader->quit();
    // A system call that blocks ends by a signal only, and one that is about to begin misses it.
    for (int i = 0; i < PollsBeforeLeaving && !mReader->hasEnded(); ++i) {
        pthread_kill(mThread.native_handle(), SIGINT);
        std::this_thread::sleep_for(PollInterval);
    }
    if (mReader->hasEnded())
        mThread.join();
    else
        mThread.detach();
}

void Demuxer::start()
{
    mThread = std::thread([reader = mReader] { reader->run(); });
}

InputStream const& Demuxer::stream(Medium medium) const
{
    return mReader->streams[medium];
}

PacketBuffer& Demuxer::packets()
{
    return mReader->packets;
}

std::string Demuxer::error() const
{
    return mReader->error;
}
