#include "invoke/invocation.h"

namespace omdevice {

QVariantMap Invocation::toVariant(int maxData) const
{
    const QByteArray kept = maxData >= 0 ? data.left(maxData) : data;
    return {
        {QStringLiteral("time"), time},
        {QStringLiteral("sender"), sender},
        {QStringLiteral("action"), action},
        {QStringLiteral("mimeType"), mimeType},
        {QStringLiteral("uri"), uri},
        {QStringLiteral("data"), QString::fromLatin1(kept.toBase64())},
        {QStringLiteral("dataSize"), data.size()},
        {QStringLiteral("requestedTarget"), requestedTarget},
        {QStringLiteral("target"), target},
        {QStringLiteral("error"), error},
        {QStringLiteral("errorText"), errorText},
    };
}

Invocation Invocation::fromVariant(const QVariantMap &map)
{
    Invocation invocation;
    invocation.time = map.value(QStringLiteral("time")).toLongLong();
    invocation.sender = map.value(QStringLiteral("sender")).toString();
    invocation.action = map.value(QStringLiteral("action")).toString();
    invocation.mimeType = map.value(QStringLiteral("mimeType")).toString();
    invocation.uri = map.value(QStringLiteral("uri")).toString();
    invocation.data = QByteArray::fromBase64(map.value(QStringLiteral("data")).toString().toLatin1());
    invocation.requestedTarget = map.value(QStringLiteral("requestedTarget")).toString();
    invocation.target = map.value(QStringLiteral("target")).toString();
    invocation.error = map.value(QStringLiteral("error")).toInt();
    invocation.errorText = map.value(QStringLiteral("errorText")).toString();
    return invocation;
}

} // namespace omdevice
