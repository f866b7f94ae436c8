#ifndef RESAMPLINGBENCH_H
#define RESAMPLINGBENCH_H

#include <QRegularExpression>

#include "fakeaudio.h"
#include "fakelogger.h"
#include "pcmformat.h"
#include "resamplerlog.h"
#include "utils/audioreader.h"
#include "utils/mediasource.h"

constexpr qint64 Now = 1700000000000000;
constexpr qint64 Delay = 200000;
constexpr int ChunkFrames = 1024;
// 1024 frames of 44.1 kHz, fractions cut off.
constexpr qint64 ChunkDuration = 23219;

inline QStringList list(char const* text)
{
    return QString::fromLatin1(text).split(QStringLiteral("; "), Qt::SkipEmptyParts);
}

/** The written form of a request for a chunk, of which so many went before since @p start. */
inline QString grab(int chunk, qint64 start = Now - Delay)
{
    return QStringLiteral("grab 3 1024 %1").arg(start + chunk * ChunkDuration);
}

inline QStringList grabs(int first, int count)
{
    QStringList calls;
    for (int i = 0; i < count; ++i)
        calls.append(grab(first + i));
    return calls;
}

/** Sound of 44.1 kHz mono, and a reader that makes 48 kHz stereo of it. */
struct ResamplingBench
{
    FakeAudio audio{pcm(44100, 1), Now};
    MediaSource source{QStringLiteral("camera")};
    AudioReader reader;

    ResamplingBench()
    {
        fakelogger::takeCalls();
        resamplerlog::takeCalls();
    }

    bool open(bool requireAudio = true)
    {
        bool const opened = reader.open(&source, pcm(48000, 2), requireAudio);
        audio.takeCalls();
        resamplerlog::takeCalls();
        fakelogger::takeCalls();
        return opened;
    }

    /** Reads frames of four bytes, into memory full of ones. */
    QByteArray read(int frames)
    {
        QByteArray data(4 * frames, char(0xff));
        result = reader.readDataInternal(data.data(), data.size());
        return data;
    }

    QStringList takeGrabs()
    {
        return audio.takeCalls().filter(QRegularExpression(QStringLiteral("^grab")));
    }

    qint64 result = 0;
};

/** Where the sound ends, and silence goes on to the end of @p data; in frames of four bytes. */
inline int soundEnd(QByteArray const& data)
{
    int end = data.size();
    while (end > 0 && data[end - 1] == 0)
        --end;
    return (end + 3) / 4;
}

inline QStringList errors()
{
    return fakelogger::takeCalls(QStringLiteral("error"));
}

#endif
