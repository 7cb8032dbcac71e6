// SPDX-License-Identifier: MIT
//
// Integers to text and back.
//
// A converter counts the digits and then writes them from the last to the first into the caller's
// buffer, and nothing after the NUL. A parser reads the text as decimal, which most texts are, and
// adds the digits up again only if its last character names another base. Sums are modulo 2^32. A
// validating parser looks at the text itself instead of comparing it with the converted value.
//
// Tested by conversions_test.cc.

#include <velutils++/conversions.h>

#include <endian.h>
#include <string.h>

#include <algorithm>

#include "decimal_pairs_internal.h"

namespace {

const int LONGEST_TEXT = 33;           // 32 binary digits and their letter
const unsigned char BACKQUOTE = 0x60;  // base letters and the digits a to f have higher codes
const unsigned char AT_SIGN = 0x40;    // the digits A to F have higher codes

int significantBits(uint32_t value) {
    return 32 - __builtin_clz(value | 1);
}

// Without branches, because the processor cannot predict the lengths of varying numbers.
int decimalLength(uint32_t value) {
    static const uint32_t POWERS[] = {0,      10,      100,      1000,      10000,
                                      100000, 1000000, 10000000, 100000000, 1000000000};
    const int atLeast = significantBits(value) * 1233 >> 12;  // 1233 / 4096 is just below log10(2)
    return atLeast + (value >= POWERS[atLeast] ? 1 : 0);
}

// The functions that write return `out`, so that their callers can end with a call of one.
char* writeDecimal(uint32_t value, char* out) {
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
    return out;
}

// Writes n digits, each of a fixed number of bits.
char* writeShifted(uint32_t value, char* out, int n, int bits, char letter) {
    out[n] = letter;
    out[n + 1] = '\0';
    const uint32_t mask = (1u << bits) - 1;
    for (char* at = out + n; at != out; value >>= bits)
        *--at = static_cast<char>('0' + (value & mask));
    return out;
}

// Writes the four lowest hexadecimal digits, which are computed as the bytes of one word.
void writeFourDigits(uint32_t value, char* out) {
    const uint32_t pairs = (value & 0xFF00) << 8 | (value & 0xFF);
    const uint32_t digits = (pairs << 4 | pairs) & 0x0F0F0F0F;
    const uint32_t letters = (digits + 0x06060606) >> 4 & 0x01010101;  // 1 for each digit above 9
    const uint32_t text = htobe32(digits + 0x30303030 + letters * ('A' - '9' - 1));
    memcpy(out, &text, sizeof text);
}

char* writeHexadecimal(uint32_t value, char* out, int n) {
    out[n] = 'h';
    out[n + 1] = '\0';
    if (n >= 4) {  // the first four and the last four, which may overlap
        writeFourDigits(value >> (4 * n - 16), out);
        writeFourDigits(value, out + n - 4);
        return out;
    }
    for (char* at = out + n; at != out; value >>= 4) *--at = "0123456789ABCDEF"[value & 0xF];
    return out;
}

// Returns the value of a byte as a digit in base 16: 'A' and 'a' are 10. Other bytes have values,
// too.
inline uint32_t hexDigitOf(unsigned char ch) {
    return ch - 48u - (ch > AT_SIGN ? 'A' - '9' - 1 : 0) - (ch > BACKQUOTE ? 'a' - 'A' : 0);
}

__attribute__((noinline)) uint32_t shiftedSum(const char* text, int count, int bits) {
    uint32_t sum = 0;
    for (int i = 0; i < count; ++i) sum = (sum << bits) + static_cast<unsigned char>(text[i]) - 48u;
    return sum;
}

// Returns the sum if other characters follow the digits. The last character may name a base, in
// most texts that of hexadecimal numbers.
__attribute__((noinline)) uint32_t sumWithLetters(const char* text, int count, int limit,
                                                  uint32_t sum) {
    uint32_t hexadecimal = 0;  // without the last character
    unsigned char last = static_cast<unsigned char>(*text);
    int end = 1;
    for (; end < limit && text[end] != '\0'; ++end) {
        hexadecimal = (hexadecimal << 4) + hexDigitOf(last);
        last = static_cast<unsigned char>(text[end]);
    }
    if (last > BACKQUOTE) --end;
    switch (last) {
        case 'b':
            return shiftedSum(text, end, 1);
        case 'o':
            return shiftedSum(text, end, 3);
        case 'h':
        case 'x':
            return hexadecimal;
        default:
            break;
    }
    for (; count < end; ++count) sum = sum * 10 + static_cast<unsigned char>(text[count]) - 48u;
    return sum;
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

// Returns whether a text without its sign is the canonical decimal text of a number below 2^32.
bool isCanonical(const char* text, uint32_t* value) {
    uint32_t sum = 0;
    int count = 0;
    for (; text[count] != '\0'; ++count) {
        const uint32_t digit = static_cast<unsigned char>(text[count]) - 48u;
        if (digit > 9 || count == 10) return false;
        sum = sum * 10 + digit;
    }
    *value = sum;
    if (*text == '0') return count == 1;
    // From 2^32 on, ten digits have a sum below 10^9 or begin with 5 or more.
    return count < 10 ? count > 0 : *text <= '4' && sum >= 1000000000;
}

// Reads a text as valueOf32 does, or u_valueOf32 if not isSigned. Sets the error unless it is the
// canonical text of a value up to `maximum`, the largest of the type.
uint32_t validated(int32_t* error, const char* text, bool isSigned, uint32_t maximum) {
    if (text == nullptr) text = "";
    const uint32_t negative = isSigned && *text == '-' ? 1 : 0;
    text += negative;
    uint32_t sum = 0;
    // The lowest value is -maximum - 1. There is no -0.
    const bool valid = isCanonical(text, &sum) && sum - negative <= maximum;
    if (error != nullptr) *error = valid ? 0 : -1;
    if (!valid) sum = sumOf(text, LONGEST_TEXT - static_cast<int>(negative));
    return negative != 0 ? 0 - sum : sum;
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
            return writeShifted(value, buffer, significantBits(value), 1, 'b');
        case 8:
            return writeShifted(value, buffer, (significantBits(value) + 2) / 3, 3, 'o');
        case 10:
            return writeDecimal(value, buffer);
        case 16:
            return writeHexadecimal(value, buffer, (significantBits(value) + 3) / 4);
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
    return static_cast<int32_t>(validated(error, text, true, INT32_MAX));
}

uint32_t u_validValueOf32(int32_t* error, const char* text) {
    return validated(error, text, false, UINT32_MAX);
}

int16_t validValueOf16(int32_t* error, const char* text) {
    return static_cast<int16_t>(validated(error, text, true, INT16_MAX));
}

uint16_t u_validValueOf16(int32_t* error, const char* text) {
    return static_cast<uint16_t>(validated(error, text, false, UINT16_MAX));
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
