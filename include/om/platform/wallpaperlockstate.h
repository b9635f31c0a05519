#ifndef OM_PLATFORM_WALLPAPERLOCKSTATE_H
#define OM_PLATFORM_WALLPAPERLOCKSTATE_H

#include <om/platform/omplatform_export.h>

#include <QObject>

namespace om {
namespace platform {

/** Whether the device lets applications change the wallpaper. */
class OMPLATFORM_EXPORT WallpaperLockState
{
    Q_GADGET
public:
    enum Type {
        Unknown = 0,  ///< The device has not said.
        Locked = 1,   ///< The wallpaper cannot be changed.
        Unlocked = 2, ///< The wallpaper can be changed.
    };
    Q_ENUM(Type)

private:
    WallpaperLockState() = delete;
};

} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::WallpaperLockState::Type)

#endif
