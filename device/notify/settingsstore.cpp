#include "notify/settingsstore.h"

#include "notify/notifyservice.h"

#include <QDebug>
#include <QUrl>

#include <cmath>

namespace omdevice {

namespace {

const QString Sound = QStringLiteral("sound");
const QString Vibrate = QStringLiteral("vibrate");
const QString Led = QStringLiteral("led");
const QString Preview = QStringLiteral("preview");
const QString Volume = QStringLiteral("volume");
const QString Mode = QStringLiteral("mode");
const QString Alerts = QStringLiteral("alerts");
const QString VibrateCount = QStringLiteral("vib_count");
const QString Tone = QStringLiteral("tone");

const QString On = QStringLiteral("on");
const QString Off = QStringLiteral("off");

// The keys of the saved file.
const QString GlobalKey = QStringLiteral("global");
const QString ApplicationsKey = QStringLiteral("applications");
const QString RegisteredKey = QStringLiteral("registered");
const QString UserKey = QStringLiteral("user");

QString quoted(const QVariant &value)
{
    return QLatin1Char('\'') + value.toString() + QLatin1Char('\'');
}

// "on" and "true" are on, "off" and "false" off, as the service's readers
// understand them; a JSON boolean is taken too.
bool policy(const QVariant &value, const QStringList &extra, QVariant *normalized)
{
    if (value.userType() == QMetaType::Bool) {
        *normalized = value.toBool() ? On : Off;
        return true;
    }
    if (value.userType() != QMetaType::QString)
        return false;
    const QString text = value.toString();
    if (text == On || text == QLatin1String("true"))
        *normalized = On;
    else if (text == Off || text == QLatin1String("false"))
        *normalized = Off;
    else if (extra.contains(text))
        *normalized = text;
    else
        return false;
    return true;
}

// A whole number from a number or from decimal text.
bool wholeNumber(const QVariant &value, int *number)
{
    if (value.userType() == QMetaType::QString) {
        bool ok = false;
        *number = value.toString().trimmed().toInt(&ok, 10);
        return ok;
    }
    if (value.userType() == QMetaType::Bool || !value.canConvert<double>())
        return false;
    bool ok = false;
    const double d = value.toDouble(&ok);
    if (!ok || !std::isfinite(d) || d != std::floor(d) || std::fabs(d) > 1e9)
        return false;
    *number = int(d);
    return true;
}

} // namespace

NotificationSettingsStore::NotificationSettingsStore(const QString &dataDirectory)
    : m_store(dataDirectory, QStringLiteral("notify-settings")), m_global(factoryGlobal())
{
    load();
}

QStringList NotificationSettingsStore::globalKeys()
{
    return {Sound, Vibrate, Led, Preview, Volume, Mode};
}

QStringList NotificationSettingsStore::applicationKeys()
{
    return {Alerts, Sound, Vibrate, Led, Preview, VibrateCount, Tone};
}

QVariantMap NotificationSettingsStore::factoryGlobal()
{
    return {{Sound, On},   {Vibrate, On}, {Led, On},
            {Preview, On}, {Volume, 80},  {Mode, QStringLiteral("normal")}};
}

QVariantMap NotificationSettingsStore::factoryApplication()
{
    return {{Alerts, On},
            {Sound, On},
            {Vibrate, On},
            {Led, On},
            {Preview, On},
            {VibrateCount, QStringLiteral("1")},
            {Tone, QStringLiteral("file:///usr/share/sounds/omdevice/notification.wav")}};
}

bool NotificationSettingsStore::normalizeGlobal(const QString &key, const QVariant &value,
                                                QVariant *normalized, QString *error)
{
    if (key == Sound || key == Vibrate || key == Led || key == Preview) {
        if (policy(value, QStringList(), normalized))
            return true;
        *error = QStringLiteral("%1 must be on or off, not %2").arg(key, quoted(value));
        return false;
    }
    if (key == Volume) {
        int number = -1;
        if (wholeNumber(value, &number) && number >= 0 && number <= 100) {
            *normalized = number;
            return true;
        }
        *error = QStringLiteral("volume must be a whole number from 0 to 100, not %1")
                     .arg(quoted(value));
        return false;
    }
    if (key == Mode) {
        static const QStringList modes = {QStringLiteral("silent"), QStringLiteral("vibrate"),
                                          QStringLiteral("normal"), QStringLiteral("phoneonly"),
                                          QStringLiteral("alertsoff")};
        if (value.userType() == QMetaType::QString && modes.contains(value.toString())) {
            *normalized = value.toString();
            return true;
        }
        *error = QStringLiteral("mode must be one of %1, not %2")
                     .arg(modes.join(QLatin1String(", ")), quoted(value));
        return false;
    }
    *error = QStringLiteral("unknown global setting '%1' (one of %2)")
                 .arg(key, globalKeys().join(QLatin1String(", ")));
    return false;
}

bool NotificationSettingsStore::normalizeApplication(const QString &key, const QVariant &value,
                                                     QVariant *normalized, QString *error)
{
    if (key == Alerts || key == Sound || key == Vibrate || key == Led) {
        if (policy(value, QStringList(), normalized))
            return true;
        *error = QStringLiteral("%1 must be on or off, not %2").arg(key, quoted(value));
        return false;
    }
    if (key == Preview) {
        if (policy(value, {QStringLiteral("disabled"), QStringLiteral("priority")}, normalized))
            return true;
        *error = QStringLiteral("preview must be on, off, disabled or priority, not %1")
                     .arg(quoted(value));
        return false;
    }
    if (key == VibrateCount) {
        int number = 0;
        if (wholeNumber(value, &number) && number >= 1 && number <= 5) {
            *normalized = QString::number(number);
            return true;
        }
        *error = QStringLiteral("vib_count must be a whole number from 1 to 5, not %1")
                     .arg(quoted(value));
        return false;
    }
    if (key == Tone) {
        const QUrl url(value.toString(), QUrl::StrictMode);
        if (value.userType() == QMetaType::QString && url.isValid() && url.isLocalFile() &&
            !url.path().isEmpty()) {
            *normalized = QString::fromUtf8(url.toEncoded());
            return true;
        }
        *error = QStringLiteral("tone must be a file URL, not %1").arg(quoted(value));
        return false;
    }
    *error = QStringLiteral("unknown application setting '%1' (one of %2)")
                 .arg(key, applicationKeys().join(QLatin1String(", ")));
    return false;
}

bool NotificationSettingsStore::normalizeAll(const QVariantMap &values, bool global,
                                             QVariantMap *normalized, QString *error)
{
    normalized->clear();
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        QVariant value;
        const bool ok = global ? normalizeGlobal(it.key(), it.value(), &value, error)
                               : normalizeApplication(it.key(), it.value(), &value, error);
        if (!ok)
            return false;
        normalized->insert(it.key(), value);
    }
    return true;
}

