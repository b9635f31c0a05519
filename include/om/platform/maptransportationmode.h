#ifndef OM_PLATFORM_MAPTRANSPORTATIONMODE_H
#define OM_PLATFORM_MAPTRANSPORTATIONMODE_H

#include <om/platform/omplatform_export.h>

#include <QDebug>
#include <QMetaType>
#include <QObject>

namespace om {
namespace platform {

/** How the traveller moves. */
class OMPLATFORM_EXPORT MapTransportationMode
{
    Q_GADGET
public:
    enum Type {
        Undefined = 0,  ///< The maps application chooses.
        Car = 1,        ///< By car.
        Pedestrian = 2, ///< On foot.
    };
    Q_ENUM(Type)

    MapTransportationMode();
    ~MapTransportationMode();
};

/** Writes "MapTransportationMode::<name>", then a blank in spacing mode; nothing at all for a
 *  value that has no name. */
OMPLATFORM_EXPORT QDebug operator<<(QDebug debug, const MapTransportationMode::Type &type);

} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::MapTransportationMode::Type)

#endif
