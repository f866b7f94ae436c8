#include "figure.h"

#include <QLabel>
#include <QVBoxLayout>

#include "gallerystyle.h"

using gallerystyle::makeLabel;

Figure::Figure(char const* caption, QWidget* parent)
    : QWidget(parent)
    , mValue(makeLabel("value", QString(), this))
{
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(2);
    column->addWidget(makeLabel("caption", QString::fromLatin1(caption), this));
    column->addWidget(mValue);
    // Changing digits must not move what stands beside them.
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    setValue(QString());
}

void Figure::setValue(QString const& value)
{
    mValue->setText(value.isEmpty() ? QStringLiteral("–") : value);
}

QString Figure::value() const
{
    return mValue->text();
}
