#include "storecard.h"

#include <QGridLayout>
#include <QLabel>

#include "gallerystyle.h"
#include "system/sysinfovalue.h"

using gallerystyle::makeLabel;

namespace {

QString const Missing = QStringLiteral("–");

} // namespace

StoreCard::StoreCard(QStringList const& keys, QWidget* parent)
    : Card("getSysinfoValue", parent)
    , mKeys(keys)
{
    auto* table = new QGridLayout;
    table->setColumnStretch(1, 1);
    body().addLayout(table, 1);
    for (int row = 0; row < keys.size(); ++row) {
        table->addWidget(makeLabel("state", keys[row], this), row, 0);
        mValues.append(makeLabel("value", QString(), this));
        mValues.last()->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        // A long one is cut off, and takes no room from others.
        mValues.last()->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
        table->addWidget(mValues.last(), row, 1);
    }
    refresh();
}

QStringList StoreCard::values() const
{
    QStringList result;
    for (QLabel const* value : mValues)
        result.append(value->text());
    return result;
}

void StoreCard::refresh()
{
    int present = 0;
    for (int row = 0; row < mKeys.size(); ++row) {
        // Values that a shell wrote end with a newline.
        QString const value = getSysinfoValue(mKeys[row], Missing).trimmed();
        mValues[row]->setText(value);
        present += value != Missing;
    }
    setState(QStringLiteral("%1 of %2 keys are there").arg(present).arg(mKeys.size()));
}
