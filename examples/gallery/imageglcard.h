#ifndef IMAGEGLCARD_H
#define IMAGEGLCARD_H

#include <QImage>

#include "card.h"

class ImageGLWidget;

/** ImageGLWidget with live images, and the rates that it measures. */
class ImageGLCard : public Card
{
    Q_OBJECT

public:
    explicit ImageGLCard(QWidget* parent);

    ImageGLWidget const& view() const { return *mView; }

    void showImage(QImage const& image);

    /** There is no stream. */
    void wait() { showImage(QImage()); }

    /** Brings the figures up to date. */
    void refresh();

private:
    void toggleStretched();
    void nextColour();
    void tellState();

    ImageGLWidget* mView;
    QVector<Figure*> mFigures;
    bool mWaiting = true;
    int mColour = 0; // index into the table
};

#endif
