#include "lipsync.h"

#include <QTest>

#include "messagecheck.h"

namespace {

constexpr qint64 Interval = 40'000;
constexpr qint64 Lag = 250'000;
constexpr qint64 Start = 1'700'000'000'000'000;

/** Frames that are painted a fixed time away from what is heard. */
struct Fixture
{
    LipSync lipSync;
    qint64 now = Start;
    QVector<qint64> moves; // how far each lies from what is heard

    /** @param offset by which the picture is ahead of the sound */
    void paint(int frames, qint64 offset, qint64 lag = Lag)
    {
        for (int i = 0; i < frames; ++i) {
            auto const moment = lipSync.painted(now - lag + offset, now, lag, Interval);
            if (moment)
                moves.append(*moment - (now - lag));
            now += Interval;
        }
    }
};

} // namespace

class TestLipSync : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void firstFrame_movesToWhatIsHeard();
    void pictureInPlace_isLeftThere_data();
    void pictureInPlace_isLeftThere();
    void latePicture_isAskedForSooner();
    void earlyPicture_isAskedForLater();
    void changeOfTheLag_movesThePicture();
    void framesOnTheirWay_areNotJudged();
    void singleFrames_areNotJudged();
    void movesInVain_becomeRare();
    void restart_movesAgain();
};

void TestLipSync::firstFrame_movesToWhatIsHeard()
{
    Fixture f;
    f.paint(1, 200'000);
    QCOMPARE(f.moves, QVector<qint64>{0});
}

void TestLipSync::pictureInPlace_isLeftThere_data()
{
    QTest::addColumn<qint64>("offset");
    QTest::newRow("with the sound") << qint64{0};
    QTest::newRow("half a frame ahead") << Interval / 2;
    QTest::newRow("nearly a frame ahead") << Interval - 1;
    QTest::newRow("a little behind") << -Interval / 12;
}

void TestLipSync::pictureInPlace_isLeftThere()
{
    QFETCH(qint64, offset);
    Fixture f;
    f.paint(500, offset);
    QCOMPARE(f.moves.size(), 1);
}

void TestLipSync::latePicture_isAskedForSooner()
{
    Fixture f;
    f.paint(60, -30'000);
    QCOMPARE(f.moves.size(), 2);
    // By what it takes to be half a frame ahead.
    QCOMPARE(f.moves[1], 50'000);
}

void TestLipSync::earlyPicture_isAskedForLater()
{
    Fixture f;
    f.paint(60, 60'000);
    QCOMPARE(f.moves.size(), 2);
    QCOMPARE(f.moves[1], -40'000);
}

void TestLipSync::changeOfTheLag_movesThePicture()
{
    Fixture f;
    f.paint(100, Interval / 2);
    // The same frames, but the sound has fallen back by 100 ms.
    f.paint(40, Interval / 2 + 100'000, Lag + 100'000);
    QCOMPARE(f.moves.size(), 2);
}

void TestLipSync::framesOnTheirWay_areNotJudged()
{
    Fixture f;
    f.paint(1, 0);
    f.paint(12, 200'000);
    f.paint(100, Interval / 2);
    QCOMPARE(f.moves.size(), 1);
}

void TestLipSync::singleFrames_areNotJudged()
{
    Fixture f;
    for (int i = 0; i < 20; ++i) {
        f.paint(9, Interval / 2);
        f.paint(1, -100'000);
    }
    QCOMPARE(f.moves.size(), 1);
}

void TestLipSync::movesInVain_becomeRare()
{
    Fixture f;
    // A minute of frames that are the oldest of the stream whatever is asked for.
    f.paint(1500, 300'000);
    QVERIFY2(f.moves.size() <= 11, qPrintable(QString::number(f.moves.size())));
    // The request doesn't run away meanwhile.
    QVERIFY(f.moves.last() >= -3 * Interval);
    // In place again, it is watched as closely as before.
    f.paint(600, Interval / 2);
    int const moves = f.moves.size();
    f.paint(60, 100'000);
    QCOMPARE(f.moves.size(), moves + 1);
}

void TestLipSync::restart_movesAgain()
{
    Fixture f;
    f.paint(100, Interval / 2);
    f.lipSync.restart();
    f.paint(100, Interval / 2);
    QCOMPARE(f.moves.size(), 2);
}

QVORLIN_TEST_MAIN(QCoreApplication, TestLipSync)
#include "tst_lipsync.moc"
