// SPDX-License-Identifier: MIT
//
// The keys of indexed values.

#ifndef VELUTILS_INDEXED_KEY_INTERNAL_H
#define VELUTILS_INDEXED_KEY_INTERNAL_H

#include "../text/whole_text_internal.h"

// Forms the key of a template such as "port%lu". False when out of memory: a truncated key would
// name another value.
inline bool formIndexedKey(const String& keyTemplate, unsigned long index, String* key) {
    return formatAll(*key, keyTemplate.buffer(), index);
}

#endif
