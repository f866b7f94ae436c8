#ifndef VIDEOMETER_H
#define VIDEOMETER_H

#include <QImage>

#include "widgets/audiometerwidget.h"

/** An AudioMeterGLWidget at the right edge of the video, on a dark ground; hidden without sound. */
class VideoMeter : public AudioMeterGLWidget
{
    Q_OBJECT

public:
    explicit VideoMeter(renderlib::CustomVideoWidget* videoWidget);

    /** How many channels there are; 0: no sound. */
    void setSoundChannels(int channels);

    /** Stands at the right of @p room, everything @p scale times as large as usual. */
    void fitInto(QRect const& room, double scale);

    void paint(QPainter* painter) override;

private:
    int scaled(int pixels) const { return qRound(pixels * mScale); }

    QRect mRoom;
    double mScale = 1;
    int mSoundChannels = 0;
    QImage mGround;
};

#endif
