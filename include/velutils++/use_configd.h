/* SPDX-License-Identifier: MIT
 *
 * Links the configuration daemon's client library into a program that uses ConfigDaemonClient.
 * Include this header in one source file of the program itself:
 *
 *     #include <velutils++/use_configd.h>
 *
 * libvelutils++ refers weakly to the four functions of the client library. A weak reference does
 * not take a member out of an archive, and does not keep a shared library that the linker finds
 * unused. The references made here are strong. The client library may be object files, an archive
 * or a shared library, and the program does not link without it. For C (C99) and C++ (C++11 and
 * later).
 */
#ifndef VELUTILS_USE_CONFIGD_H
#define VELUTILS_USE_CONFIGD_H

#include <velutils++/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The functions of the client library. They have other names here, so that the client library's own
 * header can be included as well and can declare them with other types. */
void* velutils_configd_open(void) __asm__("configd_open");
int velutils_configd_get(void* connection, void* request) __asm__("configd_get");
int velutils_configd_set(void* connection, void* request) __asm__("configd_set");
void velutils_configd_close(void* connection) __asm__("configd_close");

#ifdef __cplusplus
}
#endif

/* lld keeps only those shared libraries that are used after its garbage collection. */
#ifdef __has_attribute
#if __has_attribute(retain)
#define VELUTILS_RETAIN __attribute__((used, retain))
#endif
#endif
#ifndef VELUTILS_RETAIN
#define VELUTILS_RETAIN __attribute__((used))
#endif

/* The strong references. Not for use by programs. */
static const struct {
    void* (*open)(void);
    int (*get)(void* connection, void* request);
    int (*set)(void* connection, void* request);
    void (*close)(void* connection);
} velutils_configd VELUTILS_RETAIN = {velutils_configd_open, velutils_configd_get,
                                      velutils_configd_set, velutils_configd_close};

#undef VELUTILS_RETAIN

#endif
