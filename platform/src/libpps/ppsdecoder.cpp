// The PPS decoder. Parsing checks the whole text once and rewrites it in
// place into a form that can be walked without any storage of its own:
//
// - a top-level line "name:enc:value\n" becomes "name\0enc\0value\0", with
//   C escapes of a "c" value resolved and the bytes they freed set to NUL;
// - an object line "@name\n" becomes "@name\0"; removal lines and empty
//   lines become line breaks, which the walk skips;
// - inside JSON, a string "..." keeps its opening quote, its escapes are
//   resolved, a NUL ends it, and the bytes its escapes freed become blanks,
//   which JSON skips. Everything else of the JSON stays as it was.
//
// Every rewritten piece is at most as long as the text it came from, so
// the walk needs only positions, and the decoder's structure holds no more
// than one position set per level of nesting.

#include <sys/pps.h>

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace {

enum FrameKind { RootKind = 1, SectionKind = 2, ObjectKind = 3, ArrayKind = 4 };

// ---------------------------------------------------------------- parsing

bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

int hexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// Whether a number's text converts: as a 64-bit integer, else as a double
// in range (text beyond the range of a double is no number).
bool convertible(const char *p, const char *end)
{
    if (p != end && *p == '+')
        ++p;
    long long integer;
    const auto asInteger = std::from_chars(p, end, integer);
    if (asInteger.ec == std::errc() && asInteger.ptr == end)
        return true;
    double real;
    const auto asReal = std::from_chars(p, end, real);
    return asReal.ec == std::errc() && asReal.ptr == end;
}

// Writes the UTF-8 form of @p cp at @p w; a NUL ends the string, so what
// follows it is dropped (@p open turns false).
void putUtf8(char *&w, unsigned cp, bool &open)
{
    if (!open)
        return;
    if (cp == 0) {
        open = false;
    } else if (cp < 0x80) {
        *w++ = char(cp);
    } else if (cp < 0x800) {
        *w++ = char(0xc0 | (cp >> 6));
        *w++ = char(0x80 | (cp & 0x3f));
    } else if (cp < 0x10000) {
        *w++ = char(0xe0 | (cp >> 12));
        *w++ = char(0x80 | ((cp >> 6) & 0x3f));
        *w++ = char(0x80 | (cp & 0x3f));
    } else {
        *w++ = char(0xf0 | (cp >> 18));
        *w++ = char(0x80 | ((cp >> 12) & 0x3f));
        *w++ = char(0x80 | ((cp >> 6) & 0x3f));
        *w++ = char(0x80 | (cp & 0x3f));
    }
}

// A JSON text between p and end, checked and rewritten in place.
struct JsonParser
{
    char *p;
    char *end;

    void skipSpace()
    {
        while (p != end && isSpace(*p))
            ++p;
    }

    bool readHex4(unsigned *v)
    {
        if (end - p < 4)
            return false;
        unsigned r = 0;
        for (int i = 0; i < 4; ++i) {
            const int h = hexValue(p[i]);
            if (h < 0)
                return false;
            r = (r << 4) | unsigned(h);
        }
        p += 4;
        *v = r;
        return true;
    }

    bool parseString()
    {
        char *w = ++p; // the opening quote stays
        bool open = true;
        for (;;) {
            if (p == end)
                return false;
            const char c = *p;
            if (c == '"')
                break;
            if (static_cast<unsigned char>(c) < 0x20)
                return false;
            ++p;
            if (c != '\\') {
                if (open)
                    *w++ = c;
                continue;
            }
            if (p == end)
                return false;
            const char e = *p++;
            switch (e) {
            case '"':
                putUtf8(w, '"', open);
                break;
            case '\\':
                putUtf8(w, '\\', open);
                break;
            case '/':
                putUtf8(w, '/', open);
                break;
            case 'b':
                putUtf8(w, '\b', open);
                break;
            case 'f':
                putUtf8(w, '\f', open);
                break;
            case 'n':
                putUtf8(w, '\n', open);
                break;
            case 'r':
                putUtf8(w, '\r', open);
                break;
            case 't':
                putUtf8(w, '\t', open);
                break;
            case 'u': {
                unsigned cp;
                if (!readHex4(&cp))
                    return false;
                if (cp >= 0xd800 && cp < 0xdc00) {
                    if (end - p >= 6 && p[0] == '\\' && p[1] == 'u') {
                        p += 2;
                        unsigned low;
                        if (!readHex4(&low) || low < 0xdc00 || low >= 0xe000)
                            return false;
                        cp = 0x10000 + ((cp - 0xd800) << 10) + (low - 0xdc00);
                    } else {
                        cp = 0xfffd;
                    }
                } else if (cp >= 0xdc00 && cp < 0xe000) {
                    cp = 0xfffd;
                }
                putUtf8(w, cp, open);
                break;
            }
            default:
                return false;
            }
        }
        // p is at the closing quote: end the string, blank what it freed.
        *w = '\0';
        for (char *q = w + 1; q <= p; ++q)
            *q = ' ';
        ++p;
        return true;
    }

    bool digits()
    {
        if (p == end || !(*p >= '0' && *p <= '9'))
            return false;
        while (p != end && *p >= '0' && *p <= '9')
            ++p;
        return true;
    }

    bool parseNumber()
    {
        const char *start = p;
        if (!parseNumberText())
            return false;
        return convertible(start, p);
    }

    bool parseNumberText()
    {
        if (p != end && *p == '-')
            ++p;
        if (!digits())
            return false;
        if (p != end && *p == '.') {
            ++p;
            if (!digits())
                return false;
        }
        if (p != end && (*p == 'e' || *p == 'E')) {
            ++p;
            if (p != end && (*p == '+' || *p == '-'))
                ++p;
            if (!digits())
                return false;
        }
        return true;
    }

    bool literal(const char *word)
    {
        const size_t len = std::strlen(word);
        if (size_t(end - p) < len || std::memcmp(p, word, len) != 0)
            return false;
        p += len;
        return true;
    }

    bool parseValue(int depth)
    {
        skipSpace();
        if (p == end)
            return false;
        switch (*p) {
        case '{':
        case '[': {
            const bool object = *p == '{';
            const char close = object ? '}' : ']';
            if (depth >= PPS_MAX_NESTING)
                return false;
            ++p;
            skipSpace();
            if (p != end && *p == close) {
                ++p;
                return true;
            }
            for (;;) {
                if (object) {
                    skipSpace();
                    if (p == end || *p != '"' || !parseString())
                        return false;
                    skipSpace();
                    if (p == end || *p != ':')
                        return false;
                    ++p;
                }
                if (!parseValue(depth + 1))
                    return false;
                skipSpace();
                if (p == end)
                    return false;
                if (*p == ',') {
                    ++p;
                    continue;
                }
                if (*p == close) {
                    ++p;
                    return true;
                }
                return false;
            }
        }
        case '"':
            return parseString();
        case 't':
            return literal("true");
        case 'f':
            return literal("false");
        case 'n':
            return literal("null");
        default:
            return parseNumber();
        }
    }

    // The whole range is one value, with blanks around it.
    bool parseAll()
    {
        if (!parseValue(0))
            return false;
        skipSpace();
        return p == end;
    }
};

// The number of a top-level "n" line: a decimal number with an optional
// sign, fraction and exponent, or nan, inf or infinity; tabs and the like
// around it are allowed, blanks are not. The number is moved to the start
// of the value; returns its end, or null if the text is no number.
char *normaliseNumber(char *value, char *end)
{
    auto trimmed = [](char c) { return c == '\t' || c == '\v' || c == '\f' || c == '\r'; };
    char *p = value;
    while (p != end && trimmed(*p))
        ++p;
    while (end != p && trimmed(end[-1]))
        --end;
    if (p == end)
        return nullptr;
    const char *q = p;
    if (*q == '+' || *q == '-')
        ++q;
    const size_t rest = size_t(end - q);
    auto word = [&](const char *w) {
        const size_t n = std::strlen(w);
        if (rest != n)
            return false;
        for (size_t i = 0; i < n; ++i) {
            if ((q[i] | 0x20) != w[i])
                return false;
        }
        return true;
    };
    if (!word("nan") && !word("inf") && !word("infinity")) {
        bool any = false;
        while (q != end && *q >= '0' && *q <= '9') {
            ++q;
            any = true;
        }
        if (q != end && *q == '.') {
            ++q;
            while (q != end && *q >= '0' && *q <= '9') {
                ++q;
                any = true;
            }
        }
        if (!any)
            return nullptr;
        if (q != end && (*q == 'e' || *q == 'E')) {
            ++q;
            if (q != end && (*q == '+' || *q == '-'))
                ++q;
            if (q == end || !(*q >= '0' && *q <= '9'))
                return nullptr;
            while (q != end && *q >= '0' && *q <= '9')
                ++q;
        }
        if (q != end || !convertible(p, end))
            return nullptr;
    }
    const size_t length = size_t(end - p);
    std::memmove(value, p, length);
    return value + length;
}

// Resolves the C escapes of [p, end) in place; returns the end of the text
// written, or null if an escape is bad.
char *unescapeC(char *p, char *end)
{
    char *w = p;
    bool open = true;
    auto put = [&](unsigned char c) {
        if (c == 0)
            open = false;
        if (open)
            *w++ = char(c);
    };
    while (p != end) {
        const char c = *p++;
        if (c != '\\') {
            put(static_cast<unsigned char>(c));
            continue;
        }
        if (p == end)
            return nullptr;
        const char e = *p++;
        switch (e) {
        case 'n':
            put('\n');
            break;
        case 'r':
            put('\r');
            break;
        case 't':
            put('\t');
            break;
        case 'a':
            put('\a');
            break;
        case 'b':
            put('\b');
            break;
        case 'f':
            put('\f');
            break;
        case 'v':
            put('\v');
            break;
        case '\\':
            put('\\');
            break;
        case '"':
            put('"');
            break;
        case '\'':
            put('\'');
            break;
        case '?':
            put('?');
            break;
        case 'x': {
            int value = 0;
            int count = 0;
            while (p != end && count < 2 && hexValue(*p) >= 0) {
                value = value * 16 + hexValue(*p++);
                ++count;
            }
            if (count == 0)
                return nullptr;
            put(static_cast<unsigned char>(value));
            break;
        }
        default:
            if (e >= '0' && e <= '7') {
                int value = e - '0';
                for (int i = 0; i < 2 && p != end && *p >= '0' && *p <= '7'; ++i)
                    value = value * 8 + (*p++ - '0');
                put(static_cast<unsigned char>(value & 0xff));
                break;
            }
            return nullptr;
        }
    }
    return w;
}

bool isObjectLine(const char *line, const char *lineEnd)
{
    return *line == '@' || ((*line == '+' || *line == '-') && lineEnd - line > 1 && line[1] == '@');
}

bool parseLines(char *text, char *end)
{
    char *p = text;
    while (p < end) {
        char *lineEnd = static_cast<char *>(std::memchr(p, '\n', size_t(end - p)));
        if (!lineEnd)
            lineEnd = end;
        char *line = p;
        p = lineEnd + 1;
        if (line == lineEnd)
            continue;
        if (isObjectLine(line, lineEnd)) {
            if (lineEnd - line < (*line == '@' ? 2 : 3))
                return false;
            *lineEnd = '\0';
            continue;
        }
        if (*line == '-') {
            // A publisher's removal of an attribute: no element.
            if (lineEnd - line < 2)
                return false;
            std::memset(line, '\n', size_t(lineEnd - line));
            continue;
        }
        char *colon1 = static_cast<char *>(std::memchr(line, ':', size_t(lineEnd - line)));
        if (!colon1 || colon1 == line)
            return false;
        char *encoding = colon1 + 1;
        char *colon2 = static_cast<char *>(std::memchr(encoding, ':', size_t(lineEnd - encoding)));
        if (!colon2)
            return false;
        char *value = colon2 + 1;
        const size_t encodingLength = size_t(colon2 - encoding);
        if (encodingLength == 0) {
            // Text as it stands.
        } else if (encodingLength == 1 && *encoding == 'n') {
            char *numberEnd = normaliseNumber(value, lineEnd);
            if (!numberEnd)
                return false;
            std::memset(numberEnd, 0, size_t(lineEnd - numberEnd));
        } else if (encodingLength == 1 && *encoding == 'b') {
            const size_t n = size_t(lineEnd - value);
            if (!((n == 4 && std::memcmp(value, "true", 4) == 0) ||
                  (n == 5 && std::memcmp(value, "false", 5) == 0)))
                return false;
        } else if (encodingLength == 1 && *encoding == 'c') {
            char *w = unescapeC(value, lineEnd);
            if (!w)
                return false;
            std::memset(w, 0, size_t(lineEnd - w));
        } else if (encodingLength == 4 && std::memcmp(encoding, "json", 4) == 0) {
            JsonParser json{value, lineEnd};
            if (!json.parseAll())
                return false;
        } else {
            return false;
        }
        *colon1 = '\0';
        *colon2 = '\0';
        *lineEnd = '\0';
    }
    return true;
}

// ---------------------------------------------------------------- walking

struct Element
{
    unsigned pos = 0; // where the element begins
    const char *name = nullptr;
    unsigned value = 0; // first character of the value
    pps_node_type_t type = PPS_TYPE_NONE;
    bool isLine = false; // a top-level attribute line
    bool isObjectLine = false;
};

class Walker
{
public:
    explicit Walker(pps_decoder_t *d) : T(d->text), L(d->length) {}

    unsigned skipBreaks(unsigned pos) const
    {
        if (pos > L)
            return L;
        while (pos < L && (T[pos] == '\0' || T[pos] == '\n'))
            ++pos;
        return pos;
    }
    unsigned skipSpace(unsigned pos) const
    {
        while (pos < L && isSpace(T[pos]))
            ++pos;
        return pos;
    }
    bool isObjectLineAt(unsigned pos) const
    {
        return pos < L &&
               (T[pos] == '@' || ((T[pos] == '+' || T[pos] == '-') && T[pos + 1] == '@'));
    }

    // Whether @p pos is past the last element of a container of @p kind.
    bool atEnd(int kind, unsigned pos) const
    {
        switch (kind) {
        case RootKind:
            return pos >= L;
        case SectionKind:
            return pos >= L || isObjectLineAt(pos);
        default:
            return pos >= L || T[pos] == '}' || T[pos] == ']';
        }
    }

    static pps_node_type_t jsonType(char c)
    {
        switch (c) {
        case '"':
            return PPS_TYPE_STRING;
        case '{':
            return PPS_TYPE_OBJECT;
        case '[':
            return PPS_TYPE_ARRAY;
        case 't':
        case 'f':
            return PPS_TYPE_BOOL;
        case 'n':
            return PPS_TYPE_NULL;
        default:
            return PPS_TYPE_NUMBER;
        }
    }

    Element read(int kind, unsigned pos) const
    {
        Element e;
        e.pos = pos;
        if (atEnd(kind, pos))
            return e;
        if (kind == RootKind || kind == SectionKind) {
            e.name = T + pos;
            if (isObjectLineAt(pos)) {
                e.isObjectLine = true;
                e.value = pos;
                e.type = PPS_TYPE_OBJECT;
                return e;
            }
            e.isLine = true;
            const char *encoding = e.name + std::strlen(e.name) + 1;
            e.value = unsigned(encoding + std::strlen(encoding) + 1 - T);
            if (!*encoding || std::strcmp(encoding, "c") == 0) {
                e.type = PPS_TYPE_STRING;
            } else if (std::strcmp(encoding, "n") == 0) {
                e.type = PPS_TYPE_NUMBER;
            } else if (std::strcmp(encoding, "b") == 0) {
                e.type = PPS_TYPE_BOOL;
            } else {
                e.value = skipSpace(e.value);
                e.type = jsonType(T[e.value]);
                e.isLine = false; // its value is JSON
                e.name = T + pos;
            }
            return e;
        }
        if (kind == ObjectKind) {
            e.name = T + pos + 1;
            unsigned q = pos + 1 + unsigned(std::strlen(e.name)) + 1;
            q = skipSpace(q); // to the ':'
            e.value = skipSpace(q + 1);
        } else {
            e.value = pos;
        }
        e.type = jsonType(T[e.value]);
        return e;
    }

    // The position after a JSON value that begins at @p q.
    unsigned skipJson(unsigned q) const
    {
        if (T[q] == '"')
            return q + 1 + unsigned(std::strlen(T + q + 1)) + 1;
        if (T[q] == '{' || T[q] == '[') {
            int depth = 0;
            do {
                const char c = T[q];
                if (c == '"') {
                    q = q + 1 + unsigned(std::strlen(T + q + 1)) + 1;
                    continue;
                }
                if (c == '{' || c == '[')
                    ++depth;
                else if (c == '}' || c == ']')
                    --depth;
                ++q;
            } while (depth > 0 && q < L);
            return q;
        }
        while (q < L && T[q] && !isSpace(T[q]) && T[q] != ',' && T[q] != '}' && T[q] != ']')
            ++q;
        return q;
    }

    // The first element of a container whose body begins at @p pos.
    unsigned first(int kind, unsigned pos) const
    {
        return (kind == RootKind || kind == SectionKind) ? skipBreaks(pos) : skipSpace(pos);
    }

    // The element after @p e in a container of @p kind.
    unsigned next(int kind, const Element &e) const
    {
        if (kind == RootKind || kind == SectionKind) {
            if (e.isObjectLine) {
                unsigned q = skipBreaks(e.pos + unsigned(std::strlen(T + e.pos)) + 1);
                while (q < L && !isObjectLineAt(q))
                    q = next(SectionKind, read(SectionKind, q));
                return q;
            }
            unsigned q = e.value;
            if (e.isLine)
                q += unsigned(std::strlen(T + q));
            else
                q = skipSpace(skipJson(q));
            return skipBreaks(q);
        }
        unsigned q = skipSpace(skipJson(e.value));
        if (q < L && T[q] == ',')
            q = skipSpace(q + 1);
        return q;
    }

    // The start of the body of the container @p e, and its kind.
    unsigned body(const Element &e, int *kind) const
    {
        if (e.isObjectLine) {
            *kind = SectionKind;
            return first(SectionKind, e.pos + unsigned(std::strlen(T + e.pos)) + 1);
        }
        *kind = e.type == PPS_TYPE_OBJECT ? ObjectKind : ArrayKind;
        return skipSpace(e.value + 1);
    }

    // The span of a number's text.
    unsigned numberEnd(const Element &e) const
    {
        if (e.isLine)
            return e.value + unsigned(std::strlen(T + e.value));
        return skipJson(e.value);
    }

    const char *T;
    unsigned L;
};

auto &frame(pps_decoder_t *d)
{
    return d->frames[d->depth];
}

// Finds the element that an operation means: by name in the current
// container, or the current element for a null name.
pps_decoder_error_t locate(pps_decoder_t *d, const char *name, Element *e, int *index = nullptr)
{
    if (!d || !d->text)
        return PPS_DECODER_BAD_ARGUMENT;
    const Walker w(d);
    const auto &f = frame(d);
    if (!name) {
        *e = w.read(f.kind, f.current);
        if (index)
            *index = f.index;
        return e->type == PPS_TYPE_NONE ? PPS_DECODER_BAD_NAME : PPS_DECODER_OK;
    }
    int i = 0;
    for (unsigned pos = f.begin; !w.atEnd(f.kind, pos); ++i) {
        const Element candidate = w.read(f.kind, pos);
        if (candidate.name && std::strcmp(candidate.name, name) == 0) {
            *e = candidate;
            if (index)
                *index = i;
            return PPS_DECODER_OK;
        }
        pos = w.next(f.kind, candidate);
    }
    return PPS_DECODER_BAD_NAME;
}

// After a read with a null name: on to the next element.
void advance(pps_decoder_t *d, const char *name, const Element &e)
{
    if (name)
        return;
    auto &f = frame(d);
    f.current = Walker(d).next(f.kind, e);
    ++f.index;
}

enum class NumberForm { Bad, Integer, Real };

// The number of an element as a 64-bit integer if it is one, and as a
// double in any case.
NumberForm number(pps_decoder_t *d, const Element &e, long long *integer, double *real)
{
    const Walker w(d);
    const char *p = d->text + e.value;
    const char *end = d->text + w.numberEnd(e);
    if (*p == '+')
        ++p;
    if (p == end)
        return NumberForm::Bad;
    const auto asInteger = std::from_chars(p, end, *integer);
    if (asInteger.ec == std::errc() && asInteger.ptr == end) {
        *real = double(*integer);
        return NumberForm::Integer;
    }
    const auto asReal = std::from_chars(p, end, *real);
    if (asReal.ec != std::errc() || asReal.ptr != end)
        return NumberForm::Bad;
    return NumberForm::Real;
}

template <typename T> pps_decoder_error_t getInteger(pps_decoder_t *d, const char *name, T *value)
{
    if (!value)
        return PPS_DECODER_BAD_ARGUMENT;
    Element e;
    if (const pps_decoder_error_t error = locate(d, name, &e))
        return error;
    if (e.type != PPS_TYPE_NUMBER)
        return PPS_DECODER_BAD_TYPE;
    long long integer = 0;
    double real = 0;
    switch (number(d, e, &integer, &real)) {
    case NumberForm::Bad:
        return PPS_DECODER_BAD_TYPE;
    case NumberForm::Real:
        // A whole number written as a double will do.
        if (!(std::trunc(real) == real && real >= -9223372036854775808.0 &&
              real < 9223372036854775808.0))
            return PPS_DECODER_BAD_TYPE;
        integer = static_cast<long long>(real);
        break;
    case NumberForm::Integer:
        break;
    }
    if (integer < std::numeric_limits<T>::min() || integer > std::numeric_limits<T>::max())
        return PPS_DECODER_BAD_TYPE;
    *value = T(integer);
    advance(d, name, e);
    return PPS_DECODER_OK;
}

} // namespace

