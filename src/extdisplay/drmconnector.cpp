#include "extdisplay/drmconnector.h"

#include <iterator>

namespace drm {

// By connector type. Several types share a name, so the type id alone tells such connectors apart,
// and not always: DVI-I 1 and DVI-D 1 are both DVI1.
static constexpr char const* typeNames[] = {"None", "VGA", "DVI", "DVI", "DVI", "Composite", "TV",
    "LVDS", "CTV", "DIN", "DP", "HDMI", "HDMI", "TV", "eDP"};
static_assert(std::size(typeNames) == DRM_MODE_CONNECTOR_eDP + 1);

static QByteArray nameForConnector(drmModeConnector* connector)
{
    uint32_t const type = connector->connector_type;
    QByteArray const typeName = type < std::size(typeNames) ? typeNames[type] : "UNKNOWN";
    return typeName + QByteArray::number(connector->connector_type_id);
}

Connector::Connector(drmModeConnector* description)
    : connector(description)
    , name(QString::fromLatin1(nameForConnector(description)))
{}

Connector::~Connector()
{
    drmModeFreeConnector(connector);
}

} // namespace drm
