#ifndef FADE_H
#define FADE_H

#include <QElapsedTimer>

/** The opacity of what stands back. */
constexpr double DimmedOpacity = 0.25;

/** The opacity of something that is shown, stands back or is hidden; it changes smoothly. */
class Fade
{
public:
    /** Lets it stand back, or come forth again. */
    void setDimmed(bool dimmed);

    /** Hides it, or shows it again; it is shown at first. */
    void setShown(bool shown);

    bool isShown() const { return mShown; }

    /** The opacity at this moment, 0 to 1. */
    double value() const;

private:
    void change();

    bool mDimmed = false;
    bool mShown = true;
    double mFrom = 1;
    double mTo = 1;
    QElapsedTimer mTimer; // invalid: no change yet
};

#endif
