// SPDX-License-Identifier: MIT
//
// How the keys of indexed values are formed.

#ifndef VELUTILS_INDEXED_KEY_INTERNAL_H
#define VELUTILS_INDEXED_KEY_INTERNAL_H

#include "../text/whole_text_internal.h"

// Forms the key of a template such as "port%lu". False when out of memory: a truncated key would
// name another value.
inline bool formIndexedKey(const String& keyTemplate, unsigned long index, String* key) {
    return formatAll(*key, keyTemplate.buffer(), index);
}

#endif
