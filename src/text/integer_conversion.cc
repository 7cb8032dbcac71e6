// SPDX-License-Identifier: MIT
//
// Integers to text and back.
//
// A converter counts the digits and then writes them from the last to the first into the caller's
// buffer, and nothing after the NUL. A parser reads the text as decimal, which most texts are, and
// reads it again only if its last character names another base. Sums are modulo 2^32.
//
// Tested by conversions_test.cc.

#include <velutils++/conversions.h>

#include <string.h>

#include <algorithm>

#include "decimal_pairs_internal.h"

namespace {

const int LONGEST_TEXT = 33;           // 32 binary digits and their letter
const unsigned char BACKQUOTE = 0x60;  // base letters and the digits a to f have higher codes
const unsigned char AT_SIGN = 0x40;    // the digits A to F have higher codes

// Without branches, because the processor cannot predict the lengths of varying numbers.
int decimalLength(uint32_t value) {
    static const uint32_t POWERS[] = {0,      10,      100,      1000,      10000,
                                      100000, 1000000, 10000000, 100000000, 1000000000};
    const int bits = 32 - __builtin_clz(value | 1);
    const int atLeast = bits * 1233 >> 12;  // 1233 / 4096 is just below log10(2)
    return atLeast + (value >= POWERS[atLeast] ? 1 : 0);
}

void writeDecimal(uint32_t value, char* out) {
    char* at = out + decimalLength(value);
    *at = '\0';
    for (; value >= 100; value /= 100) {
        at -= 2;
        memcpy(at, DECIMAL_PAIRS + value % 100 * 2, 2);
    }
    // One or two digits are left. If it is one, both lines write it.
    const char* const pair = DECIMAL_PAIRS + value * 2;
    at[-1] = pair[1];
    *out = pair[value < 10];
}

void writeShifted(uint32_t value, char* out, int bits, char letter) {
    char* at = out;
    uint32_t rest = value;
    do {
        ++at;
        rest >>= bits;
    } while (rest != 0);
    at[0] = letter;
    at[1] = '\0';
    const uint32_t mask = (1u << bits) - 1;
    for (; at != out; value >>= bits) *--at = "0123456789ABCDEF"[value & mask];
}

uint32_t digitOf(unsigned char ch, int bits) {
    if (bits == 4 && ch > BACKQUOTE) return ch - 87u;
    if (bits == 4 && ch > AT_SIGN) return ch - 55u;
    return ch - 48u;
}

uint32_t shiftedSum(const char* text, int count, int bits) {
    uint32_t sum = 0;
    for (int i = 0; i < count; ++i)
        sum = (sum << bits) + digitOf(static_cast<unsigned char>(text[i]), bits);
    return sum;
}

// Continues at the first character that is not a digit. Reads to the end, and reads the text again
// if the last character names a base.
__attribute__((noinline)) uint32_t sumWithLetters(const char* text, int count, int limit,
                                                  uint32_t sum) {
    uint32_t sumBefore = 0;  // sum without the last character
    unsigned char last = 0;
    for (; count < limit && text[count] != '\0'; ++count) {
        last = static_cast<unsigned char>(text[count]);
        sumBefore = sum;
        sum = sum * 10 + last - 48u;
    }
    if (last <= BACKQUOTE) return sum;
    switch (last) {
        case 'b':
            return shiftedSum(text, count - 1, 1);
        case 'o':
            return shiftedSum(text, count - 1, 3);
        case 'h':
        case 'x':
            return shiftedSum(text, count - 1, 4);
        default:
            return sumBefore;
    }
}

// Reads at most `limit` characters of a text without its sign.
inline uint32_t sumOf(const char* text, int limit) {
    uint32_t sum = 0;
    for (int count = 0; count < limit; ++count) {
        const uint32_t digit = static_cast<unsigned char>(text[count]) - 48u;
        if (digit > 9) return text[count] == '\0' ? sum : sumWithLetters(text, count, limit, sum);
        sum = sum * 10 + digit;
    }
    return sum;
}

template <class Value>
Value validated(int32_t* error, const char* text, Value value,
                char* (*convert)(Value value, char* buffer, int base)) {
    char canonical[LONGEST_TEXT + 1];
    const bool valid = text != nullptr && strcmp(convert(value, canonical, 10), text) == 0;
    if (error != nullptr) *error = valid ? 0 : -1;
    return value;
}

template <class Value>
Value validatedInRange(int32_t* error, const char* text, Value minimum, Value maximum,
                       Value (*parse)(int32_t* error, const char* text)) {
    if (error == nullptr) return 0;
    const Value value = parse(error, text);
    if (value < minimum || value > maximum) *error = -1;
    return value;
}

}  // namespace

