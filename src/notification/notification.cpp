#include "notification_p.h"

#include "notificationssharedconstants.h"

#include <om/platform/ommock/notificationppschannel.h>
#include <om/uitoolkitsupport.h>

#include <QDir>
#include <QUuid>

namespace om {
namespace platform {

namespace {
// How long notify() waits for the service's answer.
constexpr int NotifyTimeoutMs = 250;
} // namespace

QString wireFileUrl(const QUrl &url)
{
    if (url.isEmpty())
        return QString();
    const QString path = om::UIToolkitSupport::absolutePathFromUrl(url);
    if (path.isEmpty())
        return QString();
    return QString::fromUtf8(QUrl::fromLocalFile(path).toEncoded());
}

void WireFile::set(const QUrl &url)
{
    // Only a file named by a path relative to the working directory can
    // resolve differently later on.
    const QString scheme = url.scheme();
    const QString path = url.path();
    const bool names = scheme.isEmpty() || scheme == QLatin1String("file");
    m_fixed = !names || path.isEmpty() || QDir::isAbsolutePath(path);
    m_text = m_fixed ? wireFileUrl(url) : QString();
}

QString WireFile::text(const QUrl &url) const
{
    return m_fixed ? m_text : wireFileUrl(url);
}

NotificationPrivate::NotificationPrivate(Notification *owner) : QObject(owner), q_ptr(owner) {}

QVariantMap NotificationPrivate::notifyMessage() const
{
    Q_Q(const Notification);
    static const QByteArray keyProperty = s_ppsId.toLatin1();
    const QString key = q->property(keyProperty.constData()).toString();

    QVariantMap dat;
    if (!title.isNull())
        dat.insert(s_attributeTitle, title);
    if (!body.isNull())
        dat.insert(s_attributeBody, body);
    if (!timestampText.isEmpty())
        dat.insert(s_attributeTimestamp, timestampText);
    dat.insert(s_attributeBadge, s_attributeValueTrue);

    const QString sound = soundWire.text(soundUrl);
    if (!sound.isEmpty())
        dat.insert(s_attributeSound, sound);
    const QString icon = iconWire.text(iconUrl);
    if (!icon.isEmpty())
        dat.insert(s_attributeIcon, icon);

    // The wire has one field for the category and for the alerts that
    // replace it.
    switch (type) {
    case NotificationType::Default:
        if (!category.isNull())
            dat.insert(s_attributeCategory, category);
        break;
    case NotificationType::PreviewOff:
        dat.insert(s_attributeCategory, s_attributeValueHubOnly);
        break;
    case NotificationType::AllAlertsOff:
        dat.insert(s_attributeCategory, s_attributeValueHubSilent);
        break;
    case NotificationType::HubOff:
        dat.insert(s_attributeCategory, s_attributeValuePreviewOnly);
        break;
    }

    const QString target = invokeRequest.target();
    const QString action = invokeRequest.action();
    const QString mimeType = invokeRequest.mimeType();
    if (!target.isEmpty())
        dat.insert(s_attributeInvokeTarget, target);
    if (!action.isEmpty())
        dat.insert(s_attributeInvokeAction, action);
    if (!invokeDataText.isEmpty())
        dat.insert(s_attributeInvokeData, invokeDataText);
    if (!invokeUriText.isEmpty())
        dat.insert(s_attributeInvokeUri, invokeUriText);
    if (!mimeType.isEmpty())
        dat.insert(s_attributeInvokeMimeType, mimeType);

    dat.insert(s_attributeItemId, key);

    QVariantMap message;
    message.insert(s_attributeMsg, s_attributeMsgNotify);
    message.insert(s_attributeId, key);
    message.insert(s_attributeDat, dat);
    return message;
}

bool NotificationPrivate::isError(const QVariantMap &response)
{
    // Only the presence of "err" counts, whatever its value.
    return controlAttributes(response).contains(s_attributeError);
}

NotificationError::Type NotificationPrivate::sendRemoval(const QString &msg, const QString &key)
{
    QVariantMap message;
    message.insert(s_attributeMsg, msg);
    if (!key.isEmpty())
        message.insert(s_attributeDat, QVariantMap{{s_attributeItemId, key}});
    return ommock::NotificationPpsChannel::send(message);
}

Notification::Notification(QObject *parent)
    : Notification(QUuid::createUuid().toString(), parent)
{
}

Notification::Notification(const QString &key, QObject *parent)
    : QObject(parent), d_ptr(new NotificationPrivate(this))
{
    setProperty(s_ppsId.toLatin1().constData(), key);
}

Notification::~Notification() = default;

QString Notification::key() const
{
    return property(s_ppsId.toLatin1().constData()).toString();
}

QString Notification::category() const
{
    Q_D(const Notification);
    return d->category;
}

void Notification::setCategory(const QString &category)
{
    Q_D(Notification);
    if (assign(d->category, category))
        Q_EMIT categoryChanged(d->category);
}

void Notification::resetCategory()
{
    setCategory(QString());
}

QString Notification::title() const
{
    Q_D(const Notification);
    return d->title;
}

void Notification::setTitle(const QString &title)
{
    Q_D(Notification);
    if (assign(d->title, title))
        Q_EMIT titleChanged(d->title);
}

void Notification::resetTitle()
{
    setTitle(QString());
}

QString Notification::body() const
{
    Q_D(const Notification);
    return d->body;
}

void Notification::setBody(const QString &body)
{
    Q_D(Notification);
    if (assign(d->body, body))
        Q_EMIT bodyChanged(d->body);
}

void Notification::resetBody()
{
    setBody(QString());
}

QDateTime Notification::timestamp() const
{
    Q_D(const Notification);
    return d->timestamp;
}

void Notification::setTimestamp(const QDateTime &timestamp)
{
    Q_D(Notification);
    if (assign(d->timestamp, timestamp)) {
        d->timestampText = d->timestamp.isValid() ? QString::number(d->timestamp.toMSecsSinceEpoch(), 10) : QString();
        Q_EMIT timestampChanged(d->timestamp);
    }
}

void Notification::setTimestamp(qint64 millisecondsTimestamp)
{
    setTimestamp(QDateTime::fromMSecsSinceEpoch(millisecondsTimestamp));
}

void Notification::resetTimestamp()
{
    setTimestamp(QDateTime());
}

QUrl Notification::soundUrl() const
{
    Q_D(const Notification);
    return d->soundUrl;
}

void Notification::setSoundUrl(const QUrl &soundUrl)
{
    Q_D(Notification);
    if (!assign(d->soundUrl, soundUrl))
        return;
    d->soundWire.set(d->soundUrl);
    Q_EMIT soundUrlChanged(d->soundUrl);
}

void Notification::resetSoundUrl()
{
    setSoundUrl(QUrl());
}

QUrl Notification::iconUrl() const
{
    Q_D(const Notification);
    return d->iconUrl;
}

void Notification::setIconUrl(const QUrl &iconUrl)
{
    Q_D(Notification);
    if (!assign(d->iconUrl, iconUrl))
        return;
    d->iconWire.set(d->iconUrl);
    Q_EMIT iconUrlChanged(d->iconUrl);
}

void Notification::resetIconUrl()
{
    setIconUrl(QUrl());
}

NotificationType::Type Notification::type() const
{
    Q_D(const Notification);
    return d->type;
}

void Notification::setType(NotificationType::Type type)
{
    Q_D(Notification);
    if (!assign(d->type, type))
        return;
    NotificationType::Type value = d->type;
    Q_EMIT typeChanged(value);
    Q_EMIT typeChanged(int(d->type));
}

void Notification::resetType()
{
    setType(NotificationType::Default);
}

NotificationError::Type Notification::error() const
{
    Q_D(const Notification);
    return d->error;
}

om::system::InvokeRequest Notification::invokeRequest() const
{
    Q_D(const Notification);
    return d->invokeRequest;
}

void Notification::setInvokeRequest(const om::system::InvokeRequest &newInvokeRequest)
{
    Q_D(Notification);
    d->invokeRequest = newInvokeRequest;
    d->invokeUriText = QString::fromUtf8(newInvokeRequest.uri().toEncoded());
    const QByteArray data = newInvokeRequest.data();
    d->invokeDataText = data.isEmpty() ? QString() : QString::fromLatin1(data.toBase64());
    Q_EMIT invokeRequestChanged(d->invokeRequest);
}

void Notification::resetInvokeRequest()
{
    setInvokeRequest(om::system::InvokeRequest());
}

NotificationError::Type Notification::notify()
{
    Q_D(Notification);
    d->error = NotificationError::None;
    const QVariantMap message = d->notifyMessage();
    QVariantMap response;
    const NotificationError::Type result =
        ommock::NotificationPpsChannel::sendAndWait(message, response, NotifyTimeoutMs);
    d->error = result;
    if (result == NotificationError::None && NotificationPrivate::isError(response))
        d->error = NotificationError::InvalidRequest;
    return d->error;
}

NotificationError::Type Notification::clearEffects()
{
    Q_D(Notification);
    d->error = clearEffects(key());
    return d->error;
}

NotificationError::Type Notification::deleteFromInbox()
{
    Q_D(Notification);
    d->error = deleteFromInbox(key());
    return d->error;
}

NotificationError::Type Notification::clearEffectsForAll()
{
    return clearEffects(QString());
}

NotificationError::Type Notification::deleteAllFromInbox()
{
    return deleteFromInbox(QString());
}

NotificationError::Type Notification::clearEffects(const QString &key)
{
    return NotificationPrivate::sendRemoval(s_attributeMsgCancel, key);
}

NotificationError::Type Notification::deleteFromInbox(const QString &key)
{
    return NotificationPrivate::sendRemoval(s_attributeMsgDelete, key);
}

} // namespace platform
} // namespace om
