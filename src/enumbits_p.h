#ifndef OM_PLATFORM_ENUMBITS_P_H
#define OM_PLATFORM_ENUMBITS_P_H

#include <cstring>
#include <type_traits>

namespace om {
namespace platform {

/**
 * The number an enumeration variable holds, read from its bytes. The
 * library takes modes and options as enumerations, and a caller (a script
 * through a property, a cast from an int) may put any number in one:
 * reading such a value as the enumeration is undefined, reading its bytes
 * is not. A mode that may be any number is read through this, then
 * compared as a number with the values the code knows.
 */
template <typename E> int enumBits(const E &value)
{
    static_assert(std::is_enum<E>::value, "an enumeration");
    typename std::underlying_type<E>::type raw;
    static_assert(sizeof raw == sizeof value, "the enumeration's own size");
    std::memcpy(&raw, &value, sizeof raw);
    return int(raw);
}

} // namespace platform
} // namespace om

#endif
