// The navigator's functions: requests on the process's connection to the
// platform services, and the accessors of navigator events.

#include "oms_p.h"

#include "control/controlprotocol_p.h"
#include "navigatorprotocol_p.h"

#include <oms/navigator.h>

#include <om/packageinfo.h>

#include <QJsonDocument>

#include <cerrno>
#include <cstring>
#include <utility>

namespace {

namespace control = om::controlprotocol;
namespace protocol = om::navigatorprotocol;

// What a navigator event carries, as texts that live as long as the event.
struct NavigatorEvent
{
    QByteArray msg;
    QByteArray id;
    QByteArray dat;
    QByteArray err;
    QByteArray group;
    bool hasId = false;
    bool hasErr = false;
    bool hasGroup = false;
    QByteArray text; // the whole message
};

// The event code of the navigator's message @p msg.
int eventCode(const QString &msg)
{
    const std::pair<QString, int> codes[] = {
        {protocol::windowStateEvent(), NAVIGATOR_WINDOW_STATE},
        {protocol::orientationCheckEvent(), NAVIGATOR_ORIENTATION_CHECK},
        {protocol::orientationEvent(), NAVIGATOR_ORIENTATION},
        {protocol::deviceLockStateEvent(), NAVIGATOR_DEVICE_LOCK_STATE},
    };
    for (const auto &entry : codes) {
        if (msg == entry.first)
            return entry.second;
    }
    return NAVIGATOR_OTHER;
}

const struct
{
    const char *text;
    int state;
} windowStates[] = {
    {"fullscreen", NAVIGATOR_WINDOW_FULLSCREEN},
    {"thumbnail", NAVIGATOR_WINDOW_THUMBNAIL},
    {"invisible", NAVIGATOR_WINDOW_INVISIBLE},
};

int navigatorDomain()
{
    static const int domain = oms_register_domain();
    return domain;
}

void navigatorEventDone(oms_event_t *event)
{
    delete reinterpret_cast<NavigatorEvent *>(event->payload.data1);
    delete event;
}

// The navigator's part of an event, or null (errno EINVAL) for any other.
NavigatorEvent *navigatorEvent(oms_event_t *event)
{
    if (!event || int(event->domain) != navigatorDomain() ||
        event->completion != navigatorEventDone) {
        errno = EINVAL;
        return nullptr;
    }
    return reinterpret_cast<NavigatorEvent *>(event->payload.data1);
}

QByteArray textOf(const QVariant &value)
{
    if (value.userType() == QMetaType::QVariantMap || value.userType() == QMetaType::QVariantList)
        return QJsonDocument::fromVariant(value).toJson(QJsonDocument::Compact);
    return value.toString().toUtf8();
}

int fail(int error)
{
    errno = error;
    return OMS_FAILURE;
}

int unsupported(char **err)
{
    if (err)
        *err = om::oms::copyText(QStringLiteral("not supported on this device"));
    return fail(ENOTSUP);
}

QString applicationName()
{
    return om::PackageInfo().name();
}

// A request whose refusal the caller may want in words.
int requestWithText(const QString &msg, const QVariantMap &dat, char **err)
{
    QString text;
    if (om::oms::services::request(msg, dat, nullptr, &text) == OMS_SUCCESS)
        return OMS_SUCCESS;
    const int error = errno;
    if (err)
        *err =
            om::oms::copyText(text.isEmpty() ? QString::fromLocal8Bit(std::strerror(error)) : text);
    return fail(error);
}

} // namespace

namespace om {
namespace oms {

oms_event_t *createNavigatorEvent(const QVariantMap &attributes, const QByteArray &text)
{
    auto *data = new NavigatorEvent;
    data->msg = attributes.value(control::keyMsg()).toString().toUtf8();
    data->dat = textOf(attributes.value(control::keyDat()));
    data->hasId = attributes.contains(control::keyId());
    data->id = textOf(attributes.value(control::keyId()));
    data->hasErr = attributes.contains(control::keyErr());
    data->err = textOf(attributes.value(control::keyErr()));
    data->hasGroup = attributes.contains(protocol::keyGroup());
    data->group = textOf(attributes.value(protocol::keyGroup()));
    data->text = text;

    const int code = eventCode(QString::fromUtf8(data->msg));
    oms_event_payload_t payload = {reinterpret_cast<uintptr_t>(data), 0, 0};
    oms_event_t *event = nullptr;
    if (oms_event_create(&event, unsigned(navigatorDomain()), unsigned(code), &payload,
                         navigatorEventDone) != OMS_SUCCESS) {
        delete data;
        return nullptr;
    }
    return event;
}

} // namespace oms
} // namespace om

using om::oms::services::request;

