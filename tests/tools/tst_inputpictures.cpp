#include "publishprocess.h"
#include "streamcapture.h"
#include "testmedia.h"

#include <timegrid.h>

#include <messagecheck.h>

#include <cstdlib>

#include <QCoreApplication>
#include <QTemporaryDir>
#include <QTest>

class InputPicturesTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void pictures_areThoseOfTheFile_data();
    void pictures_areThoseOfTheFile();
    void lockedPicture_staysWhileTheDecoderGoesOn();
    void rgbPictures_becomeFullRange();
    void scaledPictures_keepTheirSamples();
    void roundedTimestamps_getTheRatesSpacing();
    void otherRate_repeatsOrLeavesOutPictures_data();
    void otherRate_repeatsOrLeavesOutPictures();
    void loopedPicture_isAVideo();

private:
    QString file(char const* name) { return mDirectory.filePath(QLatin1String(name)); }

    QTemporaryDir mDirectory;
};

void InputPicturesTest::initTestCase()
{
    QVERIFY(mDirectory.isValid());
}

void InputPicturesTest::pictures_areThoseOfTheFile_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<int>("bFrames");
    QTest::addColumn<int>("format");
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<bool>("direct");
    QTest::newRow("mpeg4") << int(AV_CODEC_ID_MPEG4) << 0 << int(AV_PIX_FMT_YUV420P) << 128 << 64
                           << true;
    QTest::newRow("mpeg4, B frames, padded")
        << int(AV_CODEC_ID_MPEG4) << 2 << int(AV_PIX_FMT_YUV420P) << 382 << 214 << true;
    QTest::newRow("h264, B frames, padded")
        << int(AV_CODEC_ID_H264) << 3 << int(AV_PIX_FMT_YUV420P) << 382 << 214 << true;
    QTest::newRow("h264, odd size")
        << int(AV_CODEC_ID_H264) << 0 << int(AV_PIX_FMT_YUV420P) << 382 << 90 << true;
    QTest::newRow("mpeg2, B frames")
        << int(AV_CODEC_ID_MPEG2VIDEO) << 2 << int(AV_PIX_FMT_YUV420P) << 384 << 288 << true;
    QTest::newRow("mjpeg, full range")
        << int(AV_CODEC_ID_MJPEG) << 0 << int(AV_PIX_FMT_YUVJ420P) << 382 << 214 << true;
    QTest::newRow("vp8") << int(AV_CODEC_ID_VP8) << 0 << int(AV_PIX_FMT_YUV420P) << 382 << 214
                         << true;
    QTest::newRow("lines too close for a decoder")
        << int(AV_CODEC_ID_MPEG4) << 0 << int(AV_PIX_FMT_YUV420P) << 350 << 214 << false;
}

void InputPicturesTest::pictures_areThoseOfTheFile()
{
    QFETCH(int, codec);
    QFETCH(int, bFrames);
    QFETCH(int, format);
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(bool, direct);
    MediaTraits traits;
    traits.video = AVCodecID(codec);
    traits.pixelFormat = AVPixelFormat(format);
    traits.width = width;
    traits.height = height;
    traits.bFrames = bFrames;
    traits.rate = {50, 1};
    if (!writeMedia(file("pictures.mkv"), traits))
        QSKIP("this FFmpeg has no encoder for the codec");
    std::vector<size_t> const expected = decodedHashes(file("pictures.mkv"));
    QCOMPARE(expected.size(), size_t(traits.frames));

    QString const name = uniqueName();
    PublishProcess program(
        play(file("pictures.mkv"), name, QStringLiteral("--loop --frames 64 --stats")));
    StreamCapture stream(name);
    QVERIFY(stream.isOpen());
    QCOMPARE(stream.format().video_width, width);
    QCOMPARE(stream.format().video_height, height);
    QVERIFY(stream.pollFrames(expected.size() + 10));
    QCOMPARE(stream.missedFrames, size_t(0));
    for (size_t i = 0; i < stream.frames.size(); ++i) {
        QCOMPARE(stream.frames[i].hash, expected[i % expected.size()]);
        QCOMPARE(stream.frames[i].timestamp - stream.frames[0].timestamp, qint64(i) * 20000);
    }
    QCOMPARE(program.stop(), 0);
    // The stream is opened when the first picture is known; by then more are being decoded.
    QJsonObject const statistics = program.statistics();
    char const* const usual = direct ? "video_direct" : "video_converted";
    char const* const other = direct ? "video_converted" : "video_direct";
    QVERIFY(statistics[QLatin1String(other)].toInt() <= 8);
    QVERIFY(statistics[QLatin1String(usual)].toInt() >= int(expected.size()));
    QCOMPARE(statistics[QLatin1String("video_late")].toInt(), 0);
    QCOMPARE(statistics[QLatin1String("undecodable")].toInt(), 0);
}

void InputPicturesTest::lockedPicture_staysWhileTheDecoderGoesOn()
{
    MediaTraits traits;
    traits.video = AV_CODEC_ID_MPEG4;
    traits.bFrames = 2;
    QVERIFY(writeMedia(file("video.mkv"), traits));
    QString const name = uniqueName();
    PublishProcess program(play(file("video.mkv"), name, QStringLiteral("--loop --frames 4")));
    StreamCapture stream(name);
    QVERIFY(stream.pollFrames(10));
    shm_video_frame_t frame = {};
    QCOMPARE(shm_reader_lock_video(stream.reader(), &frame, SHM_VIDEO_LOOKUP_LATEST), 0);
    uint8_t const* const planes[] = {frame.plane0, frame.plane1, frame.plane2};
    int const strides[] = {frame.stride0, frame.stride1, frame.stride2};
    auto const hash = [&] {
        return hashPicture(planes, strides, frame.width, frame.height);
    };
    size_t const before = hash();
    QVERIFY(stream.pollFrames(stream.frames.size() + 30));
    QCOMPARE(hash(), before);
    shm_reader_unlock_video(stream.reader(), &frame);
}

