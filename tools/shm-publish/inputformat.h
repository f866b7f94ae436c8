#ifndef INPUTFORMAT_H
#define INPUTFORMAT_H

#include "ffmpeg.h"
#include "options.h"

/** What a decoder has to know about the packets of a medium. */
struct InputStream
{
    ffmpeg::CodecParameters
        parameters; /**< null: the input has no such medium, or it isn't wanted */
    AVRational timeBase = {0, 1};
    AVRational frameRate = {0, 1}; /**< nominal; 0: unknown */
};

/** Opens the input of @p options and looks into it; throws Failure. */
ffmpeg::Format openInput(Options const& options, AVIOInterruptCB const& interrupt);

/** The best stream of @p type, if possible one that belongs to @p related; -1: there is none. */
int findStream(AVFormatContext* format, AVMediaType type, int related);

InputStream describe(AVFormatContext* format, AVStream* stream);

/** The bytes of memory behind a packet. */
size_t memorySize(AVPacket const& packet, AVCodecParameters const& parameters);

#endif
