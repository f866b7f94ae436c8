#include "renderlib/customvideosurfacepainter.h"

namespace renderlib {

CustomVideoSurfacePainter::~CustomVideoSurfacePainter() = default;

void CustomVideoSurfacePainter::viewportDestroyed() {}

} // namespace renderlib
