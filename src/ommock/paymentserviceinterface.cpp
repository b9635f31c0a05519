#include <om/platform/ommock/paymentserviceinterface.h>

#include "ommock/paymentserviceinterfaceimpl_p.h"

namespace ommock {

PaymentServiceInterface::PaymentServiceInterface(QObject *parent) : QObject(parent) {}

PaymentServiceInterface::~PaymentServiceInterface() = default;

PaymentServiceInterface *
PaymentServiceInterface::create(om::platform::PaymentConnectionMode::Type mode)
{
    return new PaymentServiceInterfaceImpl(mode);
}

QDateTime PaymentServiceInterface::convertToDateTime(const char *text) const
{
    if (!text)
        return QDateTime();
    const QString digits = QString::fromLatin1(text);
    bool ok = false;
    qint64 value = digits.toLongLong(&ok, 10);
    if (!ok)
        return QDateTime();
    // Ten digits reach to the year 2286 in seconds; longer text is taken
    // as milliseconds.
    if (digits.size() <= 10)
        value *= 1000;
    return QDateTime::fromMSecsSinceEpoch(value);
}

} // namespace ommock
