#include "buttoncard.h"

#include <QVBoxLayout>
#include <QVariant>

#include "figure.h"
#include "widgets/statebutton.h"

ButtonCard::ButtonCard(QWidget* parent)
    : Card("StateButton", parent)
    , mCounts(3)
{
    auto* button = new StateButton(this);
    button->setProperty("role", QStringLiteral("large"));
    button->setText(QStringLiteral("Tap or hold"));
    button->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Expanding);
    body().addWidget(button, 1);
    mFigures = addFigures({"TAPS", "HOLDS", "CLICKS"});
    for (Figure* figure : mFigures)
        figure->setValue(QString::number(0));
    connect(button, &StateButton::pressed, this, [this] { setState(QStringLiteral("pressed")); });
    connect(button, &StateButton::tapRelease, this, [this] { count(0, QStringLiteral("tapped")); });
    connect(button, &StateButton::tapAndHold, this, [this] { count(1, QStringLiteral("held")); });
    connect(button, &StateButton::clicked, this, [this] { count(2, state()); });
    setState(QStringLiteral("not touched yet"));
}

void ButtonCard::count(int signal, QString const& state)
{
    mFigures[signal]->setValue(QString::number(++mCounts[signal]));
    setState(state);
}
