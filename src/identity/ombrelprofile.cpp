#include <om/platform/identity/ombrelprofile.h>

namespace om {
namespace platform {
namespace identity {

OmbrelProfile::OmbrelProfile(QObject *parent) : QObject(parent) {}
OmbrelProfile::~OmbrelProfile() = default;

QString OmbrelProfile::providerName()
{
    return QStringLiteral("ids:omb:profile");
}

} // namespace identity
} // namespace platform
} // namespace om
