#include "ppscodec_p.h"

#include <QLocale>
#include <QStringList>

#include <algorithm>
#include <cerrno>
#ifdef __SSE2__
#include <emmintrin.h>
#endif
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace om {
namespace pps {

namespace {

// ---------------------------------------------------------------- writing

// Output of the encoder: a buffer reused for every message of this thread,
// written through a plain pointer. Growing a QByteArray piece by piece cost
// more than the text itself.
class Writer
{
public:
    explicit Writer(std::vector<char> &storage) : m_storage(storage)
    {
        if (m_storage.size() < 4096)
            m_storage.resize(4096);
        m_begin = m_storage.data();
        m_p = m_begin;
        m_end = m_begin + m_storage.size();
    }

    void ensure(size_t n)
    {
        if (size_t(m_end - m_p) < n)
            grow(n);
    }
    void put(char c)
    {
        ensure(1);
        *m_p++ = c;
    }
    void put(const char *s, size_t n)
    {
        ensure(n);
        std::memcpy(m_p, s, n);
        m_p += n;
    }
    template<size_t N>
    void literal(const char (&s)[N])
    {
        put(s, N - 1);
    }
    void put(const QByteArray &bytes) { put(bytes.constData(), size_t(bytes.size())); }

    size_t size() const { return size_t(m_p - m_begin); }
    void truncate(size_t size) { m_p = m_begin + size; }
    char *&cursor() { return m_p; }
    QByteArray bytes() const { return QByteArray(m_begin, int(m_p - m_begin)); }

private:
    void grow(size_t n)
    {
        const size_t used = size();
        m_storage.resize(std::max(m_storage.size() * 2, used + n));
        m_begin = m_storage.data();
        m_p = m_begin + used;
        m_end = m_begin + m_storage.size();
    }

    std::vector<char> &m_storage;
    char *m_begin;
    char *m_p;
    char *m_end;
};

// Characters that a text value cannot carry as they are: a plain value
// needs C escapes for control characters and backslashes, a JSON string
// escapes for control characters, quotes and backslashes.
enum class Text { Name, Plain, Json };

template<Text kind>
inline bool isSpecial(uint c)
{
    switch (kind) {
    case Text::Name: return false;
    case Text::Plain: return c < 0x20 || c == 0x7f || c == '\\';
    case Text::Json: return c < 0x20 || c == '"' || c == '\\';
    }
    return false;
}

// Writes @p s as UTF-8 straight from its UTF-16. Returns false, having
// written an unknown part, if @p s holds a character special to @p kind;
// the caller then truncates and writes it escaped. Text is mostly ASCII,
// which goes eight characters at a time.
template<Text kind>
bool writeUtf8(Writer &w, const QString &s)
{
    const int length = s.size();
    w.ensure(size_t(length) * 3);
    char *dst = w.cursor();
    const ushort *src = s.utf16();
    int i = 0;
#ifdef __SSE2__
    const __m128i nonAscii = _mm_set1_epi16(short(0xff80));
    const __m128i zero = _mm_setzero_si128();
    for (; i + 8 <= length; i += 8) {
        const __m128i chunk = _mm_loadu_si128(reinterpret_cast<const __m128i *>(src + i));
        __m128i special = _mm_cmpeq_epi16(_mm_and_si128(chunk, nonAscii), zero);
        special = _mm_andnot_si128(special, _mm_set1_epi16(-1)); // non-ASCII lanes
        if (kind != Text::Name) {
            special = _mm_or_si128(special, _mm_cmplt_epi16(chunk, _mm_set1_epi16(0x20)));
            special = _mm_or_si128(special, _mm_cmpeq_epi16(chunk, _mm_set1_epi16('\\')));
            special = _mm_or_si128(special, _mm_cmpeq_epi16(
                                                 chunk, _mm_set1_epi16(kind == Text::Json ? '"' : 0x7f)));
        }
        if (_mm_movemask_epi8(special) != 0)
            break; // the careful loop below handles this chunk
        _mm_storel_epi64(reinterpret_cast<__m128i *>(dst), _mm_packus_epi16(chunk, chunk));
        dst += 8;
    }
#endif
    for (; i < length; ++i) {
        uint c = src[i];
        if (c < 0x80) {
            if (isSpecial<kind>(c)) {
                w.cursor() = dst;
                return false;
            }
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
    w.cursor() = dst;
    return true;
}

bool needsCEscapes(const char *p, int length)
{
    for (int i = 0; i < length; ++i) {
        if (isSpecial<Text::Plain>(uchar(p[i])))
            return true;
    }
    return false;
}

void writeCEscaped(Writer &w, const QByteArray &utf8)
{
    static const char hex[] = "0123456789abcdef";
    for (const char c : utf8) {
        const unsigned char u = static_cast<unsigned char>(c);
        switch (c) {
        case '\n': w.literal("\\n"); break;
        case '\r': w.literal("\\r"); break;
        case '\t': w.literal("\\t"); break;
        case '\\': w.literal("\\\\"); break;
        default:
            if (u < 0x20 || u == 0x7f) {
                const char escape[4] = {'\\', 'x', hex[u >> 4], hex[u & 0xf]};
                w.put(escape, 4);
            } else {
                w.put(c);
            }
        }
    }
}

void writeDouble(Writer &w, double v)
{
    if (std::isnan(v)) {
        w.literal("nan");
        return;
    }
    if (std::isinf(v)) {
        if (v < 0)
            w.literal("-inf");
        else
            w.literal("inf");
        return;
    }
    const QByteArray text = QByteArray::number(v, 'g', QLocale::FloatingPointShortest);
    w.put(text);
    // Keep a double a double on the way back.
    if (text.indexOf('.') < 0 && text.indexOf('e') < 0)
        w.literal(".0");
}

void writeJsonString(Writer &w, const QByteArray &utf8)
{
    static const char hex[] = "0123456789abcdef";
    w.put('"');
    for (const char c : utf8) {
        const unsigned char u = static_cast<unsigned char>(c);
        if (u >= 0x20 && c != '"' && c != '\\') {
            w.put(c);
            continue;
        }
        switch (c) {
        case '"': w.literal("\\\""); break;
        case '\\': w.literal("\\\\"); break;
        case '\n': w.literal("\\n"); break;
        case '\r': w.literal("\\r"); break;
        case '\t': w.literal("\\t"); break;
        case '\b': w.literal("\\b"); break;
        case '\f': w.literal("\\f"); break;
        default: {
            const char escape[6] = {'\\', 'u', '0', '0', hex[u >> 4], hex[u & 0xf]};
            w.put(escape, 6);
        }
        }
    }
    w.put('"');
}

// The same for a QString, which needs no escapes in the usual case.
void writeJsonString(Writer &w, const QString &s)
{
    const size_t start = w.size();
    w.put('"');
    if (writeUtf8<Text::Json>(w, s)) {
        w.put('"');
        return;
    }
    w.truncate(start);
    writeJsonString(w, s.toUtf8());
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

void writeInteger(Writer &w, const QVariant &value)
{
    char buf[24];
    int n;
    if (value.userType() == QMetaType::ULongLong || value.userType() == QMetaType::ULong)
        n = std::snprintf(buf, sizeof buf, "%llu", value.toULongLong());
    else
        n = std::snprintf(buf, sizeof buf, "%lld", value.toLongLong());
    w.put(buf, size_t(n));
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

bool writeJson(Writer &w, const QVariant &value, int depth);

bool writeAttribute(Writer &w, const QString &name, const QVariant &value)
{
    if (!isAttributeName(name))
        return false;
    writeUtf8<Text::Name>(w, name);
    const int type = value.userType();
    if (type == QMetaType::QString) {
        const size_t start = w.size();
        w.literal("::");
        if (writeUtf8<Text::Plain>(w, *static_cast<const QString *>(value.constData()))) {
            w.put('\n');
            return true;
        }
        w.truncate(start);
    }
    if (type == QMetaType::Bool) {
        if (value.toBool())
            w.literal(":b:true\n");
        else
            w.literal(":b:false\n");
        return true;
    }
    if (isIntegerType(type)) {
        w.literal(":n:");
        writeInteger(w, value);
        w.put('\n');
        return true;
    }
    if (type == QMetaType::Double || type == QMetaType::Float) {
        w.literal(":n:");
        writeDouble(w, value.toDouble());
        w.put('\n');
        return true;
    }
    if (type == QMetaType::QVariantMap || type == QMetaType::QVariantList
        || type == QMetaType::QStringList || type == QMetaType::QVariantHash
        || type == QMetaType::UnknownType || type == QMetaType::Nullptr) {
        w.literal(":json:");
        if (!writeJson(w, value, 0))
            return false;
        w.put('\n');
        return true;
    }
    QByteArray text;
    if (!scalarText(value, &text))
        return false;
    if (needsCEscapes(text.constData(), text.size())) {
        w.literal(":c:");
        writeCEscaped(w, text);
    } else {
        w.literal("::");
        w.put(text);
    }
    w.put('\n');
    return true;
}

bool writeJson(Writer &w, const QVariant &value, int depth)
{
    if (depth > MaxNesting)
        return false;
    const int type = value.userType();
    switch (type) {
    case QMetaType::UnknownType:
    case QMetaType::Nullptr:
        w.literal("null");
        return true;
    case QMetaType::Bool:
        if (value.toBool())
            w.literal("true");
        else
            w.literal("false");
        return true;
    case QMetaType::Double:
    case QMetaType::Float: {
        const double d = value.toDouble();
        if (std::isnan(d) || std::isinf(d)) {
            w.literal("null");
            return true;
        }
        writeDouble(w, d);
        return true;
    }
    case QMetaType::QString:
        writeJsonString(w, *static_cast<const QString *>(value.constData()));
        return true;
    case QMetaType::QVariantMap: {
        const QVariantMap &map = *static_cast<const QVariantMap *>(value.constData());
        w.put('{');
        bool first = true;
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            if (!first)
                w.put(',');
            first = false;
            writeJsonString(w, it.key());
            w.put(':');
            if (!writeJson(w, it.value(), depth + 1))
                return false;
        }
        w.put('}');
        return true;
    }
    case QMetaType::QVariantHash: {
        QVariantMap map;
        const QVariantHash hash = value.toHash();
        for (auto it = hash.cbegin(); it != hash.cend(); ++it)
            map.insert(it.key(), it.value());
        return writeJson(w, map, depth);
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        const QVariantList list = value.toList();
        w.put('[');
        bool first = true;
        for (const QVariant &item : list) {
            if (!first)
                w.put(',');
            first = false;
            if (!writeJson(w, item, depth + 1))
                return false;
        }
        w.put(']');
        return true;
    }
    default:
        break;
    }
    if (isIntegerType(type)) {
        writeInteger(w, value);
        return true;
    }
    QByteArray text;
    if (!scalarText(value, &text))
        return false;
    writeJsonString(w, text);
    return true;
}

std::vector<char> &writerStorage()
{
    thread_local std::vector<char> storage;
    return storage;
}

// ---------------------------------------------------------------- reading

// UTF-8 to QString. Names and values are short and mostly ASCII, where
// widening sixteen bytes at a time beats the general converter by far.
QString fromUtf8(const char *p, int length)
{
    if (length <= 0)
        return QString::fromUtf8(p, 0);
    QString s(length, Qt::Uninitialized);
    ushort *dst = reinterpret_cast<ushort *>(s.data());
    int i = 0;
#ifdef __SSE2__
    const __m128i zero = _mm_setzero_si128();
    for (; i + 16 <= length; i += 16) {
        const __m128i chunk = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p + i));
        if (_mm_movemask_epi8(chunk) != 0)
            return QString::fromUtf8(p, length);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(dst + i), _mm_unpacklo_epi8(chunk, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(dst + i + 8), _mm_unpackhi_epi8(chunk, zero));
    }
#endif
    for (; i < length; ++i) {
        const uchar c = uchar(p[i]);
        if (c >= 0x80)
            return QString::fromUtf8(p, length);
        dst[i] = c;
    }
    return s;
}

// Attribute names repeat from message to message ("msg", "id", "dat",
// "itemId"...). Each thread keeps the strings of the short names it has met,
// so a repeated name costs a reference instead of an allocation. The cache
// is small and fills once; names it has no room for are converted as usual.
class NameCache
{
public:
    QString get(const char *p, int length)
    {
        if (length <= 0 || length > MaxLength)
            return fromUtf8(p, length);
        uint h = uint(length);
        for (int i = 0; i < length; ++i)
            h = h * 31 + uchar(p[i]);
        for (int probe = 0; probe < 4; ++probe) {
            Entry &e = m_entries[(h + uint(probe)) % Size];
            if (e.length == length && std::memcmp(e.bytes, p, size_t(length)) == 0)
                return e.text;
            if (e.length == 0) {
                if (m_used >= Size * 3 / 4)
                    break;
                ++m_used;
                std::memcpy(e.bytes, p, size_t(length));
                e.length = length;
                e.text = fromUtf8(p, length);
                return e.text;
            }
        }
        return fromUtf8(p, length);
    }

private:
    static constexpr int MaxLength = 24;
    static constexpr uint Size = 256;
    struct Entry
    {
        char bytes[MaxLength];
        int length = 0;
        QString text;
    };
    Entry m_entries[Size];
    uint m_used = 0;
};

QString attributeName(const char *p, int length)
{
    thread_local NameCache cache;
    return cache.get(p, length);
}

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
            *s = fromUtf8(start, int(p - start));
            ++p;
            return true;
        }
        QByteArray buf(start, int(p - start));
        while (p != end) {
            const char c = *p++;
            if (c == '"') {
                *s = fromUtf8(buf.constData(), buf.size());
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

    // An object's key: plain keys come from the name cache.
    bool parseKey(QString *key)
    {
        const char *start = p + 1;
        const char *q = start;
        while (q != end && *q != '"' && *q != '\\' && static_cast<unsigned char>(*q) >= 0x20)
            ++q;
        if (q != end && *q == '"') {
            *key = attributeName(start, int(q - start));
            p = q + 1;
            return true;
        }
        return parseString(key);
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
                if (!parseKey(&key))
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
    *out = fromUtf8(buf.constData(), buf.size());
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
        *out = fromUtf8(value, int(end - value));
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
    Writer w(writerStorage());
    bool good = true;
    // Attributes at top level first: once an "@name" line is written, every
    // following line belongs to that object.
    for (auto it = map.cbegin(); it != map.cend() && good; ++it) {
        if (it.key().startsWith(QLatin1Char('@')) && it.value().userType() == QMetaType::QVariantMap)
            continue;
        good = writeAttribute(w, it.key(), it.value());
    }
    for (auto it = map.cbegin(); it != map.cend() && good; ++it) {
        const QString &key = it.key();
        if (!key.startsWith(QLatin1Char('@')) || it.value().userType() != QMetaType::QVariantMap)
            continue;
        if (key.size() < 2 || key.contains(QLatin1Char('\n'))) {
            good = false;
            break;
        }
        writeUtf8<Text::Name>(w, key);
        w.put('\n');
        const QVariantMap &attributes = *static_cast<const QVariantMap *>(it.value().constData());
        for (auto a = attributes.cbegin(); a != attributes.cend() && good; ++a)
            good = writeAttribute(w, a.key(), a.value());
    }
    if (ok)
        *ok = good;
    if (!good)
        return QByteArray();
    return w.bytes();
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
            currentName = fromUtf8(line, int(lineEnd - line));
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
        const QString name = attributeName(line, int(colon1 - line));
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
