// SPDX-License-Identifier: MIT
//
// A daemon with functions of its own that are called as the library's are, and without a client
// library of the configuration daemon: the library keeps to its own functions and works.

#include <velutils++/configuration.h>

#include <gtest/gtest.h>
#include <stdlib.h>

#include "tests/support/files.h"

// Each would be taken for the library's, had the library not bound its calls to itself.
extern "C" {
#define OWN(name)                                        \
    __attribute__((visibility("default"))) void name() { \
        abort();                                         \
    }
OWN(reverse)
OWN(i32toa)
OWN(valueOf32)
OWN(sem_lock)
OWN(sem_create)
#undef OWN
}

int stricmp(const char*, const char*) {
    abort();
}

int strnicmp(const char*, const char*, int32_t) {
    abort();
}

int32_t vstrlenf(const char*, va_list) {
    abort();
}

int32_t vsnxprintf(char*, int32_t, uint32_t, const char*, va_list) {
    abort();
}

namespace {

TEST(OwnNames, DoNotReachIntoTheLibrary) {
    String text;
    EXPECT_EQ(String("a-1"), text.format("%s-%d", "a", 1));
    EXPECT_EQ(3, strlenf("%s-%d", "a", 1));
    EXPECT_TRUE(text.equalsIgnoreCase(String("A-1")));

    writeFile("/tmp/own.conf", "number=12\n");
    ConfigReader reader;
    EXPECT_TRUE(reader.initialize("/tmp/own.conf", 2));
    EXPECT_EQ(12, reader.getValueAsInt("number", 0));
}

TEST(OwnNames, WithoutAClientLibraryThereIsNoConnection) {
    const ConfigDaemonClient client;
    long value = 5;
    EXPECT_EQ(5, client.getValueAsInt("key", value));
    EXPECT_FALSE(client.setValueAsInt("key", 1));
}

}  // namespace
