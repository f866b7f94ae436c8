#ifndef METEROVERLAY_H
#define METEROVERLAY_H

#include <QImage>

#include "fade.h"
#include "widgets/audiometerwidget.h"

/**
 * The levels of the sound that is heard, over the picture, on a dark ground with a scale. Hidden
 * as long as there is no sound.
 */
class MeterOverlay : public AudioMeterGLWidget
{
    Q_OBJECT

public:
    explicit MeterOverlay(renderlib::CustomVideoWidget* videoWidget);

    /** How many channels there are; 0: no sound. */
    void setSoundChannels(int channels);

    /** Places it at the lower edge of a picture of @p size. */
    void fitInto(QSize const& size);

    /** Makes everything so many times as large as usual. */
    void setScale(double scale);

    /** Lets it stand back, or come forth again. */
    void setDimmed(bool dimmed) { mFade.setDimmed(dimmed); }

    void paint(QPainter* painter) override;

private:
    int scaled(int pixels) const { return qRound(pixels * mScale); }
    QMargins surround() const;
    QImage makeGround() const;

    QSize mPictureSize;
    double mScale = 1;
    int mSoundChannels = 0;
    Fade mFade;
    QImage mGround; // null when it has to be made anew
};

#endif
