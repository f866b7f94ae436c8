#include "storecard.h"

#include <QHBoxLayout>

#include "elidedlabel.h"
#include "system/sysinfovalue.h"

namespace {

QString const Missing = QStringLiteral("–");

constexpr int KeyShare = 4;
constexpr int ValueShare = 5;

} // namespace

StoreCard::StoreCard(QStringList const& keys, QWidget* parent)
    : Card("getSysinfoValue", parent)
    , mKeys(keys)
{
    for (QString const& key : keys) {
        auto* line = new QHBoxLayout;
        body().addLayout(line, 1);
        auto* name = new ElidedLabel("state", this);
        name->setText(key);
        line->addWidget(name, KeyShare);
        mValues.append(new ElidedLabel("value", this));
        mValues.last()->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        line->addWidget(mValues.last(), ValueShare);
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
