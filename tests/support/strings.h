// SPDX-License-Identifier: MIT
//
// Strings and their bytes, which may include NULs, for tests and fuzz targets.

#ifndef VELUTILS_TESTS_STRINGS_H
#define VELUTILS_TESTS_STRINGS_H

#include <velutils++/text.h>

#include <string>

inline String make(const std::string& bytes, long room = 0) {
    String s("", room);
    s.concat(bytes.data(), static_cast<long>(bytes.size()));
    return s;
}

inline std::string bytesOf(const String& s) {
    return std::string(s.buffer(), static_cast<size_t>(s.length()));
}

// The six relations as bits.
template <class A, class B>
int relations(const A& a, const B& b) {
    return (a == b) | (a != b) << 1 | (a < b) << 2 | (a > b) << 3 | (a <= b) << 4 | (a >= b) << 5;
}

#endif
