#ifndef FFMPEGINPUT_H
#define FFMPEGINPUT_H

#include "demuxer.h"
#include "inputaudiotrack.h"
#include "inputvideotrack.h"

#include <memory>

/** Anything that FFmpeg opens: a file, a URL, a device. Its media begin when it is opened. */
class FfmpegInput : public Source
{
public:
    explicit FfmpegInput(Options const& options);

    MediaClock::Basis basis() const override { return MediaClock::Basis::Start; }
    bool open(Pacer& pacer) override;
    MediaFormat format() const override { return mFormat; }
    void attach(Stream& stream) override;
    std::vector<Track*> tracks() override;
    std::string error() const override;

private:
    bool prime(Pacer& pacer);

    Options mOptions;
    MediaFormat mFormat;
    std::unique_ptr<Demuxer> mDemuxer; /**< outlives the tracks */
    std::unique_ptr<InputVideoTrack> mVideo;
    std::unique_ptr<InputAudioTrack> mAudio;
};

#endif
