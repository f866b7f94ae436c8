#ifndef INPUTVIDEOTRACK_H
#define INPUTVIDEOTRACK_H

#include "decoder.h"
#include "pictureconverter.h"
#include "slotallocator.h"
#include "timegrid.h"
#include "track.h"

#include <optional>

/**
 * The video of an input. At the input's own size and rate the pictures are decoded straight into
 * the stream's slots if their format is the stream's; else each is converted into a slot once.
 */
class InputVideoTrack : public Track
{
public:
    /** @p stream and @p packets must outlive this. @param rate nominal frames a second; 0: unknown
     */
    InputVideoTrack(InputStream const& stream, PacketBuffer& packets, Options const& options);
    ~InputVideoTrack() override;

    /** Adds what is known once the first picture is ready. */
    void describe(MediaFormat& format);

    /** Publishes into @p stream from now on, which must outlive this. */
    void attach(Stream& stream);

    State prepare(int64_t now) override;
    int64_t begin() const override { return mBegin; }
    int64_t end() const override { return mEnd; }
    int64_t due() const override { return mBegin; }
    void publish(int64_t timestamp) override;
    void releaseSlots() override;

private:
    struct Picture
    {
        ffmpeg::Frame frame{av_frame_alloc()};
        int64_t begin = 0; /**< µs of media */
        int64_t end = 0;
        bool valid = false;
    };

    Decoder::Result decode(Picture& picture);
    void setTimes(Picture& picture);
    State pick();
    State pickOnGrid();
    void fillSlot();

    int mWidth; /**< of the stream; 0: as the first picture */
    int mHeight;
    std::optional<TimeGrid> mNominal;
    std::optional<TimeGrid> mOutput; /**< frames are repeated and left out to fit it */

    bool mDirect = false; /**< pictures are decoded into slots where possible */
    Stream* mStream = nullptr;
    SlotAllocator mAllocator; /**< outlives the pictures and the decoder */
    Decoder mDecoder;
    PictureConverter mConverter;
    Picture mPicture;
    Picture mFollowing;              /**< with mOutput: the one after mPicture */
    int64_t mFirst = AV_NOPTS_VALUE; /**< begin of the first picture */
    int64_t mExpected = 0;           /**< where a picture without a time begins */
    int64_t mOutputIndex = 0;

    int64_t mBegin = 0; /**< of the unit */
    int64_t mEnd = 0;
    bool mPicked = false;   /**< mPicture is the unit */
    bool mPrepared = false; /**< its slot was filled, needs none, or there was none */
    bool mHolding = false;
    shm_writer_frame_t mSlot = {};
};

#endif
