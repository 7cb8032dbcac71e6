// SPDX-License-Identifier: MIT
//
// Changes of a String that report whether there was enough memory: String itself reports nothing,
// and keeps its old text. For callers to whom that is a wrong text.

#ifndef VELUTILS_WHOLE_TEXT_INTERNAL_H
#define VELUTILS_WHOLE_TEXT_INTERNAL_H

#include <velutils++/text.h>

inline bool assignAll(String& text, const char* s) {
    text = s;
    return text == s;
}

inline bool appendAll(String& text, const char* p, size_t n) {
    const long wanted = text.length() + static_cast<long>(n);
    text.concat(p, static_cast<long>(n));
    return text.length() == wanted;
}

// False also when the platform renders nothing of an output that is not empty.
template <class... Arguments>
bool formatAll(String& text, const char* format, Arguments... arguments) {
    text = String::EMPTY();
    text.format(format, arguments...);
    return *text.buffer() != '\0' || strlenf(format, arguments...) == 0;
}

#endif
