#include "deviceproperties/devicepropertiesservice.h"

#include "oms/devicepropertiesprotocol_p.h"

#include <QRandomGenerator>

namespace omdevice {

namespace {

namespace protocol = om::devicepropertiesprotocol;

const QString settingPrefix = QStringLiteral("deviceproperties.");

struct Property
{
    QString name;
    const char *fallback; // null: made once for the device and kept
};

const Property properties[] = {
    {protocol::keyOsVersion(), "3.1.2.1017"},    {protocol::keyOs(), "OM OS"},
    {protocol::keyDeviceName(), "OM Simulator"}, {protocol::keyModelName(), "Simulator"},
    {protocol::keyModelNumber(), "SIM-100"},     {protocol::keyHardwareId(), "0x0e0f0001"},
    {protocol::keySerialNumber(), nullptr},
};

QString madeSerialNumber()
{
    return QString::number(QRandomGenerator::global()->bounded(100000000, 999999999));
}

} // namespace

DevicePropertiesService::DevicePropertiesService(const DeviceContext &context, QObject *parent)
    : ServiceModule(parent), m_context(context),
      m_store(context.dataDirectory, QStringLiteral("deviceproperties")),
      m_publisher(new StatePublisher(protocol::path(), 0644, this))
{
}

bool DevicePropertiesService::start(QString *error)
{
    const QVariantMap saved = m_store.load();
    QVariantMap values;
    for (const Property &property : properties) {
        const QString &name = property.name;
        QString value = saved.value(name).toString();
        if (!saved.contains(name))
            value = property.fallback ? QString::fromLatin1(property.fallback) : madeSerialNumber();
        values.insert(name, value);
    }
    for (auto it = m_context.settings.cbegin(); it != m_context.settings.cend(); ++it) {
        if (!it.key().startsWith(settingPrefix))
            continue;
        const QString name = it.key().mid(settingPrefix.size());
        if (!values.contains(name)) {
            *error = QStringLiteral("unknown setting %1; the properties are %2")
                         .arg(it.key(), QStringList(values.keys()).join(QLatin1String(", ")));
            return false;
        }
        values.insert(name, it.value());
    }
    if (values != saved && !m_store.save(values, error))
        return false;
    if (!m_publisher->open(error))
        return false;
    if (!m_publisher->publish(values)) {
        *error = QStringLiteral("%1: cannot publish the device properties").arg(protocol::path());
        return false;
    }
    return true;
}

OM_DEVICE_MODULE(DevicePropertiesService, "deviceproperties",
                 "device properties: OS version, device name, model, hardware id, serial number",
                 "deviceproperties.osVersion=TEXT     the OS version (default 3.1.2.1017)\n"
                 "deviceproperties.os=TEXT            the OS name\n"
                 "deviceproperties.deviceName=TEXT    the device's name\n"
                 "deviceproperties.modelName=TEXT     the model's name\n"
                 "deviceproperties.modelNumber=TEXT   the model's number\n"
                 "deviceproperties.hardwareId=TEXT    the hardware id\n"
                 "deviceproperties.serialNumber=TEXT  the serial number (default: made once)");

} // namespace omdevice
