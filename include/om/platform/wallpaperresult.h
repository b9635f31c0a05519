#ifndef OM_PLATFORM_WALLPAPERRESULT_H
#define OM_PLATFORM_WALLPAPERRESULT_H

#include <om/platform/omplatform_export.h>

#include <QObject>

namespace om {
namespace platform {

/** The outcome of HomeScreen::setWallpaper(). */
class OMPLATFORM_EXPORT WallpaperResult
{
    Q_GADGET
public:
    enum Type {
        Changed = 0, ///< The navigator took the new wallpaper.
        Locked = 1,  ///< The navigator refused it, for whatever reason.
    };
    Q_ENUM(Type)

private:
    WallpaperResult() = delete;
};

} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::WallpaperResult::Type)

#endif
