#ifndef CLOCKOVERLAY_H
#define CLOCKOVERLAY_H

#include <QImage>
#include <QTime>

#include "fade.h"
#include "renderlib/customsubwidget.h"

/** The time of day over the picture, on a dark ground of the overlay's size. */
class ClockOverlay : public renderlib::CustomSubWidget
{
    Q_OBJECT

public:
    explicit ClockOverlay(renderlib::CustomVideoWidget* videoWidget);

    /** "07:05:09". */
    static QString text(QTime const& time);

    /** The size that a ground of this height should have. */
    static QSize sizeForHeight(int height);

    void setDimmed(bool dimmed) { mFade.setDimmed(dimmed); }

    void paint(QPainter* painter) override;

private:
    void paintFace(QString const& text);

    int mSecond = -1; // of the day, that the face shows
    QImage mFace;
    Fade mFade;
};

#endif
