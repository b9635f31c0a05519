#ifndef OM_PLATFORM_MAPSEARCHMODE_H
#define OM_PLATFORM_MAPSEARCHMODE_H

#include <om/platform/omplatform_export.h>

#include <QDebug>
#include <QMetaType>
#include <QObject>

namespace om {
namespace platform {

/** Where a search looks: around a point or along a path. */
class OMPLATFORM_EXPORT MapSearchMode
{
    Q_GADGET
public:
    enum Type {
        Radial = 1, ///< Around the search centre.
        Path = 2,   ///< Along the route.
    };
    Q_ENUM(Type)

    MapSearchMode();
    ~MapSearchMode();
};

/** Writes "MapSearchMode::<name>", then a blank in spacing mode; nothing at all for a
 *  value that has no name. */
OMPLATFORM_EXPORT QDebug operator<<(QDebug debug, const MapSearchMode::Type &type);

} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::MapSearchMode::Type)

#endif
