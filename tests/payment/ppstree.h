#ifndef OMTEST_PPSTREE_H
#define OMTEST_PPSTREE_H

// Reads everything a PPS decoder holds into the map that om::PpsObject::decode
// gives for the same text, through the decoder's walk alone (type, name,
// push, pop and the getters with null names), so that the two readers of one
// text format can be compared.

#include <sys/pps.h>

#include <QString>
#include <QVariant>
#include <QVariantList>
#include <QVariantMap>

#include <climits>
#include <cmath>

namespace omtest {

inline QVariant ppsValue(pps_decoder_t *d, bool *ok);

// Reads the elements of the object or list the decoder stands in.
inline QVariant ppsContainer(pps_decoder_t *d, bool list, bool *ok, bool top = false)
{
    QVariantMap map;
    QVariantList items;
    const int count = pps_decoder_length(d);
    for (int i = 0; i < count && *ok; ++i) {
        const char *name = pps_decoder_name(d);
        const bool objectLine = top && name &&
                                (name[0] == '@' || (name[0] != '\0' && name[1] == '@')) &&
                                pps_decoder_type(d, nullptr) == PPS_TYPE_OBJECT;
        const QString key = name ? QString::fromUtf8(name) : QString();
        const QVariant value = ppsValue(d, ok);
        if (list) {
            items.append(value);
        } else if (objectLine && map.contains(key)) {
            // Objects of one name merge, as om::PpsObject::decode does.
            QVariantMap merged = map.value(key).toMap();
            const QVariantMap more = value.toMap();
            for (auto it = more.cbegin(); it != more.cend(); ++it)
                merged.insert(it.key(), it.value());
            map.insert(key, merged);
        } else {
            map.insert(key, value);
        }
    }
    if (pps_decoder_type(d, nullptr) != PPS_TYPE_NONE)
        *ok = false; // more elements than the length said
    return list ? QVariant(items) : QVariant(map);
}

inline QVariant ppsValue(pps_decoder_t *d, bool *ok)
{
    switch (pps_decoder_type(d, nullptr)) {
    case PPS_TYPE_STRING: {
        const char *text = nullptr;
        *ok = *ok && pps_decoder_get_string(d, nullptr, &text) == PPS_DECODER_OK && text;
        return *ok ? QVariant(QString::fromUtf8(text)) : QVariant();
    }
    case PPS_TYPE_BOOL: {
        bool value = false;
        *ok = *ok && pps_decoder_get_bool(d, nullptr, &value) == PPS_DECODER_OK;
        return value;
    }
    case PPS_TYPE_NULL:
        *ok = *ok && pps_decoder_get_null(d, nullptr) == PPS_DECODER_OK;
        return QVariant();
    case PPS_TYPE_NUMBER: {
        long long integer = 0;
        double real = 0;
        if (pps_decoder_is_integer(d, nullptr) &&
            pps_decoder_get_int64(d, nullptr, &integer) == PPS_DECODER_OK) {
            if (integer >= INT_MIN && integer <= INT_MAX)
                return int(integer);
            return qlonglong(integer);
        }
        *ok = *ok && pps_decoder_get_double(d, nullptr, &real) == PPS_DECODER_OK;
        return real;
    }
    case PPS_TYPE_ARRAY:
    case PPS_TYPE_OBJECT: {
        const bool list = pps_decoder_type(d, nullptr) == PPS_TYPE_ARRAY;
        if (pps_decoder_push(d, nullptr) != PPS_DECODER_OK) {
            *ok = false;
            return QVariant();
        }
        const QVariant value = ppsContainer(d, list, ok);
        *ok = *ok && pps_decoder_pop(d) == PPS_DECODER_OK;
        return value;
    }
    default:
        *ok = false;
        return QVariant();
    }
}

/** The whole message the decoder holds, as om::PpsObject::decode gives it. */
inline QVariantMap ppsTree(pps_decoder_t *d, bool *ok)
{
    *ok = true;
    return ppsContainer(d, false, ok, true).toMap();
}

/** Compares two decoded values; NaN equals NaN, a text ends at its first
 *  NUL (a C string cannot hold one), and whole numbers that are equal are
 *  equal whatever their integer type. With @p strictNumbers false, numbers
 *  are equal by value whether they are integers or doubles. */
inline bool ppsSame(const QVariant &a, const QVariant &b, bool strictNumbers = true)
{
    const int ta = a.userType();
    const int tb = b.userType();
    if (ta == QMetaType::QVariantMap && tb == QMetaType::QVariantMap) {
        const QVariantMap ma = a.toMap();
        const QVariantMap mb = b.toMap();
        if (ma.size() != mb.size())
            return false;
        for (auto ia = ma.cbegin(), ib = mb.cbegin(); ia != ma.cend(); ++ia, ++ib) {
            if (ia.key().section(QChar(0), 0, 0) != ib.key().section(QChar(0), 0, 0) ||
                !ppsSame(ia.value(), ib.value(), strictNumbers))
                return false;
        }
        return true;
    }
    if (ta == QMetaType::QVariantList && tb == QMetaType::QVariantList) {
        const QVariantList la = a.toList();
        const QVariantList lb = b.toList();
        if (la.size() != lb.size())
            return false;
        for (int i = 0; i < la.size(); ++i) {
            if (!ppsSame(la.at(i), lb.at(i), strictNumbers))
                return false;
        }
        return true;
    }
    if (ta == QMetaType::QString && tb == QMetaType::QString)
        return a.toString().section(QChar(0), 0, 0) == b.toString().section(QChar(0), 0, 0);
    if (ta == QMetaType::Double && tb == QMetaType::Double) {
        const double x = a.toDouble();
        const double y = b.toDouble();
        return x == y || (std::isnan(x) && std::isnan(y));
    }
    const auto integral = [](int t) { return t == QMetaType::Int || t == QMetaType::LongLong; };
    if (integral(ta) && integral(tb))
        return a.toLongLong() == b.toLongLong();
    const auto numeric = [&](int t) { return integral(t) || t == QMetaType::Double; };
    if (!strictNumbers && numeric(ta) && numeric(tb))
        return a.toDouble() == b.toDouble();
    return ta == tb && a == b;
}

} // namespace omtest

#endif
