#include "renderlib/customvideowidget.h"

#include <chrono>
#include <cstring>
#include <memory>

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include "opengltest.h"
#include "shm_writer.h"
#include "utils/mediasource.h"
#include "videoscene.h"

namespace {

qint64 wallClock()
{
    using namespace std::chrono;
    return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
}

/** A stream of grey frames, each lighter than the one before, written by the test itself. */
class LiveStream
{
public:
    explicit LiveStream(QString const& name)
    {
        QByteArray const utf8 = name.toUtf8();
        shm_writer_config_t config;
        shm_writer_config_init(&config);
        config.name = utf8.constData();
        config.video_width = 128;
        config.video_height = 72;
        config.frame_rate_num = 100;
        config.frame_rate_den = 1;
        mWriter.reset(shm_writer_open(&config, nullptr, 0));
    }

    bool isOpen() const { return mWriter != nullptr; }

    /** Publishes a frame of this moment. @return its brightness, -1 when it had to be dropped */
    int publish()
    {
        shm_writer_frame_t frame;
        if (shm_writer_acquire_frame(mWriter.get(), &frame) != 0)
            return -1;
        mGrey = (mGrey + 5) % 256;
        for (int plane = 0; plane < 3; ++plane)
            std::memset(frame.plane[plane], plane == 0 ? mGrey : 128,
                size_t(frame.stride[plane]) * size_t(frame.lines[plane]));
        return shm_writer_commit_frame(mWriter.get(), &frame, wallClock()) == 0 ? mGrey : -1;
    }

    shm_writer_statistics_t statistics() const
    {
        shm_writer_statistics_t result = {};
        shm_writer_get_statistics(mWriter.get(), &result);
        return result;
    }
    unsigned pinnedSlots() const { return statistics().pinned_slots; }

private:
    struct Close
    {
        void operator()(shm_writer* writer) const { shm_writer_close(writer); }
    };

    std::unique_ptr<shm_writer, Close> mWriter;
    int mGrey = 0;
};

/** A stream, and a widget that shows it. */
struct LiveScene
{
    LiveScene()
    {
        video->widget.setAspectRatioMode(Qt::IgnoreAspectRatio);
        QObject::connect(&source, &MediaSource::videoReady, &video->widget,
            &renderlib::CustomVideoWidget::updateFrame);
    }

    bool show() { return stream.isOpen() && video->show(); }

    /** Publishes a frame, has it shown and waits for that. @return its brightness */
    int showNext()
    {
        int const grey = stream.publish();
        int const before = video->probe.paints;
        source.requestVideo();
        return QTest::qWaitFor([&] { return video->probe.paints > before; }) ? grey : -1;
    }

    QString const name = QString::fromLatin1(QTest::currentTestFunction());
    LiveStream stream{name};
    MediaSource source{name};
    std::unique_ptr<VideoScene> video = std::make_unique<VideoScene>();
};

} // namespace

class TestVideoWidgetLive : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stream_isShown();
    void playing_holdsAtMostTwoFrames();
    void droppedFrames_areReleasedAtOnce();
    void emptyFrame_releasesThePicture();
    void formatChange_releasesThePicture();
    void hidden_holdsOneFrame();
    void destroyed_releasesThePicture();
    void sourceGone_keepsThePicture();

private:
    // A place for streams that the test has for itself.
    QTemporaryDir mPlace{QStringLiteral("/dev/shm/qvorlin-test-XXXXXX")};
    bool const mPlaceIsUsed = qputenv("QVORLIN_SHM_DIR", mPlace.path().toLocal8Bit());
};

void TestVideoWidgetLive::stream_isShown()
{
    QVERIFY(mPlaceIsUsed);
    LiveScene s;
    QVERIFY(s.show());
    for (int i = 0; i < 20; ++i) {
        int const grey = s.showNext();
        QVERIFY(grey >= 0);
        QVERIFY2(qAbs(s.video->middle().red() - grey) <= 2, qPrintable(s.video->middle().name()));
        QVERIFY(qAbs(s.video->middle().blue() - grey) <= 2);
    }
    QCOMPARE(s.video->errors.size(), 0);
}

