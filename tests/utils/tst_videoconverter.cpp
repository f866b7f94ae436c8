#include <algorithm>
#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include <QMutexLocker>
#include <QTest>

extern "C" {
#include <libavutil/log.h>
#include <libswscale/swscale.h>
}

#include "messagecheck.h"
#include "planarbuffer.h"
#include "swscalelog.h"
#include "utils/videoconverter.h"

namespace {

constexpr qint64 Timestamp = 1700000000123456;

SwscaleLog& swscale()
{
    return SwscaleLog::instance();
}

// The same conversion by libswscale alone.
QImage reference(PlanarBuffer const& source, QSize const& from, QSize const& to, int flags)
{
    SwsContext* const context = sws_getContext(from.width(), from.height(), AV_PIX_FMT_YUV420P,
        to.width(), to.height(), AV_PIX_FMT_BGRA, flags, nullptr, nullptr, nullptr);
    int const* const table = sws_getCoefficients(SWS_CS_DEFAULT);
    constexpr int one = 1 << 16;
    sws_setColorspaceDetails(context, table, 1, table, 0, 0, one, one);
    uint8_t const* const planes[] = {source.plane(0), source.plane(1), source.plane(2), nullptr};
    int const strides[] = {source.stride(0), source.stride(1), source.stride(2), 0};
    // Wider by more than libswscale ever writes too much.
    QImage image({to.width() + 64, to.height() + 1}, QImage::Format_ARGB32);
    uint8_t* const target[] = {image.bits(), nullptr, nullptr, nullptr};
    int const targetStrides[] = {image.bytesPerLine(), 0, 0, 0};
    sws_scale(context, planes, strides, 0, from.height(), target, targetStrides);
    sws_freeContext(context);
    return image.copy(QRect({0, 0}, to));
}

/** Shows what a derived class is asked. */
class WatchedConverter : public VideoFrameConverter
{
public:
    using VideoFrameConverter::VideoFrameConverter;

    QImage* getCachedImage(qint64 timestamp) override
    {
        calls.append(QStringLiteral("get %1").arg(timestamp));
        return cached;
    }
    QImage* allocateImage(QSize const& size) override
    {
        calls.append(QStringLiteral("allocate %1x%2").arg(size.width()).arg(size.height()));
        return target;
    }
    void updateCache(QImage* image, qint64 timestamp) override
    {
        calls.append(QStringLiteral("update %1").arg(timestamp));
        updated = image;
    }

    QMutex& mutex() { return mMutex; }

    QStringList calls;
    QImage* cached = nullptr;
    QImage* target = nullptr;
    QImage* updated = nullptr;
};

} // namespace

class VideoConverterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { SwscaleLog::clear(); }

    void invalidFrame_givesNullImageWithoutLocking();
    void size_followsRequest_data();
    void size_followsRequest();
    void sideOfZero_givesNullImage();
    void pixels_areThoseOfSwscale_data();
    void pixels_areThoseOfSwscale();
    void everyWidth_isFilledToItsLastColumn();
    void image_isNeverWrittenPastItsEnd();
    void samples_areTakenAsFullRange_data();
    void samples_areTakenAsFullRange();
    void image_isOpaquePremultiplied();
    void context_isMadeForYuv420pAndBgra();
    void context_isHandedBackForNextFrame();
    void context_isFreedWithConverter();
    void context_notPossible_givesNullImage();
    void colorspace_onlySourceRangeIsSetAndOnlyOnce();
    void frame_isScaledInPlaceAsAWhole();
    void frame_isMappedReadOnlyAndUnmapped();
    void frame_thatCanNotBeMapped_givesNullImage();
    void frame_ofOtherDeclaredFormat_isTakenAsYuv420p();
    void frame_withoutThreePlanes_givesNullImage();
    void imageWithoutMemory_givesNullImage();
    void texts_areStartTimeAndMetaData();
    void texts_ofFrameWithoutStartTime();
    void sameFrameTwice_isConvertedTwice();
    void derivedClass_isAskedInOrder();
    void derivedClass_cachedImageIsReturned();
    void oneShot_convertsWithContextOfItsOwn();
    void severalThreads_shareOneConverter();
};

void VideoConverterTest::initTestCase()
{
    // Arguments that libswscale refuses are part of what is tested.
    av_log_set_level(AV_LOG_QUIET);
}

