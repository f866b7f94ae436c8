#include "renderlib/customvideowidgetbackend.h"

namespace renderlib {

CustomVideoWidgetBackend::CustomVideoWidgetBackend() = default;

CustomVideoWidgetBackend::~CustomVideoWidgetBackend() = default;

} // namespace renderlib
