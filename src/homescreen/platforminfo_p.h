#ifndef OM_PLATFORM_PLATFORMINFO_P_H
#define OM_PLATFORM_PLATFORMINFO_P_H

#include <QString>

namespace om {
namespace platform {

// PlatformInfo keeps nothing; its one operation needs no instance.
class PlatformInfoPrivate
{
public:
    static QString osVersion();
};

} // namespace platform
} // namespace om

#endif
