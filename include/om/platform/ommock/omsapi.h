#ifndef OMMOCK_OMSAPI_H
#define OMMOCK_OMSAPI_H

#include <om/platform/ommock/omscore.h>
#include <om/platform/ommock/omsdeviceinfo.h>
#include <om/platform/ommock/omsnavigator.h>
#include <om/platform/omplatform_export.h>

#include <QtGlobal>

namespace ommock {

/**
 * The library's access to the platform services: the core, device
 * information and the navigator. One instance serves the process. By
 * default it is made at first use and calls the platform; a replacement
 * layer puts its own in place with setInstance() before that, or after
 * unsetInstance(). Ask for the instance at each use and keep no pointer.
 */
class OMPLATFORM_EXPORT OmsApi
{
public:
    /** Takes ownership of the three objects, which must come from the heap. */
    OmsApi(OmsCore &core, OmsDeviceInfo &deviceInfo, OmsNavigator &navigator);
    /** Destroys core, then deviceInfo, then navigator. */
    virtual ~OmsApi();

    /** The current instance; makes the default one if there is none. Never null. */
    static OmsApi *getInstance();
    /**
     * Makes @p api the current instance; does not take ownership. If there is
     * an instance already, the default one included, the process ends with a
     * fatal error.
     */
    static void setInstance(OmsApi &api);
    /** If @p api is the current instance, there is none afterwards. @p api
     *  is not destroyed. */
    static void unsetInstance(OmsApi &api);

    OmsCore &core;
    OmsDeviceInfo &deviceInfo;
    OmsNavigator &navigator;

private:
    Q_DISABLE_COPY(OmsApi)
};

} // namespace ommock

#endif