bool NotificationSettingsStore::setGlobal(const QVariantMap &changes, bool *changed, QString *error)
{
    QVariantMap normalized;
    if (!normalizeAll(changes, true, &normalized, error))
        return false;
    QVariantMap next = m_global;
    for (auto it = normalized.cbegin(); it != normalized.cend(); ++it)
        next.insert(it.key(), it.value());
    *changed = next != m_global;
    if (*changed && !m_store.set({GlobalKey}, next, error))
        return false;
    m_global = next;
    return true;
}

QVariantMap NotificationSettingsStore::application(const QString &name) const
{
    QVariantMap settings = factoryApplication();
    const auto it = m_applications.constFind(name);
    if (it == m_applications.cend())
        return settings;
    for (auto r = it->registered.cbegin(); r != it->registered.cend(); ++r)
        settings.insert(r.key(), r.value());
    for (auto u = it->user.cbegin(); u != it->user.cend(); ++u)
        settings.insert(u.key(), u.value());
    return settings;
}

NotificationSettingsStore::Source NotificationSettingsStore::source(const QString &name,
                                                                    const QString &key) const
{
    const auto it = m_applications.constFind(name);
    if (it != m_applications.cend() && it->user.contains(key))
        return Source::User;
    if (it != m_applications.cend() && it->registered.contains(key))
        return Source::Registered;
    return Source::Factory;
}

