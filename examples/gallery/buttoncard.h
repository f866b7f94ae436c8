#ifndef BUTTONCARD_H
#define BUTTONCARD_H

#include "card.h"

/** StateButton, and how often each of its signals came. */
class ButtonCard : public Card
{
    Q_OBJECT

public:
    explicit ButtonCard(QWidget* parent);

    /** How often it was tapped, held and clicked. */
    QVector<int> const& counts() const { return mCounts; }

private:
    void count(int signal, QString const& state);

    QVector<int> mCounts;
    QVector<Figure*> mFigures;
};

#endif