void VideoConverterTest::invalidFrame_givesNullImageWithoutLocking()
{
    WatchedConverter converter({64, 36}, true, false);
    QMutexLocker const lock(&converter.mutex());
    QVERIFY(converter.convert(QVideoFrame()).isNull());
    QVERIFY(converter.calls.isEmpty());
    QVERIFY(VideoFrameConverter::convert(QVideoFrame(), {64, 36}, true, false).isNull());
}

void VideoConverterTest::size_followsRequest_data()
{
    QTest::addColumn<QSize>("frameSize");
    QTest::addColumn<QSize>("requested");
    QTest::addColumn<bool>("keepAspectRatio");
    QTest::addColumn<QSize>("expected");

    QSize const hd(1920, 1080);
    QTest::newRow("fitted, then even") << hd << QSize(641, 361) << true << QSize(640, 360);
    QTest::newRow("stretched, left odd") << hd << QSize(641, 361) << false << QSize(641, 361);
    QTest::newRow("fitted to width") << hd << QSize(640, 640) << true << QSize(640, 360);
    QTest::newRow("fitted to height") << hd << QSize(2000, 90) << true << QSize(160, 90);
    QTest::newRow("fitted, both sides odd")
        << QSize(300, 200) << QSize(33, 99) << true << QSize(32, 22);
    QTest::newRow("enlarged") << QSize(64, 36) << QSize(128, 128) << true << QSize(128, 72);
    QTest::newRow("stretched to one pixel") << hd << QSize(1, 1) << false << QSize(1, 1);
    QTest::newRow("invalid request") << hd << QSize() << true << hd;
    QTest::newRow("no width requested") << hd << QSize(0, 100) << true << hd;
    QTest::newRow("no height requested") << hd << QSize(100, 0) << false << hd;
    QTest::newRow("own size, left odd") << QSize(33, 17) << QSize() << true << QSize(33, 17);
}

void VideoConverterTest::size_followsRequest()
{
    QFETCH(QSize, frameSize);
    QFETCH(QSize, requested);
    QFETCH(bool, keepAspectRatio);
    VideoFrameConverter converter(requested, keepAspectRatio, true);
    QTEST(converter.convert(planarFrame(frameSize, Timestamp)).size(), "expected");
}

void VideoConverterTest::sideOfZero_givesNullImage()
{
    // Fitting makes it 100×1, and even sides 100×0.
    VideoFrameConverter converter({100, 100}, true, false);
    QVERIFY(converter.convert(planarFrame({2000, 20}, Timestamp)).isNull());
    QVERIFY(!converter.convert(planarFrame({2000, 40}, Timestamp)).isNull());
}

void VideoConverterTest::pixels_areThoseOfSwscale_data()
{
    QTest::addColumn<QSize>("frameSize");
    QTest::addColumn<QSize>("size");
    QTest::newRow("same size") << QSize(320, 180) << QSize(320, 180);
    QTest::newRow("half") << QSize(320, 180) << QSize(160, 90);
    QTest::newRow("odd sides") << QSize(321, 181) << QSize(161, 91);
    QTest::newRow("odd sides, same size") << QSize(33, 17) << QSize(33, 17);
    QTest::newRow("stretched") << QSize(320, 180) << QSize(100, 300);
    QTest::newRow("larger") << QSize(32, 18) << QSize(640, 360);
    QTest::newRow("full HD down") << QSize(1920, 1080) << QSize(640, 360);
    QTest::newRow("one pixel") << QSize(32, 18) << QSize(1, 1);
}

void VideoConverterTest::pixels_areThoseOfSwscale()
{
    QFETCH(QSize, frameSize);
    QFETCH(QSize, size);
    PlanarBuffer const same(frameSize, 5);
    for (bool pointScaling : {false, true}) {
        VideoFrameConverter converter(size, false, pointScaling);
        QImage const image = converter.convert(planarFrame(frameSize, Timestamp, 5));
        QImage const expected =
            reference(same, frameSize, size, pointScaling ? SWS_POINT : SWS_FAST_BILINEAR);
        QCOMPARE(image.convertToFormat(QImage::Format_ARGB32), expected);
    }
}

