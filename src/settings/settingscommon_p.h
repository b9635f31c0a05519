#ifndef OM_PLATFORM_SETTINGSCOMMON_P_H
#define OM_PLATFORM_SETTINGSCOMMON_P_H

// What the three settings classes share: reading a message of the service,
// taking its settings into fields, and the texts of policies.

#include <om/platform/notificationmode.h>
#include <om/platform/notificationpolicy.h>
#include <om/platform/notificationprioritypolicy.h>
#include <om/platform/notificationsettingserror.h>

#include <QString>
#include <QVariantMap>

namespace om {
class PpsObject;

namespace platform {

/** Makes the enumerations known by name, so that the settings' signals
 *  can be queued across threads and watched by name. */
void registerSettingsMetaTypes();

/**
 * Reads one message from @p pps and decodes it into @p decoded. On failure
 * logs @p readFailed or @p decodeFailed and returns false.
 */
bool readDecoded(om::PpsObject *pps, QVariantMap *decoded, const char *readFailed,
                 const char *decodeFailed);

/** The settings of a decoded message: "dat" of the "@control" object, or
 *  an empty map if either is missing. */
QVariantMap controlData(const QVariantMap &decoded);

/** The notification service's control object, read with blocking reads. */
extern const QString s_notifyControlWaitPath;

/** "on" or "true" is Allow, "off" or "false" Deny; anything else is
 *  Unknown and logged as @p unknownWarning followed by the text. */
NotificationPolicy::Type convertStringToNotificationPolicy(const QString &text,
                                                           const char *unknownWarning);

/** "on" for Allow, "off" for Deny, the empty text for anything else. */
QString convertNotificationPolicyToPpsString(NotificationPolicy::Type policy);

/**
 * Takes @p attribute of the settings @p dat into @p field: if it is there,
 * converts it, and if that differs from the field, stores it and, when
 * @p notify, calls @p tell with it. An absent attribute leaves the field.
 */
template <typename T, typename Convert, typename Tell>
void takeAttribute(const QVariantMap &dat, const QString &attribute, T &field, Convert convert,
                   bool notify, Tell tell)
{
    const auto it = dat.constFind(attribute);
    if (it == dat.cend())
        return;
    const T value = convert(it.value());
    if (value == field)
        return;
    field = value;
    if (notify)
        tell(value);
}

/** A teller that emits an enumerated signal and then its int form. */
template <class Owner, typename T>
auto emitBoth(Owner *owner, void (Owner::*typed)(T), void (Owner::*number)(int))
{
    return [=](T value) {
        Q_EMIT(owner->*typed)(value);
        Q_EMIT(owner->*number)(int(value));
    };
}

} // namespace platform
} // namespace om

#endif
