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

// The nested-value (JSON) part of a line on its own.
bool parseJson(const char *begin, const char *end, QVariant *value);

} // namespace pps
} // namespace om

#endif
