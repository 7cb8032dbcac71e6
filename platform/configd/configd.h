/* SPDX-License-Identifier: MIT
 *
 * A stand-in for the configuration daemon's client library, for programs on machines without the
 * daemon. Values are kept in a file of fixed-size records, read and written by each call, so that
 * several processes on one store see each other's values.
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

/* The file that connections opened from now on work on, and whether everything is refused. The
 * text is not copied. Without a file there is no connection. */
extern const char* configd_store;
extern int configd_refuse;

/* Called, when set, with the block of every get and set before it is served. */
extern void (*configd_observer)(const void* request);

#ifdef __cplusplus
}
#endif

#endif
