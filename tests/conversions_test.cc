// SPDX-License-Identifier: MIT

#include <velutils++/conversions.h>

#include <gtest/gtest.h>

#include <limits.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <bitset>
#include <random>
#include <string>
#include <vector>

namespace {

const int BASES[] = {2, 8, 10, 16};

std::string printed(const char* format, uint32_t value) {
    char text[40];
    snprintf(text, sizeof text, format, value);
    return text;
}

std::string oracleText(uint32_t value, int base) {
    if (base == 8) return printed("%oo", value);
    if (base == 10) return printed("%u", value);
    if (base == 16) return printed("%Xh", value);
    const std::string bits = std::bitset<32>(value).to_string() + "b";
    return bits.substr(value == 0 ? 31 : bits.find('1'));
}

// The value of a text, digit by digit from the last one.
uint32_t oracleValue(std::string text, bool isSigned) {
    text = text.substr(0, 33);
    const bool negative = isSigned && !text.empty() && text[0] == '-';
    if (negative) text.erase(0, 1);
    uint32_t base = 10;
    if (!text.empty() && static_cast<unsigned char>(text.back()) > 0x60) {
        const char letter = text.back();
        text.pop_back();
        base = letter == 'b' ? 2 : letter == 'o' ? 8 : letter == 'h' || letter == 'x' ? 16 : 10;
    }
    uint32_t sum = 0;
    for (uint32_t place = 1; !text.empty(); text.pop_back(), place *= base) {
        const unsigned char ch = static_cast<unsigned char>(text.back());
        const bool isLetter = base == 16 && ch > 0x40;
        sum += place * (ch - (isLetter ? ch > 0x60 ? 87u : 55u : 48u));
    }
    return negative ? 0 - sum : sum;
}

// Converts into a buffer that has no byte to spare, which ASan guards, and back.
template <class Value>
void thereAndBack(Value value, char* (*convert)(Value, char*, int), Value (*parse)(const char*)) {
    for (const int base : BASES) {
        if (value < 0 && base != 10) {
            char untouched[] = "#";
            ASSERT_EQ(nullptr, convert(value, untouched, base));
            ASSERT_STREQ("#", untouched);
            continue;
        }
        const std::string expected =
            value < 0 ? std::to_string(value) : oracleText(static_cast<uint32_t>(value), base);
        std::vector<char> out(expected.size() + 1);
        ASSERT_EQ(out.data(), convert(value, out.data(), base));
        ASSERT_EQ(expected, out.data());
        ASSERT_EQ(value, parse(out.data()));
    }
}

void thereAndBack32(uint32_t value) {
    thereAndBack(value, u_i32toa, u_valueOf32);
    thereAndBack(static_cast<int32_t>(value), i32toa, valueOf32);
}

TEST(IntegerConversion, ThereAndBack) {
    std::mt19937 random(1);
    for (int i = 0; i < 50000; ++i)  // all lengths
        ASSERT_NO_FATAL_FAILURE(thereAndBack32(static_cast<uint32_t>(random()) >> i % 32));
    for (const uint32_t factor : {2u, 10u}) {
        for (uint64_t edge = 1; edge <= UINT64_C(1) << 32; edge *= factor) {
            ASSERT_NO_FATAL_FAILURE(thereAndBack32(static_cast<uint32_t>(edge - 1)));
            ASSERT_NO_FATAL_FAILURE(thereAndBack32(static_cast<uint32_t>(edge)));
        }
    }
    for (int i = 0; i <= UINT16_MAX; ++i) {
        ASSERT_NO_FATAL_FAILURE(thereAndBack(static_cast<uint16_t>(i), u_i16toa, u_valueOf16));
        ASSERT_NO_FATAL_FAILURE(thereAndBack(static_cast<int16_t>(i), i16toa, valueOf16));
    }
}

TEST(IntegerConversion, RefusalWritesNothing) {
    char out[] = "#";
    for (const int base : {INT_MIN, -10, 0, 1, 3, 9, 11, 36}) {
        EXPECT_EQ(nullptr, i32toa(5, out, base)) << base;
        EXPECT_EQ(nullptr, i16toa(-5, out, base)) << base;
        EXPECT_EQ(nullptr, u_i32toa(5, out, base)) << base;
    }
    for (const int base : BASES) EXPECT_EQ(nullptr, u_i32toa(1, nullptr, base));
    EXPECT_EQ(nullptr, i32toa(-1, nullptr, 10));
    EXPECT_STREQ("#", out);
}

void parsesLikeTheOracle(const std::string& text) {
    const std::vector<char> exact(text.c_str(), text.c_str() + text.size() + 1);
    const uint32_t expected = oracleValue(text, true);
    const uint32_t expectedUnsigned = oracleValue(text, false);
    ASSERT_EQ(static_cast<int32_t>(expected), valueOf32(exact.data())) << text;
    ASSERT_EQ(static_cast<int16_t>(expected), valueOf16(exact.data())) << text;
    ASSERT_EQ(expectedUnsigned, u_valueOf32(exact.data())) << text;
    ASSERT_EQ(static_cast<uint16_t>(expectedUnsigned), u_valueOf16(exact.data())) << text;
}

TEST(IntegerConversion, ParsesAnyText) {
    const struct {
        const char* text;
        int32_t expected;
    } rows[] = {
        {nullptr, 0},   {"", 0},       {"-", 0},           {"h", 0},
        {"-b", 0},      {"-101b", -5}, {"FFx", 255},       {"ffh", 255},
        {"17o", 15},    {"42d", 42},   {"42\xff", 42},  // a letter, also where char is signed
        {"42H", 444},                                   // base letters are small: the digit 24
        {"\xffh", 168},                                 // 255 - 87
        {" 1", -159},   {"--5", 25},   {"4294967295", -1},
    };
    for (const auto& row : rows) EXPECT_EQ(row.expected, valueOf32(row.text)) << row.text;

    for (const size_t length : {32u, 33u, 34u, 10000u}) {
        for (const char* const end : {"", "0", "b", "h"})
            ASSERT_NO_FATAL_FAILURE(parsesLikeTheOracle("-" + std::string(length - 2, '1') + end));
    }
    const std::string likely = "0123456789abcdefABCDEFbohxd-`@";
    std::mt19937 random(2);
    for (int i = 0; i < 100000; ++i) {
        std::string text(random() % 40, ' ');
        for (char& ch : text)
            ch = i % 2 ? likely[random() % likely.size()] : static_cast<char>(random() % 255 + 1);
        ASSERT_NO_FATAL_FAILURE(parsesLikeTheOracle(text));
    }
}

template <class Value>
void validates(const char* text, Value (*valid)(int32_t*, const char*), Value (*plain)(const char*),
               Value (*inRange)(int32_t*, const char*, Value, Value)) {
    const Value value = plain(text);
    const int32_t expected = std::to_string(value) == text ? 0 : -1;
    int32_t error = 7;
    ASSERT_EQ(value, valid(&error, text)) << text;
    ASSERT_EQ(expected, error) << text;
    ASSERT_EQ(value, valid(nullptr, text)) << text;
    ASSERT_EQ(0, inRange(nullptr, text, value, value)) << text;
    const uint32_t unsignedValue = static_cast<uint32_t>(value);
    for (const uint32_t low : {unsignedValue - 1, unsignedValue, unsignedValue + 1}) {
        const Value minimum = static_cast<Value>(low);
        const Value maximum = static_cast<Value>(unsignedValue + 1);
        const bool inside = minimum <= value && value <= maximum;  // at the ends of the type too
        ASSERT_EQ(value, inRange(&error, text, minimum, maximum)) << text;
        ASSERT_EQ(inside ? expected : -1, error) << text;
        ASSERT_EQ(value, inRange(&error, text, minimum, value)) << text;
        ASSERT_EQ(minimum <= value ? expected : -1, error) << text;
    }
}

void allValidate(const char* text) {
    validates(text, validValueOf32, valueOf32, validRangeValueOf32);
    validates(text, u_validValueOf32, u_valueOf32, u_validRangeValueOf32);
    validates(text, validValueOf16, valueOf16, validRangeValueOf16);
    validates(text, u_validValueOf16, u_valueOf16, u_validRangeValueOf16);
}

TEST(IntegerConversion, OnlyCanonicalDecimalIsValid) {
    for (const char* const text :
         {"0",           "00",         "-0",         "-12",        "+1",         " 1",
          "1 ",          "007",        "7h",         "7d",         "",           "-",
          "--1",         "9:",         "32767",      "32768",      "-32768",     "-32769",
          "40000",       "65535",      "65536",      "2147483647", "2147483648", "-2147483648",
          "-2147483649", "4294967295", "4294967296", "4294967308"})
        ASSERT_NO_FATAL_FAILURE(allValidate(text));
    std::mt19937 random(3);
    for (int i = 0; i < 30000; ++i) {
        std::string text(random() % 12, ' ');
        for (char& ch : text) ch = "0123456789-h"[random() % (i % 3 == 0 ? 12 : 10)];
        ASSERT_NO_FATAL_FAILURE(allValidate(text.c_str()));
    }
    int32_t error = 7;
    EXPECT_EQ(0, validValueOf32(&error, nullptr));
    EXPECT_EQ(-1, error);
    error = 7;
    EXPECT_EQ(0, u_validRangeValueOf16(&error, nullptr, 0, 1));
    EXPECT_EQ(-1, error);
}

TEST(Reverse, InPlace) {
    for (const char* const text : {"", "a", "ab", "abc"}) {
        std::string reversed = text;
        reverse(&reversed[0]);
        EXPECT_EQ(std::string(reversed.rbegin(), reversed.rend()), text);
    }
    reverse(nullptr);
}

TEST(HexDump, Layout) {
    for (uint32_t i = 0; i < 256; ++i) EXPECT_EQ(printed("%02x", i), binToHexLut[i]);
    char word[11];
    convBinToHex(0x12345678, word);
    EXPECT_STREQ("0x78563412", word);

    const struct {
        int length, lineLength;
        const char* expected;
    } rows[] = {
        {0, 8, "\n"},
        {INT_MIN, INT_MIN, "\n"},
        {12, 8, "0x01020304 0x05060708 \n0x090a0b0c \n"},
        {5, 8, "0x01020304 0x05060708 \n\n"},  // the last word whole
        {8, 6, "0x01020304 0x05060708 \n\n"},
        {8, INT_MIN, "0x01020304 \n0x05060708 \n\n"},
        {12, INT_MAX, "0x01020304 0x05060708 0x090a0b0c \n"},
    };
    for (const auto& row : rows) {
        alignas(4) const char data[] = "\0\1\2\3\4\5\6\7\x8\x9\xa\xb\xc";
        char out[64];
        dataChunk2String(&data[1], out, row.length, row.lineLength);
        EXPECT_STREQ(row.expected, out) << row.length << ' ' << row.lineLength;
    }
}

TEST(HexDump, Size) {
    const int rows[][3] = {
        {12, 8, 49},
        {1, 4, 14},
        {0, 8, 2},
        {INT_MIN, 8, 2},
        {12, 0, 0},
        {0, INT_MIN, 0},
        {INT_MAX, 1, 0},
        {INT_MAX, 4, 0},
        {INT_MAX, INT_MAX, 0},
        {660764196, 4, 2147483638},  // 13 characters a word: the last one that fits
        {660764200, 4, 0},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row[2], nbrOfChars_forDataChunk2String(row[0], row[1]))
            << row[0] << ' ' << row[1];
    for (int length = -1; length <= 100; ++length) {
        const std::vector<char> data(static_cast<size_t>((length + 3) / 4 * 4));
        for (int lineLength = 4; lineLength <= 64; lineLength += 4) {
            const int size = nbrOfChars_forDataChunk2String(length, lineLength);
            std::vector<char> out(static_cast<size_t>(size), 'x');
            dataChunk2String(data.data(), out.data(), length, lineLength);
            ASSERT_EQ(1, std::count(out.begin(), out.end(), '\0')) << length << ' ' << lineLength;
        }
    }
}

TEST(PowerOf2, NextHigher) {
    EXPECT_EQ(1u, nextHigherPowerOf2(0));
    for (uint64_t power = 1; power <= UINT64_C(1) << 31; power *= 2) {
        EXPECT_EQ(power, nextHigherPowerOf2(static_cast<uint32_t>(power)));
        // 0 above 2^31
        EXPECT_EQ(static_cast<uint32_t>(2 * power),
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
         {"2035-12-31T23:59:59", "1999-01-01T00:00:00", "2020-02-31T00:00:00", "2020-5-7T8:9:10Z",
          " 2020-+5- 7T-8:-9:-10"},
         {"2036-01-01T00:00:00", "1998-12-31T10:00:00", "2020-13-01T00:00:00",
          "2020-00-01T00:00:00", "2020-01-32T00:00:00", "2020-01-00T00:00:00",
          "2020-01-01T24:00:00", "2020-01-01T00:60:00", "2020-01-01T00:00:60", "2020-01-01", "",
          "2020-01-01 00:00:00", "4294969316-01-01T00:00:00"}},  // the last is 2020 modulo 2^32
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
    const struct {
        const char* text;
        int result;
        unsigned long word;
    } rows[] = {
        {"192.168.1.1", 0, 0xC0A80101},
        {"255.255.255.255", 0, 0xFFFFFFFF},
        {"1.2.3.256", 0, 0x01020400},
        {"256.0.1.4294967295", 0, 0xFF},
        {" 1. 2. 3. 4/24", 0, 0x01020304},
        {"10.0.0", -1, 7},
        {"", -1, 7},
        {nullptr, -1, 7},
    };
    for (const auto& row : rows) {
        unsigned long word = 7;
        EXPECT_EQ(row.result, convIPStr2IPUl(row.text, &word)) << row.word;
        EXPECT_EQ(row.word, word);
    }
    std::vector<char> out(16);
    EXPECT_EQ(0, convIPUL2IPStr(0xFFFFFFFF, out.data()));
    EXPECT_STREQ("255.255.255.255", out.data());
    EXPECT_EQ(0, convIPUL2IPStr(static_cast<unsigned long>(UINT64_C(0x10A000001)), out.data()));
    EXPECT_STREQ("10.0.0.1", out.data());
}

}  // namespace
