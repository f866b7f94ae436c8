#include "renderlib/customvideowidgetcontrolinterface.h"

namespace renderlib {

CustomVideoWidgetControlInterface::~CustomVideoWidgetControlInterface() = default;

} // namespace renderlib
