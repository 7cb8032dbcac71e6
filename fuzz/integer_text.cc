// SPDX-License-Identifier: MIT
//
// Converts integers to text and back. The text of a number is that of the C library, and reads as
// the same number. A text is valid only if the C library writes the same text for the number read.
// What any other text reads as is computed by a plain model.

#include <velutils++/conversions.h>

#include <errno.h>
#include <limits.h>

#include <bitset>
#include <limits>
#include <vector>

#include "fuzz/input.h"

namespace {

std::string inBase(uint32_t value, int base) {
    char text[40];
    if (base == 2) {
        const std::string bits = std::bitset<32>(value).to_string() + "b";
        return bits.substr(value == 0 ? 31 : bits.find('1'));
    }
    snprintf(text, sizeof text, base == 8 ? "%oo" : base == 10 ? "%u" : "%Xh", value);
    return text;
}

// Writes into an area without a spare byte.
template <class Value>
void comesBack(Value value, char* (*write)(Value, char*, int), Value (*read)(const char*)) {
    for (const int base : {2, 8, 10, 16}) {
        char untouched[] = "#";
        if (value < 0 && base != 10) {
            REQUIRE(write(value, untouched, base) == nullptr && *untouched == '#');
            continue;
        }
        const std::string expected =
            value < 0 ? std::to_string(value) : inBase(static_cast<uint32_t>(value), base);
        std::vector<char> area(expected.size() + 1);
        REQUIRE(write(value, area.data(), base) == area.data() && expected == area.data());
        REQUIRE(read(area.data()) == value);
    }
    for (const int base : {INT_MIN, -10, 0, 1, 3, 9, 11, 36}) {
        char untouched[] = "#";
        REQUIRE(write(value, untouched, base) == nullptr && *untouched == '#');
    }
}

uint32_t baseOf(char letter) {
    if (letter == 'b') return 2;
    if (letter == 'o') return 8;
    return letter == 'h' || letter == 'x' ? 16 : 10;
}

uint32_t digitOf(uint8_t byte, uint32_t base) {
    if (base != 16 || byte < 'A') return byte - uint32_t{'0'};
    return byte <= '`' ? byte - uint32_t{'A'} + 10 : byte - uint32_t{'a'} + 10;
}

// Only the first characters count, at most 33 with a sign. The last of them may name the base.
uint32_t sumOf(std::string text, size_t counted) {
    text.resize(std::min(text.size(), counted));
    uint32_t base = 10;
    if (!text.empty() && static_cast<uint8_t>(text.back()) > '`') {
        base = baseOf(text.back());
        text.pop_back();
    }
    uint32_t sum = 0;
    for (const char digit : text) sum = sum * base + digitOf(static_cast<uint8_t>(digit), base);
    return sum;
}

void isRead(const std::string& text, const char* exact) {
    const uint32_t sum = sumOf(text, 33);
    const uint32_t withSign = text[0] == '-' ? 0 - sumOf(text.substr(1), 32) : sum;
    REQUIRE(valueOf32(exact) == static_cast<int32_t>(withSign));
    REQUIRE(valueOf16(exact) == static_cast<int16_t>(withSign));
    REQUIRE(u_valueOf32(exact) == sum);
    REQUIRE(u_valueOf16(exact) == static_cast<uint16_t>(sum));
}

template <class Value>
void isJudged(const char* text, Value low, Value high, Value (*read)(const char*),
              Value (*valid)(int32_t*, const char*),
              Value (*inRange)(int32_t*, const char*, Value, Value)) {
    errno = 0;
    const long long number = strtoll(text, nullptr, 10);
    const bool fits = errno == 0 && number >= std::numeric_limits<Value>::min() &&
                      number <= std::numeric_limits<Value>::max();
    const bool canonical = fits && std::to_string(number) == text;
    int32_t error = 1;
    REQUIRE(valid(&error, text) == read(text));
    REQUIRE(error == (canonical ? 0 : -1));
    if (canonical) REQUIRE(read(text) == static_cast<Value>(number));
    REQUIRE(inRange(&error, text, low, high) == read(text));
    const bool inside = read(text) >= low && read(text) <= high;
    REQUIRE(error == (canonical && inside ? 0 : -1));
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    const uint32_t a = input.number<uint32_t>();
    const uint32_t b = input.number<uint32_t>();
    for (const uint32_t number : {a, b}) {
        comesBack(static_cast<int32_t>(number), i32toa, valueOf32);
        comesBack(number, u_i32toa, u_valueOf32);
        comesBack(static_cast<int16_t>(number), i16toa, valueOf16);
        comesBack(static_cast<uint16_t>(number), u_i16toa, u_valueOf16);
    }

    const std::string any = input.line();
    const std::vector<char> exact(any.c_str(), any.c_str() + any.size() + 1);
    const char* const text = exact.data();
    isRead(any, text);
    isJudged(text, static_cast<int32_t>(a), static_cast<int32_t>(b), valueOf32, validValueOf32,
             validRangeValueOf32);
    isJudged(text, a, b, u_valueOf32, u_validValueOf32, u_validRangeValueOf32);
    isJudged(text, static_cast<int16_t>(a), static_cast<int16_t>(b), valueOf16, validValueOf16,
             validRangeValueOf16);
    isJudged(text, static_cast<uint16_t>(a), static_cast<uint16_t>(b), u_valueOf16,
             u_validValueOf16, u_validRangeValueOf16);
    return 0;
}
