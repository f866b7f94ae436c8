#include <set>

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include "messagecheck.h"
#include "picture.h"
#include "picturecheck.h"
#include "reference.h"

using Format = QVideoSurfaceFormat;
using Space = Format::YCbCrColorSpace;

namespace {

/** A picture whose texels are all the same. */
Picture uniform(QVideoFrame::PixelFormat format, std::vector<QByteArray> const& texels)
{
    Picture picture = makePicture(format, QSize(8, 8));
    for (size_t i = 0; i < picture.planes.size(); ++i) {
        Plane& plane = picture.planes[i];
        plane.texels = texels[i].repeated(plane.width * plane.height);
    }
    return picture;
}

QByteArray bytes(std::initializer_list<int> values)
{
    QByteArray result;
    for (int const value : values)
        result.append(char(value));
    return result;
}

QImage grey(QSize const& size, int value)
{
    QImage image(size, QImage::Format_RGBA8888);
    image.fill(QColor(value, value, value));
    return image;
}

} // namespace

/** What the other tests rely on, against numbers worked out by hand. */
class PictureReference : public QObject
{
    Q_OBJECT

private slots:
    void planesOfOddFrame_haveTextureSizes();
    void pictures_haveNoTwoEqualCorners_data();
    void pictures_haveNoTwoEqualCorners();
    void linearSampling_mixesNeighboursAndContinuesEdges();
    void yuv_isConvertedByMatrix_data();
    void yuv_isConvertedByMatrix();
    void wideFrame_isFittedFromLowerLeft();
    void softwareSampling_takesNearestTexel();
    void differenceOfTwo_isTolerated();
    void differenceOfThree_isReportedAndSaved();
    void differenceInSize_isReported();
};

void PictureReference::planesOfOddFrame_haveTextureSizes()
{
    Picture const planar = makePicture(QVideoFrame::Format_YUV420P, QSize(642, 361));
    QCOMPARE(planar.planes.size(), size_t(3));
    QCOMPARE(QSize(planar.planes[0].width, planar.planes[0].height), QSize(644, 361));
    QCOMPARE(QSize(planar.planes[1].width, planar.planes[1].height), QSize(324, 180));
    QCOMPARE(QSize(planar.planes[2].width, planar.planes[2].height), QSize(324, 180));
    Picture const semiPlanar = makePicture(QVideoFrame::Format_NV12, QSize(642, 361));
    QCOMPARE(semiPlanar.planes.size(), size_t(2));
    QCOMPARE(semiPlanar.planes[1].channels, 2);
    QCOMPARE(semiPlanar.planes[1].texels.size(), 324 * 180 * 2);
}

void PictureReference::pictures_haveNoTwoEqualCorners_data()
{
    QTest::addColumn<QVideoFrame::PixelFormat>("format");
    QTest::newRow("RGB32") << QVideoFrame::Format_RGB32;
    QTest::newRow("ARGB32") << QVideoFrame::Format_ARGB32;
    QTest::newRow("YUV420P") << QVideoFrame::Format_YUV420P;
    QTest::newRow("NV12") << QVideoFrame::Format_NV12;
}

void PictureReference::pictures_haveNoTwoEqualCorners()
{
    QFETCH(QVideoFrame::PixelFormat, format);
    QSize const size(64, 48);
    Picture const picture = makePicture(format, size);
    QImage const image = shaderReference(wholeScene(size, picture), picture);
    std::set<QRgb> const corners = {
        image.pixel(0, 0), image.pixel(63, 0), image.pixel(0, 47), image.pixel(63, 47)};
    QCOMPARE(corners.size(), size_t(4));
}

void PictureReference::linearSampling_mixesNeighboursAndContinuesEdges()
{
    Plane const plane = {2, 1, 4, bytes({0, 0, 0, 255, 255, 255, 255, 255})};
    Picture const picture = {
        QVideoFrame::Format_RGB32, QAbstractVideoBuffer::NoHandle, QSize(2, 1), {plane}};
    Scene scene = wholeScene(QSize(4, 1), picture);
    scene.aspectRatioMode = Qt::IgnoreAspectRatio;
    QImage const image = shaderReference(scene, picture);
    QCOMPARE(image.pixelColor(0, 0), QColor(0, 0, 0));
    QCOMPARE(image.pixelColor(1, 0), QColor(64, 64, 64));
    QCOMPARE(image.pixelColor(2, 0), QColor(191, 191, 191));
    QCOMPARE(image.pixelColor(3, 0), QColor(255, 255, 255));
}

