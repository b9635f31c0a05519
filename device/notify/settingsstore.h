#ifndef OMDEVICE_SETTINGSSTORE_H
#define OMDEVICE_SETTINGSSTORE_H

#include "common/datastore.h"

#include <QMap>
#include <QStringList>
#include <QVariantMap>

namespace omdevice {

/**
 * The notification settings of the device: the global ones, and those of
 * each application, kept across restarts.
 *
 * An application's setting comes from the first of three layers that has
 * it: what the user chose, what the application registered as its default,
 * the factory value. Values are kept in their wire form: policies as "on"
 * or "off", the volume as a number, everything else as text.
 */
class NotificationSettingsStore
{
public:
    enum class Source { Factory, Registered, User };

    explicit NotificationSettingsStore(const QString &dataDirectory);

    static QStringList globalKeys();
    static QStringList applicationKeys();

    /** Checks @p value for the global setting @p key and gives its stored
     *  form; false with a reason if the key or the value is bad. */
    static bool normalizeGlobal(const QString &key, const QVariant &value, QVariant *normalized,
                                QString *error);
    /** The same for a setting of an application. */
    static bool normalizeApplication(const QString &key, const QVariant &value,
                                     QVariant *normalized, QString *error);

    QVariantMap global() const { return m_global; }
    /** Changes global settings, all of them or none if one is bad. */
    bool setGlobal(const QVariantMap &changes, bool *changed, QString *error);

    /** The applications known to the device, by package name. */
    QStringList applications() const { return m_applications.keys(); }
    /** The settings in effect for @p name (the factory values for an
     *  application the device does not know). */
    QVariantMap application(const QString &name) const;
    Source source(const QString &name, const QString &key) const;
    /** Makes @p name known, so that the user sees it among the applications. */
    void remember(const QString &name);
    /** Replaces the defaults that @p name registered; all or nothing. */
    bool registerDefaults(const QString &name, const QVariantMap &defaults, bool *changed,
                          QString *error);
    /** The user's choice for settings of @p name; all or nothing. */
    bool setApplication(const QString &name, const QVariantMap &changes, bool *changed,
                        QString *error);

    static QString sourceName(Source source);

private:
    struct Application
    {
        QVariantMap registered;
        QVariantMap user;
    };

    static QVariantMap factoryGlobal();
    static QVariantMap factoryApplication();
    /** Checks every entry of @p values; the normalized map, or false. */
    static bool normalizeAll(const QVariantMap &values, bool global, QVariantMap *normalized,
                             QString *error);

    void load();
    /** Takes in what the store holds; false with a reason if it makes no sense. */
    bool load(const QVariantMap &data, QString *reason);
    bool saveApplication(const QString &name, const Application &app, QString *error);

    DataStore m_store;
    QVariantMap m_global;
    QMap<QString, Application> m_applications;
};

} // namespace omdevice

#endif
