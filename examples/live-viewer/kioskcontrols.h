#ifndef KIOSKCONTROLS_H
#define KIOSKCONTROLS_H

#include <QObject>
#include <QTimer>

#include "clockoverlay.h"
#include "holdbutton.h"
#include "qrcard.h"

class QMouseEvent;
class VideoWindow;

/**
 * Makes a window the only one of its screen: it fills that, and has as overlays what a viewer away
 * from any keyboard needs. A clock, the stream's address as a QR code, and a button that is tapped
 * for the sound and held to hide the details, which are the line and the code. All of them, the
 * window's own overlays included, grow with the window.
 */
class KioskControls : public QObject
{
    Q_OBJECT

public:
    /** @param window must outlive them */
    KioskControls(VideoWindow& window, QString const& address);

    bool areDetailsShown() const { return mDetailsShown; }
    void setDetailsShown(bool shown);
    void setSymbol(HoldButton::Symbol symbol);
    void setDimmed(bool dimmed);

    ClockOverlay const& clock() const { return mClock; }
    QrCard const& card() const { return mCard; }
    HoldButton const& button() const { return mButton; }

    bool eventFilter(QObject* watched, QEvent* event) override;

Q_SIGNALS:
    /** The button was tapped. */
    void tapped();

private:
    void arrange();
    void repaintAtNextSecond();
    bool press(QMouseEvent const& event);
    void letGo(void (HoldButton::*end)());

    VideoWindow& mWindow;
    ClockOverlay mClock;
    QrCard mCard;
    HoldButton mButton;
    QTimer mSecondTimer;
    QTimer mRingTimer; // runs while the button is pressed
    bool mDetailsShown = true;
};

#endif
