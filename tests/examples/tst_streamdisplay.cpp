#include "streamdisplay.h"

#include <memory>

#include <QJsonObject>
#include <QSignalSpy>
#include <QTest>

#include "greyframe.h"
#include "opengltest.h"
#include "streamplace.h"
#include "teststream.h"
#include "videoview.h"

namespace {

/** A view on the screen of the stream named after the test. */
struct Fixture
{
    VideoView view{QString::fromLatin1(QTest::currentTestFunction())};
    StreamDisplay display{view.windowTitle(), 60, 1, view};
    QSignalSpy showing{&display, &StreamDisplay::showing};
    QSignalSpy waiting{&display, &StreamDisplay::waiting};
    std::unique_ptr<TestStream> stream;
    QTimer publisher;

    Fixture()
    {
        QObject::connect(&publisher, &QTimer::timeout, &view, [this] { stream->publish(200); });
        view.resize(640, 360);
        view.show();
        display.start();
    }

    /** Starts a stream of nominally 50 frames a second that has one fifth of them. */
    bool publish()
    {
        stream = std::make_unique<TestStream>(QTest::currentTestFunction());
        publisher.start(100);
        return stream->isOpen();
    }

    void vanish()
    {
        publisher.stop();
        stream.reset();
    }

    QString field(int index) { return view.overlay().fields()[index].value; }

    Fixture(Fixture const&) = delete;
};

} // namespace

class TestStreamDisplay : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void absentStream_isReportedAsNothing();
    void stream_isShownAndReported();
    void figures_comeToTheOverlay();
    void stream_goesAndReturns();
    void reopened_showsTheStreamAnew();
    void movedBack_showsOlderFrames();
    void shownFrames_areNotHeld();

private:
    StreamPlace mPlace;
};

void TestStreamDisplay::absentStream_isReportedAsNothing()
{
    Fixture f;
    QTRY_VERIFY(!f.view.renderer().isEmpty());
    f.display.stop();
    StreamReport const report = f.display.report();
    QCOMPARE(report.name, f.view.windowTitle());
    QVERIFY(!report.stream.present);
    QCOMPARE(report.frames.published, 0);
    // The dark picture is none of the stream's.
    QCOMPARE(report.frames.shown, 0);
    QVERIFY(report.toJson()[QLatin1String("latencyMs")].toObject()[QLatin1String("p50")].isNull());
}

void TestStreamDisplay::stream_isShownAndReported()
{
    Fixture f;
    QVERIFY(f.publish());
    QTRY_VERIFY(f.display.report().frames.shown >= 5);
    f.display.stop();
    QCOMPARE(f.showing.size(), 1);
    QVERIFY(alike(quartersOf(f.view.picture()), {200, 200, 200, 200}));

    StreamReport const report = f.display.report();
    QVERIFY(report.stream.present);
    QCOMPARE(report.stream.size, QSize(TestStream::Width, TestStream::Height));
    QVERIFY(report.frames.shown <= report.frames.published);
    QVERIFY(report.frames.repeated > 0);
    QVERIFY(*report.frames.latencyP50Ms > 0);
    QJsonObject const json = report.toJson();
    for (char const* key :
        {"stream", "frames", "latencyMs", "displayRate", "longestPauseMs", "skippedTicks"})
        QVERIFY2(json.contains(QLatin1String(key)), key);
}

void TestStreamDisplay::figures_comeToTheOverlay()
{
    Fixture f;
    QVERIFY(f.publish());
    QTRY_COMPARE(f.field(0), QStringLiteral("64 × 36"));
    QCOMPARE(f.field(1), QStringLiteral("50 fps"));
    QTRY_VERIFY(f.field(3).endsWith(QLatin1String(" ms")));
    QVERIFY(f.field(3).section(QLatin1Char(' '), 0, 0).toInt() > 0);
    double const rate = f.field(2).section(QLatin1Char(' '), 0, 0).toDouble();
    QVERIFY2(rate > 0 && rate < 12, qPrintable(f.field(2)));
}

void TestStreamDisplay::stream_goesAndReturns()
{
    Fixture f;
    QVERIFY(f.publish());
    QTRY_COMPARE(f.showing.size(), 1);
    f.vanish();
    QTRY_COMPARE(f.waiting.size(), 1);
    QCOMPARE(f.field(2), QStringLiteral("–"));
    QTRY_VERIFY(qGreen(f.view.picture().pixel(20, 300)) < 30);
    QVERIFY(f.publish());
    QTRY_COMPARE(f.showing.size(), 2);
    QVERIFY(alike(quartersOf(f.view.picture()), {200, 200, 200, 200}));
    QCOMPARE(f.waiting.size(), 1);
}

void TestStreamDisplay::reopened_showsTheStreamAnew()
{
    Fixture f;
    QVERIFY(f.publish());
    QTRY_COMPARE(f.showing.size(), 1);
    qint64 const shown = f.display.report().frames.shown;
    QSharedPointer<MediaSource> const source = f.display.source();
    f.display.reopen();
    QCOMPARE(f.waiting.size(), 1);
    QVERIFY(f.display.source() != source);
    QTRY_COMPARE(f.showing.size(), 2);
    // What was shown before goes on to count.
    QVERIFY(f.display.report().frames.shown > shown);
    QCOMPARE(f.waiting.size(), 1);
}

void TestStreamDisplay::movedBack_showsOlderFrames()
{
    Fixture f;
    QSignalSpy painted(&f.display, &StreamDisplay::framePainted);
    auto age = [&painted] {
        return painted.isEmpty() ? -1
                                 : painted.last()[1].toLongLong() - painted.last()[0].toLongLong();
    };
    QVERIFY(f.publish());
    QTRY_VERIFY(painted.size() >= 3);
    f.display.moveTo(wallClock() - 500'000);
    QTRY_VERIFY(age() > 350'000);
    f.display.moveTo(wallClock());
    QTRY_VERIFY(age() < 350'000);
}

void TestStreamDisplay::shownFrames_areNotHeld()
{
    Fixture f;
    QVERIFY(f.publish());
    QTRY_COMPARE(f.showing.size(), 1);
    // What is held at one time: the frame shown, and those on their way.
    int most = 0;
    QTRY_VERIFY((most = qMax(most, f.stream->pins()), f.display.report().frames.shown >= 10));
    QVERIFY2(most >= 1 && most <= 4, qPrintable(QString::number(most)));
    f.vanish();
}

QVORLIN_OPENGL_TEST_MAIN(TestStreamDisplay)
#include "tst_streamdisplay.moc"
