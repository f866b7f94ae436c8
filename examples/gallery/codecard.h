#ifndef CODECARD_H
#define CODECARD_H

#include "card.h"

class CodeView;

/** A QR code of the time or of the stream's address. */
class CodeCard : public Card
{
    Q_OBJECT

public:
    CodeCard(QString const& address, QWidget* parent);

    CodeView const& code() const { return *mCode; }

    /** Brings the time up to date. */
    void refresh();

private:
    void toggleText();
    void nextLevel();

    QString const mAddress;
    CodeView* mCode;
    QVector<Figure*> mFigures;
    bool mTimeShown = true;
    int mLevel = 0; // index into the table
};

#endif
