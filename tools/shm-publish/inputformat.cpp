#include "inputformat.h"

#include "failure.h"

#include <utility>
#include <vector>

extern "C" {
#include <libavdevice/avdevice.h>
}

namespace {

constexpr double HighestRate = 1000;

AVInputFormat const* findFormat(std::string const& name)
{
    if (name.empty())
        return nullptr;
    avdevice_register_all();
    AVInputFormat const* const format = av_find_input_format(name.c_str());
    if (!format)
        throw Failure("there is no input format '" + name + "'");
    return format;
}

/** Options for opening, given away key by key. */
class Dictionary
{
public:
    explicit Dictionary(std::vector<std::pair<std::string, std::string>> const& entries)
    {
        for (auto const& [key, value] : entries)
            av_dict_set(&mDictionary, key.c_str(), value.c_str(), 0);
    }
    ~Dictionary() { av_dict_free(&mDictionary); }
    Dictionary(Dictionary const&) = delete;
    Dictionary& operator=(Dictionary const&) = delete;

    AVDictionary** address() { return &mDictionary; }

    std::string firstKey() const
    {
        AVDictionaryEntry const* const entry =
            av_dict_get(mDictionary, "", nullptr, AV_DICT_IGNORE_SUFFIX);
        return entry ? entry->key : std::string();
    }

private:
    AVDictionary* mDictionary = nullptr;
};

} // namespace

ffmpeg::Format openInput(Options const& options, AVIOInterruptCB const& interrupt)
{
    AVInputFormat const* const inputFormat = findFormat(options.inputFormat);
    Dictionary inputOptions(options.inputOptions);
    std::string const url = options.input == "-" ? "pipe:0" : options.input;
    AVFormatContext* format = avformat_alloc_context();
    format->interrupt_callback = interrupt;
    int error = avformat_open_input(&format, url.c_str(), inputFormat, inputOptions.address());
    ffmpeg::Format owner(format);
    if (error >= 0) {
        if (std::string const key = inputOptions.firstKey(); !key.empty())
            throw Failure("takes no option '" + key + "'");
        error = avformat_find_stream_info(format, nullptr);
    }
    if (error < 0)
        throw Failure(ffmpeg::errorText(error));
    return owner;
}

int findStream(AVFormatContext* format, AVMediaType type, int related)
{
    int const index = av_find_best_stream(format, type, -1, related, nullptr, 0);
    // The picture on a record's cover is no video.
    bool const usable =
        index >= 0 && !(format->streams[index]->disposition & AV_DISPOSITION_ATTACHED_PIC);
    return usable ? index : -1;
}

InputStream describe(AVFormatContext* format, AVStream* stream)
{
    InputStream description;
    description.parameters.reset(avcodec_parameters_alloc());
    avcodec_parameters_copy(description.parameters.get(), stream->codecpar);
    description.timeBase = stream->time_base;
    AVRational const rate = av_guess_frame_rate(format, stream, nullptr);
    if (rate.num > 0 && rate.den > 0 && av_q2d(rate) <= HighestRate)
        description.frameRate = rate;
    return description;
}

size_t memorySize(AVPacket const& packet, AVCodecParameters const& parameters)
{
    auto size = static_cast<size_t>(packet.size);
    // Virtual devices hand out whole frames; such a packet is only the description of one.
    if (parameters.codec_id == AV_CODEC_ID_WRAPPED_AVFRAME) {
        for (AVBufferRef const* const buffer : reinterpret_cast<AVFrame const*>(packet.data)->buf)
            size += buffer ? buffer->size : 0;
    }
    return size;
}