void VideoConverterTest::everyWidth_isFilledToItsLastColumn()
{
    for (int width = 1; width <= 70; ++width) {
        for (QSize const& from : {QSize(width, 8), QSize(32, 18)}) {
            QSize const to(width, 8);
            QVideoFrame const frame = planarFrame(new PlanarBuffer(from, 5), from, Timestamp);
            for (bool const pointScaling : {false, true}) {
                QImage const image = VideoFrameConverter::convert(frame, to, false, pointScaling);
                QCOMPARE(image.convertToFormat(QImage::Format_ARGB32),
                    reference(PlanarBuffer(from, 5), from, to,
                        pointScaling ? SWS_POINT : SWS_FAST_BILINEAR));
            }
        }
    }
}

void VideoConverterTest::image_isNeverWrittenPastItsEnd()
{
    constexpr int guard = 256;
    constexpr uchar untouched = 0x5a;
    for (int width = 1; width <= 70; ++width) {
        QSize const size(width, 8);
        int const bytes = 4 * width * size.height();
        std::vector<uchar> pixels(bytes + guard, untouched);
        QImage target(
            pixels.data(), width, size.height(), 4 * width, QImage::Format_ARGB32_Premultiplied);
        WatchedConverter converter({}, false, false);
        converter.target = &target;
        QImage const image =
            converter.convert(planarFrame(new PlanarBuffer(size, 5), size, Timestamp));
        QCOMPARE(converter.updated, &target);
        QCOMPARE(image.convertToFormat(QImage::Format_ARGB32),
            reference(PlanarBuffer(size, 5), size, size, SWS_FAST_BILINEAR));
        QVERIFY2(std::all_of(pixels.begin() + bytes, pixels.end(),
                     [](uchar byte) { return byte == untouched; }),
            qPrintable(QStringLiteral("width %1").arg(width)));
    }
}

void VideoConverterTest::samples_areTakenAsFullRange_data()
{
    QTest::addColumn<int>("y");
    QTest::addColumn<int>("cb");
    QTest::addColumn<int>("cr");
    for (int y : {0, 16, 128, 235, 255})
        QTest::addRow("grey %d", y) << y << 128 << 128;
    QTest::newRow("red") << 76 << 85 << 255;
    QTest::newRow("green") << 150 << 44 << 21;
    QTest::newRow("blue") << 29 << 255 << 107;
    QTest::newRow("brown") << 100 << 100 << 150;
}

void VideoConverterTest::samples_areTakenAsFullRange()
{
    QFETCH(int, y);
    QFETCH(int, cb);
    QFETCH(int, cr);
    QSize const size(64, 36);
    auto* const buffer = new PlanarBuffer(size, uchar(y), uchar(cb), uchar(cr));
    QImage const image =
        VideoFrameConverter::convert(planarFrame(buffer, size, Timestamp), {32, 18}, false, false);

    // ITU-R BT.601 on 0 to 255.
    double const red = y + 1.402 * (cr - 128);
    double const green = y - 0.344136 * (cb - 128) - 0.714136 * (cr - 128);
    double const blue = y + 1.772 * (cb - 128);
    QRgb const pixel = image.pixel(16, 9);
    auto const isNear = [](int actual, double exact) {
        return qAbs(actual - qBound(0.0, exact, 255.0)) <= 2.5;
    };
    QString const shown = QStringLiteral("%1 %2 %3, not %4 %5 %6")
                              .arg(qRed(pixel))
                              .arg(qGreen(pixel))
                              .arg(qBlue(pixel))
                              .arg(red)
                              .arg(green)
                              .arg(blue);
    QVERIFY2(isNear(qRed(pixel), red), qPrintable(shown));
    QVERIFY2(isNear(qGreen(pixel), green), qPrintable(shown));
    QVERIFY2(isNear(qBlue(pixel), blue), qPrintable(shown));
}

void VideoConverterTest::image_isOpaquePremultiplied()
{
    VideoFrameConverter converter({33, 17}, false, false);
    QImage const image = converter.convert(planarFrame({64, 36}, Timestamp));
    QCOMPARE(image.format(), QImage::Format_ARGB32_Premultiplied);
    for (int line = 0; line < image.height(); ++line) {
        for (int column = 0; column < image.width(); ++column)
            QCOMPARE(qAlpha(image.pixel(column, line)), 255);
    }
}

