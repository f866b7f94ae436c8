#include "opengltest.h"
#include "painterframes.h"
#include "paintrecord.h"

using Format = QVideoSurfaceFormat;

namespace {

/** A frame of one pixel stands for any other: geometry follows the started format alone. */
void showFrame(PaintRecord& record, Format format)
{
    QImage image(format.frameSize(), QImage::Format_RGB32);
    image.fill(Qt::white);
    record.show(format, image);
}

QVector<double> floats(std::initializer_list<double> values)
{
    QVector<double> result;
    for (double value : values)
        result.append(double(float(value)));
    return result;
}

/** The vertices of a rectangle given by its edges in normalised device coordinates. */
QVector<double> quad(double left, double lower, double right, double upper)
{
    return floats({left, lower, right, lower, left, upper, right, upper});
}

} // namespace

class GlslGeometryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void vertices_followAspectMode_data();
    void vertices_followAspectMode();
    void expanding_isFitting();
    void targetAwayFromOrigin_isCentredFromOrigin();
    void viewport_isTruncatedTarget();
    void coordinates_followDirection_data();
    void coordinates_followDirection();
    void mirroring_keepsQuadInPlace();
    void positionMatrix_holdsScaleOfTarget();
};

void GlslGeometryTest::vertices_followAspectMode_data()
{
    QTest::addColumn<QSize>("frame");
    QTest::addColumn<Qt::AspectRatioMode>("mode");
    QTest::addColumn<QSizeF>("target");
    QTest::addColumn<QVector<double>>("expected");

    struct
    {
        char const* name;
        QSize frame;
        QSizeF target;
        QVector<double> fitted;
    } const rows[] = {
        {"16:9 in 16:9", {16, 9}, {32, 18}, quad(-1, -1, 1, 1)},
        // 640 / 1.777... = 360, so that 60 lines stay free above and below.
        {"16:9 in 4:3", {16, 9}, {640, 480}, quad(-1, 2. * 60 / 480 - 1, 1, 2. * 420 / 480 - 1)},
        {"4:3 in 16:9", {4, 3}, {640, 360}, quad(2. * 80 / 640 - 1, -1, 2. * 560 / 640 - 1, 1)},
        // 100 / 3 = 33.3 lines become 33, and half of the 67 others is not rounded.
        {"rounded down", {3, 1}, {100, 100}, quad(-1, 2 * 33.5 / 100 - 1, 1, 2 * 66.5 / 100 - 1)},
        // 2 / 3 of 100 columns become 67.
        {"rounded up", {2, 3}, {100, 100}, quad(2 * 16.5 / 100 - 1, -1, 2 * 83.5 / 100 - 1, 1)},
        {"fractions", {1, 1}, {10, 4.5}, quad(2 * 2.5 / 10 - 1, -1, 2 * 7.5 / 10 - 1, 1)},
    };
    for (auto const& row : rows) {
        QTest::addRow("%s, kept", row.name)
            << row.frame << Qt::KeepAspectRatio << row.target << row.fitted;
        QTest::addRow("%s, expanding", row.name)
            << row.frame << Qt::KeepAspectRatioByExpanding << row.target << row.fitted;
        QTest::addRow("%s, ignored", row.name)
            << row.frame << Qt::IgnoreAspectRatio << row.target << quad(-1, -1, 1, 1);
    }
}

void GlslGeometryTest::vertices_followAspectMode()
{
    QFETCH(QSize, frame);
    QFETCH(Qt::AspectRatioMode, mode);
    QFETCH(QSizeF, target);
    PaintRecord record;
    record.painter.setAspectRatioMode(mode);
    showFrame(record, surfaceFormat(QVideoFrame::Format_RGB32, frame));
    record.paint({QPointF(0, 0), target}, {QPointF(0, 0), frame});
    QCOMPARE(record.error, QAbstractVideoSurface::NoError);
    QTEST(record.positions(), "expected");
    QCOMPARE(record.coordinates(), floats({0, 1, 1, 1, 0, 0, 1, 0}));
}

void GlslGeometryTest::expanding_isFitting()
{
    QVector<QImage> pictures;
    for (auto mode : {Qt::KeepAspectRatio, Qt::KeepAspectRatioByExpanding}) {
        PaintRecord record({16, 12});
        record.painter.setAspectRatioMode(mode);
        record.painter.setBackgroundColor(Qt::red);
        showFrame(record, surfaceFormat(QVideoFrame::Format_RGB32, {16, 8}));
        record.paint({0, 0, 16, 12}, {0, 0, 16, 8});
        pictures.append(record.scene.picture());
    }
    QCOMPARE(pictures[1], pictures[0]);
    for (int x : {0, 15}) {
        QCOMPARE(pictures[0].pixelColor(x, 1), QColor(Qt::red));
        QCOMPARE(pictures[0].pixelColor(x, 2), QColor(Qt::white));
        QCOMPARE(pictures[0].pixelColor(x, 9), QColor(Qt::white));
        QCOMPARE(pictures[0].pixelColor(x, 10), QColor(Qt::red));
    }
}

