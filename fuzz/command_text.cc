// SPDX-License-Identifier: MIT
//
// Checks how velutils prints any bytes: lines have no control characters and can be decoded to the
// same bytes, JSON strings and labels decode to the bytes as UTF-8, and numbers match their
// grammar.

#include <math.h>
#include <regex.h>

#include "commands/duration.h"
#include "commands/escape.h"
#include "commands/status_format.h"
#include "fuzz/input.h"

namespace {

// Undoes the escapes of all three formats.
std::string readBack(const std::string& text) {
    std::string bytes;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            bytes += text[i];
            continue;
        }
        const char escape = text[++i];
        if (escape == 'x' || escape == 'u') {
            const size_t digits = escape == 'x' ? 2 : 4;
            const int code = std::stoi(text.substr(i + 1, digits), nullptr, 16);
            if (escape == 'u' && code >= 0x80) bytes += '\xC2';
            bytes += static_cast<char>(code);
            i += digits;
        } else {
            bytes += escape == 'n' ? '\n' : escape == 't' ? '\t' : escape;
        }
    }
    return bytes;
}

std::string withoutQuotes(const std::string& text) {
    REQUIRE(text.size() >= 2);
    REQUIRE(text.front() == '"');
    REQUIRE(text.back() == '"');
    return text.substr(1, text.size() - 2);
}

// Decodes by arithmetic, not by ranges of bytes.
bool isUtf8(const std::string& text) {
    for (size_t i = 0; i < text.size();) {
        const unsigned first = static_cast<unsigned char>(text[i++]);
        const int more = first < 0x80   ? 0
                         : first < 0xC0 ? -1
                         : first < 0xE0 ? 1
                         : first < 0xF0 ? 2
                                        : 3;
        if (more < 0 || first > 0xF7) return false;
        unsigned code = more == 0 ? first : first & (0x3Fu >> more);
        for (int n = 0; n < more; ++n, ++i) {
            if (i == text.size() || (text[i] & 0xC0) != 0x80) return false;
            code = code << 6 | (text[i] & 0x3F);
        }
        const unsigned least[] = {0, 0x80, 0x800, 0x10000};
        if (code < least[more] || code > 0x10FFFF || (code >= 0xD800 && code < 0xE000))
            return false;
    }
    return true;
}

class Grammar {
  public:
    explicit Grammar(const char* pattern) { REQUIRE(regcomp(&regex_, pattern, REG_EXTENDED) == 0); }
    ~Grammar() { regfree(&regex_); }
    bool describes(const std::string& text) const {
        return text.find('\0') == std::string::npos &&
               regexec(&regex_, text.c_str(), 0, nullptr, 0) == 0;
    }

  private:
    regex_t regex_;
};

bool isControl(char ch) {
    return static_cast<unsigned char>(ch) < 0x20 || ch == 0x7f;
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string bytes = Input(data, size).rest();

    const std::string line = escaped(bytes);
    REQUIRE(readBack(line) == bytes);
    for (const char ch : line) REQUIRE(ch >= 0x20 && ch <= 0x7e);

    const std::string utf8 = asUtf8(bytes);
    REQUIRE(isUtf8(utf8));
    REQUIRE(isUtf8(bytes) == (utf8 == bytes));

    const std::string json = withoutQuotes(jsonString(bytes));
    REQUIRE(readBack(json) == utf8);
    REQUIRE(std::none_of(json.begin(), json.end(), isControl));
    REQUIRE(isUtf8(json));

    const std::string label = withoutQuotes(labelValue(bytes));
    REQUIRE(readBack(label) == utf8);
    REQUIRE(label.find('\n') == std::string::npos);

    static const Grammar number("^[+-]?[0-9]+(\\.[0-9]+)?([eE][+-]?[0-9]+)?\n?$");
    REQUIRE(isNumber(bytes) == number.describes(bytes));

    static const Grammar seconds("^([0-9]+\\.?[0-9]*|\\.[0-9]+)$");
    const std::string word = bytes.c_str();
    int64_t nanoseconds = 0;
    const bool isTime = parseSeconds(word.c_str(), &nanoseconds);
    REQUIRE(isTime == seconds.describes(word));
    if (isTime && word.size() < 9)
        REQUIRE(llabs(nanoseconds - llround(1e9 * atof(word.c_str()))) <= 1);
    return 0;
}