extern "C" {

pps_decoder_error_t pps_decoder_initialize(pps_decoder_t *decoder, char *text)
{
    if (!decoder)
        return PPS_DECODER_BAD_ARGUMENT;
    pps_decoder_cleanup(decoder);
    return text ? pps_decoder_parse_pps_str(decoder, text) : PPS_DECODER_OK;
}

void pps_decoder_cleanup(pps_decoder_t *decoder)
{
    if (!decoder)
        return;
    decoder->text = nullptr;
    decoder->length = 0;
    decoder->depth = 0;
}

static pps_decoder_error_t start(pps_decoder_t *decoder, char *text, bool json)
{
    if (!decoder || !text)
        return PPS_DECODER_BAD_ARGUMENT;
    pps_decoder_cleanup(decoder);
    const size_t length = std::strlen(text);
    if (length >= std::numeric_limits<unsigned>::max() - 2)
        return PPS_DECODER_PARSE_ERROR;
    auto &root = decoder->frames[0];
    root.origin = 0;
    root.originIndex = 0;
    root.index = 0;
    if (json) {
        JsonParser parser{text, text + length};
        parser.skipSpace();
        if (parser.p == parser.end || *parser.p != '{')
            return PPS_DECODER_PARSE_ERROR;
        char *open = parser.p;
        if (!parser.parseAll())
            return PPS_DECODER_PARSE_ERROR;
        decoder->text = text;
        decoder->length = unsigned(length);
        root.kind = ObjectKind;
        root.begin = Walker(decoder).skipSpace(unsigned(open - text) + 1);
    } else {
        if (!parseLines(text, text + length))
            return PPS_DECODER_PARSE_ERROR;
        decoder->text = text;
        decoder->length = unsigned(length);
        root.kind = RootKind;
        root.begin = Walker(decoder).first(RootKind, 0);
    }
    root.current = root.begin;
    return PPS_DECODER_OK;
}

pps_decoder_error_t pps_decoder_parse_pps_str(pps_decoder_t *decoder, char *text)
{
    return start(decoder, text, false);
}

pps_decoder_error_t pps_decoder_parse_json_str(pps_decoder_t *decoder, char *text)
{
    return start(decoder, text, true);
}

pps_decoder_error_t pps_decoder_push(pps_decoder_t *decoder, const char *name)
{
    Element e;
    int index = 0;
    if (const pps_decoder_error_t error = locate(decoder, name, &e, &index))
        return error;
    if (e.type != PPS_TYPE_OBJECT && e.type != PPS_TYPE_ARRAY)
        return PPS_DECODER_BAD_TYPE;
    if (decoder->depth + 1 >= int(sizeof decoder->frames / sizeof decoder->frames[0]))
        return PPS_DECODER_BAD_NESTING;
    int kind = 0;
    const unsigned begin = Walker(decoder).body(e, &kind);
    ++decoder->depth;
    auto &f = frame(decoder);
    f.kind = kind;
    f.begin = begin;
    f.current = begin;
    f.index = 0;
    f.origin = e.pos;
    f.originIndex = index;
    return PPS_DECODER_OK;
}

pps_decoder_error_t pps_decoder_pop(pps_decoder_t *decoder)
{
    if (!decoder || !decoder->text)
        return PPS_DECODER_BAD_ARGUMENT;
    if (decoder->depth == 0)
        return PPS_DECODER_BAD_NESTING;
    const unsigned origin = frame(decoder).origin;
    const int originIndex = frame(decoder).originIndex;
    --decoder->depth;
    auto &f = frame(decoder);
    const Walker w(decoder);
    f.current = w.next(f.kind, w.read(f.kind, origin));
    f.index = originIndex + 1;
    return PPS_DECODER_OK;
}

pps_decoder_error_t pps_decoder_next(pps_decoder_t *decoder)
{
    Element e;
    if (const pps_decoder_error_t error = locate(decoder, nullptr, &e))
        return error;
    advance(decoder, nullptr, e);
    return PPS_DECODER_OK;
}

int pps_decoder_length(pps_decoder_t *decoder)
{
    if (!decoder || !decoder->text)
        return -1;
    const Walker w(decoder);
    const auto &f = frame(decoder);
    int count = 0;
    for (unsigned pos = f.begin; !w.atEnd(f.kind, pos); pos = w.next(f.kind, w.read(f.kind, pos)))
        ++count;
    return count;
}

pps_node_type_t pps_decoder_type(pps_decoder_t *decoder, const char *name)
{
    Element e;
    if (locate(decoder, name, &e) != PPS_DECODER_OK)
        return PPS_TYPE_NONE;
    return e.type;
}

const char *pps_decoder_name(pps_decoder_t *decoder)
{
    Element e;
    if (locate(decoder, nullptr, &e) != PPS_DECODER_OK)
        return nullptr;
    return e.name;
}

pps_decoder_error_t pps_decoder_get_string(pps_decoder_t *decoder, const char *name,
                                           const char **value)
{
    if (!value)
        return PPS_DECODER_BAD_ARGUMENT;
    Element e;
    if (const pps_decoder_error_t error = locate(decoder, name, &e))
        return error;
    if (e.type != PPS_TYPE_STRING)
        return PPS_DECODER_BAD_TYPE;
    *value = decoder->text + e.value + (e.isLine ? 0 : 1);
    advance(decoder, name, e);
    return PPS_DECODER_OK;
}

pps_decoder_error_t pps_decoder_get_bool(pps_decoder_t *decoder, const char *name, bool *value)
{
    if (!value)
        return PPS_DECODER_BAD_ARGUMENT;
    Element e;
    if (const pps_decoder_error_t error = locate(decoder, name, &e))
        return error;
    if (e.type != PPS_TYPE_BOOL)
        return PPS_DECODER_BAD_TYPE;
    *value = decoder->text[e.value] == 't';
    advance(decoder, name, e);
    return PPS_DECODER_OK;
}

pps_decoder_error_t pps_decoder_get_int(pps_decoder_t *decoder, const char *name, int *value)
{
    return getInteger(decoder, name, value);
}

pps_decoder_error_t pps_decoder_get_int64(pps_decoder_t *decoder, const char *name,
                                          long long *value)
{
    return getInteger(decoder, name, value);
}

pps_decoder_error_t pps_decoder_get_double(pps_decoder_t *decoder, const char *name, double *value)
{
    if (!value)
        return PPS_DECODER_BAD_ARGUMENT;
    Element e;
    if (const pps_decoder_error_t error = locate(decoder, name, &e))
        return error;
    if (e.type != PPS_TYPE_NUMBER)
        return PPS_DECODER_BAD_TYPE;
    long long integer = 0;
    double real = 0;
    if (number(decoder, e, &integer, &real) == NumberForm::Bad)
        return PPS_DECODER_BAD_TYPE;
    *value = real;
    advance(decoder, name, e);
    return PPS_DECODER_OK;
}

bool pps_decoder_is_integer(pps_decoder_t *decoder, const char *name)
{
    Element e;
    if (locate(decoder, name, &e) != PPS_DECODER_OK || e.type != PPS_TYPE_NUMBER)
        return false;
    long long integer = 0;
    double real = 0;
    return number(decoder, e, &integer, &real) == NumberForm::Integer;
}

pps_decoder_error_t pps_decoder_get_null(pps_decoder_t *decoder, const char *name)
{
    Element e;
    if (const pps_decoder_error_t error = locate(decoder, name, &e))
        return error;
    if (e.type != PPS_TYPE_NULL)
        return PPS_DECODER_BAD_TYPE;
    advance(decoder, name, e);
    return PPS_DECODER_OK;
}

} // extern "C"
