#ifndef OMDEVICE_INBOX_H
#define OMDEVICE_INBOX_H

#include "notifyservice.h"

#include <QMap>

namespace omdevice {

/** The inbox: the items that applications post, keyed by "itemId". */
class Inbox : public NotifyPart
{
    Q_OBJECT
public:
    explicit Inbox(NotifyService *service);

    QStringList messages() const override;
    void handle(int clientId, const QVariantMap &request) override;

private:
    void notify(int clientId, const QVariantMap &request);

    QMap<QString, QVariantMap> m_items;
};

} // namespace omdevice

#endif
