// SPDX-License-Identifier: MIT
//
// Searches in Strings, forwards and backwards, with and without case.
//
// Forward searches with case end at the text's first NUL (strchr, strstr). The others test one
// position after the other; at each, a text with case is compared up to its first NUL, without
// case both are.
//
// Tested by text_test.cc.

#include <velutils++/text.h>

#include "string_internal.h"

#include <string.h>

namespace {

long distance(const char* text, const char* found) {
    return found == nullptr ? -1 : static_cast<long>(found - text);
}

// Whether a text occurs at one position; the same test serves every position of a search.
class WithCase {
  public:
    explicit WithCase(const String& s) : text_(s.buffer()), length_(strlen(text_)) {}
    bool operator()(const char* at) const { return memcmp(at, text_, length_) == 0; }

  private:
    const char* text_;
    size_t length_;
};

class WithoutCase {
  public:
    explicit WithoutCase(const String& s)
        : text_(s.buffer()), length_(static_cast<int32_t>(s.length())) {}
    bool operator()(const char* at) const { return strnicmp(at, text_, length_) == 0; }

  private:
    const char* text_;
    int32_t length_;
};

template <class Occurs>
long searchBackwards(const char* text, long last, const Occurs& occursAt) {
    for (long i = last; i >= 0; --i)
        if (occursAt(text + i)) return i;
    return -1;
}

long smaller(long a, long b) {
    return a < b ? a : b;
}

}  // namespace

long String::indexOf(char ch) const {
    return indexOf(ch, 0);
}

long String::indexOf(char ch, long from) const {
    if (ch == '\0' || from >= length()) return -1;
    return distance(buffer(), strchr(buffer() + (from < 0 ? 0 : from), ch));
}

long String::indexOf(const String& s) const {
    return distance(buffer(), strstr(buffer(), s.buffer()));
}

long String::indexOf(const String& s, long from) const {
    if (from > length() - s.length()) return -1;
    return distance(buffer(), strstr(buffer() + (from < 0 ? 0 : from), s.buffer()));
}

long String::indexOfIgnoreCase(const String& s) const {
    return indexOfIgnoreCase(s, 0);
}

long String::indexOfIgnoreCase(const String& s, long from) const {
    const WithoutCase occursAt(s);
    const long last = length() - s.length();
    for (long i = from < 0 ? 0 : from; i <= last; ++i)
        if (occursAt(buffer() + i)) return i;
    return -1;
}

long String::lastIndexOf(char ch) const {
    return lastIndexOf(ch, length());
}

long String::lastIndexOf(char ch, long from) const {
    if (from < 0) return -1;
    const long end = from < length() ? from + 1 : length();
    const void* const found = memrchr(buffer(), ch, static_cast<size_t>(end));
    return distance(buffer(), static_cast<const char*>(found));
}

long String::lastIndexOf(const String& s) const {
    return lastIndexOf(s, length());
}

long String::lastIndexOf(const String& s, long from) const {
    return searchBackwards(buffer(), smaller(from, length() - s.length()), WithCase(s));
}

long String::lastIndexOfIgnoreCase(const String& s) const {
    return lastIndexOfIgnoreCase(s, length());
}

long String::lastIndexOfIgnoreCase(const String& s, long from) const {
    return searchBackwards(buffer(), smaller(from, length() - s.length()), WithoutCase(s));
}
