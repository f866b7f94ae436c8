#include "imagepump.h"

#include <QCoreApplication>
#include <QSignalSpy>
#include <QTest>

#include "messagecheck.h"
#include "streamplace.h"
#include "teststream.h"

namespace {

/** A pump at 200 images a second of the stream named after the test. */
struct Fixture
{
    QSharedPointer<MediaSource> source =
        QSharedPointer<MediaSource>::create(QString::fromLatin1(QTest::currentTestFunction()));
    ImagePump pump{source, 200, 1};
    QSignalSpy images{&pump, &ImagePump::imageReady};

    QImage lastImage() const { return images.last().first().value<QImage>(); }
};

/** The same with a stream of one frame. */
struct StreamFixture : Fixture
{
    TestStream stream{QTest::currentTestFunction()};

    bool waitForImages()
    {
        if (!stream.isOpen() || !stream.publish())
            return false;
        pump.start();
        return QTest::qWaitFor([this] { return images.size() >= 5; });
    }
};

} // namespace

class TestImagePump : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void absentStream_givesNoImages();
    void stream_givesImagesOfItsOwnSize();
    void setImageSize_scalesFurtherImages();
    void fitImagesInto_keepsTheShapeOfTheFrames();

private:
    StreamPlace mPlace;
};

void TestImagePump::absentStream_givesNoImages()
{
    Fixture f;
    f.pump.start();
    QTest::qWait(100);
    QCOMPARE(f.images.size(), 0);
}

void TestImagePump::stream_givesImagesOfItsOwnSize()
{
    StreamFixture f;
    QVERIFY(f.waitForImages());
    QCOMPARE(f.lastImage().size(), QSize(TestStream::Width, TestStream::Height));
    QCOMPARE(f.lastImage().text(QStringLiteral("shmname")), f.source->name());
}

void TestImagePump::setImageSize_scalesFurtherImages()
{
    StreamFixture f;
    QVERIFY(f.waitForImages());
    // Neither the shape of the frames nor even sides are kept.
    f.pump.setImageSize(QSize(33, 55));
    QTRY_COMPARE(f.lastImage().size(), QSize(33, 55));
}

void TestImagePump::fitImagesInto_keepsTheShapeOfTheFrames()
{
    StreamFixture f;
    QVERIFY(f.waitForImages());
    f.pump.fitImagesInto(QSize(32, 55));
    QTRY_COMPARE(f.lastImage().size(), QSize(32, 18));
}

QVORLIN_TEST_MAIN(QCoreApplication, TestImagePump)
#include "tst_imagepump.moc"
