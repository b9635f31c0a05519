#ifndef OM_LIBPPS_PPSTEXT_P_H
#define OM_LIBPPS_PPSTEXT_P_H

// Rules of the PPS text that the encoder and the decoder share with the
// codec of om::PpsObject.

namespace om {
namespace libpps {

// A name that can stand at the top level: not empty, no ':' or line break,
// not beginning with '@', '+' or '-' (those begin object and notice lines).
inline bool isAttributeName(const char *name)
{
    if (!name || !*name)
        return false;
    if (*name == '@' || *name == '+' || *name == '-')
        return false;
    for (const char *p = name; *p; ++p) {
        if (*p == ':' || *p == '\n' || *p == '\r')
            return false;
    }
    return true;
}

// Whether a text value must be written with C escapes: control characters
// and backslashes cannot stand in a line as they are.
inline bool needsCEscapes(const char *value)
{
    for (const char *p = value; *p; ++p) {
        const unsigned char c = static_cast<unsigned char>(*p);
        if (c < 0x20 || c == 0x7f || c == '\\')
            return true;
    }
    return false;
}

} // namespace libpps
} // namespace om

#endif
