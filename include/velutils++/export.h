/* SPDX-License-Identifier: MIT
 *
 * VELUTILS_API marks what libvelutils++.so offers to its users; everything else in the library is
 * hidden. Every public header includes this one, and those with plain functions can be included
 * from C (C99) as well as from C++ (C++11 and later).
 */
#ifndef VELUTILS_EXPORT_H
#define VELUTILS_EXPORT_H

/* A header that offers nothing to C is still more than nothing to include. */
#include <stddef.h>

/* What the library offers to its users. */
#define VELUTILS_API __attribute__((visibility("default")))

/* A member of an exported class that only the library itself uses. */
#define VELUTILS_LOCAL __attribute__((visibility("hidden")))

#endif
