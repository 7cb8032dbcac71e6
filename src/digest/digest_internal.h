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

// The virtual tables of the two digests, by their names in the Itanium C++ ABI, which ARM's ABI
// follows. An object points to its table's third slot.
extern "C" VELUTILS_API const void* const MD5_TABLE[] __asm__("_ZTV14Md5HashContext");
extern "C" VELUTILS_API const void* const SHA1_TABLE[] __asm__("_ZTV15Sha1HashContext");

// Whether the object's class is the table's class itself and no class derived from it. It does not
// use typeid, because a class that is compiled with -fno-rtti has no type information.
inline bool hasTable(const HashContext& digest, const void* const* table) {
    const void* own;
    memcpy(&own, static_cast<const void*>(&digest), sizeof own);
    return own == &table[2];
}

// For the steps of a digest: the digest is slow unless they are inlined.
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

// The part of feed() for input that completes a block. Digests the block in buffer, then whole
// blocks directly from the caller's data, and keeps the rest in buffer.
void feedBlocks(Transform* transform, uint32_t* state, unsigned char* buffer, unsigned long waiting,
                const unsigned char* data, unsigned long length);

// Adds `length` bytes to a message. It must stay short, because it may be called for each byte of
// padding.
ALWAYS_INLINE void feed(Transform* transform, uint32_t* state, uint32_t* count,
                        unsigned char* buffer, const unsigned char* data, unsigned long length) {
    const unsigned long waiting = waitingBytes(count);
    addToCount(count, length);
    if (length >= BLOCK_LENGTH - waiting) {
        feedBlocks(transform, state, buffer, waiting, data, length);
    } else if (length == 1) {
        buffer[waiting] = *data;
    } else if (length > 0) {
        memcpy(buffer + waiting, data, length);
    }
}

const unsigned long LENGTH_LENGTH = 8;

// Ends a message: adds 0x80, zeros, and the length of the message, which ends a block.
void feedPadding(Transform* transform, uint32_t* state, uint32_t* count, unsigned char* buffer,
                 const unsigned char* length);

// The number of bytes that getHash() writes after initialize(wanted).
unsigned long returnedLengthOf(const HashContext& digest, unsigned long wanted);

// The self-test of a digest of at most 20 bytes. Returns 0 if the digest of "abc" is the expected
// one, otherwise -1.
int testWithAbc(HashContext& digest, const unsigned char* expected);

#endif
