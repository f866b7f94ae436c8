#include <testpicture.h>
#include <testsound.h>

#include <messagecheck.h>

#include <cmath>
#include <cstdlib>
#include <set>
#include <vector>

#include <QCoreApplication>
#include <QTest>

namespace {

constexpr int64_t Noon = 1700049600LL * 1000000; /**< a full second */
constexpr uint8_t Untouched = 0xa5;

/** Memory for a frame, with a margin that nobody may touch around each plane. */
class Canvas
{
public:
    Canvas(Canvas&&) = default;
    Canvas(int width, int height)
    {
        for (int plane = 0; plane < 3; ++plane) {
            mWidth[plane] = plane ? (width + 1) / 2 : width;
            mHeight[plane] = plane ? (height + 1) / 2 : height;
            int const stride = (mWidth[plane] + 63) / 64 * 64;
            mBytes[plane].assign(size_t(stride) * size_t(mHeight[plane] + 2), Untouched);
            frame.plane[plane] = mBytes[plane].data() + stride;
            frame.stride[plane] = stride;
            frame.lines[plane] = mHeight[plane];
        }
    }

    int at(int plane, int x, int y) const
    {
        return frame.plane[plane][ptrdiff_t(y) * frame.stride[plane] + x];
    }

    /** Whether every pixel was drawn on, and nothing else. */
    bool isCovered(int plane) const
    {
        for (int y = -1; y <= mHeight[plane]; ++y) {
            bool const inside = y >= 0 && y < mHeight[plane];
            for (int x = 0; x < frame.stride[plane]; ++x) {
                if ((at(plane, x, y) != Untouched) != (inside && x < mWidth[plane]))
                    return false;
            }
        }
        return true;
    }

    std::vector<uint8_t> pixels() const
    {
        std::vector<uint8_t> all;
        uint8_t const* line = frame.plane[0];
        for (int y = 0; y < mHeight[0]; ++y, line += frame.stride[0])
            all.insert(all.end(), line, line + mWidth[0]);
        return all;
    }

    shm_writer_frame_t frame = {};

private:
    int mWidth[3];
    int mHeight[3];
    std::vector<uint8_t> mBytes[3];
};

Canvas drawn(int width, int height, int64_t timestamp, uint64_t number, bool flash = false)
{
    Canvas canvas(width, height);
    TestPicture(width, height, {25, 1}).draw(canvas.frame, timestamp, number, flash);
    return canvas;
}

constexpr int Width = 640;
constexpr int Height = 360;
constexpr int MarkerLine = Height * 60 / 100;

/** Where the marker's light lies, in pixels from the left. */
double markerCentre(Canvas const& canvas)
{
    double sum = 0;
    double weight = 0;
    int const ground = canvas.at(0, Width - 1, MarkerLine);
    for (int x = 0; x < Width; ++x) {
        double const light = canvas.at(0, x, MarkerLine) - ground;
        sum += light * (x + 0.5);
        weight += light;
    }
    return sum / weight;
}

} // namespace

class TestPictureTest : public QObject
{
    Q_OBJECT

private slots:
    void anySize_isCoveredAndNothingElse_data();
    void anySize_isCoveredAndNothingElse();
    void bars_haveTheirColours_data();
    void bars_haveTheirColours();
    void flash_whitensBarsAndStripOnly();
    void nextFrame_wipesTheFlash();
    void marker_movesEvenly();
    void marker_isBackAfterFourSeconds();
    void clock_showsTheTime();
    void number_showsInThePicture();

    void tone_isHigherFromChannelToChannel();
    void tones_fitTheSecond();
    void click_isTheFirstSampleOfTheSecond();
    void rates_data();
    void rates();
};

void TestPictureTest::anySize_isCoveredAndNothingElse_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    for (auto const& [width, height] : std::vector<std::pair<int, int>>{{16, 16}, {17, 19},
             {95, 300}, {300, 33}, {641, 361}, {1920, 1080}, {16, 2000}, {4000, 16}}) {
        QTest::addRow("%dx%d", width, height) << width << height;
    }
}

