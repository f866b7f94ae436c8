#ifndef PICTURECHECK_H
#define PICTURECHECK_H

#include <QImage>
#include <QString>
#include <QTest>

/**
 * Empty when no channel of any pixel is more than @p tolerance of 255 off. Otherwise how many are,
 * and where; both pictures are then in the working folder, in files that are named as well.
 */
QString pictureDifference(QImage const& actual, QImage const& wanted, int tolerance = 2);

/** How many pixels have a channel that is more than @p tolerance of 255 off. */
int differingPixels(QImage const& one, QImage const& other, int tolerance = 2);

/** The RGBA8888 @p image without its alpha, where that says nothing. */
QImage opaque(QImage image);

/** Fails the test function unless the two pictures are the same but for rounding. */
#define COMPARE_PICTURES(actual, wanted)                                                           \
    do {                                                                                           \
        QString const difference = pictureDifference(actual, wanted);                              \
        QVERIFY2(difference.isEmpty(), qPrintable(difference));                                    \
    } while (false)

#endif
