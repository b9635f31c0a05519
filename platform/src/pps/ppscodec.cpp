#include "ppscodec_p.h"

#include <QLocale>
#include <QStringList>

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace om {
namespace pps {

namespace {

// ---------------------------------------------------------------- writing

// Appends @p s as UTF-8 straight from its UTF-16, without a temporary.
void appendUtf8(QByteArray &out, const QString &s)
{
    const int length = s.size();
    const int old = out.size();
    out.resize(old + length * 3);
    char *dst = out.data() + old;
    const ushort *src = s.utf16();
    for (int i = 0; i < length; ++i) {
        uint c = src[i];
        if (c < 0x80) {
            *dst++ = char(c);
            continue;
        }
        if (c < 0x800) {
            *dst++ = char(0xc0 | (c >> 6));
            *dst++ = char(0x80 | (c & 0x3f));
            continue;
        }
        if (c >= 0xd800 && c < 0xdc00 && i + 1 < length && src[i + 1] >= 0xdc00 && src[i + 1] < 0xe000) {
            c = 0x10000 + ((c - 0xd800) << 10) + (src[++i] - 0xdc00);
            *dst++ = char(0xf0 | (c >> 18));
            *dst++ = char(0x80 | ((c >> 12) & 0x3f));
            *dst++ = char(0x80 | ((c >> 6) & 0x3f));
            *dst++ = char(0x80 | (c & 0x3f));
            continue;
        }
        if (c >= 0xd800 && c < 0xe000)
            c = 0xfffd; // a lone surrogate
        *dst++ = char(0xe0 | (c >> 12));
        *dst++ = char(0x80 | ((c >> 6) & 0x3f));
        *dst++ = char(0x80 | (c & 0x3f));
    }
    out.resize(int(dst - out.constData()));
}

template<typename Char>
bool needsCEscapes(const Char *p, int length)
{
    for (int i = 0; i < length; ++i) {
        const uint u = uint(p[i]) & (sizeof(Char) == 1 ? 0xffu : 0xffffu);
        if (u < 0x20 || u == 0x7f || u == '\\')
            return true;
    }
    return false;
}

void appendCEscaped(QByteArray &out, const QByteArray &utf8)
{
    static const char hex[] = "0123456789abcdef";
    for (const char c : utf8) {
        const unsigned char u = static_cast<unsigned char>(c);
        switch (c) {
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        case '\\': out += "\\\\"; break;
        default:
            if (u < 0x20 || u == 0x7f) {
                out += "\\x";
                out += hex[u >> 4];
                out += hex[u & 0xf];
            } else {
                out += c;
            }
        }
    }
}

void appendDouble(QByteArray &out, double v)
{
    if (std::isnan(v)) {
        out += "nan";
        return;
    }
    if (std::isinf(v)) {
        out += v < 0 ? "-inf" : "inf";
        return;
    }
    const QByteArray text = QByteArray::number(v, 'g', QLocale::FloatingPointShortest);
    out += text;
    // Keep a double a double on the way back.
    if (text.indexOf('.') < 0 && text.indexOf('e') < 0)
        out += ".0";
}

void appendJsonString(QByteArray &out, const QByteArray &utf8)
{
    static const char hex[] = "0123456789abcdef";
    out += '"';
    const char *p = utf8.constData();
    const char *end = p + utf8.size();
    const char *run = p;
    for (; p != end; ++p) {
        const unsigned char u = static_cast<unsigned char>(*p);
        if (u >= 0x20 && *p != '"' && *p != '\\')
            continue;
        out.append(run, int(p - run));
        run = p + 1;
        switch (*p) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        case '\b': out += "\\b"; break;
        case '\f': out += "\\f"; break;
        default:
            out += "\\u00";
            out += hex[u >> 4];
            out += hex[u & 0xf];
        }
    }
    out.append(run, int(end - run));
    out += '"';
}

// The same for a QString, which needs no escapes in the usual case.
void appendJsonString(QByteArray &out, const QString &s)
{
    const ushort *p = s.utf16();
    const int length = s.size();
    for (int i = 0; i < length; ++i) {
        if (p[i] < 0x20 || p[i] == '"' || p[i] == '\\') {
            appendJsonString(out, s.toUtf8());
            return;
        }
    }
    out += '"';
    appendUtf8(out, s);
    out += '"';
}

// Text of a scalar that goes out as a string, or false if the value has no
// text form at all.
bool scalarText(const QVariant &value, QByteArray *utf8)
{
    switch (value.userType()) {
    case QMetaType::QString:
        *utf8 = value.toString().toUtf8();
        return true;
    case QMetaType::QByteArray:
        *utf8 = value.toByteArray();
        return true;
    default:
        if (value.canConvert<QString>()) {
            *utf8 = value.toString().toUtf8();
            return true;
        }
        return false;
    }
}

bool isIntegerType(int type)
{
    switch (type) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
        return true;
    default:
        return false;
    }
}

void appendInteger(QByteArray &out, const QVariant &value)
{
    if (value.userType() == QMetaType::ULongLong || value.userType() == QMetaType::ULong)
        out += QByteArray::number(value.toULongLong());
    else
        out += QByteArray::number(value.toLongLong());
}

bool isAttributeName(const QString &name)
{
    if (name.isEmpty())
        return false;
    const QChar first = name.at(0);
    if (first == QLatin1Char('@') || first == QLatin1Char('-') || first == QLatin1Char('+'))
        return false;
    for (const QChar c : name) {
        if (c == QLatin1Char(':') || c == QLatin1Char('\n') || c == QLatin1Char('\r'))
            return false;
    }
    return true;
}

bool appendAttribute(QByteArray &out, const QString &name, const QVariant &value)
{
    if (!isAttributeName(name))
        return false;
    appendUtf8(out, name);
    const int type = value.userType();
    if (type == QMetaType::Bool) {
        out += value.toBool() ? ":b:true\n" : ":b:false\n";
        return true;
    }
    if (isIntegerType(type)) {
        out += ":n:";
        appendInteger(out, value);
        out += '\n';
        return true;
    }
    if (type == QMetaType::Double || type == QMetaType::Float) {
        out += ":n:";
        appendDouble(out, value.toDouble());
        out += '\n';
        return true;
    }
    if (type == QMetaType::QVariantMap || type == QMetaType::QVariantList
        || type == QMetaType::QStringList || type == QMetaType::QVariantHash
        || type == QMetaType::UnknownType || type == QMetaType::Nullptr) {
        out += ":json:";
        if (!appendJson(out, value))
            return false;
        out += '\n';
        return true;
    }
    if (type == QMetaType::QString) {
        const QString text = value.toString();
        if (!needsCEscapes(text.utf16(), text.size())) {
            out += "::";
            appendUtf8(out, text);
            out += '\n';
            return true;
        }
    }
    QByteArray text;
    if (!scalarText(value, &text))
        return false;
    if (needsCEscapes(text.constData(), text.size())) {
        out += ":c:";
        appendCEscaped(out, text);
    } else {
        out += "::";
        out += text;
    }
    out += '\n';
    return true;
}

// ---------------------------------------------------------------- reading

struct JsonParser
{
    const char *p;
    const char *end;

    void skipSpace()
    {
        while (p != end && (*p == ' ' || *p == '\t' || *p == '\n' || *p == '\r'))
            ++p;
    }

    static int hexValue(char c)
    {
        if (c >= '0' && c <= '9')
            return c - '0';
        if (c >= 'a' && c <= 'f')
            return c - 'a' + 10;
        if (c >= 'A' && c <= 'F')
            return c - 'A' + 10;
        return -1;
    }

    bool readHex4(uint *v)
    {
        if (end - p < 4)
            return false;
        uint r = 0;
        for (int i = 0; i < 4; ++i) {
            const int h = hexValue(p[i]);
            if (h < 0)
                return false;
            r = (r << 4) | uint(h);
        }
        p += 4;
        *v = r;
        return true;
    }

    static void appendUtf8(QByteArray &out, uint cp)
    {
        if (cp < 0x80) {
            out += char(cp);
        } else if (cp < 0x800) {
            out += char(0xc0 | (cp >> 6));
            out += char(0x80 | (cp & 0x3f));
        } else if (cp < 0x10000) {
            out += char(0xe0 | (cp >> 12));
            out += char(0x80 | ((cp >> 6) & 0x3f));
            out += char(0x80 | (cp & 0x3f));
        } else {
            out += char(0xf0 | (cp >> 18));
            out += char(0x80 | ((cp >> 12) & 0x3f));
            out += char(0x80 | ((cp >> 6) & 0x3f));
            out += char(0x80 | (cp & 0x3f));
        }
    }

    bool parseString(QString *s)
    {
        // *p == '"'
        ++p;
        const char *start = p;
        while (p != end && *p != '"' && *p != '\\') {
            if (static_cast<unsigned char>(*p) < 0x20)
                return false;
            ++p;
        }
        if (p == end)
            return false;
        if (*p == '"') {
            *s = QString::fromUtf8(start, int(p - start));
            ++p;
            return true;
        }
        QByteArray buf(start, int(p - start));
        while (p != end) {
            const char c = *p++;
            if (c == '"') {
                *s = QString::fromUtf8(buf.constData(), buf.size());
                return true;
            }
            if (static_cast<unsigned char>(c) < 0x20)
                return false;
            if (c != '\\') {
                buf += c;
                continue;
            }
            if (p == end)
                return false;
            const char e = *p++;
            switch (e) {
            case '"': buf += '"'; break;
            case '\\': buf += '\\'; break;
            case '/': buf += '/'; break;
            case 'b': buf += '\b'; break;
            case 'f': buf += '\f'; break;
            case 'n': buf += '\n'; break;
            case 'r': buf += '\r'; break;
            case 't': buf += '\t'; break;
            case 'u': {
                uint cp;
                if (!readHex4(&cp))
                    return false;
                if (cp >= 0xd800 && cp < 0xdc00) {
                    uint low;
                    if (end - p >= 6 && p[0] == '\\' && p[1] == 'u') {
                        p += 2;
                        if (!readHex4(&low) || low < 0xdc00 || low >= 0xe000)
                            return false;
                        cp = 0x10000 + ((cp - 0xd800) << 10) + (low - 0xdc00);
                    } else {
                        cp = 0xfffd;
                    }
                } else if (cp >= 0xdc00 && cp < 0xe000) {
                    cp = 0xfffd;
                }
                appendUtf8(buf, cp);
                break;
            }
            default:
                return false;
            }
        }
        return false;
    }

    bool parseNumber(QVariant *v)
    {
        const char *start = p;
        bool isDouble = false;
        if (p != end && *p == '-')
            ++p;
        if (p == end || !(*p >= '0' && *p <= '9'))
            return false;
        while (p != end && *p >= '0' && *p <= '9')
            ++p;
        if (p != end && *p == '.') {
            isDouble = true;
            ++p;
            if (p == end || !(*p >= '0' && *p <= '9'))
                return false;
            while (p != end && *p >= '0' && *p <= '9')
                ++p;
        }
        if (p != end && (*p == 'e' || *p == 'E')) {
            isDouble = true;
            ++p;
            if (p != end && (*p == '+' || *p == '-'))
                ++p;
            if (p == end || !(*p >= '0' && *p <= '9'))
                return false;
            while (p != end && *p >= '0' && *p <= '9')
                ++p;
        }
        return numberValue(start, p, isDouble, v);
    }

    static bool numberValue(const char *start, const char *stop, bool isDouble, QVariant *v)
    {
        char buf[64];
        const int len = int(stop - start);
        if (len <= 0 || len >= int(sizeof buf)) {
            if (len <= 0)
                return false;
            // Very long numbers: let QByteArray do the work.
            bool ok = false;
            const double d = QByteArray(start, len).toDouble(&ok);
            if (ok)
                *v = d;
            return ok;
        }
        std::memcpy(buf, start, size_t(len));
        buf[len] = 0;
        if (!isDouble) {
            errno = 0;
            char *stopped = nullptr;
            const long long n = std::strtoll(buf, &stopped, 10);
            if (errno == 0 && stopped == buf + len) {
                if (n >= INT_MIN && n <= INT_MAX)
                    *v = int(n);
                else
                    *v = qlonglong(n);
                return true;
            }
        }
        bool ok = false;
        const double d = QByteArray::fromRawData(buf, len).toDouble(&ok);
        if (ok)
            *v = d;
        return ok;
    }

    bool literal(const char *word, int len)
    {
        if (end - p < len || std::memcmp(p, word, size_t(len)) != 0)
            return false;
        p += len;
        return true;
    }

    bool parseValue(QVariant *v, int depth)
    {
        skipSpace();
        if (p == end)
            return false;
        switch (*p) {
        case '{': {
            if (depth >= MaxNesting)
                return false;
            ++p;
            QVariantMap map;
            skipSpace();
            if (p != end && *p == '}') {
                ++p;
                *v = map;
                return true;
            }
            for (;;) {
                skipSpace();
                if (p == end || *p != '"')
                    return false;
                QString key;
                if (!parseString(&key))
                    return false;
                skipSpace();
                if (p == end || *p != ':')
                    return false;
                ++p;
                QVariant item;
                if (!parseValue(&item, depth + 1))
                    return false;
                // Keys usually come sorted, as the encoder writes them.
                map.insert(map.cend(), key, item);
                skipSpace();
                if (p == end)
                    return false;
                if (*p == ',') {
                    ++p;
                    continue;
                }
                if (*p == '}') {
                    ++p;
                    *v = map;
                    return true;
                }
                return false;
            }
        }
        case '[': {
            if (depth >= MaxNesting)
                return false;
            ++p;
            QVariantList list;
            skipSpace();
            if (p != end && *p == ']') {
                ++p;
                *v = list;
                return true;
            }
            for (;;) {
                QVariant item;
                if (!parseValue(&item, depth + 1))
                    return false;
                list.append(item);
                skipSpace();
                if (p == end)
                    return false;
                if (*p == ',') {
                    ++p;
                    continue;
                }
                if (*p == ']') {
                    ++p;
                    *v = list;
                    return true;
                }
                return false;
            }
        }
        case '"': {
            QString s;
            if (!parseString(&s))
                return false;
            *v = s;
            return true;
        }
        case 't':
            if (!literal("true", 4))
                return false;
            *v = true;
            return true;
        case 'f':
            if (!literal("false", 5))
                return false;
            *v = false;
            return true;
        case 'n':
            if (!literal("null", 4))
                return false;
            *v = QVariant();
            return true;
        default:
            return parseNumber(v);
        }
    }
};

bool parseCEscaped(const char *p, const char *end, QString *out)
{
    QByteArray buf;
    buf.reserve(int(end - p));
    while (p != end) {
        const char c = *p++;
        if (c != '\\') {
            buf += c;
            continue;
        }
        if (p == end)
            return false;
        const char e = *p++;
        switch (e) {
        case 'n': buf += '\n'; break;
        case 'r': buf += '\r'; break;
        case 't': buf += '\t'; break;
        case 'a': buf += '\a'; break;
        case 'b': buf += '\b'; break;
        case 'f': buf += '\f'; break;
        case 'v': buf += '\v'; break;
        case '\\': buf += '\\'; break;
        case '"': buf += '"'; break;
        case '\'': buf += '\''; break;
        case '?': buf += '?'; break;
        case 'x': {
            int value = 0;
            int digits = 0;
            while (p != end && digits < 2 && JsonParser::hexValue(*p) >= 0) {
                value = value * 16 + JsonParser::hexValue(*p++);
                ++digits;
            }
            if (digits == 0)
                return false;
            buf += char(value);
            break;
        }
        default:
            if (e >= '0' && e <= '7') {
                int value = e - '0';
                for (int i = 0; i < 2 && p != end && *p >= '0' && *p <= '7'; ++i)
                    value = value * 8 + (*p++ - '0');
                buf += char(value & 0xff);
                break;
            }
            return false;
        }
    }
    *out = QString::fromUtf8(buf.constData(), buf.size());
    return true;
}

bool parseScalarNumber(const char *p, const char *end, QVariant *v)
{
    if (p == end)
        return false;
    bool integral = true;
    for (const char *q = p; q != end && integral; ++q)
        integral = (*q >= '0' && *q <= '9') || (q == p && (*q == '-' || *q == '+'));
    if (integral)
        return JsonParser::numberValue(p, end, false, v);
    // Doubles, and the spellings of infinity and not-a-number.
    const QByteArray text(p, int(end - p));
    bool ok = false;
    const double d = text.toDouble(&ok);
    if (ok && !text.startsWith(' ') && !text.endsWith(' ')) {
        *v = d;
        return true;
    }
    const QByteArray word = text.toLower();
    if (word == "nan") {
        *v = std::nan("");
        return true;
    }
    if (word == "inf" || word == "+inf" || word == "infinity") {
        *v = HUGE_VAL;
        return true;
    }
    if (word == "-inf" || word == "-infinity") {
        *v = -HUGE_VAL;
        return true;
    }
    return false;
}

bool decodeValue(const char *enc, int encLen, const char *value, const char *end, QVariant *out)
{
    if (encLen == 0) {
        *out = QString::fromUtf8(value, int(end - value));
        return true;
    }
    if (encLen == 1) {
        switch (*enc) {
        case 'n':
            return parseScalarNumber(value, end, out);
        case 'b': {
            const int len = int(end - value);
            if (len == 4 && std::memcmp(value, "true", 4) == 0) {
                *out = true;
                return true;
            }
            if (len == 5 && std::memcmp(value, "false", 5) == 0) {
                *out = false;
                return true;
            }
            return false;
        }
        case 'c': {
            QString s;
            if (!parseCEscaped(value, end, &s))
                return false;
            *out = s;
            return true;
        }
        default:
            return false;
        }
    }
    if (encLen == 4 && std::memcmp(enc, "json", 4) == 0)
        return parseJson(value, end, out);
    return false;
}

void mergeObject(QVariantMap &top, const QString &name, const QVariantMap &attributes)
{
    auto it = top.find(name);
    if (it == top.end()) {
        top.insert(name, attributes);
        return;
    }
    QVariantMap merged = it.value().toMap();
    for (auto a = attributes.cbegin(); a != attributes.cend(); ++a)
        merged.insert(a.key(), a.value());
    it.value() = merged;
}

} // namespace

