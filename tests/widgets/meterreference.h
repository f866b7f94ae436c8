#ifndef METERREFERENCE_H
#define METERREFERENCE_H

#include <QImage>
#include <QVector>

class AudioMeterPainter;
class QRandomGenerator;

/** Everything that a meter's picture depends on, its size aside. */
struct MeterSettings
{
    QVector<float> levels;
    Qt::Orientation orientation = Qt::Horizontal;
    int spacing = 2;
    int strokeWidth = 1;
    int strokeSpacing = 3;
};

/** Any settings and levels, often right at a threshold, that leave bars room in @p size. */
MeterSettings randomSettings(QRandomGenerator& random, QSize const& size);

/** Has @p painter paint that. */
void applySettings(MeterSettings const& settings, AudioMeterPainter& painter);

/**
 * The picture of a meter as large as @p background and over it, found for each pixel on its own.
 * Strokes have a width of at least 1 and an advance, bars a thickness.
 */
QImage meterReference(QImage const& background, MeterSettings const& settings);

/** The stored picture of this name, as RGBA8888. A null image when there is none. */
QImage storedPicture(char const* name);

#endif
