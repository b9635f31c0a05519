#include "invoke/invocation.h"

#include "invoke/invokeprotocol_p.h"

namespace omdevice {

namespace protocol = om::system::invokeprotocol;

QVariantMap Invocation::toVariant(int maxData) const
{
    const QByteArray kept = maxData >= 0 ? data.left(maxData) : data;
    return {
        {protocol::keyTime(), time},
        {protocol::keySender(), sender},
        {protocol::keyAction(), action},
        {protocol::keyMimeType(), mimeType},
        {protocol::keyUri(), uri},
        {protocol::keyData(), QString::fromLatin1(kept.toBase64())},
        {protocol::keyDataSize(), data.size()},
        {protocol::keyRequestedTarget(), requestedTarget},
        {protocol::keyTarget(), target},
        {protocol::keyRecordError(), error},
        {protocol::keyRecordErrorText(), errorText},
    };
}

Invocation Invocation::fromVariant(const QVariantMap &map)
{
    Invocation invocation;
    invocation.time = map.value(protocol::keyTime()).toLongLong();
    invocation.sender = map.value(protocol::keySender()).toString();
    invocation.action = map.value(protocol::keyAction()).toString();
    invocation.mimeType = map.value(protocol::keyMimeType()).toString();
    invocation.uri = map.value(protocol::keyUri()).toString();
    invocation.data = QByteArray::fromBase64(map.value(protocol::keyData()).toString().toLatin1());
    invocation.requestedTarget = map.value(protocol::keyRequestedTarget()).toString();
    invocation.target = map.value(protocol::keyTarget()).toString();
    invocation.error = map.value(protocol::keyRecordError()).toInt();
    invocation.errorText = map.value(protocol::keyRecordErrorText()).toString();
    return invocation;
}

} // namespace omdevice
