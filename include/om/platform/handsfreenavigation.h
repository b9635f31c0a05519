#ifndef OM_PLATFORM_HANDSFREENAVIGATION_H
#define OM_PLATFORM_HANDSFREENAVIGATION_H

#include <om/platform/omplatform_export.h>

#include <QDebug>
#include <QMetaType>
#include <QObject>

namespace om {
namespace platform {

/** Whether navigation runs hands-free (spoken guidance, no touch needed). */
class OMPLATFORM_EXPORT HandsFreeNavigation
{
    Q_GADGET
public:
    enum Type {
        Undefined = 0, ///< The maps application chooses.
        Enabled = 1,   ///< Hands-free.
        Disabled = 2,  ///< Not hands-free.
    };
    Q_ENUM(Type)

    HandsFreeNavigation();
    ~HandsFreeNavigation();
};

/** Writes "HandsFreeNavigation::<name>", then a blank in spacing mode; nothing at all for a
 *  value that has no name. */
OMPLATFORM_EXPORT QDebug operator<<(QDebug debug, const HandsFreeNavigation::Type &type);

} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::HandsFreeNavigation::Type)

#endif
