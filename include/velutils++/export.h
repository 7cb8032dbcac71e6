/* SPDX-License-Identifier: MIT
 *
 * VELUTILS_API marks what libvelutils++.so exports; everything else in the library is hidden. Every
 * public header includes this one. All of them can be included from C (C99) and C++ (C++11 and
 * later); in C they declare the plain functions.
 */
#ifndef VELUTILS_EXPORT_H
#define VELUTILS_EXPORT_H

/* C compilers warn about a source file without any declaration, which a header without plain
 * functions would leave. */
#include <stddef.h>

/* Exported from the library. */
#define VELUTILS_API __attribute__((visibility("default")))

/* A member of an exported class that only the library itself uses. */
#define VELUTILS_LOCAL __attribute__((visibility("hidden")))

/* Marks classes and constructors whose result must be kept, where the language has it (C++17). */
#if defined(__cplusplus) && __cplusplus >= 201703L
#define VELUTILS_NODISCARD [[nodiscard]]
#else
#define VELUTILS_NODISCARD
#endif

#endif
