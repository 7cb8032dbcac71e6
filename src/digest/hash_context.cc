// SPDX-License-Identifier: MIT
//
// The code that MD5 and SHA-1 share: collecting a message into blocks, padding it, testing.
//
// Tested by digests_test.cc.

#include "digest_internal.h"

HashContext::~HashContext() {}

void feedBlocks(Transform* transform, uint32_t* state, unsigned char* buffer, unsigned long waiting,
                const unsigned char* data, unsigned long length) {
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

void feedPadding(Transform* transform, uint32_t* state, uint32_t* count, unsigned char* buffer,
                 const unsigned char* length) {
    const unsigned long lengthAt = BLOCK_LENGTH - LENGTH_LENGTH;
    unsigned long used = waitingBytes(count);
    addToCount(count, (used < lengthAt ? 1 : 2) * BLOCK_LENGTH - used);
    buffer[used++] = 0x80;
    if (used > lengthAt) {
        memset(buffer + used, 0, BLOCK_LENGTH - used);
        transform(state, buffer, 1);
        used = 0;
    }
    memset(buffer + used, 0, lengthAt - used);
    memcpy(buffer + lengthAt, length, LENGTH_LENGTH);
    transform(state, buffer, 1);
}

unsigned long returnedLengthOf(const HashContext& digest, unsigned long wanted) {
    const unsigned long complete = digest.getCompleteHashLength();
    return wanted != 0 && wanted <= complete ? wanted : complete;
}

int testWithAbc(HashContext& digest, const unsigned char* expected) {
    unsigned char found[20];
    digest.initialize(0);
    digest.hash(reinterpret_cast<const unsigned char*>("abc"), strlen("abc"));
    digest.getHash(found);
    const bool same = memcmp(found, expected, digest.getCompleteHashLength()) == 0;
    digest.initialize(0);
    return same ? 0 : -1;
}