const char DECIMAL_PAIRS[201] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839404142434445"
    "46474849505152535455565758596061626364656667686970717273747576777879808182838485868788899091"
    "9293949596979899";

void reverse(char* text) {
    if (text != nullptr) std::reverse(text, text + strlen(text));
}

char* u_i32toa(uint32_t value, char* buffer, int base) {
    if (buffer == nullptr) return nullptr;
    switch (base) {
        case 2:
            writeShifted(value, buffer, 1, 'b');
            return buffer;
        case 8:
            writeShifted(value, buffer, 3, 'o');
            return buffer;
        case 10:
            writeDecimal(value, buffer);
            return buffer;
        case 16:
            writeShifted(value, buffer, 4, 'h');
            return buffer;
        default:
            return nullptr;
    }
}

char* u_i16toa(uint16_t value, char* buffer, int base) {
    return u_i32toa(value, buffer, base);
}

char* i32toa(int32_t value, char* buffer, int base) {
    const bool negative = value < 0;
    const uint32_t bits = static_cast<uint32_t>(value);
    if (buffer == nullptr || base != 10) return negative ? nullptr : u_i32toa(bits, buffer, base);
    *buffer = '-';  // overwritten by a positive value, because a branch would be mispredicted
    writeDecimal(negative ? 0 - bits : bits, buffer + negative);
    return buffer;
}

char* i16toa(int16_t value, char* buffer, int base) {
    return i32toa(value, buffer, base);
}

uint32_t u_valueOf32(const char* text) {
    return text == nullptr ? 0 : sumOf(text, LONGEST_TEXT);
}

uint16_t u_valueOf16(const char* text) {
    return static_cast<uint16_t>(u_valueOf32(text));
}

int32_t valueOf32(const char* text) {
    if (text == nullptr) return 0;
    if (*text == '-') return static_cast<int32_t>(0 - sumOf(text + 1, LONGEST_TEXT - 1));
    return static_cast<int32_t>(sumOf(text, LONGEST_TEXT));
}

int16_t valueOf16(const char* text) {
    return static_cast<int16_t>(valueOf32(text));
}

int32_t validValueOf32(int32_t* error, const char* text) {
    return validated(error, text, valueOf32(text), i32toa);
}

uint32_t u_validValueOf32(int32_t* error, const char* text) {
    return validated(error, text, u_valueOf32(text), u_i32toa);
}

int16_t validValueOf16(int32_t* error, const char* text) {
    return validated(error, text, valueOf16(text), i16toa);
}

uint16_t u_validValueOf16(int32_t* error, const char* text) {
    return validated(error, text, u_valueOf16(text), u_i16toa);
}

int32_t validRangeValueOf32(int32_t* error, const char* text, int32_t minimum, int32_t maximum) {
    return validatedInRange(error, text, minimum, maximum, validValueOf32);
}

uint32_t u_validRangeValueOf32(int32_t* error, const char* text, uint32_t minimum,
                               uint32_t maximum) {
    return validatedInRange(error, text, minimum, maximum, u_validValueOf32);
}

int16_t validRangeValueOf16(int32_t* error, const char* text, int16_t minimum, int16_t maximum) {
    return validatedInRange(error, text, minimum, maximum, validValueOf16);
}

uint16_t u_validRangeValueOf16(int32_t* error, const char* text, uint16_t minimum,
                               uint16_t maximum) {
    return validatedInRange(error, text, minimum, maximum, u_validValueOf16);
}
