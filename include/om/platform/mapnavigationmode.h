#ifndef OM_PLATFORM_MAPNAVIGATIONMODE_H
#define OM_PLATFORM_MAPNAVIGATIONMODE_H

#include <om/platform/omplatform_export.h>

#include <QDebug>
#include <QMetaType>
#include <QObject>

namespace om {
namespace platform {

/** Which route navigation prefers. */
class OMPLATFORM_EXPORT MapNavigationMode
{
    Q_GADGET
public:
    enum Type {
        Undefined = 0,     ///< The maps application chooses.
        FastestRoute = 1,  ///< The quickest route.
        ShortestRoute = 2, ///< The shortest route.
    };
    Q_ENUM(Type)

    MapNavigationMode();
    ~MapNavigationMode();
};

/** Writes "MapNavigationMode::<name>", then a blank in spacing mode; nothing at all for a
 *  value that has no name. */
OMPLATFORM_EXPORT QDebug operator<<(QDebug debug, const MapNavigationMode::Type &type);

} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::MapNavigationMode::Type)

#endif