void PictureReference::yuv_isConvertedByMatrix_data()
{
    QTest::addColumn<QByteArray>("yuv");
    QTest::addColumn<Space>("space");
    QTest::addColumn<QColor>("wanted");
    QTest::newRow("full range, white")
        << bytes({255, 128, 128}) << Format::YCbCr_JPEG << QColor(255, 254, 255);
    QTest::newRow("full range, red")
        << bytes({76, 85, 255}) << Format::YCbCr_JPEG << QColor(255, 0, 1);
    QTest::newRow("BT.601, grey") << bytes({126, 128, 128}) << Format::YCbCr_BT601
                                  << QColor(129, 127, 129);
    QTest::newRow("BT.709, blue") << bytes({32, 240, 118}) << Format::YCbCr_BT709
                                  << QColor(103, 0, 255);
}

void PictureReference::yuv_isConvertedByMatrix()
{
    QFETCH(QByteArray, yuv);
    QFETCH(Space, space);
    QFETCH(QColor, wanted);
    Picture const planar =
        uniform(QVideoFrame::Format_YUV420P, {yuv.mid(0, 1), yuv.mid(1, 1), yuv.mid(2, 1)});
    Scene scene = wholeScene(QSize(8, 8), planar);
    scene.colorSpace = space;
    QCOMPARE(shaderReference(scene, planar).pixelColor(3, 5), wanted);
    Picture const semiPlanar = uniform(QVideoFrame::Format_NV12, {yuv.mid(0, 1), yuv.mid(1, 2)});
    QCOMPARE(shaderReference(scene, semiPlanar).pixelColor(3, 5), wanted);
}

void PictureReference::wideFrame_isFittedFromLowerLeft()
{
    Picture const picture = uniform(QVideoFrame::Format_RGB32, {bytes({9, 8, 7, 0})});
    Scene scene = wholeScene(QSize(40, 30), picture);
    scene.target = QRectF(0, 0, 20, 10);
    QImage const image = shaderReference(scene, picture);
    QColor const video(7, 8, 9);
    for (int y = 0; y < 30; ++y) {
        for (int x = 0; x < 40; ++x) {
            bool const inside = x >= 5 && x < 15 && y >= 20;
            QCOMPARE(image.pixelColor(x, y), inside ? video : QColor(Qt::black));
        }
    }
}

void PictureReference::softwareSampling_takesNearestTexel()
{
    Plane const plane = {2, 1, 4, bytes({0, 0, 0, 255, 250, 240, 230, 51})};
    Picture const picture = {
        QVideoFrame::Format_ARGB32, QAbstractVideoBuffer::NoHandle, QSize(2, 1), {plane}};
    Scene scene = wholeScene(QSize(4, 1), picture);
    scene.background = QColor(100, 50, 0);
    QImage const image = softwareReference(scene, picture);
    QCOMPARE(image.pixelColor(1, 0), QColor(0, 0, 0));
    // A fifth of the frame, four of the background.
    QCOMPARE(image.pixelColor(2, 0), QColor(126, 88, 50));
}

void PictureReference::differenceOfTwo_isTolerated()
{
    QVERIFY(pictureDifference(grey({4, 4}, 100), grey({4, 4}, 102)).isEmpty());
    QVERIFY(pictureDifference(grey({4, 4}, 102), grey({4, 4}, 100)).isEmpty());
}

void PictureReference::differenceOfThree_isReportedAndSaved()
{
    QTemporaryDir const folder;
    QString const before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(folder.path()));
    QImage actual = grey({4, 4}, 100);
    actual.setPixelColor(3, 2, QColor(100, 100, 103));
    QString const text = pictureDifference(actual, grey({4, 4}, 100));
    QVERIFY(QDir::setCurrent(before));
    QVERIFY2(text.startsWith(QLatin1String("1 pixels differ, by up to 3; the first at (3, 2) is "
                                           "(100, 100, 103, 255), not (100, 100, 100, 255)")),
        qPrintable(text));
    QString const file =
        folder.filePath(QStringLiteral("differenceOfThree-isReportedAndSaved-actual.png"));
    QVERIFY2(text.contains(file), qPrintable(text));
    QCOMPARE(QImage(file).convertToFormat(QImage::Format_RGBA8888), actual);
}

void PictureReference::differenceInSize_isReported()
{
    QTemporaryDir const folder;
    QString const before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(folder.path()));
    QString const text = pictureDifference(grey({4, 4}, 100), grey({4, 5}, 100));
    QVERIFY(QDir::setCurrent(before));
    QVERIFY2(text.startsWith(QLatin1String("the picture is 4 x 4, not 4 x 5")), qPrintable(text));
}

QVORLIN_TEST_MAIN(QCoreApplication, PictureReference)

#include "tst_picturereference.moc"
