#ifndef VIDEOCARD_H
#define VIDEOCARD_H

#include "card.h"
#include "videometer.h"

class VideoView;

/** CustomVideoWidget with overlays: the stream's line and wheel, and an AudioMeterGLWidget. */
class VideoCard : public Card
{
    Q_OBJECT

public:
    VideoCard(QString const& streamName, QWidget* parent);

    VideoView& view() { return *mView; }
    VideoView const& view() const { return *mView; }
    VideoMeter& meter() { return mMeter; }

    void setScale(double scale) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void placeMeter();
    void toggleMirrored();
    void toggleZoomed();
    void tellState();

    VideoView* mView;
    VideoMeter mMeter;
    double mScale = 1;
};

#endif
