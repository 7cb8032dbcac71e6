// SPDX-License-Identifier: MIT
//
// Checks comparisons of texts, and searches of a text in another from any position, against simple
// models.

#include <velutils++/text.h>

#include <limits.h>

#include <vector>

#include "fuzz/input.h"
#include "tests/support/strings.h"

namespace {

const std::string::size_type NONE = std::string::npos;

std::string cut(const std::string& text, size_t n = NONE) {
    return std::string(text.c_str()).substr(0, n);
}

std::string lower(std::string text) {
    for (char& ch : text)
        if (ch >= 'A' && ch <= 'Z') ch = static_cast<char>(ch + 32);
    return text;
}

int sign(int n) {
    return (n > 0) - (n < 0);
}

// Whether n occurs in t at i. False for an i outside t.
bool occursAt(const std::string& t, long i, const std::string& n) {
    return i >= 0 && i <= long(t.size()) && t.compare(size_t(i), n.size(), n) == 0;
}

// strncmp and strnicmp: up to a NUL, of at most n characters.
bool sameText(bool fold, const std::string& a, const std::string& b, size_t n) {
    return fold ? lower(cut(a, n)) == lower(cut(b, n)) : cut(a, n) == cut(b, n);
}

void compare(const std::string& x, const std::string& y, long position) {
    const String a = make(x), b = make(y);
    const int order = sign(cut(x).compare(cut(y)));
    const int folded = sign(lower(cut(x)).compare(lower(cut(y))));
    const bool sized = x.size() == y.size();
    REQUIRE(stricmp(x.c_str(), y.c_str()) == folded);
    const size_t n = size_t(position);  // everything if position is negative
    REQUIRE(strnicmp(x.c_str(), y.c_str(), static_cast<int>(position)) ==
            sign(lower(cut(x, n)).compare(lower(cut(y, n)))));
    REQUIRE(sign(a.compareTo(b)) == -order);  // compareTo compares b with a
    REQUIRE(a.compareToIgnoreCase(b) == -folded);
    REQUIRE(a.equals(b) == (x == y) && a.equals(b.buffer()) == (order == 0));
    REQUIRE(a.equalsIgnoreCase(b) == (sized && folded == 0));
    REQUIRE(a.equalsIgnoreCase(b.buffer()) == (folded == 0));
    // Relations ignore the text after a NUL. Only == and != also compare the lengths.
    const int plain = relations(order, 0);
    REQUIRE(relations(a, b) == (sized ? plain : (plain & ~3) | 2));
    REQUIRE(relations(a, b.buffer()) == plain && relations(a.buffer(), b) == plain);
    REQUIRE(a.startsWith(b) == occursAt(x, 0, y));
    REQUIRE(a.endsWith(b) == occursAt(x, a.length() - b.length(), y));
    REQUIRE(a.startsWith(b, position) == occursAt(x, position, y));
}

void compareRegions(const std::string& x, const std::string& y, long from, long other, long n) {
    const String a = make(x), b = make(y);
    const bool inside =
        from >= 0 && other >= 0 && n >= 0 && from + n <= a.length() && other + n <= b.length();
    for (const bool fold : {false, true}) {
        const bool same =
            inside && sameText(fold, x.substr(size_t(from)), y.substr(size_t(other)), size_t(n));
        REQUIRE(a.regionMatches(fold, from, b, other, n) == same);
        REQUIRE(fold || a.regionMatches(from, b, other, n) == same);
    }
}

long found(size_t position, long start = 0) {
    return position == NONE ? -1 : start + long(position);
}

// Like strchr and strstr, beginning at `from`.
template <class Needle>
long foundFrom(long from, const std::string& t, const Needle& needle) {
    const long start = std::max(from, 0L);
    return found(cut(t.substr(size_t(start))).find(needle), start);
}

void searchCharacter(const std::string& t, char ch, long from) {
    const String text = make(t);
    REQUIRE(text.indexOf(ch) == (ch == '\0' ? -1 : foundFrom(0, t, ch)));
    REQUIRE(text.lastIndexOf(ch) == found(t.rfind(ch)));
    const bool never = ch == '\0' || from >= text.length();
    REQUIRE(text.indexOf(ch, from) == (never ? -1 : foundFrom(from, t, ch)));
    REQUIRE(text.lastIndexOf(ch, from) == (from < 0 ? -1 : found(t.rfind(ch, size_t(from)))));
}

void searchText(const std::string& t, const std::string& n, long from) {
    const String text = make(t), needle = make(n);
    const long length = text.length(), last = length - needle.length();
    const auto occurs = [&](bool fold, long i) {
        return sameText(fold, t.substr(size_t(i)), n, fold ? n.size() : cut(n).size());
    };
    const auto forwards = [&](long start) {
        for (long i = std::max(start, 0L); i <= last; ++i)
            if (occurs(true, i)) return i;
        return -1L;
    };
    const auto backwards = [&](bool fold, long start) {
        for (long i = std::min(start, last); i >= 0; --i)
            if (occurs(fold, i)) return i;
        return -1L;
    };
    REQUIRE(text.indexOf(needle) == foundFrom(0, t, cut(n)));
    REQUIRE(text.indexOfIgnoreCase(needle) == forwards(0));
    REQUIRE(text.lastIndexOf(needle) == backwards(false, length));
    REQUIRE(text.lastIndexOfIgnoreCase(needle) == backwards(true, length));
    REQUIRE(text.indexOf(needle, from) == (from > last ? -1 : foundFrom(from, t, cut(n))));
    REQUIRE(text.indexOfIgnoreCase(needle, from) == forwards(from));
    REQUIRE(text.lastIndexOf(needle, from) == backwards(false, from));
    REQUIRE(text.lastIndexOfIgnoreCase(needle, from) == backwards(true, from));
}

void readAt(const std::string& t, long begin, long end) {
    const String text = make(t);
    REQUIRE(text[begin] == (begin < 0 || begin >= text.length() ? '\0' : t[size_t(begin)]));
    const size_t from = size_t(std::min(std::max(begin, 0L), text.length()));
    const size_t to = std::max(from, size_t(std::min(std::max(end, 0L), text.length())));
    const std::string part = t.substr(from, to - from);
    std::vector<char> area(part.size());
    REQUIRE(text.getChars(begin, end, area.data()) == long(part.size()));
    REQUIRE(std::equal(area.begin(), area.end(), part.begin()));
    REQUIRE(text.getChars(begin, end, nullptr) == 0);
    char* stopped;
    const long number = strtol(text.buffer(), &stopped, 0);
    if (number > INT32_MIN && number < INT32_MAX)
        REQUIRE(text.toInteger() == (stopped == text.buffer() ? -1 : number));
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, std::min(size, size_t{1000}));
    while (!input.isEmpty()) {
        const long from = input.number<int8_t>(), other = input.number<int8_t>();
        const long n = input.number<int8_t>();
        const std::string y = input.text(input.below(8)), x = input.text(input.below(90));
        compare(x, y, n);
        compare(y, x, n);
        compare(x, x + y, n);
        readAt(x, from, other);
        readAt(y, LONG_MIN, LONG_MAX);
        compareRegions(x, y, from, other, n);
        compareRegions(x, x.substr(x.size() / 2) + y, from, other, n);
        for (const long start : {from, LONG_MIN, LONG_MAX}) {
            searchCharacter(x, y[0], start);
            searchText(x, y, start);
            searchText(x + y + x, y, start);
            searchText(y, x, start);
        }
    }
    return 0;
}
