#include "notify/notifyservice.h"

#include "notify/dialogs.h"
#include "notify/inbox.h"
#include "notify/settings.h"
#include "notify/userside.h"

#include "notify/notifyprotocol_p.h"

namespace omdevice {

OM_DEVICE_LOGGING_CATEGORY(lcNotify, "notifications");

NotifyPart::NotifyPart(NotifyService *service) : QObject(service), m_service(service) {}

WireForm NotifyService::wireForm()
{
    WireForm form = WireForm::standard();
    form.failure = WireForm::bareWhenUndecodable(form.failure);
    form.badShape = [](const Request &request, Shape) {
        return Failure{0, request.msg() + QLatin1String(" without dat"), {}};
    };
    return form;
}

NotifyService::NotifyService(const DeviceContext &context, QObject *parent)
    : ServiceModule(parent), m_context(context),
      m_router(new RequestRouter(om::notifyprotocol::controlPath(), 0666, wireForm(), this))
{
    m_parts = {new Inbox(this), new Dialogs(this), new NotificationSettingsPart(this),
               new UserSide(this)};
}

void NotifyService::publish(const QString &event, QVariantMap details)
{
    if (!isFollowed())
        return;
    details.insert(om::notifyprotocol::keyEvent(), event);
    Q_EMIT published(details);
}

bool NotifyService::start(QString *error)
{
    if (!m_router->open(error))
        return false;
    for (NotifyPart *part : qAsConst(m_parts)) {
        if (!part->start(error))
            return false;
    }
    return true;
}

OM_DEVICE_MODULE(NotifyService, "notifications",
                 "notification service: inbox, dialogs and notification settings",
                 {{QLatin1String(NotificationSettingsPart::ModeSetting), QStringLiteral("0600"),
                   QStringLiteral("mode of the object for changing global settings "
                                  "(0600: the device's user only)"),
                   Setting::fileMode()},
                  {QLatin1String(Inbox::CapSetting), QStringLiteral("N"),
                   QStringLiteral("items the inbox keeps per application; beyond that the\n"
                                  "oldest are dropped (default 1000)"),
                   Setting::wholeNumber(1, 100000000)}});

} // namespace omdevice
