// SPDX-License-Identifier: MIT
//
// Each round converts 64 random numbers of all lengths.

#include "side_by_side.h"

#include <velutils++/conversions.h>

#include <fmt/format.h>

#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <charconv>
#include <random>
#include <vector>

namespace {

std::vector<int32_t> numbers() {
    std::mt19937 random(1);
    std::vector<int32_t> all;
    for (int i = 0; i < 64; ++i) all.push_back(static_cast<int32_t>(random()) >> random() % 32);
    return all;
}

template <class Convert>
std::vector<std::string> textsBy(Convert convert) {
    std::vector<std::string> all;
    for (int32_t number : numbers()) {
        char text[40];
        convert(number, text);
        all.push_back(text);
    }
    return all;
}

template <class Convert>
Body print(Convert convert) {
    return repeat([convert, all = numbers()] {
        for (int32_t number : all) {
            char text[40];
            convert(number, text);
            benchmark::DoNotOptimize(text);
        }
    });
}

template <class Parse>
Body parse(const std::vector<std::string>& texts, Parse parseOne) {
    return repeat([parseOne, all = texts] {
        for (const std::string& text : all)
            benchmark::DoNotOptimize(parseOne(hidden(text.c_str())));
    });
}

template <int base>
void byU32toa(int32_t number, char* text) {
    u_i32toa(static_cast<uint32_t>(number), text, base);
}

template <int base>
void byToChars(int32_t number, char* text) {
    *std::to_chars(text, text + 39, static_cast<uint32_t>(number), base).ptr = '\0';
}

// The text stays in the object.
void byFormatInt(int32_t number, char*) {
    const fmt::format_int digits(static_cast<uint32_t>(number));
    benchmark::DoNotOptimize(digits.c_str());
}

template <int base>
int32_t byFromChars(const char* text) {
    uint32_t value = 0;
    std::from_chars(text, text + strlen(text), value, base);
    return static_cast<int32_t>(value);
}

bool isValid(const char* text) {
    int32_t error = 0;
    benchmark::DoNotOptimize(validValueOf32(&error, text));
    return error == 0;
}

bool isWholeNumber(const char* text) {
    int32_t value = 0;
    const char* const end = text + strlen(text);
    const auto result = std::from_chars(text, end, value);
    benchmark::DoNotOptimize(value);
    return result.ptr == end && result.ec == std::errc();
}

}  // namespace

void registerConversions() {
    const auto decimal = textsBy([](int32_t number, char* text) { i32toa(number, text, 10); });
    const auto hexadecimal = textsBy(byU32toa<16>);
    sideBySide("64 numbers to text, base 10", "i32toa",
               print([](int32_t number, char* text) { i32toa(number, text, 10); }),
               {{"snprintf", "0.15",
                 print([](int32_t number, char* text) { snprintf(text, 40, "%d", number); })},
                {"std::to_chars", "1.2", print([](int32_t number, char* text) {
                     *std::to_chars(text, text + 39, number).ptr = '\0';
                 })}});
    sideBySide("64 unsigned numbers to text, base 10", "u_i32toa", print(byU32toa<10>),
               {{"fmt::format_int", "1.2", print(byFormatInt)}});
    sideBySide("64 unsigned numbers to text, base 16", "u_i32toa", print(byU32toa<16>),
               {{"std::to_chars", "1.2", print(byToChars<16>)}});
    sideBySide("64 unsigned numbers to text, base 2", "u_i32toa", print(byU32toa<2>),
               {{"std::to_chars", "1.2", print(byToChars<2>)}});
    sideBySide(
        "64 numbers from text, base 10", "valueOf32",
        parse(decimal, [](const char* text) { return valueOf32(text); }),
        {{"strtol", "0.6",
          parse(decimal,
                [](const char* text) { return static_cast<int32_t>(strtol(text, nullptr, 10)); })},
         {"std::from_chars", "1.2", parse(decimal, [](const char* text) {
              int32_t value = 0;
              std::from_chars(text, text + strlen(text), value);
              return value;
          })}});
    sideBySide("64 numbers from text, base 16", "valueOf32",
               parse(hexadecimal, [](const char* text) { return valueOf32(text); }),
               {{"std::from_chars", "1.1", parse(hexadecimal, byFromChars<16>)}});
    sideBySide("64 numbers from text, validated", "validValueOf32", parse(decimal, isValid),
               {{"std::from_chars", "1.1", parse(decimal, isWholeNumber)}});
}
