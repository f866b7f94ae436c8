#ifndef GALLERYHEADER_H
#define GALLERYHEADER_H

#include <QAudioFormat>
#include <QWidget>

#include "streamobserver.h"

class Figure;
class QLabel;

/** The line at the upper edge: which stream is on show, and what it consists of. */
class GalleryHeader : public QWidget
{
    Q_OBJECT

public:
    GalleryHeader(QString const& streamName, QWidget* parent);

    /** Brings the figures up to date. @param sound its format; invalid: there is none */
    void refresh(StreamState const& state, QAudioFormat const& sound);

    /** Makes everything so many times as large as usual. */
    void setScale(double scale);

    QStringList values() const;

private:
    QString const mStreamName;
    bool mPresent = false;
    QLabel* mLamp;
    QLabel* mName;
    QVector<Figure*> mFigures;
};

#endif
