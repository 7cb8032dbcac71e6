// SPDX-License-Identifier: MIT
//
// Sets a status value of any bytes: the file holds exactly these bytes, and getStatus() cuts each
// piece of 99 bytes at its first NUL.

#include <velutils++/status.h>

#include <fstream>
#include <iterator>

#include "fuzz/input.h"
#include "tests/support/strings.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string bytes = Input(data, size).rest();
    StatusInterface interface;
    REQUIRE(interface.setup(STATUS_BASE_TMP, "/fuzz"));
    REQUIRE(interface.setStatus("/value", make(bytes)));
    std::ifstream file("/tmp/status/fuzz/value", std::ios::binary);
    REQUIRE(std::string(std::istreambuf_iterator<char>(file), {}) == bytes);

    std::string expected;
    for (size_t at = 0; at < bytes.size(); at += 99) expected += bytes.substr(at, 99).c_str();
    String value("before");
    REQUIRE(interface.getStatus("/value", value));
    REQUIRE(bytesOf(value) == expected);
    return 0;
}