bool appendJson(QByteArray &out, const QVariant &value, int depth)
{
    if (depth > MaxNesting)
        return false;
    const int type = value.userType();
    switch (type) {
    case QMetaType::UnknownType:
    case QMetaType::Nullptr:
        out += "null";
        return true;
    case QMetaType::Bool:
        out += value.toBool() ? "true" : "false";
        return true;
    case QMetaType::Double:
    case QMetaType::Float: {
        const double d = value.toDouble();
        if (std::isnan(d) || std::isinf(d)) {
            out += "null";
            return true;
        }
        appendDouble(out, d);
        return true;
    }
    case QMetaType::QVariantMap: {
        const QVariantMap map = value.toMap();
        out += '{';
        bool first = true;
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            if (!first)
                out += ',';
            first = false;
            appendJsonString(out, it.key());
            out += ':';
            if (!appendJson(out, it.value(), depth + 1))
                return false;
        }
        out += '}';
        return true;
    }
    case QMetaType::QVariantHash: {
        QVariantMap map;
        const QVariantHash hash = value.toHash();
        for (auto it = hash.cbegin(); it != hash.cend(); ++it)
            map.insert(it.key(), it.value());
        return appendJson(out, map, depth);
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        const QVariantList list = value.toList();
        out += '[';
        bool first = true;
        for (const QVariant &item : list) {
            if (!first)
                out += ',';
            first = false;
            if (!appendJson(out, item, depth + 1))
                return false;
        }
        out += ']';
        return true;
    }
    default:
        break;
    }
    if (isIntegerType(type)) {
        appendInteger(out, value);
        return true;
    }
    if (type == QMetaType::QString) {
        appendJsonString(out, value.toString());
        return true;
    }
    QByteArray text;
    if (!scalarText(value, &text))
        return false;
    appendJsonString(out, text);
    return true;
}