void VideoConverterTest::context_isMadeForYuv420pAndBgra()
{
    for (bool pointScaling : {false, true}) {
        SwscaleLog::clear();
        VideoFrameConverter converter({32, 18}, true, pointScaling);
        QVERIFY(!converter.convert(planarFrame({64, 36}, Timestamp)).isNull());
        QCOMPARE(swscale().contexts.size(), 1);
        SwscaleLog::Context const call = swscale().contexts.first();
        QVERIFY(!call.given);
        QCOMPARE(call.from, QSize(64, 36));
        QCOMPARE(call.fromFormat, int(AV_PIX_FMT_YUV420P));
        QCOMPARE(call.to, QSize(32, 18));
        QCOMPARE(call.toFormat, int(AV_PIX_FMT_BGRA));
        QCOMPARE(call.flags, pointScaling ? SWS_POINT : SWS_FAST_BILINEAR);
        QVERIFY(call.plain);
    }
}

void VideoConverterTest::context_isHandedBackForNextFrame()
{
    VideoFrameConverter converter({32, 18}, true, false);
    converter.convert(planarFrame({64, 36}, Timestamp));
    converter.convert(planarFrame({64, 36}, Timestamp + 1));
    converter.convert(planarFrame({128, 72}, Timestamp + 2));
    QCOMPARE(swscale().contexts.size(), 3);
    QVERIFY(!swscale().contexts.at(0).given);
    QCOMPARE(swscale().contexts.at(1).given, swscale().contexts.at(0).result);
    QCOMPARE(swscale().contexts.at(1).result, swscale().contexts.at(0).result);
    QCOMPARE(swscale().contexts.at(2).given, swscale().contexts.at(1).result);
}

void VideoConverterTest::context_isFreedWithConverter()
{
    auto converter = std::make_unique<VideoFrameConverter>(QSize(32, 18), true, false);
    converter->convert(planarFrame({64, 36}, Timestamp));
    QVERIFY(swscale().freed.isEmpty());
    converter.reset();
    QCOMPARE(swscale().freed, QVector<SwsContext*>{swscale().contexts.first().result});
}

void VideoConverterTest::context_notPossible_givesNullImage()
{
    VideoFrameConverter converter({32, 18}, false, false);
    auto* const buffer = new PlanarBuffer({64, 36}, 1);
    QVideoFrame const frame = planarFrame(buffer, {0, 0}, Timestamp);
    QVERIFY(converter.convert(frame).isNull());
    QCOMPARE(buffer->mapCount, 0);
    QVERIFY(swscale().scales.isEmpty());
    // The converter goes on to work.
    QVERIFY(!converter.convert(planarFrame({64, 36}, Timestamp)).isNull());
}

void VideoConverterTest::colorspace_onlySourceRangeIsSetAndOnlyOnce()
{
    SwsContext* const plain = sws_getContext(64, 36, AV_PIX_FMT_YUV420P, 32, 18, AV_PIX_FMT_BGRA,
        SWS_FAST_BILINEAR, nullptr, nullptr, nullptr);
    int* inverseTable = nullptr;
    int* table = nullptr;
    int sourceRange = -1;
    int destinationRange = -1;
    int brightness = -1;
    int contrast = -1;
    int saturation = -1;
    QCOMPARE(sws_getColorspaceDetails(plain, &inverseTable, &sourceRange, &table, &destinationRange,
                 &brightness, &contrast, &saturation),
        0);
    QCOMPARE(sourceRange, 0);

    VideoFrameConverter converter({32, 18}, true, false);
    converter.convert(planarFrame({64, 36}, Timestamp));
    converter.convert(planarFrame({64, 36}, Timestamp + 1));
    QCOMPARE(swscale().colorspaces.size(), 1);
    SwscaleLog::Colorspace const call = swscale().colorspaces.first();
    QCOMPARE(call.sourceRange, 1);
    for (int i = 0; i < 4; ++i) {
        QCOMPARE(call.inverseTable.at(i), inverseTable[i]);
        QCOMPARE(call.table.at(i), table[i]);
    }
    QCOMPARE(call.destinationRange, destinationRange);
    QCOMPARE(call.brightness, brightness);
    QCOMPARE(call.contrast, contrast);
    QCOMPARE(call.saturation, saturation);
    sws_freeContext(plain);
}

