#ifndef LABELLEDMETER_H
#define LABELLEDMETER_H

#include <QWidget>

#include "widgets/audiometerwidget.h"

/** An AudioMeterWidget with the name of what it shows, and a scale along its bars. */
class LabelledMeter : public QWidget
{
    Q_OBJECT

public:
    LabelledMeter(Qt::Orientation orientation, AudioMeterMode mode, QWidget* parent);

    AudioMeterWidget& meter() { return *mMeter; }
    AudioMeterWidget const& meter() const { return *mMeter; }

    void setMode(AudioMeterMode mode);

    /** Makes the writing so many times as large as usual. */
    void setScale(double scale);

protected:
    void resizeEvent(QResizeEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    int scaled(int pixels) const { return qRound(pixels * mScale); }
    void placeMeter();

    AudioMeterWidget* mMeter;
    double mScale = 1;
};

#endif
