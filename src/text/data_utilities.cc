// SPDX-License-Identifier: MIT
//
// Hex dumps, powers of two, and checks and conversions of small texts.
//
// Tested by conversions_test.cc.

#include <velutils++/conversions.h>

#include <limits.h>
#include <stdio.h>
#include <string.h>

#define SIXTEEN(digit)                                                                      \
    digit "0", digit "1", digit "2", digit "3", digit "4", digit "5", digit "6", digit "7", \
        digit "8", digit "9", digit "a", digit "b", digit "c", digit "d", digit "e", digit "f"

const char binToHexLut[256][3] = {
    SIXTEEN("0"), SIXTEEN("1"), SIXTEEN("2"), SIXTEEN("3"), SIXTEEN("4"), SIXTEEN("5"),
    SIXTEEN("6"), SIXTEEN("7"), SIXTEEN("8"), SIXTEEN("9"), SIXTEEN("a"), SIXTEEN("b"),
    SIXTEEN("c"), SIXTEEN("d"), SIXTEEN("e"), SIXTEEN("f"),
};

namespace {

const int WORD_BYTES = 4;
const int WORD_CHARACTERS = 10;  // 0x12345678

bool isDate(long year, long month, long day) {
    return year >= 1999 && year <= 2035 && month >= 1 && month <= 12 && day >= 1 && day <= 31;
}

bool isTime(long hour, long minute, long second) {
    return hour <= 23 && minute <= 59 && second <= 59;
}

int resultOf(bool valid) {
    return valid ? 0 : -1;
}

}  // namespace

void convBinToHex(uint32_t word, char* out) {
    unsigned char bytes[WORD_BYTES];
    memcpy(bytes, &word, sizeof bytes);
    *out++ = '0';
    *out++ = 'x';
    for (const unsigned char byte : bytes) {
        memcpy(out, binToHexLut[byte], 2);
        out += 2;
    }
    *out = '\0';
}

void dataChunk2String(const void* data, char* out, int length, int lineLength) {
    const char* next = static_cast<const char*>(data);
    int left = lineLength;  // in this line; counting down cannot overflow
    for (; length > 0; length -= WORD_BYTES) {
        uint32_t word;
        memcpy(&word, next, sizeof word);
        next += sizeof word;
        convBinToHex(word, out);
        out += WORD_CHARACTERS;
        *out++ = ' ';
        if (left > WORD_BYTES) {
            left -= WORD_BYTES;
            continue;
        }
        *out++ = '\n';
        left = lineLength;
    }
    *out++ = '\n';
    *out = '\0';
}

int nbrOfChars_forDataChunk2String(int length, int lineLength) {
    if (lineLength <= 0) return 0;
    if (length <= 0) return 2;  // the last newline and the NUL
    const int64_t lines = length / lineLength + (length % lineLength != 0 ? 1 : 0);
    const int64_t words = lineLength / WORD_BYTES;
    const int64_t characters = lines * ((WORD_CHARACTERS + 1) * words + 2) + 1;
    return characters > INT_MAX ? 0 : static_cast<int>(characters);
}

uint32_t nextHigherPowerOf2(uint32_t value) {
    if (value <= 1) return 1;
    if (value > UINT32_C(1) << 31) return 0;
    return UINT32_C(1) << (32 - __builtin_clz(value - 1));
}

int e164Number(const char* text) {
    if (text == nullptr) return -1;
    for (; *text != '\0'; ++text) {
        const bool allowed = (*text >= '0' && *text <= '9') || (*text >= 'A' && *text <= 'Z') ||
                             *text == '?' || *text == '#' || *text == '*';
        if (!allowed) return -1;
    }
    return 0;
}

// The numbers below are read as long. Where long has 64 bits, "%d" could turn a number of many
// digits into a valid one.

int validateTimeString(const char* text) {
    long year, month, day, hour, minute, second;
    return resultOf(text != nullptr &&
                    sscanf(text, "%ld-%ld-%ldT%ld:%ld:%ld", &year, &month, &day, &hour, &minute,
                           &second) == 6 &&
                    isDate(year, month, day) && isTime(hour, minute, second));
}

int validateTime(const char* text) {
    long hour, minute, second;
    return resultOf(text != nullptr && sscanf(text, "%ld:%ld:%ld", &hour, &minute, &second) == 3 &&
                    isTime(hour, minute, second));
}

int validateDate(const char* text) {
    long year, month, day;
    return resultOf(text != nullptr && sscanf(text, "%ld-%ld-%ld", &year, &month, &day) == 3 &&
                    isDate(year, month, day));
}

int convIPStr2IPUl(const char* text, unsigned long* out) {
    unsigned long a, b, c, d;
    if (text == nullptr || sscanf(text, "%lu.%lu.%lu.%lu", &a, &b, &c, &d) != 4) return -1;
    *out = static_cast<uint32_t>((a << 24) + (b << 16) + (c << 8) + d);
    return 0;
}

int convIPUL2IPStr(unsigned long value, char* out) {
    sprintf(out, "%lu.%lu.%lu.%lu", value >> 24 & 0xFF, value >> 16 & 0xFF, value >> 8 & 0xFF,
            value & 0xFF);
    return 0;
}
