// SPDX-License-Identifier: MIT
//
// The hash of text keys. A key's bucket is the low bits of it.

#ifndef VELUTILS_TEXT_HASH_INTERNAL_H
#define VELUTILS_TEXT_HASH_INTERNAL_H

#include <stdint.h>

// Returns the hash of a text: 0 with each of its bytes added.
uint32_t hashOf(const char* text);

inline uint32_t addToHash(uint32_t hash, char byte) {
    return hash ^ hash << 5 ^ static_cast<unsigned char>(byte);
}

#endif
