#include "inputvideotrack.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace {

/** What a picture lasts when nothing else is known. */
constexpr int64_t DefaultDuration = 40000;

/**
 * How many slots a decoder needs: for the pictures it refers to, for the one that each thread
 * decodes, for the one that waits for its turn. What it asks for beyond gets ordinary memory and
 * is converted.
 */
int decoderSlots(AVCodecContext const& decoder, int width, int height)
{
    // Codecs allow many references to small pictures and few to large ones.
    constexpr int64_t ReferenceMemory = 32 << 20;
    int64_t const picture = int64_t(width) * height * 3 / 2;
    bool const refers = !(decoder.codec_descriptor->props & AV_CODEC_PROP_INTRA_ONLY);
    int const references =
        refers ? static_cast<int>(std::clamp<int64_t>(ReferenceMemory / picture, 5, 16)) : 0;
    return references + decoder.thread_count + 1;
}

} // namespace

InputVideoTrack::InputVideoTrack(
    InputStream const& stream, PacketBuffer& packets, Options const& options)
    : mWidth(options.width)
    , mHeight(options.height)
    , mDecoder(
          stream, Video, packets, [this](AVCodecContext& decoder) { mAllocator.install(decoder); })
{
    if (stream.frameRate.num)
        mNominal.emplace(stream.frameRate);
    if (options.rate.num && av_cmp_q(options.rate, stream.frameRate) != 0)
        mOutput.emplace(options.rate);
}

InputVideoTrack::~InputVideoTrack()
{
    if (mHolding)
        mStream->release(mSlot);
}

void InputVideoTrack::describe(MediaFormat& format)
{
    AVFrame const& frame = *mPicture.frame;
    if (!mWidth) {
        mWidth = frame.width;
        mHeight = frame.height;
    }
    mDirect = !mOutput && mWidth == frame.width && mHeight == frame.height &&
              SlotAllocator::takes(mDecoder.context(), frame);
    format.width = mWidth;
    format.height = mHeight;
    if (mOutput || mNominal)
        format.rate = (mOutput ? mOutput : mNominal)->rate();
    format.heldSlots = 1 + (mDirect ? decoderSlots(mDecoder.context(), mWidth, mHeight) : 0);
}

void InputVideoTrack::attach(Stream& stream)
{
    mStream = &stream;
    if (mDirect)
        mAllocator.attach(stream, stream.format().heldSlots - 1);
}

Track::State InputVideoTrack::prepare(int64_t)
{
    if (!mPicked) {
        State const state = mOutput ? pickOnGrid() : pick();
        if (state != State::Ready)
            return state;
        mPicked = true;
    }
    if (mStream && !mPrepared && mStream->mayTakeAhead())
        fillSlot();
    return State::Ready;
}

Track::State InputVideoTrack::pick()
{
    Decoder::Result const result = decode(mPicture);
    if (result != Decoder::Result::Frame)
        return result == Decoder::Result::Starved ? State::Starved : State::Ended;
    mBegin = mPicture.begin;
    mEnd = mPicture.end;
    return State::Ready;
}

Track::State InputVideoTrack::pickOnGrid()
{
    // The picture to show is the last one that has begun, so the one after it must be known.
    while (!mFollowing.valid || mFollowing.begin <= mFirst + mOutput->at(mOutputIndex)) {
        if (mFollowing.valid)
            std::swap(mPicture, mFollowing);
        Decoder::Result const result = decode(mFollowing);
        if (result == Decoder::Result::Starved)
            return State::Starved;
        if (result == Decoder::Result::Ended)
            break;
    }
    mBegin = mFirst + mOutput->at(mOutputIndex);
    mEnd = mFirst + mOutput->at(mOutputIndex + 1);
    if (!mPicture.valid || (!mFollowing.valid && mBegin >= mPicture.end))
        return State::Ended;
    ++mOutputIndex;
    return State::Ready;
}

Decoder::Result InputVideoTrack::decode(Picture& picture)
{
    picture.valid = false;
    Decoder::Result const result = mDecoder.next(*picture.frame);
    if (result == Decoder::Result::Frame) {
        setTimes(picture);
        picture.valid = true;
    }
    return result;
}

void InputVideoTrack::setTimes(Picture& picture)
{
    AVRational const timeBase = mDecoder.stream().timeBase;
    int64_t const own = picture.frame->best_effort_timestamp;
    picture.begin =
        own == AV_NOPTS_VALUE ? mExpected : av_rescale_q(own, timeBase, ffmpeg::Microseconds);
    if (mFirst == AV_NOPTS_VALUE)
        mFirst = picture.begin;

    int64_t duration = av_rescale_q(picture.frame->pkt_duration, timeBase, ffmpeg::Microseconds);
    if (mNominal) {
        // The file may only know the time to the millisecond; the rate knows it better.
        int64_t const index = mNominal->nearest(picture.begin - mFirst);
        int64_t const nominal = mFirst + mNominal->at(index);
        int64_t const tick = av_rescale_q_rnd(1, timeBase, ffmpeg::Microseconds, AV_ROUND_UP);
        if (std::abs(nominal - picture.begin) <= tick)
            picture.begin = nominal;
        duration = mNominal->at(index + 1) - mNominal->at(index);
    }
    picture.end = picture.begin + (duration > 0 ? duration : DefaultDuration);
    mExpected = picture.end;
}

void InputVideoTrack::fillSlot()
{
    mPrepared = true;
    if (mAllocator.isPublishable(*mPicture.frame))
        return;
    if (!mHolding)
        mHolding = mStream->acquire(mSlot);
    if (mHolding)
        mConverter.convert(*mPicture.frame, mSlot, mWidth, mHeight);
}

void InputVideoTrack::publish(int64_t timestamp)
{
    if (!mPrepared)
        fillSlot();
    Counters& counters = mStream->counters;
    // What is neither in place nor converted was dropped for want of a slot, and is counted.
    if (mAllocator.isPublishable(*mPicture.frame)) {
        ++(mAllocator.publish(*mPicture.frame, timestamp) ? counters.direct : counters.late);
    } else if (mHolding) {
        mHolding = !mStream->commit(mSlot, timestamp);
        ++(mHolding ? counters.late : counters.converted);
    }
    counters.undecodable += mDecoder.takeUndecodable();
    mPicked = false;
    mPrepared = false;
}

void InputVideoTrack::releaseSlots()
{
    if (mHolding)
        mStream->release(mSlot);
    mHolding = false;
    if (!mDirect) {
        mPrepared = false;
        return;
    }
    // The pictures that the decoder refers to lie in slots as well; it starts from a key frame.
    av_frame_unref(mPicture.frame.get());
    mPicked = false;
    mPrepared = false;
    mDecoder.restart();
}
