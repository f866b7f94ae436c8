#include <atomic>
#include <set>
#include <thread>
#include <vector>

#include <QTest>

#include "dyingwords.h"
#include "messagecheck.h"
#include "planarbuffer.h"
#include "swscalelog.h"
#include "utils/videoconverter.h"

namespace {

constexpr qint64 Timestamp = 1700000000123456;

QSize const frameSize(64, 36);
QSize const otherSize(32, 18);

/** Lets the test look at the pool. */
class PoolConverter : public VideoFrameStreamConverter
{
public:
    PoolConverter()
        : VideoFrameStreamConverter(QSize(), true, false)
    {}

    QVector<QImage>& images() { return mImages; }

    /** Which entry of the pool the next image of @p size would go to. */
    int choice(QSize const& size) { return int(allocateImage(size) - mImages.data()); }
};

enum class Entry
{
    Null,
    Free,
    FreeOther,
    Held,
    HeldOther
};

QImage newImage(QSize const& size)
{
    return QImage(size, QImage::Format_ARGB32_Premultiplied);
}

} // namespace
Q_DECLARE_METATYPE(Entry)

class VideoStreamConverterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { SwscaleLog::clear(); }

    void sameFrameTwice_isScaledOnce();
    void sameStartTime_countsAsSameFrame();
    void startTimeZero_isNotCachedAtFirst();
    void onlyLastFrame_isCached();
    void settings_areThoseGiven();
    void reset_sameSizeOtherFlags_keepsCache();
    void reset_otherSize_convertsAnew();
    void reset_leavesImagesOfReceivers();
    void changedImageOfReceiver_leavesCache();
    void pool_hasFourNullImagesAtFirst();
    void pool_takesEntryByPreference_data();
    void pool_takesEntryByPreference();
    void pool_makesImageOfRequestedSize();
    void pool_empty_aborts();
    void threeImagesHeld_memoryIsRecycled();
    void fourImagesHeld_noneChanges();
    void failureAfterSizeChange_leavesNoImageWithoutPicture();
    void failure_keepsCacheOfLastSuccess();
    void texts_areThoseOfEachFrame();
    void severalThreads_convertAndReset();
};

void VideoStreamConverterTest::sameFrameTwice_isScaledOnce()
{
    VideoFrameStreamConverter converter(otherSize, true, false);
    QVideoFrame const frame = planarFrame(frameSize, Timestamp);
    QImage const first = converter.convert(frame);
    QImage const second = converter.convert(frame);
    QCOMPARE(SwscaleLog::instance().scales.size(), 1);
    QCOMPARE(SwscaleLog::instance().contexts.size(), 1);
    QVERIFY(!first.isNull());
    QCOMPARE(first, second);
    QCOMPARE(first.constBits(), second.constBits());
}

void VideoStreamConverterTest::sameStartTime_countsAsSameFrame()
{
    VideoFrameStreamConverter converter(otherSize, true, false);
    QImage const first = converter.convert(planarFrame(frameSize, Timestamp, 1));
    QCOMPARE(converter.convert(planarFrame(frameSize, Timestamp, 2)), first);
    QVERIFY(converter.convert(planarFrame(frameSize, Timestamp + 1, 2)) != first);
}

void VideoStreamConverterTest::startTimeZero_isNotCachedAtFirst()
{
    VideoFrameStreamConverter converter(otherSize, true, false);
    QVERIFY(!converter.getCachedImage(0));
    QVERIFY(!converter.convert(planarFrame(frameSize, 0)).isNull());
    QVERIFY(converter.getCachedImage(0));
}

void VideoStreamConverterTest::onlyLastFrame_isCached()
{
    VideoFrameStreamConverter converter(otherSize, true, false);
    for (qint64 offset : {0, 1, 1, 0, 0, 1})
        converter.convert(planarFrame(frameSize, Timestamp + offset));
    QCOMPARE(SwscaleLog::instance().scales.size(), 4);
    QVERIFY(converter.getCachedImage(Timestamp + 1));
    QVERIFY(!converter.getCachedImage(Timestamp));
}

void VideoStreamConverterTest::settings_areThoseGiven()
{
    VideoFrameStreamConverter fitting({33, 33}, true, false);
    QCOMPARE(fitting.convert(planarFrame(frameSize, Timestamp)).size(), QSize(32, 18));
    VideoFrameStreamConverter stretching({33, 33}, false, false);
    QCOMPARE(stretching.convert(planarFrame(frameSize, Timestamp)).size(), QSize(33, 33));
    VideoFrameStreamConverter unscaled(QSize(), true, true);
    QCOMPARE(unscaled.convert(planarFrame(frameSize, Timestamp)).size(), frameSize);
}

