// SPDX-License-Identifier: MIT
//
// Runs the formatter with any format, and with an argument of the right type for each directive.
// Any slice of the output is that part of the whole output. If all directives mean the same to the
// platform's printf, the two outputs are equal.
//
// Every argument is passed as an unsigned long. On our platforms an int is read from its low bits.

#undef _FORTIFY_SOURCE  // which forbids %n
#include <velutils++/text.h>

#include <vector>

#include "fuzz/input.h"

namespace {

const size_t MOST = 8;
const int32_t LONGEST = 5000;
const long TOO_LARGE = 100000;

struct Call {
    std::string format;
    unsigned long args[MOST] = {};
    size_t used = 0;
    bool asPlatform = true;
    long counts[MOST] = {};
    std::vector<char> text;

    unsigned long value(Input& input) { return args[used++] = input.number<uint32_t>(); }

    // Reads a number or a star at `at`. The argument for a star is small.
    long readNumber(size_t* at, Input& input, long none) {
        if (format[*at] == '*') {
            ++*at;
            const int chosen = input.number<int8_t>();
            args[used++] = static_cast<unsigned long>(chosen);
            return chosen;
        }
        long read = none;
        for (; format[*at] >= '0' && format[*at] <= '9'; ++*at)
            read = std::min((read < 0 ? 0 : read) * 10 + format[*at] - '0', TOO_LARGE);
        if (read == TOO_LARGE) asPlatform = false;  // the platform may fail
        return read;
    }

    // Reads the directive after the % at `at`. Returns false if there would be too many arguments.
    bool readDirective(size_t* at, Input& input) {
        if (used + 3 > MOST) return false;
        const size_t flagsEnd = std::min(format.find_first_not_of("-+ #0", *at), format.size());
        const std::string flags = format.substr(*at, flagsEnd - *at);
        const bool bare = format[*at] == '%';
        *at = flagsEnd;
        readNumber(at, input, 0);
        long precision = -1;
        const bool pointed = format[*at] == '.';
        if (pointed) precision = readNumber(&++*at, input, 0);
        const char length = format[*at] == 'h' || format[*at] == 'l' ? format[(*at)++] : '\0';
        const char conversion = format[*at];
        if (conversion == '\0') return asPlatform = false, true;
        ++*at;
        const bool zero = flags.find('0') != std::string::npos;
        if (strchr("diuoxX", conversion) != nullptr) {
            unsigned long number = value(input);
            if (length == 'h') number &= 0xFFFF;
            // printf writes no digit for 0 at precision 0, and counts an octal prefix as a digit.
            if (precision == 0 && number == 0) asPlatform = false;
            if (conversion == 'o' && pointed && flags.find('#') != std::string::npos)
                asPlatform = false;
        } else if (conversion == 'c') {
            if ((value(input) & 0xFF) == 0 || zero || pointed || length != '\0') asPlatform = false;
        } else if (conversion == 's') {
            const bool null = input.below(4) == 0;
            args[used++] = null ? 0 : reinterpret_cast<unsigned long>(text.data());
            if (null || zero || length != '\0') asPlatform = false;
        } else if (conversion == 'p') {
            const bool sign = flags.find_first_of("+ ") != std::string::npos;
            if (value(input) == 0 || sign || length != '\0') asPlatform = false;
        } else if (conversion == 'n') {
            args[used] = reinterpret_cast<unsigned long>(&counts[used]);
            ++used;
            asPlatform = false;
        } else if (!bare) {
            asPlatform = false;
        }
        return true;
    }

    explicit Call(Input& input) {
        const std::string characters = input.line();
        text.assign(characters.c_str(), characters.c_str() + characters.size() + 1);
        format = input.line();
        for (size_t at = 0; (at = format.find('%', at)) != std::string::npos;) {
            const size_t start = at++;
            if (!readDirective(&at, input)) format.resize(start);
        }
    }
};

#define ARGUMENTS(c) \
    c.args[0], c.args[1], c.args[2], c.args[3], c.args[4], c.args[5], c.args[6], c.args[7]

std::string slice(const Call& c, int32_t offset, uint32_t size) {
    const std::vector<char> format(c.format.c_str(), c.format.c_str() + c.format.size() + 1);
    std::vector<char> area(size);
    const int32_t n = snxprintf(area.data(), offset, size, format.data(), ARGUMENTS(c));
    REQUIRE(n >= 0 && static_cast<uint32_t>(n) < size && area[static_cast<size_t>(n)] == '\0');
    return std::string(area.data(), static_cast<size_t>(n));
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    const int32_t offset = input.number<uint16_t>();
    const uint32_t room = input.number<uint16_t>() % 1000 + 1u;
    const Call c(input);
    const int32_t measured = strlenf(c.format.c_str(), ARGUMENTS(c));
    const std::string part = slice(c, offset, room);
    if (measured < 0 || measured > LONGEST) return 0;

    const std::string whole = slice(c, 0, LONGEST + 10);
    REQUIRE(whole.size() == static_cast<size_t>(measured));
    const size_t from = std::min(static_cast<size_t>(offset), whole.size());
    REQUIRE(part == whole.substr(from, room - 1));
    if (!c.asPlatform) return 0;
    char theirs[LONGEST + 10];
    const int n = snprintf(theirs, sizeof theirs, c.format.c_str(), ARGUMENTS(c));
    REQUIRE(whole == std::string(theirs, static_cast<size_t>(n)));
    String text("before");
    text.concatf(c.format.c_str(), ARGUMENTS(c));
    REQUIRE(text == ("before" + whole).c_str());
    return 0;
}
