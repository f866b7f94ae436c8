#include <inputaudiotrack.h>

#include "publishprocess.h"
#include "streamcapture.h"

#include <messagecheck.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include <QCoreApplication>
#include <QTest>

namespace {

constexpr int Rate = 48000;

/** An input of 16-bit samples that the test writes packet by packet. */
class Input
{
public:
    Input()
        : packets([] {})
    {
        stream.parameters.reset(avcodec_parameters_alloc());
        stream.parameters->codec_type = AVMEDIA_TYPE_AUDIO;
        stream.parameters->codec_id = AV_CODEC_ID_PCM_S16LE;
        stream.parameters->sample_rate = Rate;
        av_channel_layout_default(&stream.parameters->ch_layout, 1);
        stream.timeBase = {1, 1000000};
        packets.expect(Audio);
    }

    /** Adds @p count samples @p value, @p value + 1 and so on at @p time (µs). */
    void add(int64_t time, int value, int count)
    {
        ffmpeg::Packet packet(av_packet_alloc());
        av_new_packet(packet.get(), count * 2);
        for (int i = 0; i < count; ++i) {
            auto const sample = static_cast<int16_t>(value + i);
            std::memcpy(packet->data + 2 * ptrdiff_t(i), &sample, 2);
        }
        packet->pts = time;
        packets.put(Audio, std::move(packet), 0, 1);
    }

    InputStream stream;
    PacketBuffer packets;
};

/** Publishes what a track has, and reads it again. */
class Playback
{
public:
    explicit Playback(Input& input, Options options = {})
        : mTrack(input.stream, input.packets, options)
    {
        if (mTrack.prepare(0) != Track::State::Ready)
            qFatal("no sound to begin with");
        begin = mTrack.begin();
        MediaFormat format;
        mTrack.describe(format);
        options.name = uniqueName().toStdString();
        mStream = std::make_unique<Stream>(options, format);
        mTrack.attach(*mStream);
        capture = std::make_unique<StreamCapture>(QString::fromStdString(options.name));
    }

    Track::State run()
    {
        Track::State state = Track::State::Ready;
        while ((state = mTrack.prepare(0)) == Track::State::Ready) {
            even = even && (end == 0 || mTrack.begin() == end);
            end = mTrack.end();
            // Media time does for the timestamps here; 0 stands for something else to readers.
            mTrack.publish(mTrack.begin() + Epoch);
            capture->poll();
        }
        return state;
    }

    static constexpr int64_t Epoch = 1700000000000000;
    int64_t begin = 0;
    int64_t end = 0;
    bool even = true; /**< each unit began where the one before had ended */
    std::unique_ptr<StreamCapture> capture;

private:
    std::unique_ptr<Stream> mStream; /**< before the track, which uses it */
    InputAudioTrack mTrack;
};

} // namespace

class InputAudioTest : public QObject
{
    Q_OBJECT

private slots:
    void samples_comeThroughUnchanged();
    void units_lastAHundredthSecond();
    void rest_isPublishedAtTheEnd();
    void withoutPackets_itStarves();
    void timestamps_mayBeRounded();
    void packetsWithoutTimes_followEachOther();
    void gap_isFilledWithSilence();
    void overlap_isCut();
    void packetThatLiesInThePast_isLeftOut();
    void hugeGap_isANewBeginning();
    void passes_areJoined();
    void channelsThatCannotBeMixed_areRefused();
};

void InputAudioTest::samples_comeThroughUnchanged()
{
    Input input;
    for (int i = 0; i < 20; ++i)
        input.add(5000000 + i * 20000, 1 + i * 960, 960);
    input.packets.finish();
    Playback playback(input);
    QCOMPARE(playback.begin, int64_t(5000000));
    QCOMPARE(playback.run(), Track::State::Ended);
    QVERIFY(playback.even);
    QCOMPARE(playback.end, int64_t(5400000));
    std::vector<qint16> const& samples = playback.capture->samples;
    QVERIFY(samples.size() > 19000);
    for (size_t i = 0; i < samples.size(); ++i)
        QCOMPARE(samples[i], qint16(i + 1));
}

void InputAudioTest::units_lastAHundredthSecond()
{
    Input input;
    input.add(0, 1, 1000);
    InputAudioTrack track(input.stream, input.packets, Options());
    QCOMPARE(track.prepare(0), Track::State::Ready);
    QCOMPARE(track.begin(), int64_t(0));
    QCOMPARE(track.end(), int64_t(10000));
    QCOMPARE(track.due(), track.end());
}

void InputAudioTest::rest_isPublishedAtTheEnd()
{
    Input input;
    input.add(0, 1, 500);
    input.packets.endPass();
    input.packets.finish();
    Playback playback(input);
    QCOMPARE(playback.run(), Track::State::Ended);
    QCOMPARE(playback.end, int64_t(10417));
}

