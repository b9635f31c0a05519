#ifndef OMMOCK_RESPONSEINFO_H
#define OMMOCK_RESPONSEINFO_H

#include <om/platform/omplatform_export.h>
#include <om/platform/purchasereceipt.h>

#include <QList>
#include <QSharedPointer>
#include <QString>

namespace ommock {

/**
 * One answer of the payment service, as the wire layer read it. One record
 * serves every kind of answer; each field keeps its default until the
 * answer's kind fills it.
 */
struct OMPLATFORM_EXPORT ResponseInfo
{
    /** The answer's "id", as atoi reads it. */
    unsigned int requestId = 0;
    /** A failure answer. */
    bool error = false;
    int errorCode = 0;
    QString errorText;
    /** The failure's sub-code; empty when there is none. */
    QString errorInfo;
    /** The receipt of a purchase; null if there is none or it was unreadable. */
    QSharedPointer<om::platform::PurchaseReceipt> receipt;
    /** The readable receipts of a list of existing purchases. */
    QList<om::platform::PurchaseReceipt> purchases;
    QString price;
    QString initialPeriod;
    QString renewalPrice;
    QString renewalPeriod;
    bool subscriptionExists = false;
    QString purchaseId;
    bool cancelled = false;
    /** The service asked for an invocation, which the wire layer has made;
     *  the request's real answer comes later with the same id. */
    bool invokeTarget = false;
};

} // namespace ommock

#endif