void VideoStreamConverterTest::reset_sameSizeOtherFlags_keepsCache()
{
    VideoFrameStreamConverter converter({33, 33}, true, false);
    QVideoFrame const frame = planarFrame(frameSize, Timestamp);
    QImage const first = converter.convert(frame);
    converter.reset({33, 33}, false, true);
    QCOMPARE(converter.convert(frame).constBits(), first.constBits());
    QCOMPARE(SwscaleLog::instance().scales.size(), 1);
    // The flags hold from the next frame on.
    QCOMPARE(converter.convert(planarFrame(frameSize, Timestamp + 1)).size(), QSize(33, 33));
}

void VideoStreamConverterTest::reset_otherSize_convertsAnew()
{
    PoolConverter converter;
    QVideoFrame const frame = planarFrame(frameSize, Timestamp);
    QCOMPARE(converter.convert(frame).size(), frameSize);
    converter.reset(otherSize, true, false);
    QVERIFY(!converter.getCachedImage(Timestamp));
    QCOMPARE(converter.images(), QVector<QImage>(4));
    QCOMPARE(converter.convert(frame).size(), otherSize);
    QCOMPARE(SwscaleLog::instance().scales.size(), 2);
}

void VideoStreamConverterTest::reset_leavesImagesOfReceivers()
{
    VideoFrameStreamConverter converter(otherSize, true, false);
    QImage const held = converter.convert(planarFrame(frameSize, Timestamp));
    QImage const copy = held.copy();
    converter.reset({16, 9}, false, false);
    converter.convert(planarFrame(frameSize, Timestamp + 1, 2));
    QCOMPARE(held, copy);
}

void VideoStreamConverterTest::changedImageOfReceiver_leavesCache()
{
    VideoFrameStreamConverter converter(otherSize, true, false);
    QVideoFrame const frame = planarFrame(frameSize, Timestamp);
    QImage const original = converter.convert(frame);
    QImage painted = converter.convert(frame);
    painted.fill(Qt::red);
    QCOMPARE(converter.convert(frame), original);
    QVERIFY(painted != original);
}

void VideoStreamConverterTest::pool_hasFourNullImagesAtFirst()
{
    PoolConverter converter;
    QCOMPARE(converter.images(), QVector<QImage>(4));
}

void VideoStreamConverterTest::pool_takesEntryByPreference_data()
{
    using Pool = QVector<Entry>;
    QTest::addColumn<Pool>("pool");
    QTest::addColumn<int>("choice");

    auto const null = Entry::Null;
    auto const free = Entry::Free;
    auto const freeOther = Entry::FreeOther;
    auto const held = Entry::Held;
    auto const heldOther = Entry::HeldOther;
    QTest::newRow("first of all null") << Pool{null, null, null, null} << 0;
    QTest::newRow("free of the size before all") << Pool{freeOther, null, held, free} << 3;
    QTest::newRow("first free of the size") << Pool{held, free, free, null} << 1;
    QTest::newRow("free of another size before null") << Pool{null, null, freeOther, null} << 2;
    QTest::newRow("first free of another size") << Pool{held, null, freeOther, freeOther} << 2;
    QTest::newRow("free of another size before held")
        << Pool{held, held, heldOther, freeOther} << 3;
    QTest::newRow("null before held") << Pool{held, heldOther, null, held} << 2;
    QTest::newRow("first null") << Pool{held, null, null, heldOther} << 1;
    QTest::newRow("held of the size before other") << Pool{heldOther, heldOther, held, held} << 2;
    QTest::newRow("first held of the size") << Pool{held, held, held, held} << 0;
    QTest::newRow("first held of another size")
        << Pool{heldOther, heldOther, heldOther, heldOther} << 0;
}

void VideoStreamConverterTest::pool_takesEntryByPreference()
{
    QFETCH(QVector<Entry>, pool);
    PoolConverter converter;
    QVector<QImage> receivers;
    for (int i = 0; i < pool.size(); ++i) {
        Entry const entry = pool.at(i);
        if (entry == Entry::Null)
            continue;
        bool const isOther = entry == Entry::FreeOther || entry == Entry::HeldOther;
        converter.images()[i] = newImage(isOther ? otherSize : frameSize);
        if (entry == Entry::Held || entry == Entry::HeldOther)
            receivers.append(converter.images().at(i));
    }
    QTEST(converter.choice(frameSize), "choice");
}

void VideoStreamConverterTest::pool_makesImageOfRequestedSize()
{
    PoolConverter converter;
    for (QSize const& size : {frameSize, otherSize}) {
        QImage const* const image = converter.allocateImage(size);
        QCOMPARE(image->size(), size);
        QCOMPARE(image->format(), QImage::Format_ARGB32_Premultiplied);
        // Of that size already, it is the same one.
        uchar const* const bits = image->constBits();
        QCOMPARE(converter.allocateImage(size)->constBits(), bits);
    }
}

