// Any bytes into the C decoder of sys/pps.h: it parses or refuses, and never
// crashes or hangs. Text that om::PpsObject's codec reads is read here too,
// and the decoder's walk gives the same map.

#include "pps/ppscodec_p.h"
#include "ppstree.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

// Texts holding a NUL after their escapes are resolved end there for the
// decoder, which hands out C strings; those are not compared.
bool holdsNul(const QVariant &v)
{
    switch (v.userType()) {
    case QMetaType::QString:
        return v.toString().contains(QChar(0));
    case QMetaType::QVariantList:
        for (const QVariant &item : v.toList()) {
            if (holdsNul(item))
                return true;
        }
        return false;
    case QMetaType::QVariantMap: {
        const QVariantMap map = v.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            if (it.key().contains(QChar(0)) || holdsNul(it.value()))
                return true;
        }
        return false;
    }
    default:
        return false;
    }
}

// A number line with tabs or the like in its value: the codec lets Qt's
// number conversion judge those, which takes a value of tabs alone for 0.
// The decoder keeps to plain numbers there.
bool oddNumberLine(const std::vector<char> &text)
{
    const QList<QByteArray> lines = QByteArray(text.data()).split('\n');
    for (const QByteArray &line : lines) {
        const int colon = line.indexOf(':');
        if (colon > 0 && line.mid(colon, 3) == ":n:") {
            const QByteArray value = line.mid(colon + 3);
            if (value.contains('\t') || value.contains('\v') || value.contains('\f') ||
                value.contains('\r'))
                return true;
        }
    }
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // The decoder reads a C string: the text ends at the first NUL.
    const size_t length = strnlen(reinterpret_cast<const char *>(data), size);
    std::vector<char> text(reinterpret_cast<const char *>(data),
                           reinterpret_cast<const char *>(data) + length);
    text.push_back('\0');

    bool referenceOk = false;
    const QVariantMap reference =
        om::pps::decode(QByteArray(text.data(), int(length)), &referenceOk);
    const bool odd = oddNumberLine(text);

    pps_decoder_t d;
    const pps_decoder_error_t parsed = pps_decoder_initialize(&d, text.data());
    if (parsed != PPS_DECODER_OK) {
        if (referenceOk && !odd)
            std::abort();
        const char *s = nullptr;
        if (pps_decoder_get_string(&d, nullptr, &s) != PPS_DECODER_BAD_ARGUMENT ||
            pps_decoder_push(&d, nullptr) != PPS_DECODER_BAD_ARGUMENT)
            std::abort();
        return 0;
    }
    bool walked = false;
    const QVariantMap tree = omtest::ppsTree(&d, &walked);
    if (!walked)
        std::abort();
    if (referenceOk && !holdsNul(reference) && !omtest::ppsSame(tree, reference, false))
        std::abort();
    return 0;
}
