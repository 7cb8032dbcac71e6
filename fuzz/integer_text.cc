// SPDX-License-Identifier: MIT
//
// Converts integers to text and back. The text of a number is that of the C library, and reads as
// the same number. A text is valid only if the C library writes the same text for the number read.

#include <velutils++/conversions.h>

#include <errno.h>

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
    isJudged(text, static_cast<int32_t>(a), static_cast<int32_t>(b), valueOf32, validValueOf32,
             validRangeValueOf32);
    isJudged(text, a, b, u_valueOf32, u_validValueOf32, u_validRangeValueOf32);
    isJudged(text, static_cast<int16_t>(a), static_cast<int16_t>(b), valueOf16, validValueOf16,
             validRangeValueOf16);
    isJudged(text, static_cast<uint16_t>(a), static_cast<uint16_t>(b), u_valueOf16,
             u_validValueOf16, u_validRangeValueOf16);
    return 0;
}
