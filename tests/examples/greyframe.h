#ifndef GREYFRAME_H
#define GREYFRAME_H

#include <array>

#include <QImage>
#include <QVideoFrame>

/** The greys of a picture's quarters: upper left, upper right, lower left, lower right. */
using Quarters = std::array<int, 4>;

/** A frame whose quarters have the greys of @p quarters, 0 to 255. */
QVideoFrame greyFrame(
    qint64 timestamp, Quarters const& quarters, QSize const& size = QSize(128, 72));

/** What the middles of the quarters of @p picture look like; -1 for what is no grey. */
Quarters quartersOf(QImage const& picture);

/** Whether they are the same but for rounding. */
bool alike(Quarters const& a, Quarters const& b);

#endif
