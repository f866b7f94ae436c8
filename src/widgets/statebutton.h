#ifndef STATEBUTTON_H
#define STATEBUTTON_H

#include <QPushButton>

#include "qvorlinexport.h"

class QTimer;

/**
 * A push button for touch screens that tells a short tap from a press held for a second.
 *
 * All else is as for QPushButton: a tap and a long press both end with clicked() when the button is
 * released over itself.
 *
 * Thread-bound to the GUI thread.
 *
 * @code
 * auto* record = new StateButton(panel);
 * connect(record, &StateButton::tapRelease, recorder, &Recorder::pause);
 * connect(record, &StateButton::tapAndHold, recorder, &Recorder::stop);
 * @endcode
 */
class QVORLIN_EXPORT StateButton : public QPushButton
{
    Q_OBJECT

public:
    explicit StateButton(QWidget* parent = nullptr);

Q_SIGNALS:
    /** The button has been held for a second, and still is. */
    void tapAndHold();

    /** The button was released before that, over itself or beside. */
    void tapRelease();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private Q_SLOTS:
    void onLongPress();

private:
    QTimer* mLongPressTimer;
    bool mPressed = false;
};

#endif