void TestPictureTest::anySize_isCoveredAndNothingElse()
{
    QFETCH(int, width);
    QFETCH(int, height);
    for (bool const flash : {false, true}) {
        // The marker wraps around the right edge here.
        Canvas const canvas = drawn(width, height, Noon + 3990000, 99999999, flash);
        for (int plane = 0; plane < 3; ++plane)
            QVERIFY(canvas.isCovered(plane));
    }
}

void TestPictureTest::bars_haveTheirColours_data()
{
    QTest::addColumn<int>("bar");
    QTest::addColumn<int>("y");
    QTest::addColumn<int>("cb");
    QTest::addColumn<int>("cr");
    // Full range: Y = 0.299 R + 0.587 G + 0.114 B, Cb = 128 + (B - Y) / 1.772, Cr likewise.
    QTest::newRow("white") << 0 << 191 << 128 << 128;
    QTest::newRow("yellow") << 1 << 169 << 32 << 144;
    QTest::newRow("cyan") << 2 << 134 << 160 << 32;
    QTest::newRow("green") << 3 << 112 << 65 << 48;
    QTest::newRow("magenta") << 4 << 79 << 191 << 208;
    QTest::newRow("red") << 5 << 57 << 96 << 224;
    QTest::newRow("blue") << 6 << 22 << 224 << 112;
    QTest::newRow("black") << 7 << 0 << 128 << 128;
}

void TestPictureTest::bars_haveTheirColours()
{
    QFETCH(int, bar);
    QFETCH(int, y);
    QFETCH(int, cb);
    QFETCH(int, cr);
    Canvas const canvas = drawn(Width, Height, Noon + 40000, 1);
    int const x = Width * (2 * bar + 1) / 16;
    for (int const line : {0, Height / 4}) {
        QCOMPARE(canvas.at(0, x, 2 * line), y);
        QVERIFY(std::abs(canvas.at(1, x / 2, line) - cb) <= 1);
        QVERIFY(std::abs(canvas.at(2, x / 2, line) - cr) <= 1);
    }
}

void TestPictureTest::flash_whitensBarsAndStripOnly()
{
    Canvas const canvas = drawn(Width, Height, Noon, 1, true);
    for (int x = 0; x < Width; ++x) {
        QCOMPARE(canvas.at(0, x, 0), 255);
        QCOMPARE(canvas.at(0, x, MarkerLine), 255);
        QCOMPARE(canvas.at(1, x / 2, 0), 128);
        QCOMPARE(canvas.at(2, x / 2, MarkerLine / 2), 128);
        QCOMPARE(canvas.at(0, x, Height - 1), 0);
    }
    QVERIFY(drawn(Width, Height, Noon, 1, true).pixels() !=
            drawn(Width, Height, Noon, 2, true).pixels());
}

void TestPictureTest::nextFrame_wipesTheFlash()
{
    Canvas canvas(Width, Height);
    TestPicture picture(Width, Height, {25, 1});
    picture.draw(canvas.frame, Noon, 1, true);
    picture.draw(canvas.frame, Noon + 40000, 2, false);
    QCOMPARE(canvas.pixels(), drawn(Width, Height, Noon + 40000, 2).pixels());
    QCOMPARE(canvas.at(1, Width / 4, 0), drawn(Width, Height, Noon, 2).at(1, Width / 4, 0));
}

void TestPictureTest::marker_movesEvenly()
{
    double const start = markerCentre(drawn(Width, Height, Noon, 0));
    for (int64_t i = 1; i < 80; ++i) {
        double const centre = markerCentre(drawn(Width, Height, Noon + i * 33367, 0));
        double const expected = start + double(i) * 33367 * Width / 4e6;
        QVERIFY2(std::abs(centre - expected) < 0.1, qPrintable(QString::number(centre - expected)));
    }
}

