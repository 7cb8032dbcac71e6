// SPDX-License-Identifier: MIT

#include <velutils++/std_interop.h>

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>
#include <unordered_set>

#include "tests/support/allocations.h"

namespace {

const std::string BYTES("a\0b\xff", 4);

TEST(StdInterop, TextsBothWays) {
    const String text = toString(BYTES);
    EXPECT_EQ(4, text.length());
    EXPECT_EQ(BYTES, toStdString(text));
    EXPECT_EQ(BYTES, toStringView(text));
    EXPECT_EQ(text.buffer(), toStringView(text).data());
    EXPECT_EQ(0, toString(std::string_view()).length());
    EXPECT_EQ("", toStdString(String()));
    std::string characters;
    for (const char character : text) characters += character;
    EXPECT_EQ(BYTES, characters);
    const allocations::Refusal refusal(1);
    EXPECT_EQ(0, toString("abc").length());
}

TEST(StdInterop, StreamsAsStdStrings) {
    for (const int width : {0, 3, 4, 5, 9}) {
        for (const auto adjustment : {std::left, std::right, std::internal}) {
            std::ostringstream out, expected;
            out << std::setfill('*') << std::setw(width) << adjustment << toString(BYTES) << 7;
            expected << std::setfill('*') << std::setw(width) << adjustment << BYTES << 7;
            EXPECT_EQ(expected.str(), out.str());
        }
    }
    std::ostringstream out;
    out << IpAddress("192.0.2.1/24") << '|' << std::setw(15) << IpAddress("192.0.2.1") << '|'
        << IpAddress() << '|' << String();
    EXPECT_EQ("192.0.2.1/24|   192.0.2.1/32||", out.str());
}

TEST(StdInterop, HashesAgreeWithEquality) {
    // Equal Strings have the same length and the same characters up to the first NUL.
    EXPECT_EQ(std::hash<String>()(toString(BYTES)), std::hash<String>()(toString({"a\0c\x01", 4})));
    std::unordered_set<size_t> hashes;
    for (int i = 0; i < 1000; ++i) hashes.insert(std::hash<String>()(String::stringOf(i)));
    EXPECT_LT(990u, hashes.size());
}

TEST(StdInterop, ValuesOfTables) {
    int values[3];
    INUInt32HashTable table(2, HASH_LOW_BITS);
    EXPECT_TRUE(valuesOf(table).empty());
    for (unsigned long i = 0; i < 3; ++i) table.addEntry(3 - i, &values[i]);
    EXPECT_EQ((std::vector<void*>{&values[1], &values[0], &values[2]}), valuesOf(table));
    const allocations::Refusal refusal(1);
    EXPECT_TRUE(valuesOf(table).empty());
}

}  // namespace
