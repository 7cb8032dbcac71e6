// SPDX-License-Identifier: MIT
//
// How the source files of String check, size and build buffers.

#ifndef VELUTILS_STRING_INTERNAL_H
#define VELUTILS_STRING_INTERNAL_H

#include <velutils++/text.h>

#include <string.h>

// The largest long on the router, and so the longest text on all platforms.
const long long LONGEST_TEXT = INT32_MAX;

inline bool String::StringBuffer::isShared() const {
    // Acquire, so that another thread's reads of the text, before it dropped the buffer, precede
    // our writes.
    return __atomic_load_n(&referers_, __ATOMIC_ACQUIRE) > 1;
}

inline void String::StringBuffer::setLength(long length) {
    text()[length] = '\0';
    length_ = length;
}

inline bool String::mayWrite(long long length) const {
    return !buffer_->isShared() && length <= buffer_->capacity_;
}

inline bool String::mayAppend(long n) const {
    return !buffer_->isShared() && n <= buffer_->capacity_ - buffer_->length_;
}

inline long long lengthOf(const char* s) {
    return static_cast<long long>(strlen(s));
}

// Returns a buffer with room for `room` characters that holds the pieces, which are the arguments
// of a StringBuffer constructor. Null when out of memory, or if the text would be too long.
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