bool parseJson(const char *begin, const char *end, QVariant *value)
{
    JsonParser parser{begin, end};
    if (!parser.parseValue(value, 0))
        return false;
    parser.skipSpace();
    return parser.p == parser.end;
}

QByteArray encode(const QVariantMap &map, bool *ok)
{
    QByteArray out;
    out.reserve(512);
    bool good = true;
    // Attributes at top level first: once an "@name" line is written, every
    // following line belongs to that object.
    for (auto it = map.cbegin(); it != map.cend() && good; ++it) {
        if (it.key().startsWith(QLatin1Char('@')) && it.value().userType() == QMetaType::QVariantMap)
            continue;
        good = appendAttribute(out, it.key(), it.value());
    }
    for (auto it = map.cbegin(); it != map.cend() && good; ++it) {
        const QString &key = it.key();
        if (!key.startsWith(QLatin1Char('@')) || it.value().userType() != QMetaType::QVariantMap)
            continue;
        if (key.size() < 2 || key.contains(QLatin1Char('\n'))) {
            good = false;
            break;
        }
        appendUtf8(out, key);
        out += '\n';
        const QVariantMap attributes = it.value().toMap();
        for (auto a = attributes.cbegin(); a != attributes.cend() && good; ++a)
            good = appendAttribute(out, a.key(), a.value());
    }
    if (ok)
        *ok = good;
    if (!good)
        return QByteArray();
    return out;
}

