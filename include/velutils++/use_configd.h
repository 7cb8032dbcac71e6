/* SPDX-License-Identifier: MIT
 *
 * Makes a program that uses ConfigDaemonClient link the configuration daemon's client library.
 * Include this header in one source file of the program itself:
 *
 *     #include <velutils++/use_configd.h>
 *
 * libvelutils++ refers to the library's four functions weakly, which neither takes a member out of
 * an archive nor keeps a shared library that the linker finds unused. The references made here are
 * strong: the client library may be object files, an archive or a shared library, and the program
 * does not link without it. For C (C99) and C++ (C++11 and later).
 */
#ifndef VELUTILS_USE_CONFIGD_H
#define VELUTILS_USE_CONFIGD_H

#include <velutils++/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The functions of the client library, under names of their own here: its header, which may be
 * included as well, may declare them with other types. */
void* velutils_configd_open(void) __asm__("configd_open");
int velutils_configd_get(void* connection, void* request) __asm__("configd_get");
int velutils_configd_set(void* connection, void* request) __asm__("configd_set");
void velutils_configd_close(void* connection) __asm__("configd_close");

#ifdef __cplusplus
}
#endif

/* The references. Not for use. */
static const struct {
    void* (*open)(void);
    int (*get)(void* connection, void* request);
    int (*set)(void* connection, void* request);
    void (*close)(void* connection);
} velutils_configd __attribute__((used)) = {velutils_configd_open, velutils_configd_get,
                                            velutils_configd_set, velutils_configd_close};

#endif
