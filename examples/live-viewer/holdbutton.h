#ifndef HOLDBUTTON_H
#define HOLDBUTTON_H

#include <QElapsedTimer>
#include <QImage>
#include <QTimer>

#include "fade.h"
#include "renderlib/customsubwidget.h"

/**
 * A round button over the picture, with one meaning when it is tapped and another when it is held
 * for a second; a ring around it closes meanwhile. It is told of presses, as overlays get no
 * events.
 */
class HoldButton : public renderlib::CustomSubWidget
{
    Q_OBJECT

public:
    static constexpr int HoldMs = 1000;

    enum class Symbol
    {
        Details,
        Sound,
        Muted
    };

    explicit HoldButton(renderlib::CustomVideoWidget* videoWidget);

    void setSymbol(Symbol symbol);
    void setDimmed(bool dimmed) { mFade.setDimmed(dimmed); }

    /** Whether a finger at @p position of the video widget means the button. */
    bool isAt(QPoint const& position) const;

    /** Someone begins to press. */
    void press();

    /** The finger is lifted: a tap, unless it has been held or cancelled. */
    void release();

    /** The finger has moved away, which is neither a tap nor a hold. */
    void cancel();

    bool isPressed() const { return mHoldTimer.isActive(); }

    /** How much of the time to hold it has passed, 0 to 1; 0 while it is not pressed. */
    double progress() const;

    void paint(QPainter* painter) override;

Q_SIGNALS:
    void tapped();
    void held();

private:
    void paintFace(int step);

    Symbol mSymbol = Symbol::Details;
    QTimer mHoldTimer; // runs while it is pressed
    QElapsedTimer mPressed;
    QImage mFace;
    int mStep = -1; // of the ring that the face shows; -1: it has to be painted anew
    Fade mFade;
};

#endif
