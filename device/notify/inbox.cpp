#include "inbox.h"

#include <QDateTime>

namespace omdevice {

Inbox::Inbox(NotifyService *service) : NotifyPart(service) {}

QStringList Inbox::messages() const
{
    return {QStringLiteral("notify")};
}

void Inbox::handle(int clientId, const QVariantMap &request)
{
    notify(clientId, request);
}

void Inbox::notify(int clientId, const QVariantMap &request)
{
    const QVariant datValue = request.value(QStringLiteral("dat"));
    if (datValue.userType() != QMetaType::QVariantMap) {
        service()->fail(clientId, request, QStringLiteral("notify without dat"));
        return;
    }
    QVariantMap item = datValue.toMap();
    const QString itemId = item.value(QStringLiteral("itemId")).toString();
    if (itemId.isEmpty()) {
        service()->fail(clientId, request, QStringLiteral("notify without itemId"));
        return;
    }
    item.insert(QStringLiteral("received"), QDateTime::currentMSecsSinceEpoch());
    m_items.insert(itemId, item);
    service()->answer(clientId, request, {{QStringLiteral("itemId"), itemId}});
}

OM_NOTIFY_PART(Inbox, "inbox");

} // namespace omdevice
