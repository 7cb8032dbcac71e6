// SPDX-License-Identifier: MIT
//
// UTF-8 is repaired first, so the escaping byte by byte meets whole characters only.

#include "escape.h"

#include <velutils++/conversions.h>

#include "pieces.h"

namespace {

const char REPLACEMENT[] = "\xEF\xBF\xBD";  // U+FFFD

unsigned byteAt(std::string_view bytes, size_t i) {
    return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0;
}

struct Sequence {
    size_t length;
    bool isCharacter;
};

// The character that begins at i, or as much of it as there is.
Sequence sequenceAt(std::string_view bytes, size_t i) {
    const unsigned first = byteAt(bytes, i);
    if (first < 0x80) return {1, true};
    if (first < 0xC2 || first > 0xF4) return {1, false};
    const size_t length = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    // After some first bytes the second has a smaller range: others would make an overlong form, a
    // surrogate or a number above 0x10FFFF.
    unsigned lowest = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
    unsigned highest = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
    for (size_t n = 1; n < length; ++n) {
        const unsigned byte = byteAt(bytes, i + n);
        if (byte < lowest || byte > highest) return {n, false};
        lowest = 0x80;
        highest = 0xBF;
    }
    return {length, true};
}

void appendHex(std::string* text, const char* prefix, unsigned byte) {
    append(text, {prefix, binToHexLut[byte]});
}

}  // namespace

std::string escaped(std::string_view bytes) {
    std::string text;
    for (const char ch : bytes) {
        const unsigned char byte = static_cast<unsigned char>(ch);
        if (byte == '\\')
            text += "\\\\";
        else if (byte == '\n')
            text += "\\n";
        else if (byte == '\t')
            text += "\\t";
        else if (byte < 0x20 || byte > 0x7e)
            appendHex(&text, "\\x", byte);
        else
            text += ch;
    }
    return text;
}

std::string asUtf8(std::string_view bytes) {
    std::string text;
    for (size_t i = 0; i < bytes.size();) {
        const Sequence sequence = sequenceAt(bytes, i);
        if (sequence.isCharacter)
            text.append(bytes.data() + i, sequence.length);
        else
            text += REPLACEMENT;
        i += sequence.length;
    }
    return text;
}

std::string jsonString(std::string_view bytes) {
    const std::string characters = asUtf8(bytes);
    std::string text = "\"";
    for (size_t i = 0; i < characters.size(); ++i) {
        const unsigned char byte = static_cast<unsigned char>(characters[i]);
        const unsigned next = byteAt(characters, i + 1);
        if (byte == '"' || byte == '\\') {
            text += '\\';
            text += characters[i];
        } else if (byte == '\n') {
            text += "\\n";
        } else if (byte == '\t') {
            text += "\\t";
        } else if (byte < 0x20 || byte == 0x7f) {
            appendHex(&text, "\\u00", byte);
        } else if (byte == 0xC2 && next < 0xA0) {
            appendHex(&text, "\\u00", next);
            ++i;
        } else {
            text += characters[i];
        }
    }
    text += '"';
    return text;
}

std::string labelValue(std::string_view bytes) {
    std::string text = "\"";
    for (const char ch : asUtf8(bytes)) {
        if (ch == '\n') {
            text += "\\n";
            continue;
        }
        if (ch == '"' || ch == '\\') text += '\\';
        text += ch;
    }
    text += '"';
    return text;
}
