/* SPDX-License-Identifier: MIT
 *
 * The plain functions of text.h as a C program calls them. */

#include <velutils++/text.h>

#include <string.h>

/* The number of the first line that fails, or 0. */
int plainCText(void);

#define CHECK(condition)                   \
    do {                                   \
        if (!(condition)) return __LINE__; \
    } while (0)

/* The characters stored and the whole length. */
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

int plainCText(void) {
    char buffer[16];
    int32_t length = 0;
    CHECK(snxprintf(buffer, 0, 8, "%d", 123456789) == 7 && strcmp(buffer, "1234567") == 0);
    CHECK(formatted(&length, buffer, "%sd%lx", "abc", 239L) == 3 && strcmp(buffer, "def") == 0);
    CHECK(length == 6);
    CHECK(strlenf("%s-%d", "ab", 42) == 5);
    CHECK(stricmp("abc", "ABD") == -1 && stricmp("abc", "ab") == 1 && stricmp("AB", "ab") == 0);
    CHECK(strnicmp("abcdef", "ABCxyz", 3) == 0 && strnicmp("abcdef", "ABCxyz", 4) == -1);
    return 0;
}
