/* SPDX-License-Identifier: MIT
 *
 * Plain functions and tables, declared and used as C99. With a name as argument, it only takes and
 * releases that lock.
 */

#include <velutils++/conversions.h>
#include <velutils++/locks.h>
#include <velutils++/status.h>
#include <velutils++/text.h>

#include <errno.h>
#include <stdio.h>
#include <string.h>

static int failures;

#define CHECK(condition)                                                     \
    do {                                                                     \
        if (!(condition)) {                                                  \
            printf("%s:%d: not true: %s\n", __FILE__, __LINE__, #condition); \
            ++failures;                                                      \
        }                                                                    \
    } while (0)

static int32_t formatted(int32_t* length, char* buffer, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    *length = vstrlenf(format, arguments);
    va_end(arguments);
    va_start(arguments, format);
    const int32_t stored = vsnxprintf(buffer, 3, 16, format, arguments);
    va_end(arguments);
    return stored;
}

static void functionsAndTables(void) {
    char text[16];
    int32_t length = 0;
    CHECK(formatted(&length, text, "%sd%lx", "abc", 239L) == 3);
    CHECK(length == 6);
    CHECK(strcmp(text, "def") == 0);
    CHECK(strnicmp("ab", "AC", 1) == 0);
    CHECK(strcmp(u_i32toa(UINT32_C(255), text, 16), "FFh") == 0);
    CHECK(sizeof binToHexLut == 768);
    CHECK(strcmp(binToHexLut[171], "ab") == 0);
    CHECK(EVENT_CATALOGUE[55].id == 0x05000006);
}

static void lock(const char* name) {
    const semaphore_handle handle = sem_create(name);
    CHECK(sem_lock(handle) == 0);
    CHECK(sem_trylock(handle) == 0);
    CHECK(sem_unlock(handle) == 0);
    CHECK(sem_unlock(handle) == 0);
    CHECK(sem_unlock(handle) == EPERM);
    sem_release(handle);
}

int main(int argc, char** argv) {
    if (argc == 1) functionsAndTables();
    lock(argc == 1 ? "/plain-c" : argv[1]);
    return failures == 0 ? 0 : 1;
}