void TestVideoWidgetLive::playing_holdsAtMostTwoFrames()
{
    LiveScene s;
    QVERIFY(s.show());
    QTimer publisher;
    unsigned most = 0;
    connect(&publisher, &QTimer::timeout, this, [&] {
        s.stream.publish();
        s.source.requestVideo();
        most = qMax(most, s.stream.pinnedSlots());
    });
    publisher.start(10);
    QVERIFY(QTest::qWaitFor([&] { return s.video->probe.paints >= 100; }, 30000));
    publisher.stop();
    QVERIFY2(most >= 1 && most <= 2, qPrintable(QString::number(most)));
    QCOMPARE(s.stream.statistics().video_frames_dropped, quint64(0));
    letRepaint();
    QCOMPARE(s.stream.pinnedSlots(), 1u);
}

void TestVideoWidgetLive::droppedFrames_areReleasedAtOnce()
{
    LiveScene s;
    QVERIFY(s.show());
    QVERIFY(s.showNext() >= 0);
    for (int i = 0; i < 20; ++i) {
        QVERIFY(s.stream.publish() >= 0);
        s.source.requestVideo();
        // The new frame has taken the place of the one painted; none waits behind it.
        QCOMPARE(s.stream.pinnedSlots(), 1u);
    }
}

void TestVideoWidgetLive::emptyFrame_releasesThePicture()
{
    LiveScene s;
    QVERIFY(s.show());
    QVERIFY(s.showNext() >= 0);
    QCOMPARE(s.stream.pinnedSlots(), 1u);
    s.video->widget.updateFrame(QVideoFrame());
    QCOMPARE(s.stream.pinnedSlots(), 0u);
}

void TestVideoWidgetLive::formatChange_releasesThePicture()
{
    LiveScene s;
    QVERIFY(s.show());
    QVERIFY(s.showNext() >= 0);
    expectMessage(QtInfoMsg, QStringLiteral("Frame format changed, surface will be stopped"));
    s.video->widget.updateFrame(QVideoFrame(64, QSize(4, 4), 16, QVideoFrame::Format_RGB32));
    QCOMPARE(s.stream.pinnedSlots(), 0u);
}

void TestVideoWidgetLive::hidden_holdsOneFrame()
{
    LiveScene s;
    QVERIFY(s.show());
    QVERIFY(s.showNext() >= 0);
    s.video->widget.hide();
    letRepaint();
    for (int i = 0; i < 20; ++i) {
        QVERIFY(s.stream.publish() >= 0);
        s.source.requestVideo();
        QCOMPARE(s.stream.pinnedSlots(), 1u);
    }
}

void TestVideoWidgetLive::destroyed_releasesThePicture()
{
    LiveScene s;
    QVERIFY(s.show());
    QVERIFY(s.showNext() >= 0);
    QCOMPARE(s.stream.pinnedSlots(), 1u);
    s.video.reset();
    QCOMPARE(s.stream.pinnedSlots(), 0u);
}

void TestVideoWidgetLive::sourceGone_keepsThePicture()
{
    auto video = std::make_unique<VideoScene>();
    LiveStream stream(QStringLiteral("sourceGone"));
    int grey = -1;
    {
        MediaSource source(QStringLiteral("sourceGone"));
        connect(&source, &MediaSource::videoReady, &video->widget,
            &renderlib::CustomVideoWidget::updateFrame);
        QVERIFY(video->show());
        grey = stream.publish();
        source.requestVideo();
        QTRY_VERIFY(video->probe.paints > 0);
    }
    QCOMPARE(stream.pinnedSlots(), 1u);
    int const before = video->probe.paints;
    video->widget.update();
    QTRY_VERIFY(video->probe.paints > before);
    QVERIFY(qAbs(video->middle().green() - grey) <= 2);
    video.reset();
    QCOMPARE(stream.pinnedSlots(), 0u);
}

QVORLIN_OPENGL_TEST_MAIN(TestVideoWidgetLive)

#include "tst_videowidget_live.moc"
