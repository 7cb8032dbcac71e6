// SPDX-License-Identifier: MIT
//
// fuzz/integer_text.cc checks conversions there and back, and the validating parsers.

#include <velutils++/conversions.h>

#include <gtest/gtest.h>

#include <limits.h>
#include <stdio.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

TEST(IntegerConversion, AnUnsupportedBaseWritesNothing) {
    char out[] = "#";
    for (const int base : {INT_MIN, -10, 0, 1, 3, 9, 11, 36}) {
        EXPECT_EQ(nullptr, i32toa(5, out, base));
        EXPECT_EQ(nullptr, i16toa(-5, out, base));
        EXPECT_EQ(nullptr, u_i32toa(5, out, base));
    }
    for (const int base : {2, 8, 10, 16}) EXPECT_EQ(nullptr, u_i32toa(1, nullptr, base));
    EXPECT_EQ(nullptr, i32toa(-1, nullptr, 10));
    EXPECT_STREQ("#", out);
}

// Any byte is a digit, with the value that its code gives. Bytes above 127 are letters, also where
// char is signed. Base letters are lower-case. Only the first 33 characters count.
TEST(IntegerConversion, ParsesAnyText) {
    const struct {
        const char* text;
        int32_t value;
    } rows[] = {
        {"", 0},
        {"-", 0},
        {"h", 0},
        {"-101b", -5},
        {"aFx", 175},
        {"42d", 42},
        {"@h", 16},
        {"`h", 41},
        {"1`", 58},
        {" 1", -159},
        {"--5", 25},
        {"4294967295", -1},
        {"42\xff", 42},
        {"\xffh", 168},
        {"42H", 444},
        {"111111111111111111111111111111111b", -954437177},
        {"-111111111111111111111111111111112b", 954437177},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(row.value, valueOf32(row.text));
        EXPECT_EQ(static_cast<int16_t>(row.value), valueOf16(row.text));
        if (row.text[0] == '-') continue;
        EXPECT_EQ(static_cast<uint32_t>(row.value), u_valueOf32(row.text));
        EXPECT_EQ(static_cast<uint16_t>(row.value), u_valueOf16(row.text));
    }
    EXPECT_EQ(65511u, u_valueOf16("-5"));
}

TEST(IntegerConversion, NullPointers) {
    EXPECT_EQ(0, valueOf32(nullptr));
    EXPECT_EQ(0, valueOf16(nullptr));
    EXPECT_EQ(0u, u_valueOf32(nullptr));
    EXPECT_EQ(0u, u_valueOf16(nullptr));
    int32_t error = 7;
    EXPECT_EQ(0, validValueOf32(&error, nullptr));
    EXPECT_EQ(-1, error);
    EXPECT_EQ(12, validValueOf32(nullptr, "12"));
    EXPECT_EQ(0, validRangeValueOf32(nullptr, "12", 0, 100));
}

TEST(Reverse, InPlace) {
    char text[] = "abcd";
    reverse(text);
    EXPECT_STREQ("dcba", text);
    reverse(nullptr);
}

TEST(HexDump, LayoutAndSize) {
    for (uint32_t i = 0; i < 256; ++i) {
        char text[3];
        snprintf(text, sizeof text, "%02x", i & 255);
        EXPECT_STREQ(text, binToHexLut[i]);
    }
    char word[11];
    convBinToHex(0x12345678, word);
    const bool littleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;
    EXPECT_STREQ(littleEndian ? "0x78563412" : "0x12345678", word);

    const struct {
        int length, lineLength;
        const char* expected;
    } rows[] = {
        {0, 8, "\n"},
        {12, 8, "0x01020304 0x05060708 \n0x090a0b0c \n"},
        {5, 8, "0x01020304 0x05060708 \n\n"},  // the last word is printed whole
        {8, 6, "0x01020304 0x05060708 \n\n"},
        {8, INT_MIN, "0x01020304 \n0x05060708 \n\n"},
        {12, INT_MAX, "0x01020304 0x05060708 0x090a0b0c \n"},
    };
    alignas(4) const char data[104] = "\0\1\2\3\4\5\6\7\x8\x9\xa\xb\xc";
    for (const auto& row : rows) {
        char out[64];
        dataChunk2String(&data[1], out, row.length, row.lineLength);
        EXPECT_STREQ(row.expected, out) << row.length << ' ' << row.lineLength;
    }
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
    for (int length = -1; length <= 100; ++length) {
        std::vector<char> out(size_t(nbrOfChars_forDataChunk2String(length, 8)), 'x');
        dataChunk2String(data, out.data(), length, 8);
        ASSERT_EQ(1, std::count(out.begin(), out.end(), '\0')) << length;
    }
}

TEST(PowerOf2, NextHigher) {
    EXPECT_EQ(1u, nextHigherPowerOf2(0));
    for (uint64_t power = 1; power <= UINT64_C(1) << 31; power *= 2) {
        EXPECT_EQ(power, nextHigherPowerOf2(static_cast<uint32_t>(power)));
        EXPECT_EQ(static_cast<uint32_t>(2 * power),  // 0 above 2^31
                  nextHigherPowerOf2(static_cast<uint32_t>(power + 1)));
    }
}

TEST(Checks, Texts) {
    const struct {
        int (*check)(const char* text);
        std::vector<const char*> valid, invalid;
    } rows[] = {
        {e164Number,
         {"", "0123456789", "?*100#", "AZ"},
         {"+123", "12 34", "12a", "1:", "1/", "@", "[", "1\xb1"}},
        {validateTimeString,
         {"2035-12-31T23:59:59", "2020-02-31T00:00:00", " 2020-+5- 7T-8:-9:-10Z"},
         {"1998-12-31T10:00:00", "2020-01-01T24:00:00", "2020-01-01", "", "2020-01-01 00:00:00",
          "4294969316-01-01T00:00:00"}},  // the last is 2020 modulo 2^32
        {validateTime,
         {"23:59:59", "0:0:0", "-1:-1:-1"},
         {"24:00:00", "00:60:00", "00:00:60", "12:00", "4294967296:00:00"}},
        {validateDate,
         {"1999-01-01", "2035-12-31T"},
         {"1999-00-10", "1999-13-10", "1999-01-00", "1999-01-32", "1998-12-31", "2036-01-01",
          "2020-01"}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(-1, row.check(nullptr));
        for (const char* const text : row.valid) EXPECT_EQ(0, row.check(text)) << text;
        for (const char* const text : row.invalid) EXPECT_EQ(-1, row.check(text)) << text;
    }
}

TEST(Addresses, FromTextAndBack) {
    unsigned long word = 7;
    EXPECT_EQ(-1, convIPStr2IPUl(nullptr, &word));
    EXPECT_EQ(-1, convIPStr2IPUl("10.0.0", &word));
    EXPECT_EQ(7u, word);
    EXPECT_EQ(0, convIPStr2IPUl(" 1. 2. 3.256/24", &word));
    EXPECT_EQ(0x01020400u, word);
    EXPECT_EQ(0, convIPStr2IPUl("256.0.1.4294967295", &word));
    EXPECT_EQ(0xFFu, word);
    std::vector<char> out(16);
    EXPECT_EQ(0, convIPUL2IPStr(static_cast<unsigned long>(UINT64_C(0x1FFFFFF8F)), out.data()));
    EXPECT_STREQ("255.255.255.143", out.data());
}

}  // namespace
