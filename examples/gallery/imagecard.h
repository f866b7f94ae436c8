#ifndef IMAGECARD_H
#define IMAGECARD_H

#include <QImage>

#include "card.h"

class ImageWidget;

/** ImageWidget with live images. It is busy while there are none, and on demand. */
class ImageCard : public Card
{
    Q_OBJECT

public:
    explicit ImageCard(QWidget* parent);

    ImageWidget const& view() const { return *mView; }

    void showImage(QImage const& image);

    /** There is no stream. */
    void wait();

    /** Brings the figures up to date. */
    void refresh();

private:
    void toggleStretched();
    void toggleHeldBack();
    void tellState();

    ImageWidget* mView;
    QVector<Figure*> mFigures;
    bool mHeldBack = false; // busy because that is wanted
    bool mWaiting = true;
    qint64 mTimestamp = 0; // of the image shown
    qint64 mImages = 0;
};

#endif
