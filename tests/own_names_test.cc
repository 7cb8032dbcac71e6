// SPDX-License-Identifier: MIT
//
// A daemon that has functions with names of the library, and no client library of the configuration
// daemon. The library calls its own functions, and works without the client library.

#include <velutils++/configuration.h>

#include <gtest/gtest.h>
#include <stdlib.h>

#include "tests/support/files.h"

// The library calls functions of these names. -Bsymbolic-functions binds the calls to its own.
extern "C" __attribute__((visibility("default"))) int32_t valueOf32(const char*) {
    abort();
}

int32_t vsnxprintf(char*, int32_t, uint32_t, const char*, va_list) {
    abort();
}

namespace {

TEST(OwnNames, DoNotReplaceTheLibrarysFunctions) {
    String text;
    EXPECT_EQ(String("a-1"), text.format("%s-%d", "a", 1));
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