void VideoConverterTest::frame_isScaledInPlaceAsAWhole()
{
    VideoFrameConverter converter({33, 18}, false, false);
    auto* const buffer = new PlanarBuffer({64, 36}, 1);
    QVideoFrame const frame = planarFrame(buffer, {64, 36}, Timestamp);
    QImage const image = converter.convert(frame);
    QCOMPARE(swscale().scales.size(), 1);
    SwscaleLog::Scale const call = swscale().scales.first();
    QCOMPARE(call.context, swscale().contexts.first().result);
    QCOMPARE(call.planes,
        (QVector<uchar const*>{buffer->plane(0), buffer->plane(1), buffer->plane(2), nullptr}));
    QCOMPARE(
        call.strides, (QVector<int>{buffer->stride(0), buffer->stride(1), buffer->stride(2), 0}));
    QCOMPARE(call.firstLine, 0);
    QCOMPARE(call.lines, 36);
    QCOMPARE(static_cast<uchar const*>(call.target), image.constBits());
    QCOMPARE(call.targetStride, image.bytesPerLine());
}

void VideoConverterTest::frame_isMappedReadOnlyAndUnmapped()
{
    VideoFrameConverter converter({32, 18}, true, false);
    auto* const buffer = new PlanarBuffer({64, 36}, 1);
    QVideoFrame const frame = planarFrame(buffer, {64, 36}, Timestamp);
    QVERIFY(!converter.convert(frame).isNull());
    QCOMPARE(buffer->mapCount, 1);
    QCOMPARE(buffer->lastMode, QAbstractVideoBuffer::ReadOnly);
    QCOMPARE(buffer->mapMode(), QAbstractVideoBuffer::NotMapped);
}

void VideoConverterTest::frame_thatCanNotBeMapped_givesNullImage()
{
    VideoFrameConverter converter({32, 18}, true, false);
    auto* const buffer = new PlanarBuffer({64, 36}, 1);
    QVideoFrame const frame = planarFrame(buffer, {64, 36}, Timestamp);
    buffer->refuseMap = true;
    QVERIFY(converter.convert(frame).isNull());
    QVERIFY(swscale().scales.isEmpty());
    // Neither the lock nor the frame is stuck.
    buffer->refuseMap = false;
    QVERIFY(!converter.convert(frame).isNull());
}

void VideoConverterTest::frame_ofOtherDeclaredFormat_isTakenAsYuv420p()
{
    QSize const size(64, 36);
    QVideoFrame frame(new PlanarBuffer(size, 3), size, QVideoFrame::Format_YV12);
    QImage const image = VideoFrameConverter::convert(frame, {}, false, false);
    QCOMPARE(image.convertToFormat(QImage::Format_ARGB32),
        reference(PlanarBuffer(size, 3), size, size, SWS_FAST_BILINEAR));
    QCOMPARE(swscale().contexts.first().fromFormat, int(AV_PIX_FMT_YUV420P));
}

void VideoConverterTest::frame_withoutThreePlanes_givesNullImage()
{
    QVideoFrame const packed(4 * 64 * 36, {64, 36}, 4 * 64, QVideoFrame::Format_RGB32);
    QVERIFY(VideoFrameConverter::convert(packed, {}, false, false).isNull());
}

void VideoConverterTest::imageWithoutMemory_givesNullImage()
{
    // What an image too large to be allocated is.
    QImage none;
    WatchedConverter converter({32, 18}, true, false);
    converter.target = &none;
    auto* const buffer = new PlanarBuffer({64, 36}, 1);
    QVideoFrame const frame = planarFrame(buffer, {64, 36}, Timestamp);
    QVERIFY(converter.convert(frame).isNull());
    QVERIFY(swscale().scales.isEmpty());
    QCOMPARE(buffer->mapCount, 0);
    QVERIFY(!converter.updated);
}

void VideoConverterTest::texts_areStartTimeAndMetaData()
{
    QVideoFrame frame = planarFrame({64, 36}, Timestamp);
    frame.setMetaData(QStringLiteral("shmname"), QStringLiteral("käse"));
    frame.setMetaData(QStringLiteral("gain"), 1.5);
    frame.setMetaData(QStringLiteral("iso"), 400);
    QImage const image = VideoFrameConverter::convert(frame, {}, false, false);
    QCOMPARE(image.textKeys(), (QStringList{QStringLiteral("gain"), QStringLiteral("iso"),
                                   QStringLiteral("pts"), QStringLiteral("shmname")}));
    QCOMPARE(image.text(QStringLiteral("pts")), QStringLiteral("1700000000123456"));
    QCOMPARE(image.text(QStringLiteral("shmname")), QStringLiteral("käse"));
    QCOMPARE(image.text(QStringLiteral("gain")), QStringLiteral("1.5"));
    QCOMPARE(image.text(QStringLiteral("iso")), QStringLiteral("400"));
}