extern "C" {

int navigator_request_events(int flags)
{
    if (flags != 0)
        return fail(EINVAL);
    const int chid = oms_channel_get_active();
    if (chid < 0)
        return fail(EINVAL);
    navigatorDomain();
    return om::oms::services::requestEvents(chid);
}

int navigator_get_domain(void)
{
    return navigatorDomain();
}

int navigator_invoke(const char *url, char **err)
{
    Q_UNUSED(url)
    return unsupported(err);
}

int navigator_open_file(const char *filepath, char **err)
{
    Q_UNUSED(filepath)
    return unsupported(err);
}

int navigator_add_uri(const char *icon_path, const char *icon_label, const char *default_category,
                      const char *url, char **err)
{
    if (!icon_path || !icon_label || !url) {
        if (err)
            *err = om::oms::copyText(QStringLiteral("a shortcut needs an icon, a label and a URL"));
        return fail(EINVAL);
    }
    QVariantMap dat;
    dat.insert(protocol::keyIcon(), QString::fromUtf8(icon_path));
    dat.insert(protocol::keyLabel(), QString::fromUtf8(icon_label));
    dat.insert(protocol::keyCategory(),
               QString::fromUtf8(default_category ? default_category : ""));
    dat.insert(protocol::keyUrl(), QString::fromUtf8(url));
    return requestWithText(protocol::addShortcutMessage(), dat, err);
}

int navigator_extend_timeout(int extension, char **err)
{
    Q_UNUSED(extension)
    return unsupported(err);
}

int navigator_request_swipe_start(void)
{
    return unsupported(nullptr);
}

int navigator_stop_swipe_start(void)
{
    return unsupported(nullptr);
}

int navigator_rotation_lock(bool locked)
{
    Q_UNUSED(locked)
    return unsupported(nullptr);
}

int navigator_set_orientation(int angle, char **id)
{
    Q_UNUSED(angle)
    Q_UNUSED(id)
    return unsupported(nullptr);
}

int navigator_set_window_angle(int angle)
{
    Q_UNUSED(angle)
    return unsupported(nullptr);
}

int navigator_set_close_prompt(const char *title, const char *message)
{
    if (!title || !message)
        return fail(EINVAL);
    QVariantMap dat;
    dat.insert(protocol::keyApp(), applicationName());
    dat.insert(protocol::keyTitle(), QString::fromUtf8(title));
    dat.insert(protocol::keyMessage(), QString::fromUtf8(message));
    return request(protocol::setClosePromptMessage(), dat, nullptr, nullptr, true);
}

int navigator_clear_close_prompt(void)
{
    return request(protocol::clearClosePromptMessage(), QVariantMap(), nullptr, nullptr, true);
}

int navigator_set_badge(navigator_badge_t badge)
{
    if (badge != NAVIGATOR_BADGE_SPLAT)
        return fail(EINVAL);
    QVariantMap dat;
    dat.insert(protocol::keyApp(), applicationName());
    dat.insert(protocol::keyBadge(), QStringLiteral("splat"));
    return request(protocol::setBadgeMessage(), dat);
}

int navigator_clear_badge(void)
{
    QVariantMap dat;
    dat.insert(protocol::keyApp(), applicationName());
    return request(protocol::clearBadgeMessage(), dat);
}

int navigator_event_get_window_state(oms_event_t *event)
{
    const NavigatorEvent *data = navigatorEvent(event);
    if (!data)
        return OMS_FAILURE;
    if (event->code == NAVIGATOR_WINDOW_STATE) {
        for (const auto &entry : windowStates) {
            if (data->dat == entry.text)
                return entry.state;
        }
    }
    return fail(EINVAL);
}

const char *navigator_event_get_groupid(oms_event_t *event)
{
    const NavigatorEvent *data = navigatorEvent(event);
    return data && data->hasGroup ? data->group.constData() : nullptr;
}

int navigator_event_get_orientation_angle(oms_event_t *event)
{
    const NavigatorEvent *data = navigatorEvent(event);
    if (!data)
        return OMS_FAILURE;
    bool ok = false;
    const int angle = data->dat.toInt(&ok);
    if (!ok || (event->code != NAVIGATOR_ORIENTATION && event->code != NAVIGATOR_ORIENTATION_CHECK))
        return fail(EINVAL);
    return angle;
}

const char *navigator_event_get_data(oms_event_t *event)
{
    const NavigatorEvent *data = navigatorEvent(event);
    return data ? data->dat.constData() : nullptr;
}

const char *navigator_event_get_id(oms_event_t *event)
{
    const NavigatorEvent *data = navigatorEvent(event);
    return data && data->hasId ? data->id.constData() : nullptr;
}

const char *navigator_event_get_err(oms_event_t *event)
{
    const NavigatorEvent *data = navigatorEvent(event);
    return data && data->hasErr ? data->err.constData() : nullptr;
}

int navigator_orientation_check_response(oms_event_t *event, bool will_rotate)
{
    Q_UNUSED(event)
    Q_UNUSED(will_rotate)
    return unsupported(nullptr);
}

int navigator_orientation_check_response_id(const char *id, bool will_rotate)
{
    Q_UNUSED(id)
    Q_UNUSED(will_rotate)
    return unsupported(nullptr);
}

int navigator_done_orientation(oms_event_t *event)
{
    Q_UNUSED(event)
    return unsupported(nullptr);
}

int navigator_done_orientation_id(const char *id)
{
    Q_UNUSED(id)
    return unsupported(nullptr);
}

int navigator_raw_write(const char *data, unsigned int length)
{
    return om::oms::services::rawWrite(data, length);
}

const char *navigator_event_get_extended_data(oms_event_t *event)
{
    const NavigatorEvent *data = navigatorEvent(event);
    return data ? data->text.constData() : nullptr;
}

int navigator_event_get_extended_data_length(oms_event_t *event)
{
    const NavigatorEvent *data = navigatorEvent(event);
    return data ? data->text.size() : OMS_FAILURE;
}

int navigator_set_wallpaper(const char *filepath)
{
    if (!filepath || !*filepath)
        return fail(EINVAL);
    QVariantMap dat;
    dat.insert(protocol::keyPath(), QString::fromUtf8(filepath));
    return request(protocol::setWallpaperMessage(), dat);
}

} // extern "C"
