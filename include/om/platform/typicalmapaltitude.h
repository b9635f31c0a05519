#ifndef OM_PLATFORM_TYPICALMAPALTITUDE_H
#define OM_PLATFORM_TYPICALMAPALTITUDE_H

#include <om/platform/omplatform_export.h>

#include <QMetaType>
#include <QObject>

namespace om {
namespace platform {

/**
 * Camera altitudes, in metres above the ground, that show typical extents
 * on a phone's screen; for MapInvoker::setAltitude(). The library itself
 * uses none of them.
 */
class OMPLATFORM_EXPORT TypicalMapAltitude
{
    Q_GADGET
public:
    enum Type {
        Building = 200,          ///< A building and its neighbours.
        Street = 1000,           ///< A few streets.
        Neighbourhood = 3000,    ///< A district.
        City = 15000,            ///< A whole city.
        Region = 100000,         ///< A region or a small country.
        Country = 1000000,       ///< A large country.
        Continent = 6000000,     ///< A continent.
    };
    Q_ENUM(Type)

    TypicalMapAltitude();
    ~TypicalMapAltitude();
};

} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::TypicalMapAltitude::Type)

#endif
