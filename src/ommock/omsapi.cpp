#include <om/platform/ommock/omsapi.h>
#include <om/platform/ommock/omscoreimpl.h>
#include <om/platform/ommock/omsdeviceinfoimpl.h>
#include <om/platform/ommock/omsnavigatorimpl.h>

#include "ommock/omsapi_p.h"

#include <QMutexLocker>

namespace ommock {

OmsApi *omsApiInstance = nullptr;
QMutex omsApiInstanceMutex;

OmsApi::OmsApi(OmsCore &core, OmsDeviceInfo &deviceInfo, OmsNavigator &navigator)
    : core(core), deviceInfo(deviceInfo), navigator(navigator)
{
}

OmsApi::~OmsApi()
{
    delete &core;
    delete &deviceInfo;
    delete &navigator;
}

OmsApi *OmsApi::getInstance()
{
    QMutexLocker locker(&omsApiInstanceMutex);
    // The default instance lives as long as the process.
    if (!omsApiInstance)
        omsApiInstance =
            new OmsApi(*new OmsCoreImpl, *new OmsDeviceInfoImpl, *new OmsNavigatorImpl);
    return omsApiInstance;
}

void OmsApi::setInstance(OmsApi &api)
{
    QMutexLocker locker(&omsApiInstanceMutex);
    if (omsApiInstance)
        qFatal("OmsApi::setInstance: instance already exists");
    omsApiInstance = &api;
}

void OmsApi::unsetInstance(OmsApi &api)
{
    QMutexLocker locker(&omsApiInstanceMutex);
    if (omsApiInstance == &api)
        omsApiInstance = nullptr;
}

OmsEventProvider::~OmsEventProvider() = default;

int OmsEventProvider::stop_events(int flags)
{
    Q_UNUSED(flags)
    return 0;
}

} // namespace ommock
