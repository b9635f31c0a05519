#ifndef OM_PPSCODEC_P_H
#define OM_PPSCODEC_P_H

#include <QByteArray>
#include <QVariant>
#include <QVariantMap>

namespace om {
namespace pps {

// Deepest nesting of maps and lists that the codec writes or reads; deeper
// data is refused rather than risk the stack on hostile input.
constexpr int MaxNesting = 64;

QByteArray encode(const QVariantMap &map, bool *ok);
QVariantMap decode(const QByteArray &data, bool *ok);

// The nested-value (JSON) part on its own, shared with the C encoder.
bool appendJson(QByteArray &out, const QVariant &value, int depth = 0);
bool parseJson(const char *begin, const char *end, QVariant *value);

} // namespace pps
} // namespace om

#endif
