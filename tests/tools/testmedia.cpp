#include "testmedia.h"

#include "streamcapture.h"

#include <ffmpeg.h>

#include <cstring>

#include <QFile>

namespace {

constexpr int SamplesPerFrame = 1000;

/** One stream of the file being written. */
struct Encoder
{
    ffmpeg::CodecContext context;
    AVStream* stream = nullptr;
};

bool openEncoder(Encoder& encoder, AVFormatContext* format, AVCodecID id,
    std::function<void(AVCodecContext&)> const& setUp)
{
    AVCodec const* const codec = avcodec_find_encoder(id);
    if (!codec)
        return false;
    encoder.context.reset(avcodec_alloc_context3(codec));
    setUp(*encoder.context);
    // One thread gives the same file everywhere.
    encoder.context->thread_count = 1;
    if (format->oformat->flags & AVFMT_GLOBALHEADER)
        encoder.context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    if (avcodec_open2(encoder.context.get(), codec, nullptr) < 0)
        return false;
    encoder.stream = avformat_new_stream(format, codec);
    encoder.stream->time_base = encoder.context->time_base;
    encoder.stream->avg_frame_rate = encoder.context->framerate;
    return avcodec_parameters_from_context(encoder.stream->codecpar, encoder.context.get()) >= 0;
}

/** Encodes @p frame, null for the end, and writes what comes out. */
void encode(Encoder& encoder, AVFormatContext* format, AVFrame const* frame)
{
    avcodec_send_frame(encoder.context.get(), frame);
    ffmpeg::Packet const packet(av_packet_alloc());
    while (avcodec_receive_packet(encoder.context.get(), packet.get()) == 0) {
        if (packet->duration == 0 && encoder.context->codec_type == AVMEDIA_TYPE_VIDEO)
            packet->duration = 1;
        av_packet_rescale_ts(packet.get(), encoder.context->time_base, encoder.stream->time_base);
        packet->stream_index = encoder.stream->index;
        av_interleaved_write_frame(format, packet.get());
    }
}

void setUpVideo(AVCodecContext& context, MediaTraits const& traits)
{
    context.width = traits.width;
    context.height = traits.height;
    context.pix_fmt = traits.pixelFormat;
    context.time_base = av_inv_q(traits.rate);
    context.framerate = traits.rate;
    context.max_b_frames = traits.bFrames;
    context.gop_size = 12;
    context.bit_rate = 2000000;
    context.color_range =
        traits.pixelFormat == AV_PIX_FMT_YUVJ420P ? AVCOL_RANGE_JPEG : AVCOL_RANGE_UNSPECIFIED;
}

void setUpAudio(AVCodecContext& context, MediaTraits const& traits)
{
    context.sample_fmt = AV_SAMPLE_FMT_S16;
    context.sample_rate = traits.sampleRate;
    av_channel_layout_default(&context.ch_layout, traits.channels);
    context.time_base = {1, traits.sampleRate};
}

void encodePicture(Encoder& encoder, AVFormatContext* format, MediaTraits const& traits, int index)
{
    ffmpeg::Frame const frame(av_frame_alloc());
    frame->format = traits.pixelFormat;
    frame->width = traits.width;
    frame->height = traits.height;
    frame->pts = index;
    av_frame_get_buffer(frame.get(), 0);
    (traits.draw ? traits.draw : drawPattern)(*frame, index);
    encode(encoder, format, frame.get());
}

void encodeSamples(Encoder& encoder, AVFormatContext* format, MediaTraits const& traits, int first)
{
    ffmpeg::Frame const frame(av_frame_alloc());
    frame->format = AV_SAMPLE_FMT_S16;
    frame->sample_rate = traits.sampleRate;
    av_channel_layout_default(&frame->ch_layout, traits.channels);
    frame->nb_samples = std::min(SamplesPerFrame, traits.samples - first);
    frame->pts = first;
    av_frame_get_buffer(frame.get(), 0);
    auto* sample = reinterpret_cast<int16_t*>(frame->data[0]);
    for (int i = first; i < first + frame->nb_samples; ++i) {
        for (int channel = 0; channel < traits.channels; ++channel)
            *sample++ = testSample(i);
    }
    encode(encoder, format, frame.get());
}

struct FormatCloser
{
    void operator()(AVFormatContext* format) const
    {
        avio_closep(&format->pb);
        avformat_free_context(format);
    }
};

} // namespace

