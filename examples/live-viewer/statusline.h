#ifndef STATUSLINE_H
#define STATUSLINE_H

#include <QWidget>

class QHBoxLayout;
class QLabel;
struct StreamState;

/** The line below the picture: the stream's name and state, and the measured display rate. */
class StatusLine : public QWidget
{
    Q_OBJECT

public:
    explicit StatusLine(QString const& streamName, QWidget* parent = nullptr);

    void setState(StreamState const& state);

    /** New frames shown per second. */
    void setDisplayRate(double rate);

private:
    QLabel* addField(QHBoxLayout* layout, QString const& caption);

    bool mPresent = false;
    QLabel* mLamp;
    QLabel* mSize;
    QLabel* mRate;
    QLabel* mDisplayRate;
};

#endif
