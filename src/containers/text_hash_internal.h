// SPDX-License-Identifier: MIT
//
// The hash of text keys. The low bits of the hash are the number of the key's bucket.

#ifndef VELUTILS_TEXT_HASH_INTERNAL_H
#define VELUTILS_TEXT_HASH_INTERNAL_H

#include <stdint.h>

// Returns the hash of a text, which is 0 with each byte of the text added.
uint32_t hashOf(const char* text);

inline uint32_t addToHash(uint32_t hash, char byte) {
    return hash ^ hash << 5 ^ static_cast<unsigned char>(byte);
}

#endif
