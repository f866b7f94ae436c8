#ifndef STATUSLINE_H
#define STATUSLINE_H

#include <optional>

#include <QWidget>

#include "streamobserver.h"

class QHBoxLayout;
class QLabel;

/** The line below the picture: the stream's name and state, and the measured display rate. */
class StatusLine : public QWidget
{
    Q_OBJECT

public:
    explicit StatusLine(QString const& streamName, QWidget* parent = nullptr);

    void setState(StreamState const& state);

    /** New frames shown per second. */
    void setDisplayRate(double rate);

    /** How far the picture is ahead of the sound; nothing: there is no sound. */
    void setAudioVideoOffset(std::optional<double> milliseconds);

    /** What else is to be said; empty: nothing. */
    void setNote(QString const& note);

private:
    QLabel* addField(QHBoxLayout* layout, QString const& caption);

    StreamState mState;
    QLabel* mLamp;
    QLabel* mNote;
    QLabel* mSize;
    QLabel* mRate;
    QLabel* mDisplayRate;
    QLabel* mOffset;
};

#endif
