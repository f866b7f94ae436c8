#include "ffmpeginput.h"

#include "failure.h"
#include "pacer.h"

namespace {

/** How long a medium that the input announces may take to come. */
constexpr int64_t PrimingTime = 5000000;
constexpr int64_t PrimingInterval = 100000;

} // namespace

FfmpegInput::FfmpegInput(Options const& options)
    : mOptions(options)
{}

bool FfmpegInput::open(Pacer& pacer)
{
    try {
        mDemuxer = std::make_unique<Demuxer>(mOptions, pacer);
        PacketBuffer& packets = mDemuxer->packets();
        if (InputStream const& stream = mDemuxer->stream(Video); stream.parameters)
            mVideo = std::make_unique<InputVideoTrack>(stream, packets, mOptions);
        if (InputStream const& stream = mDemuxer->stream(Audio); stream.parameters)
            mAudio = std::make_unique<InputAudioTrack>(stream, packets, mOptions);
        mDemuxer->start();
        return prime(pacer);
    } catch (Failure const& failure) {
        if (Pacer::stopRequested())
            return false;
        throw Failure(mOptions.input + ": " + failure.what());
    }
}

/**
 * Decodes the first unit of each medium, as only that tells for sure what it is. A medium of which
 * nothing comes is left out.
 */
bool FfmpegInput::prime(Pacer& pacer)
{
    auto const stateOf = [](Track* track) {
        return track ? track->prepare(0) : Track::State::Ended;
    };
    Track::State video = Track::State::Starved;
    Track::State audio = Track::State::Starved;
    int64_t const limit = MediaClock::monotonicNow() + PrimingTime;
    for (;;) {
        // Asked first: a buffer that is full only after the look into it says nothing.
        bool const full = mDemuxer->packets().isFull();
        video = stateOf(mVideo.get());
        audio = stateOf(mAudio.get());
        if (video != Track::State::Starved && audio != Track::State::Starved)
            break;
        int64_t const now = MediaClock::monotonicNow();
        bool const any = video == Track::State::Ready || audio == Track::State::Ready;
        if (any && (full || now > limit))
            break;
        if (pacer.wait(now + PrimingInterval) == Pacer::Event::Stopped)
            return false;
    }
    if (video == Track::State::Ready) {
        mVideo->describe(mFormat);
    } else {
        mDemuxer->packets().ignore(Video);
        mVideo.reset();
    }
    if (audio == Track::State::Ready) {
        mAudio->describe(mFormat);
    } else {
        mDemuxer->packets().ignore(Audio);
        mAudio.reset();
    }
    if (!mVideo && !mAudio) {
        std::string const error = mDemuxer->error();
        throw Failure(error.empty() ? "nothing in it can be decoded" : error);
    }
    return true;
}

void FfmpegInput::attach(Stream& stream)
{
    if (mVideo)
        mVideo->attach(stream);
    if (mAudio)
        mAudio->attach(stream);
}

std::vector<Track*> FfmpegInput::tracks()
{
    std::vector<Track*> tracks;
    if (mVideo)
        tracks.push_back(mVideo.get());
    if (mAudio)
        tracks.push_back(mAudio.get());
    return tracks;
}

std::string FfmpegInput::error() const
{
    std::string const error = mDemuxer->error();
    return error.empty() ? error : mOptions.input + ": " + error;
}
