#ifndef FAKEAUDIO_H
#define FAKEAUDIO_H

#include <limits>

#include <QAudioFormat>
#include <QStringList>
#include <QVector>

/**
 * The sound of every MediaSource, under the test's hand: add fakeaudio.cpp to the sources of the
 * test program, and what it defines of MediaSource takes the place of the library's. There is one
 * at a time. The calls are written down as "format", "last" and "grab <mode> <frames> <time>".
 *
 * The samples delivered count up from 1, over all requests.
 */
class FakeAudio
{
public:
    FakeAudio(QAudioFormat const& firstFormat, qint64 liveEdge);
    ~FakeAudio();
    FakeAudio(FakeAudio const&) = delete;
    FakeAudio& operator=(FakeAudio const&) = delete;

    /** The calls since the last time. */
    QStringList takeCalls();

    QAudioFormat format;
    /** The formats from the second query on; the last one stays. */
    QVector<QAudioFormat> laterFormats;
    qint64 last;
    /** Most frames that a request gets. */
    unsigned long available = std::numeric_limits<unsigned long>::max();
    /** Where the samples of the last request went. */
    void const* destination = nullptr;

    // For the functions of the source.
    void record(QString const& call);
    QAudioFormat nextFormat();
    unsigned long deliver(unsigned long frames, short* samples);

private:
    QStringList mCalls;
    int mSamplesDelivered = 0;
};

#endif
