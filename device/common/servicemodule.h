#ifndef OMDEVICE_SERVICEMODULE_H
#define OMDEVICE_SERVICEMODULE_H

#include "common/registry.h"

#include <QLoggingCategory>
#include <QMap>
#include <QObject>
#include <QString>

#include <functional>

namespace omdevice {

/** What omdeviced tells every module when it makes it. */
struct DeviceContext
{
    /** Where modules keep what must survive a restart (OM_DEVICE_DATA). */
    QString dataDirectory;
    /** Settings given with --set key=value, for a module to read. */
    QMap<QString, QString> settings;

    QString setting(const QString &key, const QString &fallback = QString()) const
    {
        return settings.value(key, fallback);
    }
};

/** One service of the device: a server or publisher on its bus objects. */
class ServiceModule : public QObject
{
    Q_OBJECT
public:
    explicit ServiceModule(QObject *parent = nullptr) : QObject(parent) {}

    /** Opens the module's objects. On failure says why in *error. */
    virtual bool start(QString *error) = 0;
};

struct ModuleInfo
{
    QString name;
    QString description;
    /** Settings the module reads, one "key=value  meaning" line each. */
    QString settingsHelp;
    std::function<ServiceModule *(const DeviceContext &, QObject *)> create;
    /** Off unless asked for: named in --services, turned on with
     *  --<name>, or given a setting "<name>.<key>". */
    bool optional = false;
};

/** The modules of omdeviced; all() gives them sorted by name. */
using ModuleRegistry = Registry<ModuleInfo>;
using ModuleRegistrar = ModuleRegistry::Registrar;

} // namespace omdevice

/**
 * Registers a module class with omdeviced. The class has a constructor
 * (const DeviceContext &, QObject *parent).
 */
#define OM_DEVICE_MODULE(Class, name, description, settingsHelp)                       \
    static const omdevice::ModuleRegistrar Class##Registrar(omdevice::ModuleInfo{      \
        QStringLiteral(name), QStringLiteral(description), QStringLiteral(settingsHelp), \
        [](const omdevice::DeviceContext &context, QObject *parent) -> omdevice::ServiceModule * { \
            return new Class(context, parent);                                          \
        }})

/** Registers a module that runs only when asked for (see ModuleInfo). */
#define OM_DEVICE_OPTIONAL_MODULE(Class, name, description, settingsHelp)              \
    static const omdevice::ModuleRegistrar Class##Registrar(omdevice::ModuleInfo{      \
        QStringLiteral(name), QStringLiteral(description), QStringLiteral(settingsHelp), \
        [](const omdevice::DeviceContext &context, QObject *parent) -> omdevice::ServiceModule * { \
            return new Class(context, parent);                                          \
        },                                                                              \
        true})

/**
 * Defines the logging category of a part of the device, "om.device.<name>".
 * Debug messages are off unless omdeviced runs with --verbose (or
 * QT_LOGGING_RULES turns them on).
 */
#define OM_DEVICE_LOGGING_CATEGORY(variable, name)                                                 \
    Q_LOGGING_CATEGORY(variable, "om.device." name, QtInfoMsg)

#endif
