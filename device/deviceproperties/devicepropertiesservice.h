#ifndef OMDEVICE_DEVICEPROPERTIESSERVICE_H
#define OMDEVICE_DEVICEPROPERTIESSERVICE_H

#include "common/datastore.h"
#include "common/servicemodule.h"
#include "common/statepublisher.h"

namespace omdevice {

/**
 * Publishes the device's properties (OS version, name, model, hardware id,
 * serial number) on the device properties object. Each can be set with
 * --set deviceproperties.<name>=<value>; what was set stays for later
 * starts.
 */
class DevicePropertiesService : public ServiceModule
{
    Q_OBJECT
public:
    DevicePropertiesService(const DeviceContext &context, QObject *parent);
    bool start(QString *error) override;

private:
    DeviceContext m_context;
    DataStore m_store;
    StatePublisher *m_publisher;
};

} // namespace omdevice

#endif
