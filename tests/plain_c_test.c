/* SPDX-License-Identifier: MIT
 *
 * The plain functions, declared and called as C99. With a name as argument it takes and releases
 * that lock only.
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

/* The characters from the fourth on, and the whole length. */
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

static void texts(void) {
    char text[16];
    int32_t length = 0;
    CHECK(snxprintf(text, 0, 8, "%d", 123456789) == 7);
    CHECK(strcmp(text, "1234567") == 0);
    CHECK(formatted(&length, text, "%sd%lx", "abc", 239L) == 3);
    CHECK(strcmp(text, "def") == 0);
    CHECK(length == 6);
    CHECK(strlenf("%5d", 42) == 5);
    CHECK(stricmp("Abc", "aBD") == -1);
    CHECK(strnicmp("ab", "AC", 1) == 0);
}

static void conversions(void) {
    char text[34];
    int32_t error = 7;
    unsigned long address = 0;
    CHECK(strcmp(u_i32toa(UINT32_C(255), text, 16), "FFh") == 0);
    CHECK(valueOf32("-101b") == -5);
    CHECK(validRangeValueOf16(&error, "101", 0, 100) == 101);
    CHECK(error == -1);
    reverse(text);
    CHECK(strcmp(text, "hFF") == 0);
    CHECK(sizeof binToHexLut == 768);
    CHECK(strcmp(binToHexLut[171], "ab") == 0);
    CHECK(nextHigherPowerOf2(1000) == 1024);
    CHECK(e164Number("*100#") == 0);
    CHECK(convIPStr2IPUl("192.168.1.1", &address) == 0);
    CHECK(address == 0xC0A80101);
    CHECK(EVENT_CATALOGUE[0].id == 0x01000001);
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
    if (argc == 1) texts();
    if (argc == 1) conversions();
    lock(argc == 1 ? "/plain-c" : argv[1]);
    return failures == 0 ? 0 : 1;
}
