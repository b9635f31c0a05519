// Any bytes as the first datagram of a connection, as a broker or a control
// object's server reads it, and as a publisher's write merged into a plain
// object: refused or taken, never a crash, and what is taken keeps the bus's
// rules.

#include "broker/policy.h"
#include "pps/buspolicy_p.h"
#include "pps/busprotocol_p.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray text =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), int(size));

    om::bus::OpenRequest request;
    if (om::bus::parseOpenRequest(text, &request)) {
        // A package goes into one attribute line of the server's notice.
        const QByteArray package = om::bus::lineSafe(request.package);
        for (const char c : package) {
            if (static_cast<unsigned char>(c) < 0x20 || c == '\\')
                std::abort();
        }
        if (om::bus::validObjectPath(request.path) &&
            (!request.path.startsWith("/pps/") || request.path.contains("/.") ||
             request.path.contains("//") || request.path.contains('?') ||
             request.path.contains('\0')))
            std::abort();
        om::bus::OpenOptions options;
        if (om::bus::parseOptions(request.options, &options) && options.hasMode &&
            options.mode > 0777)
            std::abort();
    }

    // Merged into an object that already has content, the write leaves an
    // object that fits in one message and holds only attribute lines.
    omdevice::broker::Attributes attributes{{"a", "a::1"}};
    omdevice::broker::merge(&attributes, "state", text);
    const QByteArray whole = omdevice::broker::wholeObject("state", attributes);
    if (whole.size() > om::bus::MaxMessage)
        std::abort();
    for (const auto &entry : attributes) {
        const QByteArray &line = entry.second;
        const int colon = line.indexOf(':');
        if (colon <= 0 || line.indexOf(':', colon + 1) < 0 || line.startsWith('@') ||
            line.startsWith('-') || line.contains('\n') || line.left(colon) != entry.first)
            std::abort();
    }
    return 0;
}
