#ifndef INPUTAUDIOTRACK_H
#define INPUTAUDIOTRACK_H

#include "decoder.h"
#include "timegrid.h"
#include "track.h"

#include <optional>
#include <vector>

/**
 * The sound of an input as one unbroken sequence of samples in the stream's format: small errors
 * of the input's timestamps are left alone, gaps are filled with silence, what overlaps is cut.
 */
class InputAudioTrack : public Track
{
public:
    /** @p stream and @p packets must outlive this. */
    InputAudioTrack(InputStream const& stream, PacketBuffer& packets, Options const& options);

    /** Adds what is known once the first samples are ready. */
    void describe(MediaFormat& format) const;

    /** Publishes into @p stream from now on, which must outlive this. */
    void attach(Stream& stream) { mStream = &stream; }

    State prepare(int64_t now) override;
    int64_t begin() const override { return mBase + mGrid->at(mIndex); }
    int64_t end() const override { return mBase + mGrid->at(mIndex + mBlock); }
    int64_t due() const override { return end(); }
    void publish(int64_t timestamp) override;

private:
    void add(AVFrame const& frame);
    void setFormat(AVFrame const& frame);
    int64_t place(AVFrame const& frame);
    void resample(AVFrame const* frame, int64_t skipped);
    int64_t available() const;

    int mRate; /**< of the stream; 0: as the first samples */
    int mChannels;
    Stream* mStream = nullptr;
    Decoder mDecoder;
    ffmpeg::Frame mFrame{av_frame_alloc()};
    ffmpeg::Resampler mResampler;
    AVSampleFormat mInputFormat = AV_SAMPLE_FMT_NONE; /**< that mResampler takes */
    int mInputRate = 0;
    int mInputChannels = 0;
    std::optional<TimeGrid> mGrid; /**< of the samples */

    std::vector<int16_t> mSamples;  /**< interleaved */
    size_t mRead = 0;               /**< values at its front that were published */
    int64_t mBase = AV_NOPTS_VALUE; /**< µs of media at sample 0 */
    int64_t mIndex = 0;             /**< of the next sample */
    int64_t mBlock = 0;             /**< samples in the unit */
};

#endif