void VideoConverterTest::texts_ofFrameWithoutStartTime()
{
    QVideoFrame frame = planarFrame({64, 36}, -1);
    frame.setMetaData(QStringLiteral("pts"), QStringLiteral("the frame's own"));
    QImage const image = VideoFrameConverter::convert(frame, {}, false, false);
    // Metadata come last.
    QCOMPARE(image.text(QStringLiteral("pts")), QStringLiteral("the frame's own"));
    QImage const bare = VideoFrameConverter::convert(planarFrame({64, 36}, -1), {}, false, false);
    QCOMPARE(bare.text(QStringLiteral("pts")), QStringLiteral("-1"));
}

void VideoConverterTest::sameFrameTwice_isConvertedTwice()
{
    VideoFrameConverter converter({32, 18}, true, false);
    QVideoFrame const frame = planarFrame({64, 36}, Timestamp);
    QImage const first = converter.convert(frame);
    QImage const second = converter.convert(frame);
    QCOMPARE(swscale().scales.size(), 2);
    QVERIFY(first.constBits() != second.constBits());
    QCOMPARE(first, second);
}

void VideoConverterTest::derivedClass_isAskedInOrder()
{
    WatchedConverter converter({32, 18}, true, false);
    QImage target(32, 18, QImage::Format_ARGB32_Premultiplied);
    converter.target = &target;
    QImage const image = converter.convert(planarFrame({64, 36}, Timestamp));
    QCOMPARE(converter.calls,
        (QStringList{QStringLiteral("get 1700000000123456"), QStringLiteral("allocate 32x18"),
            QStringLiteral("update 1700000000123456")}));
    QCOMPARE(converter.updated, &target);
    QCOMPARE(image.constBits(), static_cast<QImage const&>(target).constBits());

    // Without an image of its own there is nothing to keep.
    converter.calls.clear();
    converter.target = nullptr;
    QVERIFY(!converter.convert(planarFrame({64, 36}, Timestamp)).isNull());
    QCOMPARE(converter.calls.size(), 2);
}

void VideoConverterTest::derivedClass_cachedImageIsReturned()
{
    WatchedConverter converter({32, 18}, true, false);
    QImage cached(7, 5, QImage::Format_RGB32);
    cached.fill(Qt::red);
    converter.cached = &cached;
    QCOMPARE(converter.convert(planarFrame({64, 36}, Timestamp)), cached);
    QCOMPARE(converter.calls.size(), 1);
    QVERIFY(swscale().contexts.isEmpty());
}

void VideoConverterTest::oneShot_convertsWithContextOfItsOwn()
{
    QVideoFrame const frame = planarFrame({64, 36}, Timestamp);
    QCOMPARE(VideoFrameConverter::convert(frame, {33, 33}, true, true).size(), QSize(32, 18));
    QCOMPARE(
        VideoFrameStreamConverter::convert(frame, {33, 33}, false, true).size(), QSize(33, 33));
    QCOMPARE(swscale().contexts.size(), 2);
    QVERIFY(!swscale().contexts.at(0).given);
    QVERIFY(!swscale().contexts.at(1).given);
    QCOMPARE(swscale().freed.size(), 2);
}

void VideoConverterTest::severalThreads_shareOneConverter()
{
    VideoFrameConverter converter({32, 18}, true, false);
    QSize const size(64, 36);
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < 200; ++i) {
                uchar const y = uchar(60 * thread + i % 50);
                auto* const buffer = new PlanarBuffer(size, y, 128, 128);
                QImage const image = converter.convert(planarFrame(buffer, size, thread));
                if (qAbs(qRed(image.pixel(9, 9)) - y) > 1 ||
                    image.text(QStringLiteral("pts")) != QString::number(thread))
                    ++wrong;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    QCOMPARE(int(wrong), 0);
}

QVORLIN_TEST_MAIN(QCoreApplication, VideoConverterTest)
#include "tst_videoconverter.moc"
