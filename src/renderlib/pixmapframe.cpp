#include "renderlib/pixmapframe.h"

#include <QPainter>
#include <QPixmap>
#include <QVideoFrame>

namespace renderlib {

void drawPixmapFrame(
    QPainter* painter, QRectF const& target, QVideoFrame const& frame, QRectF const& source)
{
    painter->drawPixmap(target, frame.handle().value<QPixmap>(), source);
}

} // namespace renderlib
