// Any bytes into the PPS text decoder: it gives a map or refuses, and what
// it gives can be encoded and decoded again to the same map.

#include "pps/ppscodec_p.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray text =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), int(size));
    bool ok = false;
    const QVariantMap map = om::pps::decode(text, &ok);
    if (!ok) {
        if (!map.isEmpty())
            std::abort();
        return 0;
    }
    // Client notices ("+@name.1") are no attributes of their own and cannot
    // be written back; everything else must survive a second trip.
    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        if (it.key().startsWith(QLatin1Char('+')) || it.key().startsWith(QLatin1Char('-')))
            return 0;
    }
    bool encoded = false;
    const QByteArray again = om::pps::encode(map, &encoded);
    if (encoded) {
        bool decodedAgain = false;
        if (om::pps::decode(again, &decodedAgain) != map || !decodedAgain)
            std::abort();
    }
    return 0;
}
