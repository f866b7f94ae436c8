#ifndef PCMFORMAT_H
#define PCMFORMAT_H

#include <QAudioFormat>

/** PCM in the byte order of streams; by default with their samples as well. */
inline QAudioFormat pcm(int sampleRate, int channels,
    QAudioFormat::SampleType type = QAudioFormat::SignedInt, int sampleSize = 16)
{
    QAudioFormat format;
    format.setCodec(QStringLiteral("audio/pcm"));
    format.setByteOrder(QAudioFormat::LittleEndian);
    format.setSampleRate(sampleRate);
    format.setChannelCount(channels);
    format.setSampleType(type);
    format.setSampleSize(sampleSize);
    return format;
}

#endif
