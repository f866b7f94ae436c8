#ifndef TESTMEDIA_H
#define TESTMEDIA_H

#include <functional>
#include <vector>

#include <QString>

extern "C" {
#include <libavcodec/avcodec.h>
}

/** What a media file for a test is to contain. */
struct MediaTraits
{
    AVCodecID video = AV_CODEC_ID_NONE;
    AVPixelFormat pixelFormat = AV_PIX_FMT_YUV420P;
    int width = 96;
    int height = 64;
    AVRational rate = {25, 1};
    int frames = 25;
    int bFrames = 0;
    std::function<void(AVFrame&, int index)> draw; /**< unset: drawPattern() */

    AVCodecID audio = AV_CODEC_ID_NONE;
    int sampleRate = 48000;
    int channels = 1;
    int samples = 48000; /**< sample i is testSample(i) in every channel */
};

/** Writes @p path, whose suffix tells the format; false when an encoder is not there. */
bool writeMedia(QString const& path, MediaTraits const& traits);

/** A textured picture that moves from frame to frame. */
void drawPattern(AVFrame& frame, int index);

/** A function that fills picture i with the luma @p first + @p step * i and grey. */
std::function<void(AVFrame&, int)> drawGrey(int first, int step);

/** Sample @p index of all test sounds: never 0, and its neighbours tell where it is. */
inline qint16 testSample(int index)
{
    return qint16(index % 30000 + 1);
}

/** Hashes of the pictures of @p path as a decoder without threads gives them. */
std::vector<size_t> decodedHashes(QString const& path);

#endif
