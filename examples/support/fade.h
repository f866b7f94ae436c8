#ifndef FADE_H
#define FADE_H

#include <QElapsedTimer>

/** The opacity of what stands back. */
constexpr double DimmedOpacity = 0.25;

/** An opacity that changes smoothly; it is 1 at first. */
class Fade
{
public:
    /** Begins to change to @p opacity, 0 to 1. */
    void to(double opacity);

    /** The opacity at this moment. */
    double value() const;

private:
    double mFrom = 1;
    double mTo = 1;
    QElapsedTimer mTimer; // invalid: no change yet
};

#endif
