#include "picturecheck.h"

#include <algorithm>
#include <cstdlib>

#include <QDir>
#include <QRegularExpression>

namespace {

// Mesa's software rasteriser mixes texels with weights of 8 bits and rounds in between. OpenGL
// allows that, but the colour matrix makes up to 3 of 255 of it: too much to tell it from a fault.
bool const sampledPrecisely = qputenv("GALLIVM_PERF", "no_aos_sampling");

struct Differences
{
    int pixels = 0;
    int largest = 0;
    QPoint firstAt;
};

Differences compare(QImage const& one, QImage const& other, int tolerance)
{
    Differences differences;
    for (int y = 0; y < one.height(); ++y) {
        uchar const* left = one.constScanLine(y);
        uchar const* right = other.constScanLine(y);
        for (int x = 0; x < one.width(); ++x, left += 4, right += 4) {
            int largest = 0;
            for (int i = 0; i < 4; ++i)
                largest = std::max(largest, std::abs(left[i] - right[i]));
            if (largest <= tolerance)
                continue;
            if (differences.pixels++ == 0)
                differences.firstAt = QPoint(x, y);
            differences.largest = std::max(differences.largest, largest);
        }
    }
    return differences;
}

QString colourAt(QImage const& image, QPoint const& at)
{
    QColor const colour = image.pixelColor(at);
    return QStringLiteral("(%1, %2, %3, %4)")
        .arg(colour.red())
        .arg(colour.green())
        .arg(colour.blue())
        .arg(colour.alpha());
}

QString saved(QImage const& image, char const* what)
{
    QString name = QStringLiteral("%1 %2 %3.png")
                       .arg(QLatin1String(QTest::currentTestFunction()),
                           QLatin1String(QTest::currentDataTag()), QLatin1String(what));
    name.replace(QRegularExpression(QStringLiteral("[^A-Za-z0-9.]+")), QStringLiteral("-"));
    QString const path = QDir::current().absoluteFilePath(name);
    return image.save(path) ? path : QStringLiteral("(can't write %1)").arg(path);
}

} // namespace

QString pictureDifference(QImage const& actual, QImage const& wanted, int tolerance)
{
    QString text;
    if (actual.size() != wanted.size() || actual.format() != wanted.format()) {
        text = QStringLiteral("the picture is %1 x %2, not %3 x %4")
                   .arg(actual.width())
                   .arg(actual.height())
                   .arg(wanted.width())
                   .arg(wanted.height());
    } else {
        Differences const found = compare(actual, wanted, tolerance);
        if (found.pixels == 0)
            return QString();
        text = QStringLiteral("%1 pixels differ, by up to %2; the first at (%3, %4) is %5, not %6")
                   .arg(found.pixels)
                   .arg(found.largest)
                   .arg(found.firstAt.x())
                   .arg(found.firstAt.y())
                   .arg(colourAt(actual, found.firstAt), colourAt(wanted, found.firstAt));
    }
    return QStringLiteral("%1; see %2 and %3")
        .arg(text, saved(actual, "actual"), saved(wanted, "wanted"));
}

int differingPixels(QImage const& one, QImage const& other, int tolerance)
{
    return compare(one, other, tolerance).pixels;
}

QImage opaque(QImage image)
{
    for (int y = 0; y < image.height(); ++y) {
        uchar* line = image.scanLine(y);
        for (int x = 0; x < image.width(); ++x)
            line[4 * x + 3] = 255;
    }
    return image;
}