void InputPicturesTest::rgbPictures_becomeFullRange()
{
    MediaTraits traits;
    traits.video = AV_CODEC_ID_FFV1;
    traits.pixelFormat = AV_PIX_FMT_BGR0;
    traits.frames = 6;
    traits.draw = drawGrey(0, 51);
    QVERIFY(writeMedia(file("rgb.mkv"), traits));
    QString const name = uniqueName();
    PublishProcess program(play(file("rgb.mkv"), name, QStringLiteral("--loop --stats")));
    StreamCapture stream(name);
    QVERIFY(stream.pollFrames(6));
    for (size_t i = 0; i < 6; ++i)
        QVERIFY(std::abs(stream.frames[i].topLuma - int(i) * 51) <= 1);
    QCOMPARE(program.stop(), 0);
    QCOMPARE(program.statistics()[QLatin1String("video_direct")].toInt(), 0);
}

void InputPicturesTest::scaledPictures_keepTheirSamples()
{
    for (AVPixelFormat const format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV444P}) {
        MediaTraits traits;
        traits.video = AV_CODEC_ID_FFV1;
        traits.pixelFormat = format;
        traits.frames = 4;
        traits.draw = drawGrey(0, 85);
        QVERIFY(writeMedia(file("grey.mkv"), traits));
        QString const name = uniqueName();
        PublishProcess program(
            play(file("grey.mkv"), name, QStringLiteral("--loop --size 333x111")));
        StreamCapture stream(name);
        QVERIFY(stream.pollFrames(4));
        QCOMPARE(stream.format().video_width, 333);
        QCOMPARE(stream.format().video_height, 111);
        for (size_t i = 0; i < 4; ++i)
            QVERIFY(std::abs(stream.frames[i].topLuma - int(i) * 85) <= 1);
    }
}

void InputPicturesTest::roundedTimestamps_getTheRatesSpacing()
{
    MediaTraits traits;
    traits.video = AV_CODEC_ID_MPEG4;
    traits.rate = {30000, 1001};
    traits.frames = 30;
    // Matroska rounds every time to the millisecond.
    QVERIFY(writeMedia(file("ntsc.mkv"), traits));
    QString const name = uniqueName();
    PublishProcess program(play(file("ntsc.mkv"), name, QStringLiteral("--loop --frames 64")));
    StreamCapture stream(name);
    QVERIFY(stream.pollFrames(50));
    TimeGrid const grid(traits.rate);
    for (size_t i = 0; i < stream.frames.size(); ++i) {
        qint64 const offset = stream.frames[i].timestamp - stream.frames[0].timestamp;
        QVERIFY(std::abs(offset - qint64(grid.at(qint64(i)))) <= 1);
    }
}

void InputPicturesTest::otherRate_repeatsOrLeavesOutPictures_data()
{
    QTest::addColumn<int>("inputRate");
    QTest::addColumn<int>("rate");
    QTest::newRow("repeats") << 10 << 25;
    QTest::newRow("leaves out") << 50 << 20;
}

void InputPicturesTest::otherRate_repeatsOrLeavesOutPictures()
{
    QFETCH(int, inputRate);
    QFETCH(int, rate);
    MediaTraits traits;
    traits.video = AV_CODEC_ID_FFV1;
    traits.rate = {inputRate, 1};
    traits.frames = inputRate;
    traits.draw = drawGrey(0, 5);
    QVERIFY(writeMedia(file("rate.mkv"), traits));
    QString const name = uniqueName();
    PublishProcess program(
        play(file("rate.mkv"), name, QStringLiteral("--loop --frames 64 --rate %1").arg(rate)));
    StreamCapture stream(name);
    QVERIFY(stream.pollFrames(30));
    for (int i = 0; i < 30; ++i) {
        StreamCapture::Frame const& frame = stream.frames[size_t(i)];
        QCOMPARE(frame.timestamp - stream.frames[0].timestamp, qint64(i) * 1000000 / rate);
        QCOMPARE(frame.topLuma, i * inputRate / rate % inputRate * 5);
    }
}

void InputPicturesTest::loopedPicture_isAVideo()
{
    MediaTraits traits;
    traits.video = AV_CODEC_ID_MJPEG;
    traits.pixelFormat = AV_PIX_FMT_YUVJ420P;
    traits.frames = 1;
    QVERIFY(writeMedia(file("picture.jpg"), traits));
    QString const name = uniqueName();
    PublishProcess program(play(file("picture.jpg"), name, QStringLiteral("--loop")));
    StreamCapture stream(name);
    QVERIFY(stream.pollFrames(20));
    for (size_t i = 1; i < stream.frames.size(); ++i) {
        QCOMPARE(stream.frames[i].hash, stream.frames[0].hash);
        QCOMPARE(stream.frames[i].timestamp - stream.frames[i - 1].timestamp, qint64(40000));
    }
}

QVORLIN_TEST_MAIN(QCoreApplication, InputPicturesTest)

#include "tst_inputpictures.moc"