void TestPictureTest::marker_isBackAfterFourSeconds()
{
    QCOMPARE(markerCentre(drawn(Width, Height, Noon + 4000000, 0)),
        markerCentre(drawn(Width, Height, Noon, 0)));
}

void TestPictureTest::clock_showsTheTime()
{
    // Multiples of the marker's time, so that only the text can differ.
    std::set<std::vector<uint8_t>> pictures;
    for (int64_t const time : {0, 4, 40, 400, 4000, 40000})
        pictures.insert(drawn(Width, Height, Noon + time * 1000000, 0).pixels());
    QCOMPARE(pictures.size(), size_t(6));
    QCOMPARE(drawn(Width, Height, Noon + 86400 * int64_t(1000000), 0).pixels(),
        drawn(Width, Height, Noon, 0).pixels());
}

void TestPictureTest::number_showsInThePicture()
{
    std::set<std::vector<uint8_t>> pictures;
    for (uint64_t number = 0; number < 20; ++number)
        pictures.insert(drawn(Width, Height, Noon, number).pixels());
    pictures.insert(drawn(Width, Height, Noon, 10000000).pixels());
    QCOMPARE(pictures.size(), size_t(21));
}

namespace {

/** Strength of @p frequency in @p channel of the second half of the second. */
double strength(TestSound const& sound, int channel, double frequency)
{
    double sine = 0;
    double cosine = 0;
    int const half = sound.rate() / 2;
    for (int i = half; i < sound.rate(); ++i) {
        double const phase = 2 * 3.14159265358979323846 * frequency * i / sound.rate();
        double const sample = sound.from(i)[channel];
        sine += sample * std::sin(phase);
        cosine += sample * std::cos(phase);
    }
    return std::hypot(sine, cosine) / half * 2;
}

} // namespace

void TestPictureTest::tone_isHigherFromChannelToChannel()
{
    TestSound const sound(48000, 3);
    double const tones[] = {440, 660, 880};
    for (int channel = 0; channel < 3; ++channel) {
        for (int other = 0; other < 3; ++other) {
            double const found = strength(sound, channel, tones[other]);
            QVERIFY(channel == other ? std::abs(found - 2000) < 20 : found < 20);
        }
    }
}

void TestPictureTest::tones_fitTheSecond()
{
    TestSound const sound(44100, 2);
    // Where the second ends, the slope goes on into the next second's tone.
    int const before = sound.from(44098)[0];
    int const last = sound.from(44099)[0];
    QVERIFY(std::abs(last - before + last) < 5);
}

void TestPictureTest::click_isTheFirstSampleOfTheSecond()
{
    TestSound const sound(48000, 2);
    QCOMPARE(int(sound.from(0)[0]), 30000);
    QCOMPARE(int(sound.from(0)[1]), 30000);
    for (int i = 48000 / 100; i < 48000; ++i)
        QVERIFY(std::abs(sound.from(i)[0]) <= 2000);
}

void TestPictureTest::rates_data()
{
    QTest::addColumn<int>("rate");
    QTest::addColumn<int>("channels");
    QTest::newRow("lowest") << 8000 << 1;
    QTest::newRow("many channels") << 8000 << 64;
    QTest::newRow("highest") << 384000 << 1;
    QTest::newRow("odd") << 11025 << 2;
}

void TestPictureTest::rates()
{
    QFETCH(int, rate);
    QFETCH(int, channels);
    TestSound const sound(rate, channels);
    for (int channel = 0; channel < channels; ++channel) {
        QCOMPARE(int(sound.from(0)[channel]), 30000);
        int loudest = 0;
        for (int i = rate / 2; i < rate; ++i)
            loudest = std::max(loudest, std::abs(int(sound.from(i)[channel])));
        QVERIFY(loudest > 1500 && loudest <= 2000);
    }
}

QVORLIN_TEST_MAIN(QCoreApplication, TestPictureTest)

#include "tst_testpicture.moc"