void InputAudioTest::withoutPackets_itStarves()
{
    Input input;
    InputAudioTrack track(input.stream, input.packets, Options());
    QCOMPARE(track.prepare(0), Track::State::Starved);
    input.add(0, 1, 479);
    QCOMPARE(track.prepare(0), Track::State::Starved);
    input.add(9979, 480, 1);
    QCOMPARE(track.prepare(0), Track::State::Ready);
}

void InputAudioTest::timestamps_mayBeRounded()
{
    Input input;
    for (int i = 0; i < 50; ++i)
        input.add(i * 20000 + (i % 3 - 1) * 9000 + 9000, 1 + i * 400, 960);
    input.packets.finish();
    Playback playback(input);
    QCOMPARE(playback.run(), Track::State::Ended);
    QVERIFY(playback.even);
    QCOMPARE(playback.end - playback.begin, int64_t(1000000));
}

void InputAudioTest::packetsWithoutTimes_followEachOther()
{
    Input input;
    input.add(AV_NOPTS_VALUE, 1, 960);
    input.add(AV_NOPTS_VALUE, 961, 960);
    input.packets.finish();
    Playback playback(input);
    QCOMPARE(playback.run(), Track::State::Ended);
    QCOMPARE(playback.begin, int64_t(0));
    QCOMPARE(playback.end, int64_t(40000));
}

void InputAudioTest::gap_isFilledWithSilence()
{
    Input input;
    input.add(0, 1, 4800);
    input.add(350000, 4801, 4800);
    input.packets.finish();
    Playback playback(input);
    QCOMPARE(playback.run(), Track::State::Ended);
    QVERIFY(playback.even);
    QCOMPARE(playback.end, int64_t(450000));
    std::vector<qint16> const& samples = playback.capture->samples;
    QVERIFY(samples.size() > 20000);
    for (size_t i = 0; i < samples.size(); ++i)
        QCOMPARE(samples[i], qint16(i < 4800 ? i + 1 : i < 16800 ? 0 : i - 12000 + 1));
    QCOMPARE(playback.capture->audioBreaks, size_t(0));
}

void InputAudioTest::overlap_isCut()
{
    Input input;
    input.add(0, 1, 9600);
    input.add(150000, 7201, 9600);
    input.packets.finish();
    Playback playback(input);
    QCOMPARE(playback.run(), Track::State::Ended);
    QVERIFY(playback.even);
    QCOMPARE(playback.end, int64_t(350000));
    std::vector<qint16> const& samples = playback.capture->samples;
    QVERIFY(samples.size() > 16000);
    for (size_t i = 0; i < samples.size(); ++i)
        QCOMPARE(samples[i], qint16(i + 1));
}

void InputAudioTest::packetThatLiesInThePast_isLeftOut()
{
    Input input;
    input.add(0, 1, 9600);
    input.add(100000, 4801, 960);
    input.add(200000, 9601, 9600);
    input.packets.finish();
    Playback playback(input);
    QCOMPARE(playback.run(), Track::State::Ended);
    QCOMPARE(playback.end, int64_t(400000));
    std::vector<qint16> const& samples = playback.capture->samples;
    for (size_t i = 0; i < samples.size(); ++i)
        QCOMPARE(samples[i], qint16(i + 1));
}

void InputAudioTest::hugeGap_isANewBeginning()
{
    Input input;
    input.add(0, 1, 4800);
    input.add(60000000, 10001, 4800);
    input.packets.finish();
    Playback playback(input);
    QCOMPARE(playback.run(), Track::State::Ended);
    QVERIFY(!playback.even);
    QCOMPARE(playback.end, int64_t(60100000));
    QCOMPARE(playback.capture->audioStart, qint64(Playback::Epoch + 60000000));
    QCOMPARE(playback.capture->samples[0], qint16(10001));
}

void InputAudioTest::passes_areJoined()
{
    Input input;
    input.add(0, 1, 4800);
    input.packets.endPass();
    input.add(100000, 4801, 4800);
    input.packets.endPass();
    input.packets.finish();
    Playback playback(input);
    QCOMPARE(playback.run(), Track::State::Ended);
    QVERIFY(playback.even);
    QCOMPARE(playback.end, int64_t(200000));
}

void InputAudioTest::channelsThatCannotBeMixed_areRefused()
{
    av_log_set_level(AV_LOG_QUIET);
    Input input;
    input.add(0, 1, 960);
    Options options;
    options.channels = 63;
    InputAudioTrack track(input.stream, input.packets, options);
    try {
        track.prepare(0);
        QFAIL("not refused");
    } catch (std::exception const& failure) {
        QCOMPARE(QString::fromUtf8(failure.what()),
            QStringLiteral("sound of 1 channels can't be converted to 63"));
    }
}

QVORLIN_TEST_MAIN(QCoreApplication, InputAudioTest)

#include "tst_inputaudio.moc"
