/* SPDX-License-Identifier: MIT
 *
 * The plain functions, declared and called as C99.
 */

#include <velutils++/conversions.h>
#include <velutils++/locks.h>
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

static void formatting(void) {
    char text[4];
    CHECK(snxprintf(text, 2, sizeof text, "%s-%d", "abc", 42) == 3 && strcmp(text, "c-4") == 0);
    CHECK(strlenf("%5d", 42) == 5);
    CHECK(stricmp("Abc", "aBC") == 0 && strnicmp("ab", "AC", 2) == -1);
}

static void conversions(void) {
    char text[34];
    int32_t error = 7;
    unsigned long address = 0;
    CHECK(strcmp(u_i32toa(UINT32_C(255), text, 16), "FFh") == 0);
    CHECK(valueOf32("-101b") == -5);
    CHECK(validRangeValueOf16(&error, "101", 0, 100) == 101 && error == -1);
    reverse(text);
    CHECK(strcmp(text, "hFF") == 0);
    CHECK(sizeof binToHexLut == 768 && strcmp(binToHexLut[171], "ab") == 0);
    CHECK(nextHigherPowerOf2(1000) == 1024);
    CHECK(e164Number("*100#") == 0 && validateTime("24:00:00") == -1);
    CHECK(convIPStr2IPUl("192.168.1.1", &address) == 0 && address == 0xC0A80101);
}

static void locks(void) {
    const semaphore_handle handle = sem_create("/plain-c");
    CHECK(handle != NULL);
    CHECK(sem_lock(handle) == 0 && sem_trylock(handle) == 0);
    CHECK(sem_unlock(handle) == 0 && sem_unlock(handle) == 0 && sem_unlock(handle) == EPERM);
    sem_release(handle);
}

int main(void) {
    formatting();
    conversions();
    locks();
    return failures == 0 ? 0 : 1;
}
