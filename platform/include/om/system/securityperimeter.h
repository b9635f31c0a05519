#ifndef OM_SYSTEM_SECURITYPERIMETER_H
#define OM_SYSTEM_SECURITYPERIMETER_H

#include <om/omsys_export.h>

#include <QObject>

namespace om {
namespace system {

/** The perimeter in which an invocation's target runs. */
class OMSYS_EXPORT SecurityPerimeter
{
    Q_GADGET
public:
    enum Type {
        Default = 0,    ///< The perimeter of the sender.
        Personal = 1,   ///< The personal perimeter.
        Enterprise = 2, ///< The enterprise perimeter.
    };
    Q_ENUM(Type)

private:
    SecurityPerimeter() = delete;
};

} // namespace system
} // namespace om

#endif
