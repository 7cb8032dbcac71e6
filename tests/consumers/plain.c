/* SPDX-License-Identifier: MIT
 *
 * A C program of somebody else's. With a name as argument it takes and gives back that lock only.
 */
#include <velutils++/conversions.h>
#include <velutils++/locks.h>
#include <velutils++/status.h>
#include <velutils++/text.h>

#include <stdio.h>
#include <string.h>

static int use_lock(const char* name) {
    semaphore_handle const lock = sem_create(name);
    const int held = sem_lock(lock) == 0 && sem_trylock(lock) == 0;
    const int free_again = sem_unlock(lock) == 0 && sem_unlock(lock) == 0;
    sem_release(lock);
    return held && free_again;
}

int main(int argc, char** argv) {
    char text[40];
    int32_t error = 7;
    if (argc == 2) return use_lock(argv[1]) ? 0 : 1;

    if (snxprintf(text, 2, sizeof text, "%s:%05d", "port", 80) != 8 ||
        strcmp(text, "rt:00080") != 0 || strlenf("%x", 255u) != 2 || stricmp("On", "oN") != 0)
        return 2;
    if (validRangeValueOf16(&error, "80", 1, 1024) != 80 || error != 0 || valueOf32("101b") != 5 ||
        strcmp(u_i32toa(48879, text, 16), "BEEFh") != 0 || nextHigherPowerOf2(33) != 64)
        return 3;
    if (EVENT_CATALOGUE[0].id != 0x01000001 || findEventById(0x05000006) != &EVENT_CATALOGUE[55] ||
        findEventByName("test") != &EVENT_CATALOGUE[55])
        return 4;
    if (!use_lock("plain")) return 5;
    puts("plain: all as promised");
    return 0;
}
