// SPDX-License-Identifier: MIT
//
// Each round converts 64 random numbers of all lengths.

#include "side_by_side.h"

#include <velutils++/conversions.h>

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

std::vector<std::string> texts() {
    std::vector<std::string> all;
    for (int32_t number : numbers()) all.push_back(std::to_string(number));
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
Body parse(Parse parseOne) {
    return repeat([parseOne, all = texts()] {
        for (const std::string& text : all)
            benchmark::DoNotOptimize(parseOne(hidden(text.c_str())));
    });
}

}  // namespace

void registerConversions() {
    sideBySide("64 numbers to text, base 10", "i32toa",
               print([](int32_t number, char* text) { i32toa(number, text, 10); }),
               {{"snprintf", "0.15",
                 print([](int32_t number, char* text) { snprintf(text, 40, "%d", number); })},
                {"std::to_chars", "1.2", print([](int32_t number, char* text) {
                     *std::to_chars(text, text + 39, number).ptr = '\0';
                 })}});
    sideBySide("64 numbers from text, base 10", "valueOf32",
               parse([](const char* text) { return valueOf32(text); }),
               {{"strtol", "0.6", parse([](const char* text) {
                     return static_cast<int32_t>(strtol(text, nullptr, 10));
                 })},
                {"std::from_chars", "1.2", parse([](const char* text) {
                     int32_t value = 0;
                     std::from_chars(text, text + strlen(text), value);
                     return value;
                 })}});
}
