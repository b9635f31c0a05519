#ifndef OM_PLATFORM_MAPVIEWMODE_H
#define OM_PLATFORM_MAPVIEWMODE_H

#include <om/platform/omplatform_export.h>

#include <QDebug>
#include <QMetaType>
#include <QObject>

namespace om {
namespace platform {

/** What the maps application shows. */
class OMPLATFORM_EXPORT MapViewMode
{
    Q_GADGET
public:
    enum Type {
        Map = 1,        ///< A map.
        Navigation = 2, ///< A route to follow.
        Satellite = 3,  ///< Satellite imagery.
    };
    Q_ENUM(Type)

    MapViewMode();
    ~MapViewMode();
};

/** Writes "MapViewMode::<name>", then a blank in spacing mode; nothing at all for a
 *  value that has no name. */
OMPLATFORM_EXPORT QDebug operator<<(QDebug debug, const MapViewMode::Type &type);

} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::MapViewMode::Type)

#endif
