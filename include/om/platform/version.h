#ifndef OM_PLATFORM_VERSION_H
#define OM_PLATFORM_VERSION_H

/**
 * @file
 * The version of libomplatform that an application is compiled against.
 *
 * This header is the one place the version is written: the build reads it
 * from here for the library's soname, its CMake package and its pkg-config
 * file. Compare versions with OMPLATFORM_VERSION_CHECK:
 *
 * @code
 * #include <om/platform/version.h>
 * #if OMPLATFORM_VERSION >= OMPLATFORM_VERSION_CHECK(1, 1, 0)
 *     // something that came with 1.1
 * #endif
 * @endcode
 */

/** The major version: changes when the library's interface breaks. */
#define OMPLATFORM_VERSION_MAJOR 1
/** The minor version: changes when the interface grows. */
#define OMPLATFORM_VERSION_MINOR 1
/** The patch version: changes with fixes only. */
#define OMPLATFORM_VERSION_PATCH 0
/** The version as text, "major.minor.patch". */
#define OMPLATFORM_VERSION_STRING "1.1.0"

/** A version as one number, 0xMMNNPP, for comparisons. */
#define OMPLATFORM_VERSION_CHECK(major, minor, patch) (((major) << 16) | ((minor) << 8) | (patch))

/** This version as one number; compare it with OMPLATFORM_VERSION_CHECK. */
#define OMPLATFORM_VERSION                                                                         \
    OMPLATFORM_VERSION_CHECK(OMPLATFORM_VERSION_MAJOR, OMPLATFORM_VERSION_MINOR,                   \
                             OMPLATFORM_VERSION_PATCH)

#endif
