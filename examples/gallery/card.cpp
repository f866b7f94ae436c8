#include "card.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVariant>

#include "elidedlabel.h"
#include "figure.h"
#include "gallerystyle.h"
#include "widgets/statebutton.h"

using gallerystyle::makeLabel;

namespace {

constexpr int Margin = 12;
constexpr int Gap = 8;

} // namespace

Card::Card(char const* name, QWidget* parent)
    : QFrame(parent)
    , mBody(new QVBoxLayout(this))
    , mState(new ElidedLabel("state", this))
{
    // The window's layout alone decides how large it is, never what it shows.
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Ignored);
    // As high as a button, in cards without one as well.
    auto* top = new QWidget(this);
    top->setProperty("role", QStringLiteral("top"));
    mBody->addWidget(top);
    mTop = new QHBoxLayout(top);
    mTop->setContentsMargins(0, 0, 0, 0);
    auto* title = new QVBoxLayout;
    title->setSpacing(2);
    title->addStretch();
    title->addWidget(makeLabel("title", QString::fromLatin1(name), this));
    title->addWidget(mState);
    title->addStretch();
    mTop->addLayout(title, 1);
}

QString Card::state() const
{
    return mState->text();
}

void Card::setScale(double scale)
{
    int const margin = qRound(Margin * scale);
    mBody->setContentsMargins(margin, margin, margin, margin);
    mBody->setSpacing(qRound(Gap * scale));
}

void Card::setState(QString const& state)
{
    mState->setText(state);
}

void Card::addButton(Action const& tap, Action const& hold)
{
    auto* button = new StateButton(this);
    button->setText(
        QStringLiteral("%1\nhold: %2").arg(QLatin1String(tap.name), QLatin1String(hold.name)));
    connect(button, &StateButton::tapRelease, this, tap.act);
    connect(button, &StateButton::tapAndHold, this, hold.act);
    mTop->addWidget(button);
}

QVector<Figure*> Card::addFigures(std::initializer_list<char const*> captions)
{
    QVector<Figure*> figures;
    auto* line = new QHBoxLayout;
    mBody->addLayout(line);
    for (char const* caption : captions) {
        figures.append(new Figure(caption, this));
        line->addWidget(figures.last(), 1);
    }
    return figures;
}