QVariantMap decode(const QByteArray &data, bool *ok)
{
    QVariantMap top;
    QVariantMap current;
    QString currentName;
    bool inObject = false;
    bool good = true;

    const char *p = data.constData();
    const char *const end = p + data.size();
    while (p < end) {
        const char *lineEnd = static_cast<const char *>(std::memchr(p, '\n', size_t(end - p)));
        if (!lineEnd)
            lineEnd = end;
        const char *line = p;
        p = lineEnd + 1;
        if (line == lineEnd)
            continue;

        if (*line == '@' || ((*line == '+' || *line == '-') && lineEnd - line > 1 && line[1] == '@')) {
            const bool notice = *line != '@';
            if (lineEnd - line < (notice ? 3 : 2)) {
                good = false;
                break;
            }
            if (inObject)
                mergeObject(top, currentName, current);
            current.clear();
            currentName = QString::fromUtf8(line, int(lineEnd - line));
            inObject = true;
            continue;
        }
        if (*line == '-') {
            // A removal instruction of a publisher: no data to deliver.
            if (lineEnd - line < 2) {
                good = false;
                break;
            }
            continue;
        }
        const char *colon1 = static_cast<const char *>(std::memchr(line, ':', size_t(lineEnd - line)));
        if (!colon1 || colon1 == line) {
            good = false;
            break;
        }
        const char *encStart = colon1 + 1;
        const char *colon2 = static_cast<const char *>(std::memchr(encStart, ':', size_t(lineEnd - encStart)));
        if (!colon2) {
            good = false;
            break;
        }
        QVariant value;
        if (!decodeValue(encStart, int(colon2 - encStart), colon2 + 1, lineEnd, &value)) {
            good = false;
            break;
        }
        const QString name = QString::fromUtf8(line, int(colon1 - line));
        if (inObject)
            current.insert(current.cend(), name, value);
        else
            top.insert(top.cend(), name, value);
    }
    if (good && inObject)
        mergeObject(top, currentName, current);
    if (ok)
        *ok = good;
    if (!good)
        return QVariantMap();
    return top;
}

} // namespace pps
} // namespace om
