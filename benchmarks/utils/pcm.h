#ifndef UTILS_PCM_H
#define UTILS_PCM_H

#include <QAudioFormat>

/** PCM as streams have it. */
inline QAudioFormat pcm(int rate, int channels)
{
    QAudioFormat format;
    format.setCodec(QStringLiteral("audio/pcm"));
    format.setByteOrder(QAudioFormat::LittleEndian);
    format.setSampleRate(rate);
    format.setChannelCount(channels);
    format.setSampleType(QAudioFormat::SignedInt);
    format.setSampleSize(16);
    return format;
}

#endif
