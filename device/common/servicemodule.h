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

/**
 * One setting a module reads, given to omdeviced as --set key=value. omdeviced
 * refuses a key that no module declares, and a value that check() refuses,
 * before any module starts.
 */
struct Setting
{
    QString key;
    /** The value's form in the help, such as "N" or "on|off". */
    QString valueName;
    /** What it sets, for omdeviced --help. */
    QString help;
    /** Empty if @p value is acceptable, else the valid values in words
     *  ("a whole number from 1 to 100000"). Null: every value is. */
    std::function<QString(const QString &value)> check;

    /** A whole number from @p min to @p max. */
    static std::function<QString(const QString &)> wholeNumber(qint64 min, qint64 max);
    /** A file mode as an octal number, 0 to 0777. */
    static std::function<QString(const QString &)> fileMode();
    /** A comma-separated list of names, at least one. */
    static std::function<QString(const QString &)> nameList();
    /** Text that is not empty. */
    static std::function<QString(const QString &)> text();
};

/**
 * The settings of a module. Made from a list of Setting, or from help text
 * of "key=VALUE  meaning" lines (further lines of a meaning indented), whose
 * keys are then declared with any value.
 */
class ModuleSettings
{
public:
    ModuleSettings(std::initializer_list<Setting> settings) : m_settings(settings) {}
    ModuleSettings(const char *help);

    const QList<Setting> &list() const { return m_settings; }

private:
    QList<Setting> m_settings;
};

struct ModuleInfo
{
    QString name;
    QString description;
    /** The settings the module reads. */
    QList<Setting> settings;
    std::function<ServiceModule *(const DeviceContext &, QObject *)> create;
    /** Off unless asked for: named in --services, turned on with
     *  --<name>, or given a setting "<name>.<key>". */
    bool optional = false;
};

/** The setting @p key of any registered module, or null. */
const Setting *findSetting(const QString &key);

/** Why --set @p key=@p value is refused, in one line; empty if it is accepted. */
QString checkSetting(const QString &key, const QString &value);

/** The modules of omdeviced; all() gives them sorted by name. */
using ModuleRegistry = Registry<ModuleInfo>;
using ModuleRegistrar = ModuleRegistry::Registrar;

} // namespace omdevice

/**
 * Registers a module class with omdeviced. The class has a constructor
 * (const DeviceContext &, QObject *parent). The last argument declares its
 * settings: a list of Setting, or "key=VALUE  meaning" lines.
 */
#define OM_DEVICE_MODULE(Class, name, description, ...)                                 \
    static const omdevice::ModuleRegistrar Class##Registrar(omdevice::ModuleInfo{      \
        QStringLiteral(name), QStringLiteral(description),                              \
        omdevice::ModuleSettings(__VA_ARGS__).list(),                                   \
        [](const omdevice::DeviceContext &context, QObject *parent) -> omdevice::ServiceModule * { \
            return new Class(context, parent);                                          \
        }})

/** Registers a module that runs only when asked for (see ModuleInfo); its
 *  settings as with OM_DEVICE_MODULE. */
#define OM_DEVICE_OPTIONAL_MODULE(Class, name, description, ...)                        \
    static const omdevice::ModuleRegistrar Class##Registrar(omdevice::ModuleInfo{      \
        QStringLiteral(name), QStringLiteral(description),                              \
        omdevice::ModuleSettings(__VA_ARGS__).list(),                                   \
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
