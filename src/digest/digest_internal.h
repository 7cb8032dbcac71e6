// SPDX-License-Identifier: MIT
//
// What the digests of this folder share: counting and buffering a message, and wiping memory.

#ifndef VELUTILS_DIGEST_INTERNAL_H
#define VELUTILS_DIGEST_INTERNAL_H

#include <velutils++/digests.h>

#include <stddef.h>
#include <stdint.h>
#include <string.h>

const unsigned long BLOCK_LENGTH = 64;

// For the steps of a digest, which must be inlined, or the digest is slow.
#define ALWAYS_INLINE inline __attribute__((always_inline))

ALWAYS_INLINE uint32_t rotateLeft(uint32_t word, int bits) {
    return word << bits | word >> (32 - bits);
}

// Zeroes memory that may not be read again. The compiler must assume that the empty statement reads
// it, and so does not remove the memset.
inline void wipe(void* memory, size_t length) {
    memset(memory, 0, length);
    __asm__ __volatile__("" : : "r"(memory) : "memory");
}

// Returns the number of bytes that wait in the block buffer. count[0] is the low word of the
// number of bits of the message.
inline unsigned long waitingBytes(const uint32_t* count) {
    return count[0] >> 3 & (BLOCK_LENGTH - 1);
}

// Adds `length` bytes to a count of bits modulo 2^64. Where long has 64 bits, all bits of length
// from bit 29 on go into the upper word.
inline void addToCount(uint32_t* count, unsigned long length) {
    const uint32_t bits = static_cast<uint32_t>(length << 3);
    count[0] += bits;
    if (count[0] < bits) ++count[1];
    count[1] += static_cast<uint32_t>(length >> 29);
}

// Digests `blocks` consecutive blocks at data.
typedef void Transform(uint32_t* state, const unsigned char* data, unsigned long blocks);

// The part of feed() for input that completes a block: digests the block in buffer, then whole
// blocks directly from the caller's data, and keeps the rest in buffer. It is not inlined, because
// feed() may be called for each byte of padding and must stay short.
template <Transform transform>
__attribute__((noinline)) void feedBlocks(uint32_t* state, unsigned char* buffer,
                                          unsigned long waiting, const unsigned char* data,
                                          unsigned long length) {
    if (waiting > 0) {
        const unsigned long space = BLOCK_LENGTH - waiting;
        memcpy(buffer + waiting, data, space);
        transform(state, buffer, 1);
        data += space;
        length -= space;
    }
    const unsigned long rest = length % BLOCK_LENGTH;
    if (length > rest) transform(state, data, length / BLOCK_LENGTH);
    memcpy(buffer, data + (length - rest), rest);
}

// Adds `length` bytes to a message.
template <Transform transform>
ALWAYS_INLINE void feed(uint32_t* state, uint32_t* count, unsigned char* buffer,
                        const unsigned char* data, unsigned long length) {
    const unsigned long waiting = waitingBytes(count);
    addToCount(count, length);
    if (length >= BLOCK_LENGTH - waiting) {
        feedBlocks<transform>(state, buffer, waiting, data, length);
    } else if (length == 1) {
        buffer[waiting] = *data;
    } else if (length > 0) {
        memcpy(buffer + waiting, data, length);
    }
}

// The number of bytes that getHash() writes after initialize(wanted).
inline unsigned long returnedLengthOf(const HashContext& digest, unsigned long wanted) {
    const unsigned long complete = digest.getCompleteHashLength();
    return wanted != 0 && wanted <= complete ? wanted : complete;
}

// The self-test of a digest of at most 20 bytes: 0 if that of "abc" is the expected one, else -1.
inline int testWithAbc(HashContext& digest, const unsigned char* expected) {
    unsigned char found[20];
    digest.initialize(0);
    digest.hash(reinterpret_cast<const unsigned char*>("abc"), strlen("abc"));
    digest.getHash(found);
    const bool same = memcmp(found, expected, digest.getCompleteHashLength()) == 0;
    digest.initialize(0);
    return same ? 0 : -1;
}

#endif
