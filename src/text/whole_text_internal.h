// SPDX-License-Identifier: MIT
//
// Operations on a String that return false when out of memory. String's own operations report
// nothing and keep the old text, which some callers would mistake for the new one.

#ifndef VELUTILS_WHOLE_TEXT_INTERNAL_H
#define VELUTILS_WHOLE_TEXT_INTERNAL_H

#include <stdio.h>

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

// Moves a text without NULs to a buffer with room for `room` characters, or for the text if that is
// longer.
inline bool moveAll(String& text, long room) {
    const String moved(text.buffer(), room);
    if (moved.buffer() == String::EMPTY().buffer()) return false;
    text = moved;
    return true;
}

// Also returns false if vsnprintf fails before it has rendered anything of an output that is not
// empty. For the platform, unlike for strlenf(), "%.0lu" of 0 is empty.
template <class... Arguments>
bool formatAll(String& text, const char* format, Arguments... arguments) {
    text = String::EMPTY();
    text.format(format, arguments...);
    return *text.buffer() != '\0' || strlenf(format, arguments...) == 0 ||
           snprintf(nullptr, 0, format, arguments...) == 0;
}

#endif
