#include <om/platform/identity/ombrelid.h>

namespace om {
namespace platform {
namespace identity {

OmbrelId::OmbrelId(QObject *parent) : QObject(parent) {}
OmbrelId::~OmbrelId() = default;

QString OmbrelId::providerName()
{
    return QStringLiteral("ids:omb:omid");
}

QString OmbrelId::userNamePropertyKey()
{
    return QStringLiteral("urn:omid:username");
}

QString OmbrelId::screenNamePropertyKey()
{
    return QStringLiteral("urn:omid:screenname");
}

QString OmbrelId::firstNamePropertyKey()
{
    return QStringLiteral("urn:omid:firstname");
}

QString OmbrelId::lastNamePropertyKey()
{
    return QStringLiteral("urn:omid:lastname");
}

QString OmbrelId::uniqueIdPropertyKey()
{
    return QStringLiteral("urn:omid:uid");
}

QString OmbrelId::emailPropertyKey()
{
    return QStringLiteral("urn:omid:email");
}

} // namespace identity
} // namespace platform
} // namespace om