void GlslGeometryTest::targetAwayFromOrigin_isCentredFromOrigin()
{
    PaintRecord record;
    showFrame(record, surfaceFormat(QVideoFrame::Format_RGB32, {16, 8}));
    record.paint({4, 6, 32, 32}, {0, 0, 16, 8});
    // 16 lines of 32, from line 8; the columns from the target's own first one.
    QCOMPARE(record.positions(),
        quad(2. * 4 / 32 - 1, 2. * 8 / 32 - 1, 2. * 36 / 32 - 1, 2. * 24 / 32 - 1));

    PaintRecord tall;
    showFrame(tall, surfaceFormat(QVideoFrame::Format_RGB32, {8, 16}));
    tall.paint({4, 6, 32, 32}, {0, 0, 8, 16});
    QCOMPARE(tall.positions(),
        quad(2. * 8 / 32 - 1, 2. * 6 / 32 - 1, 2. * 24 / 32 - 1, 2. * 38 / 32 - 1));

    PaintRecord ignoring;
    ignoring.painter.setAspectRatioMode(Qt::IgnoreAspectRatio);
    showFrame(ignoring, surfaceFormat(QVideoFrame::Format_RGB32, {8, 16}));
    ignoring.paint({4, 6, 32, 32}, {0, 0, 8, 16});
    QCOMPARE(ignoring.positions(),
        quad(2. * 4 / 32 - 1, 2. * 6 / 32 - 1, 2. * 36 / 32 - 1, 2. * 38 / 32 - 1));
}

void GlslGeometryTest::viewport_isTruncatedTarget()
{
    PaintRecord record;
    showFrame(record, surfaceFormat(QVideoFrame::Format_RGB32, {8, 8}));
    record.paint({1.9, 2.9, 4.9, 3.9}, {0, 0, 8, 8});
    QCOMPARE(only(record.calls, {"glViewport"}), GlCalls{glCall("glViewport", 1, 2, 4, 3)});
    record.paint({-1.9, 0, 8, 8}, {0, 0, 8, 8});
    QCOMPARE(only(record.calls, {"glViewport"}), GlCalls{glCall("glViewport", -1, 0, 8, 8)});
}

void GlslGeometryTest::coordinates_followDirection_data()
{
    QTest::addColumn<Format::Direction>("direction");
    QTest::addColumn<bool>("mirrored");
    QTest::addColumn<QVector<double>>("expected");

    // The source is (2, 1) to (12, 7) of 16 x 8 pixels.
    double const left = 2. / 16;
    double const right = 12. / 16;
    double const top = 1. / 8;
    double const bottom = 7. / 8;
    QTest::newRow("upright") << Format::TopToBottom << false << quad(left, bottom, right, top);
    QTest::newRow("mirrored") << Format::TopToBottom << true << quad(right, bottom, left, top);
    QTest::newRow("bottom to top")
        << Format::BottomToTop << false << quad(left, top, right, bottom);
    QTest::newRow("both") << Format::BottomToTop << true << quad(right, top, left, bottom);
}

void GlslGeometryTest::coordinates_followDirection()
{
    QFETCH(Format::Direction, direction);
    QFETCH(bool, mirrored);
    Format format = surfaceFormat(QVideoFrame::Format_RGB32, {16, 8});
    format.setScanLineDirection(direction);
    format.setProperty("mirrored", mirrored);
    PaintRecord record;
    showFrame(record, format);
    record.paint({0, 0, 8, 8}, {2, 1, 10, 6});
    QTEST(record.coordinates(), "expected");
}

void GlslGeometryTest::mirroring_keepsQuadInPlace()
{
    QVector<QVector<double>> quads;
    QImage image(8, 4, QImage::Format_RGB32);
    image.fill(Qt::blue);
    for (int y = 0; y < 4; ++y)
        image.setPixelColor(0, y, Qt::green);
    for (bool mirrored : {false, true}) {
        Format format = surfaceFormat(QVideoFrame::Format_RGB32, {8, 4});
        format.setProperty("mirrored", mirrored);
        PaintRecord record;
        record.show(format, image);
        record.paint({0, 0, 8, 8}, {0, 0, 8, 4});
        quads.append(record.positions());
        QImage const picture = record.scene.picture();
        QCOMPARE(picture.pixelColor(0, 4), QColor(mirrored ? Qt::blue : Qt::green));
        QCOMPARE(picture.pixelColor(7, 4), QColor(mirrored ? Qt::green : Qt::blue));
        QCOMPARE(picture.pixelColor(0, 1), QColor(Qt::black));
    }
    QCOMPARE(quads[1], quads[0]);
}

void GlslGeometryTest::positionMatrix_holdsScaleOfTarget()
{
    // The shader declares the matrix without using it, so that drivers leave it out.
    glrecorder::keepUniform("positionMatrix");
    PaintRecord record;
    showFrame(record, surfaceFormat(QVideoFrame::Format_RGB32, {8, 8}));
    record.paint({0, 0, 640, 360}, {0, 0, 8, 8});
    double const x = 2. / 640;
    double const y = 2. / 360;
    QCOMPARE(
        record.uniform("positionMatrix"), floats({x, 0, 0, 0, 0, y, 0, 0, 0, 0, x, 0, 0, 0, 0, y}));
}

QVORLIN_OPENGL_TEST_MAIN(GlslGeometryTest)
#include "tst_glslgeometry.moc"
