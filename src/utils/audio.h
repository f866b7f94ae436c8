#ifndef AUDIO_H
#define AUDIO_H

#include <cstddef>

#include <QAudioBuffer>
#include <QAudioFormat>
#include <QVector>

#include "qvorlinexport.h"

/** How loud one channel is, in decibels: 0 is full scale, quieter is more negative. */
struct AudioLevel
{
    float rms = 0;
    float max = 0;
};

/** One level a channel, in the order of the interleaved samples; empty: nothing was measured. */
using AudioLevels = QVector<AudioLevel>;

/**
 * Measures @p frames frames at @p data, one sample of each channel a frame. The samples must be
 * signed 16-bit, or the process ends, and the channels no more than 8. Silence is -100 dB. Empty
 * when it can't be measured, such as a null pointer. Thread-safe.
 */
QVORLIN_EXPORT AudioLevels getRmsMaxDecibels(
    void const* data, size_t frames, QAudioFormat const& format);

/** The same for a buffer; an invalid one gives no levels. */
QVORLIN_EXPORT AudioLevels getRmsMaxDecibels(QAudioBuffer const& buffer);

#endif
