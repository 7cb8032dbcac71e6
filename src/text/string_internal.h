// SPDX-License-Identifier: MIT
//
// How the files of String size and build buffers.

#ifndef VELUTILS_STRING_INTERNAL_H
#define VELUTILS_STRING_INTERNAL_H

#include <velutils++/text.h>

#include <string.h>

// What a long counts on the target, and so the longest text on any platform.
const long long LONGEST_TEXT = INT32_MAX;

inline long long lengthOf(const char* s) {
    return static_cast<long long>(strlen(s));
}

// A buffer with room for a text of `room` characters, holding the pieces as StringBuffer's
// constructors take them; null when the heap refuses or the text would be too long.
template <class... Pieces>
String::StringBuffer* buildBuffer(long long room, Pieces... pieces) {
    if (room > LONGEST_TEXT) return nullptr;
    const long capacity =
        String::StringBuffer::NEAREST_VALID_STRING_LENGTH(static_cast<long>(room));
    return new (capacity) String::StringBuffer(capacity, pieces...);
}

inline String::StringBuffer* sharedEmpty() {
    String::StringBuffer* const empty = String::StringBuffer::EMPTY();
    empty->link();
    return empty;
}

inline String::StringBuffer* orEmpty(String::StringBuffer* buffer) {
    return buffer != nullptr ? buffer : sharedEmpty();
}

#endif
