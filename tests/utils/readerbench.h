#ifndef READERBENCH_H
#define READERBENCH_H

#include <functional>

#include <QRegularExpression>

#include "dyingwords.h"
#include "fakeaudio.h"
#include "fakelogger.h"
#include "pcmformat.h"
#include "utils/audioreader.h"
#include "utils/mediasource.h"

constexpr qint64 Now = 1700000000000000;
constexpr int FrameSize = 4;

/** The written form of the calls of a read without conversion. */
inline QStringList directRead(int frames, qint64 timestamp)
{
    return {QStringLiteral("format"), QStringLiteral("last"),
        QStringLiteral("grab 3 %1 %2").arg(frames).arg(timestamp)};
}

inline QByteArray silence(int frames)
{
    return QByteArray(frames * FrameSize, 0);
}

/** Samples that count up from @p first. */
inline QByteArray counting(int first, int frames)
{
    QVector<qint16> samples;
    for (int i = 0; i < 2 * frames; ++i)
        samples.append(static_cast<qint16>(first + i));
    return QByteArray(reinterpret_cast<char const*>(samples.constData()), frames * FrameSize);
}

/** Lets the test at what only a base class may call. */
class OpenedUp : public AudioReader
{
public:
    using AudioReader::readData;
    using AudioReader::writeData;
};

/** Sound of 48 kHz stereo, and a reader of it. */
struct Bench
{
    FakeAudio audio{pcm(48000, 2), Now};
    MediaSource source{QStringLiteral("camera")};
    OpenedUp reader;

    Bench() { fakelogger::takeCalls(); }

    bool open(bool requireAudio = true)
    {
        bool const opened = reader.open(&source, pcm(48000, 2), requireAudio);
        audio.takeCalls();
        return opened;
    }

    /** What a read of so many bytes delivers into memory full of ones. */
    QByteArray read(qint64 size, qint64* result = nullptr)
    {
        QByteArray data(static_cast<int>(size), char(0xff));
        qint64 const answer = reader.readDataInternal(data.data(), size);
        if (result)
            *result = answer;
        return data;
    }

    QByteArray readFrames(int frames) { return read(frames * FrameSize); }
};

/** Tells what the assertion was, when @p misuse ends the process with one of the reader's. */
inline QString assertion(std::function<void()> const& misuse)
{
    QRegularExpression const form(
        QStringLiteral("^ASSERT: \"(.*)\" in file utils/audioreader, line \\d+\n$"));
    return form.match(QString::fromLocal8Bit(dyingWords(misuse))).captured(1);
}

#endif
