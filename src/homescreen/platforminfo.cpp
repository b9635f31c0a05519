#include <om/platform/platforminfo.h>

#include "homescreen/platforminfo_p.h"

#include <om/platform/ommock/omsapi.h>

namespace om {
namespace platform {

QString PlatformInfoPrivate::osVersion()
{
    // "0.0.0.0" is how a caller tells that the version could not be read.
    QString result = QStringLiteral("0.0.0.0");
    ommock::OmsApi *api = ommock::OmsApi::getInstance();
    if (api->core.initialize() != 0)
        return result;
    deviceinfo_details_t *details = nullptr;
    if (api->deviceInfo.get_details(&details) == 0) {
        result = QString::fromLatin1(api->deviceInfo.details_get_device_os_version(details));
        api->deviceInfo.free_details(&details);
    }
    api->core.shutdown();
    return result;
}

PlatformInfo::PlatformInfo(QObject *parent) : QObject(parent), d_ptr(nullptr) {}

PlatformInfo::~PlatformInfo() = default;

QString PlatformInfo::osVersion() const
{
    return PlatformInfoPrivate::osVersion();
}

} // namespace platform
} // namespace om