QString NotificationSettingsStore::sourceName(Source source)
{
    switch (source) {
    case Source::User:
        return UserKey;
    case Source::Registered:
        return RegisteredKey;
    case Source::Factory:
        break;
    }
    return QStringLiteral("factory");
}

void NotificationSettingsStore::remember(const QString &name)
{
    if (m_applications.contains(name))
        return;
    // Only for the user's list of applications: not worth a refusal.
    QString error;
    if (!saveApplication(name, Application(), &error))
        qCWarning(lcNotify).noquote() << "cannot save the notification settings:" << error;
    m_applications.insert(name, Application());
}

bool NotificationSettingsStore::registerDefaults(const QString &name, const QVariantMap &defaults,
                                                 bool *changed, QString *error)
{
    QVariantMap normalized;
    if (!normalizeAll(defaults, false, &normalized, error))
        return false;
    const QVariantMap before = application(name);
    Application app = m_applications.value(name);
    app.registered = normalized;
    if (!saveApplication(name, app, error))
        return false;
    m_applications.insert(name, app);
    *changed = application(name) != before;
    return true;
}

bool NotificationSettingsStore::setApplication(const QString &name, const QVariantMap &changes,
                                               bool *changed, QString *error)
{
    QVariantMap normalized;
    if (!normalizeAll(changes, false, &normalized, error))
        return false;
    const QVariantMap before = application(name);
    Application app = m_applications.value(name);
    for (auto it = normalized.cbegin(); it != normalized.cend(); ++it)
        app.user.insert(it.key(), it.value());
    if (!saveApplication(name, app, error))
        return false;
    m_applications.insert(name, app);
    *changed = application(name) != before;
    return true;
}

void NotificationSettingsStore::load()
{
    QString reason;
    if (!load(m_store.load(), &reason)) {
        m_store.setAside(reason);
        m_global = factoryGlobal();
        m_applications.clear();
    }
}

bool NotificationSettingsStore::load(const QVariantMap &data, QString *reason)
{
    const auto valuesOf = [reason](const QVariant &saved, bool global, const QString &what,
                                   QVariantMap *values) {
        if (saved.isValid() && saved.userType() != QMetaType::QVariantMap) {
            *reason = QStringLiteral("%1 are not a map").arg(what);
            return false;
        }
        QString error;
        if (!normalizeAll(saved.toMap(), global, values, &error)) {
            *reason = QStringLiteral("%1: %2").arg(what, error);
            return false;
        }
        return true;
    };
    QVariantMap global;
    if (!valuesOf(data.value(GlobalKey), true, QStringLiteral("the global settings"), &global))
        return false;
    for (auto it = global.cbegin(); it != global.cend(); ++it)
        m_global.insert(it.key(), it.value());
    const QVariant applications = data.value(ApplicationsKey);
    if (applications.isValid() && applications.userType() != QMetaType::QVariantMap) {
        *reason = QStringLiteral("the applications are not a map");
        return false;
    }
    const QVariantMap byName = applications.toMap();
    for (auto it = byName.cbegin(); it != byName.cend(); ++it) {
        const QString what = QStringLiteral("the settings of '%1'").arg(it.key());
        if (it.key().isEmpty() || it.value().userType() != QMetaType::QVariantMap) {
            *reason = QStringLiteral("%1 are not a map").arg(what);
            return false;
        }
        const QVariantMap saved = it.value().toMap();
        Application app;
        if (!valuesOf(saved.value(RegisteredKey), false, what, &app.registered) ||
            !valuesOf(saved.value(UserKey), false, what, &app.user))
            return false;
        m_applications.insert(it.key(), app);
    }
    return true;
}

bool NotificationSettingsStore::saveApplication(const QString &name, const Application &app,
                                                QString *error)
{
    return m_store.set({ApplicationsKey, name},
                       QVariantMap{{RegisteredKey, app.registered}, {UserKey, app.user}}, error);
}

} // namespace omdevice
