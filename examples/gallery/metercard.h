#ifndef METERCARD_H
#define METERCARD_H

#include "card.h"
#include "utils/audio.h"

class LabelledMeter;

/** AudioMeterWidget in both directions and modes. */
class MeterCard : public Card
{
    Q_OBJECT

public:
    explicit MeterCard(QWidget* parent);

    QVector<LabelledMeter*> const& meters() const { return mMeters; }

    void setChannels(int channels);
    void showLevels(AudioLevels const& levels);

    void setScale(double scale) override;

private:
    void swapModes();
    void nextStrokes();
    void setStrokes();

    QVector<LabelledMeter*> mMeters;
    double mScale = 1;
    int mStrokes = 0; // index into the table
};

#endif
