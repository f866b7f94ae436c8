#ifndef STORECARD_H
#define STORECARD_H

#include <QStringList>

#include "card.h"

/** Values of the system information store, as any process of the machine writes them. */
class StoreCard : public Card
{
    Q_OBJECT

public:
    StoreCard(QStringList const& keys, QWidget* parent);

    /** In the order of the keys; a dash stands for one that is not there. */
    QStringList values() const;

    /** Reads the values again. */
    void refresh();

private:
    QStringList const mKeys;
    QVector<QLabel*> mValues;
};

#endif
