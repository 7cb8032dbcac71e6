// SPDX-License-Identifier: MIT
//
// Dumps bytes, checks telephone numbers, times and dates, converts addresses and rounds up to
// powers of two. Each is compared with a plain model.

#include <velutils++/conversions.h>

#include <limits.h>

#include <vector>

#include "fuzz/input.h"

namespace {

std::string dumpOf(const std::string& words, int lineLength) {
    std::string dump;
    int inLine = 0;
    for (size_t i = 0; i < words.size(); ++i) {
        char digits[3];
        snprintf(digits, sizeof digits, "%02x", words[i] & 0xFF);
        dump += (i % 4 == 0 ? "0x" : "") + std::string(digits);
        if (i % 4 != 3) continue;
        dump += ' ';
        inLine += 4;
        if (inLine < lineLength) continue;
        dump += '\n';
        inLine = 0;
    }
    return dump + '\n';
}

// A word that the length ends in is dumped whole.
void isDumped(const std::string& words, int missing, int lineLength) {
    const int length = std::max(static_cast<int>(words.size()) - missing, 0);
    const size_t dumped = static_cast<size_t>((length + 3) / 4 * 4);
    const std::string expected = dumpOf(words.substr(0, dumped), lineLength);
    std::vector<char> area(expected.size() + 1);
    dataChunk2String(words.data(), area.data(), length, lineLength);
    REQUIRE(expected == area.data());
    if (lineLength <= 0 || lineLength % 4 != 0) return;
    const int room = nbrOfChars_forDataChunk2String(length, lineLength);
    REQUIRE(static_cast<size_t>(room) >= area.size());
}

struct Number {
    long low, value, high;
    bool isValid() const { return value >= low && value <= high; }
    std::string text() const { return std::to_string(value); }
};

// Any number from a little below the valid ones to a little above them, or far away.
Number numberIn(Input& input, long low, long high) {
    const long near = low - 2 + static_cast<long>(input.below(static_cast<size_t>(high - low + 5)));
    const bool isFar = input.below(8) == 0;
    return {low, isFar ? input.number<int32_t>() : near, high};
}

void isJudged(int (*check)(const char*), const std::string& text, bool valid) {
    REQUIRE(check(text.c_str()) == (valid ? 0 : -1));
}

void checkTimes(Input& input) {
    const Number year = numberIn(input, 1999, 2035);
    const Number month = numberIn(input, 1, 12);
    const Number day = numberIn(input, 1, 31);
    Number hour = numberIn(input, 0, 23);
    Number minute = numberIn(input, 0, 59);
    Number second = numberIn(input, 0, 59);
    for (Number* const number : {&hour, &minute, &second}) number->low = INT32_MIN;
    const bool isDate = year.isValid() && month.isValid() && day.isValid();
    const bool isTime = hour.isValid() && minute.isValid() && second.isValid();
    const std::string tail = input.below(2) == 0 ? "" : "Z";
    const std::string date = year.text() + '-' + month.text() + '-' + day.text();
    const std::string time = hour.text() + ':' + minute.text() + ':' + second.text();
    isJudged(validateDate, date + tail, isDate);
    isJudged(validateTime, time + tail, isTime);
    isJudged(validateTimeString, date + 'T' + time + tail, isDate && isTime);
    isJudged(validateTimeString, date + ' ' + time, false);
    isJudged(validateTimeString, date + 'T' + hour.text() + ':' + minute.text(), false);
    isJudged(validateDate, year.text() + '-' + month.text() + '-', false);
    isJudged(validateTime, hour.text() + ':' + minute.text(), false);
}

// The octets of a text are added up modulo 2^32. Those of a number are its bytes.
void convertAddress(Input& input) {
    uint32_t sum = 0;
    std::string text, dotted;
    const uint32_t address = input.number<uint32_t>();
    for (int shift = 24; shift >= 0; shift -= 8) {
        const uint32_t octet =
            input.below(4) == 0 ? input.number<uint32_t>() : input.number<uint8_t>();
        const std::string dot = shift > 0 ? "." : "";
        sum += octet << shift;
        text += std::to_string(octet) + dot;
        dotted += std::to_string(address >> shift & 0xFF) + dot;
    }
    unsigned long word = 7;
    REQUIRE(convIPStr2IPUl(text.c_str(), &word) == 0 && word == sum);
    word = 7;
    REQUIRE(convIPStr2IPUl(text.substr(0, text.rfind('.')).c_str(), &word) == -1 && word == 7);
    std::vector<char> area(dotted.size() + 1);
    REQUIRE(convIPUL2IPStr(address, area.data()) == 0 && dotted == area.data());
}

void roundUp(uint32_t value) {
    uint64_t power = 1;
    while (power < value) power *= 2;
    REQUIRE(nextHigherPowerOf2(value) == static_cast<uint32_t>(power));
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    checkTimes(input);
    convertAddress(input);
    const uint32_t value = input.number<uint32_t>();
    roundUp(value);
    roundUp(UINT32_C(1) << value % 32);
    roundUp((UINT32_C(1) << value % 32) + 1);

    const int lineLength = input.number<int8_t>();
    const int missing = static_cast<int>(input.below(5));
    std::string words = input.line();
    const std::string allowed = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ?#*";
    isJudged(e164Number, words, words.find_first_not_of(allowed) == std::string::npos);
    words += input.rest();
    words.resize(words.size() / 4 * 4);
    for (const int any : {lineLength, INT_MIN, INT_MAX}) {
        isDumped(words, missing, any);
        isDumped(words, 0, any);
    }
    return 0;
}