void VideoStreamConverterTest::pool_empty_aborts()
{
    QByteArray const words = dyingWords([] {
        PoolConverter converter;
        converter.images().clear();
        converter.convert(planarFrame(frameSize, Timestamp));
    });
    QVERIFY2(words.contains("ASSERT: \"false\" in file utils/videoconverter, line "), words);
}

void VideoStreamConverterTest::threeImagesHeld_memoryIsRecycled()
{
    VideoFrameStreamConverter converter(otherSize, true, false);
    QVector<QImage> receivers(3);
    std::set<uchar const*> memory;
    for (int i = 0; i < 100; ++i) {
        QImage const image = converter.convert(planarFrame(frameSize, Timestamp + i, i));
        memory.insert(image.constBits());
        receivers[i % 3] = image;
    }
    QCOMPARE(memory.size(), size_t(4));
}

void VideoStreamConverterTest::fourImagesHeld_noneChanges()
{
    VideoFrameStreamConverter converter(otherSize, true, false);
    QVector<QImage> receivers;
    QVector<QImage> copies;
    for (int i = 0; i < 12; ++i) {
        receivers.append(converter.convert(planarFrame(frameSize, Timestamp + i, i)));
        copies.append(receivers.last().copy());
    }
    for (int i = 0; i < receivers.size(); ++i) {
        QCOMPARE(receivers.at(i), copies.at(i));
        QCOMPARE(receivers.at(i).text(QStringLiteral("pts")), QString::number(Timestamp + i));
    }
}

void VideoStreamConverterTest::failureAfterSizeChange_leavesNoImageWithoutPicture()
{
    PoolConverter converter;
    QVideoFrame const frame = planarFrame(frameSize, Timestamp);
    QImage const picture = converter.convert(frame).copy();

    auto* const buffer = new PlanarBuffer(otherSize, 1);
    buffer->refuseMap = true;
    QVERIFY(converter.convert(planarFrame(buffer, otherSize, Timestamp + 1)).isNull());
    QCOMPARE(converter.convert(frame), picture);
}

void VideoStreamConverterTest::failure_keepsCacheOfLastSuccess()
{
    VideoFrameStreamConverter converter(otherSize, true, false);
    QVideoFrame const frame = planarFrame(frameSize, Timestamp);
    QImage const picture = converter.convert(frame).copy();

    auto* const buffer = new PlanarBuffer(frameSize, 2);
    buffer->refuseMap = true;
    QVERIFY(converter.convert(planarFrame(buffer, frameSize, Timestamp + 1)).isNull());
    QCOMPARE(converter.convert(frame), picture);
    QCOMPARE(SwscaleLog::instance().scales.size(), 1);
}

void VideoStreamConverterTest::texts_areThoseOfEachFrame()
{
    VideoFrameStreamConverter converter(otherSize, true, false);
    for (int i = 0; i < 6; ++i) {
        QVideoFrame frame = planarFrame(frameSize, Timestamp + i);
        frame.setMetaData(QStringLiteral("shmname"), QStringLiteral("cam%1").arg(i));
        QImage const image = converter.convert(frame);
        QCOMPARE(image.text(QStringLiteral("pts")), QString::number(Timestamp + i));
        QCOMPARE(image.text(QStringLiteral("shmname")), QStringLiteral("cam%1").arg(i));
        QCOMPARE(image.textKeys().size(), 2);
    }
}

void VideoStreamConverterTest::severalThreads_convertAndReset()
{
    VideoFrameStreamConverter converter(otherSize, true, false);
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 3; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < 200; ++i) {
                uchar const y = uchar(80 * thread + i % 50);
                qint64 const timestamp = y + 1;
                auto* const buffer = new PlanarBuffer(frameSize, y, 128, 128);
                QImage const image = converter.convert(planarFrame(buffer, frameSize, timestamp));
                if (qAbs(qRed(image.pixel(4, 4)) - y) > 1 ||
                    image.text(QStringLiteral("pts")) != QString::number(timestamp))
                    ++wrong;
            }
        });
    }
    for (int i = 0; i < 200; ++i)
        converter.reset(i % 2 ? otherSize : frameSize, true, i % 3 == 0);
    for (std::thread& thread : threads)
        thread.join();
    QCOMPARE(int(wrong), 0);
}

QVORLIN_TEST_MAIN(QCoreApplication, VideoStreamConverterTest)
#include "tst_videostreamconverter.moc"
