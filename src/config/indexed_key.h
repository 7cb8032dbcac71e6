// SPDX-License-Identifier: MIT
//
// The keys of indexed values.

#ifndef VELUTILS_INDEXED_KEY_H
#define VELUTILS_INDEXED_KEY_H

#include <velutils++/text.h>

// Forms the key of a template such as "port%lu". False when the heap refuses: a key that is not
// whole would name something else.
inline bool formIndexedKey(const String& keyTemplate, unsigned long index, String* key) {
    key->format(keyTemplate.buffer(), index);
    return key->length() == strlenf(keyTemplate.buffer(), index);
}

#endif
