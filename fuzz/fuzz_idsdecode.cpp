// Any bytes as a message of the identity service to the ids client: the
// decoder reads an answer or a notification or refuses, and what it reads
// holds together (a request id is never 0; every reader of an answer's
// contents takes any "dat" without harm, and a data value read is bytes
// that travel unchanged).

#include "ids/idsprotocol_p.h"

#include <cstdint>
#include <cstdlib>

namespace proto = om::ids::protocol;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray text =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), int(size));
    proto::Incoming message;
    if (!proto::readIncoming(text, &message))
        return 0;
    if (message.kind == proto::Incoming::Answer) {
        if (message.id == 0 || (!message.failed && message.hasInfo))
            std::abort();
    } else if (!message.dat.contains(proto::keyName())) {
        std::abort();
    }
    proto::TokenAnswer token;
    proto::Pairs pairs;
    QByteArray name;
    QByteArray value;
    QList<QByteArray> names;
    int level = 0;
    bool cleared = false;
    if (proto::readTokenAnswer(message.dat, &token)) {
        for (const auto &pair : qAsConst(token.params))
            (void)pair.first.constData();
    }
    proto::readPropertiesAnswer(message.dat, &pairs);
    if (proto::readDataAnswer(message.dat, &name, &value) &&
        QByteArray::fromBase64(proto::encodeBytes(value).toLatin1()) != value)
        std::abort();
    proto::readListAnswer(message.dat, &names);
    proto::readChallengeAnswer(message.dat, &level);
    proto::readClearAnswer(message.dat, &cleared);
    return 0;
}
