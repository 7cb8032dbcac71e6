/* SPDX-License-Identifier: MIT
 *
 * A stand-in for the configuration daemon's client library, for programs on machines without the
 * daemon. It stores values in a file of fixed-size records. Each call reads or writes the file, so
 * several processes that use one file see each other's values.
 */
#ifndef CONFIGD_STAND_IN_H
#define CONFIGD_STAND_IN_H

#ifdef __cplusplus
extern "C" {
#endif

void* configd_open(void);
int configd_get(void* connection, void* request);
int configd_set(void* connection, void* request);
void configd_close(void* connection);

/* The file that later configd_open() calls use, or null, and whether every call fails. The path is
 * not copied. Without a file configd_open() returns null. */
extern const char* configd_store;
extern int configd_refuse;

/* If set, called with the request block of every get and set before it is processed. */
extern void (*configd_observer)(const void* request);

#ifdef __cplusplus
}
#endif

#endif