bool writeMedia(QString const& path, MediaTraits const& traits)
{
    av_log_set_level(AV_LOG_ERROR);
    QByteArray const file = QFile::encodeName(path);
    AVFormatContext* created = nullptr;
    avformat_alloc_output_context2(&created, nullptr, nullptr, file.constData());
    std::unique_ptr<AVFormatContext, FormatCloser> const format(created);
    Encoder video;
    Encoder audio;
    if (traits.video != AV_CODEC_ID_NONE &&
        !openEncoder(video, created, traits.video,
            [&](AVCodecContext& context) { setUpVideo(context, traits); }))
        return false;
    if (traits.audio != AV_CODEC_ID_NONE &&
        !openEncoder(audio, created, traits.audio,
            [&](AVCodecContext& context) { setUpAudio(context, traits); }))
        return false;
    if (avio_open(&created->pb, file.constData(), AVIO_FLAG_WRITE) < 0 ||
        avformat_write_header(created, nullptr) < 0)
        return false;
    int const frames = video.stream ? traits.frames : 0;
    int const samples = audio.stream ? traits.samples : 0;
    int sample = 0;
    for (int index = 0; index < frames || sample < samples; ++index) {
        if (index < frames)
            encodePicture(video, created, traits, index);
        qint64 const time = index < frames
                                ? av_rescale(index + 1, qint64(traits.sampleRate) * traits.rate.den,
                                      traits.rate.num)
                                : samples;
        for (; sample < samples && sample < time; sample += SamplesPerFrame)
            encodeSamples(audio, created, traits, sample);
    }
    if (frames)
        encode(video, created, nullptr);
    if (samples)
        encode(audio, created, nullptr);
    return av_write_trailer(created) == 0;
}

void drawPattern(AVFrame& frame, int index)
{
    for (int plane = 0; plane < 3; ++plane) {
        int const width = plane ? (frame.width + 1) / 2 : frame.width;
        int const height = plane ? (frame.height + 1) / 2 : frame.height;
        for (int y = 0; y < height; ++y) {
            uint8_t* const line = frame.data[plane] + ptrdiff_t(y) * frame.linesize[plane];
            for (int x = 0; x < width; ++x)
                line[x] = uint8_t((x + 3 * index) * 5 + y * y / 8 + plane * 40);
        }
    }
}

std::function<void(AVFrame&, int)> drawGrey(int first, int step)
{
    return [=](AVFrame& frame, int index) {
        int const luma = first + step * index;
        if (frame.format == AV_PIX_FMT_BGR0) {
            std::memset(frame.data[0], luma, size_t(frame.linesize[0]) * size_t(frame.height));
            return;
        }
        for (int plane = 0; plane < 3; ++plane) {
            int const height = plane ? (frame.height + 1) / 2 : frame.height;
            std::memset(frame.data[plane], plane ? 128 : luma,
                size_t(frame.linesize[plane]) * size_t(height));
        }
    };
}

std::vector<size_t> decodedHashes(QString const& path)
{
    std::vector<size_t> hashes;
    AVFormatContext* opened = nullptr;
    avformat_open_input(&opened, QFile::encodeName(path).constData(), nullptr, nullptr);
    ffmpeg::Format const format(opened);
    avformat_find_stream_info(opened, nullptr);
    AVCodec const* codec = nullptr;
    int const index = av_find_best_stream(opened, AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0);
    ffmpeg::CodecContext const context(avcodec_alloc_context3(codec));
    avcodec_parameters_to_context(context.get(), opened->streams[index]->codecpar);
    context->thread_count = 1;
    avcodec_open2(context.get(), codec, nullptr);

    ffmpeg::Packet const packet(av_packet_alloc());
    ffmpeg::Frame const frame(av_frame_alloc());
    bool more = true;
    while (more) {
        more = av_read_frame(opened, packet.get()) >= 0;
        if (more && packet->stream_index != index) {
            av_packet_unref(packet.get());
            continue;
        }
        avcodec_send_packet(context.get(), more ? packet.get() : nullptr);
        av_packet_unref(packet.get());
        while (avcodec_receive_frame(context.get(), frame.get()) == 0)
            hashes.push_back(
                hashPicture(frame->data, frame->linesize, frame->width, frame->height));
    }
    return hashes;
}
