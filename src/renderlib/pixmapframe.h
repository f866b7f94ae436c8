#ifndef PIXMAPFRAME_H
#define PIXMAPFRAME_H

class QPainter;
class QRectF;
class QVideoFrame;

namespace renderlib {

/** Draws a frame whose handle is a pixmap, or can be made one; nothing if it can't. */
void drawPixmapFrame(
    QPainter* painter, QRectF const& target, QVideoFrame const& frame, QRectF const& source);

} // namespace renderlib

#endif
