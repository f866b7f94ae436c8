#include "widgets/statebutton.h"

#include <QTimer>

namespace {

constexpr int LongPressMs = 1000;

} // namespace

StateButton::StateButton(QWidget* parent)
    : QPushButton(parent)
    , mLongPressTimer(new QTimer(this))
{
    mLongPressTimer->setSingleShot(true);
    // A coarse timer may be early, and make a long press of a tap.
    mLongPressTimer->setTimerType(Qt::PreciseTimer);
    connect(mLongPressTimer, SIGNAL(timeout()), SLOT(onLongPress()));
}

void StateButton::mousePressEvent(QMouseEvent* event)
{
    mLongPressTimer->start(LongPressMs);
    mPressed = true;
    QAbstractButton::mousePressEvent(event);
}

void StateButton::mouseReleaseEvent(QMouseEvent* event)
{
    mLongPressTimer->stop();
    // Only a long press clears it: a release that comes alone, its press having gone elsewhere,
    // is a tap as well.
    if (mPressed)
        Q_EMIT tapRelease();
    QAbstractButton::mouseReleaseEvent(event);
}

void StateButton::onLongPress()
{
    mPressed = false;
    Q_EMIT tapAndHold();
}
