// The PPS encoder: attribute lines at the top level, JSON inside objects and
// lists, written in the order of the calls straight into the encoder's own
// buffer. The text is the one om::PpsObject::decode reads.

#include <sys/pps.h>

#include "libpps/ppstext_p.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace {

using om::libpps::isAttributeName;

enum Kind : unsigned char { ObjectKind = 1, ArrayKind = 2 };

// Appends bytes, or fails the encoder without changing its text.
class Out
{
public:
    explicit Out(pps_encoder_t *e) : m_e(e), m_start(e->length) {}

    bool put(const char *s, size_t n)
    {
        if (m_failed)
            return false;
        if (m_e->length + n > PPS_ENCODER_MAX_LENGTH) {
            m_failed = true;
            return false;
        }
        std::memcpy(m_e->buffer + m_e->length, s, n);
        m_e->length += unsigned(n);
        return true;
    }
    bool put(const char *s) { return put(s, std::strlen(s)); }
    bool put(char c) { return put(&c, 1); }

    // Undoes what this writer added and fails the encoder with @p error.
    pps_encoder_error_t fail(pps_encoder_error_t error)
    {
        m_e->length = m_start;
        m_e->buffer[m_e->length] = '\0';
        m_e->error = error;
        return error;
    }
    pps_encoder_error_t finish()
    {
        if (m_failed)
            return fail(PPS_ENCODER_NO_MEMORY);
        m_e->buffer[m_e->length] = '\0';
        return PPS_ENCODER_OK;
    }

private:
    pps_encoder_t *m_e;
    unsigned m_start;
    bool m_failed = false;
};

bool atTop(const pps_encoder_t *e)
{
    return e->depth == 0 && !e->json;
}

bool inArray(const pps_encoder_t *e)
{
    return e->depth > 0 && e->kinds[e->depth] == ArrayKind;
}

// The two-character escape of @p c, if it has one: the C escapes of a
// line's text, and in JSON also the quote, backspace and form feed.
const char *shortEscape(unsigned char c, bool json)
{
    switch (c) {
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    case '\\':
        return "\\\\";
    case '"':
        return json ? "\\\"" : nullptr;
    case '\b':
        return json ? "\\b" : nullptr;
    case '\f':
        return json ? "\\f" : nullptr;
    default:
        return nullptr;
    }
}

const char hexDigits[] = "0123456789abcdef";

void jsonString(Out &out, const char *s)
{
    out.put('"');
    const char *run = s;
    for (const char *p = s;; ++p) {
        const unsigned char u = static_cast<unsigned char>(*p);
        if (u >= 0x20 && u != '"' && u != '\\')
            continue;
        out.put(run, size_t(p - run));
        if (u == 0)
            break;
        run = p + 1;
        if (const char *escape = shortEscape(u, true)) {
            out.put(escape);
        } else {
            const char unicode[6] = {'\\', 'u', '0', '0', hexDigits[u >> 4], hexDigits[u & 0xf]};
            out.put(unicode, 6);
        }
    }
    out.put('"');
}

void cEscaped(Out &out, const char *s)
{
    for (const char *p = s; *p; ++p) {
        const unsigned char u = static_cast<unsigned char>(*p);
        if (const char *escape = shortEscape(u, false)) {
            out.put(escape);
        } else if (u < 0x20 || u == 0x7f) {
            const char hex[4] = {'\\', 'x', hexDigits[u >> 4], hexDigits[u & 0xf]};
            out.put(hex, 4);
        } else {
            out.put(char(u));
        }
    }
}

// Begins an element: the separator and name that go before its value. At
// the top level that is "name:<encoding>:", elsewhere JSON's ',' and key.
pps_encoder_error_t begin(pps_encoder_t *e, Out &out, const char *name, const char *encoding)
{
    if (atTop(e)) {
        if (!isAttributeName(name))
            return out.fail(PPS_ENCODER_BAD_NAME);
        out.put(name);
        out.put(':');
        out.put(encoding);
        out.put(':');
        return PPS_ENCODER_OK;
    }
    if (!inArray(e) && !name)
        return out.fail(PPS_ENCODER_BAD_NAME);
    if (e->started[e->depth])
        out.put(',');
    if (!inArray(e)) {
        jsonString(out, name);
        out.put(':');
    }
    return PPS_ENCODER_OK;
}

// Ends an element: the line break at the top level.
pps_encoder_error_t end(pps_encoder_t *e, Out &out)
{
    if (atTop(e))
        out.put('\n');
    const pps_encoder_error_t result = out.finish();
    if (result == PPS_ENCODER_OK && e->depth >= 0)
        e->started[e->depth] = 1;
    return result;
}

bool usable(const pps_encoder_t *e)
{
    return e && e->error == PPS_ENCODER_OK;
}

pps_encoder_error_t stuck(pps_encoder_t *e)
{
    return e ? pps_encoder_error_t(e->error) : PPS_ENCODER_BAD_VALUE;
}

// One element: its name and encoding, the value @p write puts, and the end
// of the line at the top level.
template <typename Write>
pps_encoder_error_t element(pps_encoder_t *e, const char *name, const char *encoding,
                            const Write &write)
{
    if (!usable(e))
        return stuck(e);
    Out out(e);
    if (const pps_encoder_error_t error = begin(e, out, name, encoding))
        return error;
    write(out);
    return end(e, out);
}

void putDouble(Out &out, double value)
{
    char text[64];
    const auto result = std::to_chars(text, text + sizeof text, value);
    out.put(text, size_t(result.ptr - text));
    // Keep a double a double on the way back.
    if (!std::memchr(text, '.', size_t(result.ptr - text)) &&
        !std::memchr(text, 'e', size_t(result.ptr - text)))
        out.put(".0");
}

