// SPDX-License-Identifier: MIT
//
// fuzz/integer_text.cc checks conversions there and back, and what the parsers read and accept.
// fuzz/data_text.cc checks dumps, times and dates, telephone numbers, addresses and powers of two.

#include <velutils++/conversions.h>

#include <gtest/gtest.h>

#include <limits.h>

namespace {

TEST(IntegerConversion, NullPointers) {
    for (const int base : {2, 8, 10, 16}) EXPECT_EQ(nullptr, u_i32toa(1, nullptr, base));
    EXPECT_EQ(nullptr, i32toa(-1, nullptr, 10));
    EXPECT_EQ(0, valueOf32(nullptr));
    EXPECT_EQ(0, valueOf16(nullptr));
    EXPECT_EQ(0u, u_valueOf32(nullptr));
    EXPECT_EQ(0u, u_valueOf16(nullptr));
    int32_t error = 7;
    EXPECT_EQ(0, validValueOf32(&error, nullptr));
    EXPECT_EQ(-1, error);
    EXPECT_EQ(12, validValueOf32(nullptr, "12"));
    EXPECT_EQ(0, validRangeValueOf32(nullptr, "12", 0, 100));
    for (const auto check : {e164Number, validateTimeString, validateTime, validateDate})
        EXPECT_EQ(-1, check(nullptr));
    unsigned long word = 7;
    EXPECT_EQ(-1, convIPStr2IPUl(nullptr, &word));
    EXPECT_EQ(7u, word);
}

TEST(Reverse, InPlace) {
    char text[] = "abcd";
    reverse(text);
    EXPECT_STREQ("dcba", text);
    reverse(nullptr);
}

TEST(HexDump, WordsAreInTheOrderOfMemory) {
    char word[11];
    convBinToHex(0x12345678, word);
    const bool littleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;
    EXPECT_STREQ(littleEndian ? "0x78563412" : "0x12345678", word);
    EXPECT_STREQ("a5", binToHexLut[0xA5]);
}

TEST(HexDump, Sizes) {
    const int sizes[][3] = {
        {12, 8, 49},
        {0, 8, 2},
        {12, 0, 0},                  // refused
        {660764196, 4, 2147483638},  // 13 characters a word: the longest that fits
        {660764200, 4, 0},
        {INT_MAX, INT_MAX, 0},
    };
    for (const auto& row : sizes)
        EXPECT_EQ(row[2], nbrOfChars_forDataChunk2String(row[0], row[1]))
            << row[0] << ' ' << row[1];
}

TEST(Checks, ReadNumbersAsTheCLibraryDoes) {
    EXPECT_EQ(0, validateTimeString(" 2020-+5- 7T-8:-9:-10Z"));
    // 2020 and 0 modulo 2^32
    EXPECT_EQ(-1, validateTimeString("4294969316-01-01T00:00:00"));
    EXPECT_EQ(-1, validateTime("4294967296:00:00"));
    unsigned long word;
    EXPECT_EQ(0, convIPStr2IPUl(" 1. 2. 3.256/24", &word));
    EXPECT_EQ(0x01020400u, word);
    char out[16];
    EXPECT_EQ(0, convIPUL2IPStr(static_cast<unsigned long>(UINT64_C(0x1FFFFFF8F)), out));
    EXPECT_STREQ("255.255.255.143", out);
}

}  // namespace