pps_encoder_error_t start(pps_encoder_t *e, const char *name, Kind kind)
{
    if (!usable(e))
        return stuck(e);
    Out out(e);
    if (e->depth >= PPS_MAX_NESTING)
        return out.fail(PPS_ENCODER_BAD_NESTING);
    if (const pps_encoder_error_t error = begin(e, out, name, "json"))
        return error;
    out.put(kind == ObjectKind ? '{' : '[');
    if (const pps_encoder_error_t error = out.finish())
        return error;
    e->started[e->depth] = 1;
    ++e->depth;
    e->kinds[e->depth] = kind;
    e->started[e->depth] = 0;
    return PPS_ENCODER_OK;
}

pps_encoder_error_t finishContainer(pps_encoder_t *e, Kind kind)
{
    if (!usable(e))
        return stuck(e);
    Out out(e);
    if (e->depth <= 0 || e->kinds[e->depth] != kind)
        return out.fail(PPS_ENCODER_BAD_NESTING);
    out.put(kind == ObjectKind ? '}' : ']');
    if (e->depth == 1 && !e->json)
        out.put('\n');
    if (const pps_encoder_error_t error = out.finish())
        return error;
    --e->depth;
    return PPS_ENCODER_OK;
}

} // namespace

extern "C" {

pps_encoder_error_t pps_encoder_initialize(pps_encoder_t *encoder, bool json)
{
    if (!encoder)
        return PPS_ENCODER_BAD_VALUE;
    encoder->json = json ? 1 : 0;
    return pps_encoder_reset(encoder);
}

pps_encoder_error_t pps_encoder_reset(pps_encoder_t *encoder)
{
    if (!encoder)
        return PPS_ENCODER_BAD_VALUE;
    encoder->length = 0;
    encoder->buffer[0] = '\0';
    encoder->error = PPS_ENCODER_OK;
    encoder->depth = 0;
    encoder->kinds[0] = ObjectKind;
    encoder->started[0] = 0;
    if (encoder->json) {
        encoder->buffer[0] = '{';
        encoder->buffer[1] = '\0';
        encoder->length = 1;
    }
    return PPS_ENCODER_OK;
}

void pps_encoder_cleanup(pps_encoder_t *encoder)
{
    pps_encoder_reset(encoder);
}

pps_encoder_error_t pps_encoder_add_string(pps_encoder_t *encoder, const char *name,
                                           const char *value)
{
    if (usable(encoder) && !value)
        return Out(encoder).fail(PPS_ENCODER_BAD_VALUE);
    const bool top = encoder && atTop(encoder);
    const bool escapes = top && value && om::libpps::needsCEscapes(value);
    return element(encoder, name, escapes ? "c" : "", [&](Out &out) {
        if (!top)
            jsonString(out, value);
        else if (escapes)
            cEscaped(out, value);
        else
            out.put(value);
    });
}

pps_encoder_error_t pps_encoder_add_bool(pps_encoder_t *encoder, const char *name, bool value)
{
    return element(encoder, name, "b", [&](Out &out) { out.put(value ? "true" : "false"); });
}

pps_encoder_error_t pps_encoder_add_int64(pps_encoder_t *encoder, const char *name, long long value)
{
    return element(encoder, name, "n", [&](Out &out) {
        char text[24];
        const auto result = std::to_chars(text, text + sizeof text, value);
        out.put(text, size_t(result.ptr - text));
    });
}

pps_encoder_error_t pps_encoder_add_int(pps_encoder_t *encoder, const char *name, int value)
{
    return pps_encoder_add_int64(encoder, name, value);
}

pps_encoder_error_t pps_encoder_add_double(pps_encoder_t *encoder, const char *name, double value)
{
    if (usable(encoder) && !atTop(encoder) && !std::isfinite(value))
        return pps_encoder_add_null(encoder, name);
    return element(encoder, name, "n", [&](Out &out) {
        if (std::isnan(value))
            out.put("nan");
        else if (std::isinf(value))
            out.put(value < 0 ? "-inf" : "inf");
        else
            putDouble(out, value);
    });
}

pps_encoder_error_t pps_encoder_add_null(pps_encoder_t *encoder, const char *name)
{
    return element(encoder, name, "json", [](Out &out) { out.put("null"); });
}

pps_encoder_error_t pps_encoder_start_object(pps_encoder_t *encoder, const char *name)
{
    return start(encoder, name, ObjectKind);
}

pps_encoder_error_t pps_encoder_end_object(pps_encoder_t *encoder)
{
    return finishContainer(encoder, ObjectKind);
}

pps_encoder_error_t pps_encoder_start_array(pps_encoder_t *encoder, const char *name)
{
    return start(encoder, name, ArrayKind);
}

pps_encoder_error_t pps_encoder_end_array(pps_encoder_t *encoder)
{
    return finishContainer(encoder, ArrayKind);
}

const char *pps_encoder_buffer(pps_encoder_t *encoder)
{
    if (!encoder)
        return nullptr;
    // The JSON form's outer object is closed behind the text, which stays
    // open for more elements.
    if (encoder->json && encoder->depth == 0) {
        encoder->buffer[encoder->length] = '}';
        encoder->buffer[encoder->length + 1] = '\0';
    }
    return encoder->buffer;
}

int pps_encoder_length(pps_encoder_t *encoder)
{
    if (!encoder)
        return 0;
    return int(encoder->length) + (encoder->json && encoder->depth == 0 ? 1 : 0);
}

pps_encoder_error_t pps_encoder_error(const pps_encoder_t *encoder)
{
    return encoder ? pps_encoder_error_t(encoder->error) : PPS_ENCODER_BAD_VALUE;
}

} // extern "C"
