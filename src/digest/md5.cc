// SPDX-License-Identifier: MIT
//
// MD5 (RFC 1321). Words are little-endian, in the message, the length and the digest.
//
// Tested by digests_test.cc.

#include <velutils++/digests.h>

#include <endian.h>
#include <string.h>

#include "digest_internal.h"

namespace {

const unsigned long DIGEST_LENGTH = 16;

// The steps of the four rounds. The step before has just computed b, so terms without b are added
// first.
ALWAYS_INLINE void stepF(uint32_t& a, uint32_t b, uint32_t c, uint32_t d, uint32_t word, int shift,
                         uint32_t constant) {
    a += word + constant;
    a += d ^ (b & (c ^ d));
    a = rotateLeft(a, shift) + b;
}

ALWAYS_INLINE void stepG(uint32_t& a, uint32_t b, uint32_t c, uint32_t d, uint32_t word, int shift,
                         uint32_t constant) {
    a += word + constant + (c & ~d);
    a += b & d;
    a = rotateLeft(a, shift) + b;
}

ALWAYS_INLINE void stepH(uint32_t& a, uint32_t b, uint32_t c, uint32_t d, uint32_t word, int shift,
                         uint32_t constant) {
    a += word + constant;
    a += b ^ (c ^ d);
    a = rotateLeft(a, shift) + b;
}

ALWAYS_INLINE void stepI(uint32_t& a, uint32_t b, uint32_t c, uint32_t d, uint32_t word, int shift,
                         uint32_t constant) {
    a += word + constant;
    a += c ^ (b | ~d);
    a = rotateLeft(a, shift) + b;
}

// Loads word i of the block and keeps it in x for the later rounds.
ALWAYS_INLINE uint32_t load(uint32_t* x, const unsigned char* block, int i) {
    memcpy(&x[i], block + 4 * i, 4);
    return x[i] = le32toh(x[i]);
}

void transform(uint32_t* state, const unsigned char* data, unsigned long blocks) {
    uint32_t x[16];
    uint32_t a = state[0], b = state[1], c = state[2], d = state[3];

    for (; blocks > 0; --blocks, data += BLOCK_LENGTH) {
        const uint32_t oldA = a, oldB = b, oldC = c, oldD = d;

        stepF(a, b, c, d, load(x, data, 0), 7, 0xd76aa478);
        stepF(d, a, b, c, load(x, data, 1), 12, 0xe8c7b756);
        stepF(c, d, a, b, load(x, data, 2), 17, 0x242070db);
        stepF(b, c, d, a, load(x, data, 3), 22, 0xc1bdceee);
        stepF(a, b, c, d, load(x, data, 4), 7, 0xf57c0faf);
        stepF(d, a, b, c, load(x, data, 5), 12, 0x4787c62a);
        stepF(c, d, a, b, load(x, data, 6), 17, 0xa8304613);
        stepF(b, c, d, a, load(x, data, 7), 22, 0xfd469501);
        stepF(a, b, c, d, load(x, data, 8), 7, 0x698098d8);
        stepF(d, a, b, c, load(x, data, 9), 12, 0x8b44f7af);
        stepF(c, d, a, b, load(x, data, 10), 17, 0xffff5bb1);
        stepF(b, c, d, a, load(x, data, 11), 22, 0x895cd7be);
        stepF(a, b, c, d, load(x, data, 12), 7, 0x6b901122);
        stepF(d, a, b, c, load(x, data, 13), 12, 0xfd987193);
        stepF(c, d, a, b, load(x, data, 14), 17, 0xa679438e);
        stepF(b, c, d, a, load(x, data, 15), 22, 0x49b40821);

        stepG(a, b, c, d, x[1], 5, 0xf61e2562);
        stepG(d, a, b, c, x[6], 9, 0xc040b340);
        stepG(c, d, a, b, x[11], 14, 0x265e5a51);
        stepG(b, c, d, a, x[0], 20, 0xe9b6c7aa);
        stepG(a, b, c, d, x[5], 5, 0xd62f105d);
        stepG(d, a, b, c, x[10], 9, 0x02441453);
        stepG(c, d, a, b, x[15], 14, 0xd8a1e681);
        stepG(b, c, d, a, x[4], 20, 0xe7d3fbc8);
        stepG(a, b, c, d, x[9], 5, 0x21e1cde6);
        stepG(d, a, b, c, x[14], 9, 0xc33707d6);
        stepG(c, d, a, b, x[3], 14, 0xf4d50d87);
        stepG(b, c, d, a, x[8], 20, 0x455a14ed);
        stepG(a, b, c, d, x[13], 5, 0xa9e3e905);
        stepG(d, a, b, c, x[2], 9, 0xfcefa3f8);
        stepG(c, d, a, b, x[7], 14, 0x676f02d9);
        stepG(b, c, d, a, x[12], 20, 0x8d2a4c8a);

        stepH(a, b, c, d, x[5], 4, 0xfffa3942);
        stepH(d, a, b, c, x[8], 11, 0x8771f681);
        stepH(c, d, a, b, x[11], 16, 0x6d9d6122);
        stepH(b, c, d, a, x[14], 23, 0xfde5380c);
        stepH(a, b, c, d, x[1], 4, 0xa4beea44);
        stepH(d, a, b, c, x[4], 11, 0x4bdecfa9);
        stepH(c, d, a, b, x[7], 16, 0xf6bb4b60);
        stepH(b, c, d, a, x[10], 23, 0xbebfbc70);
        stepH(a, b, c, d, x[13], 4, 0x289b7ec6);
        stepH(d, a, b, c, x[0], 11, 0xeaa127fa);
        stepH(c, d, a, b, x[3], 16, 0xd4ef3085);
        stepH(b, c, d, a, x[6], 23, 0x04881d05);
        stepH(a, b, c, d, x[9], 4, 0xd9d4d039);
        stepH(d, a, b, c, x[12], 11, 0xe6db99e5);
        stepH(c, d, a, b, x[15], 16, 0x1fa27cf8);
        stepH(b, c, d, a, x[2], 23, 0xc4ac5665);

        stepI(a, b, c, d, x[0], 6, 0xf4292244);
        stepI(d, a, b, c, x[7], 10, 0x432aff97);
        stepI(c, d, a, b, x[14], 15, 0xab9423a7);
        stepI(b, c, d, a, x[5], 21, 0xfc93a039);
        stepI(a, b, c, d, x[12], 6, 0x655b59c3);
        stepI(d, a, b, c, x[3], 10, 0x8f0ccc92);
        stepI(c, d, a, b, x[10], 15, 0xffeff47d);
        stepI(b, c, d, a, x[1], 21, 0x85845dd1);
        stepI(a, b, c, d, x[8], 6, 0x6fa87e4f);
        stepI(d, a, b, c, x[15], 10, 0xfe2ce6e0);
        stepI(c, d, a, b, x[6], 15, 0xa3014314);
        stepI(b, c, d, a, x[13], 21, 0x4e0811a1);
        stepI(a, b, c, d, x[4], 6, 0xf7537e82);
        stepI(d, a, b, c, x[11], 10, 0xbd3af235);
        stepI(c, d, a, b, x[2], 15, 0x2ad7d2bb);
        stepI(b, c, d, a, x[9], 21, 0xeb86d391);

        a += oldA;
        b += oldB;
        c += oldC;
        d += oldD;
    }
    state[0] = a;
    state[1] = b;
    state[2] = c;
    state[3] = d;
    wipe(x, sizeof x);
}

// Derived classes may rely on seeing padding and length in the virtual hash().
void feedPaddingByHash(HashContext& digest, const uint32_t* count, const unsigned char* length) {
    static const unsigned char PADDING[BLOCK_LENGTH] = {0x80};
    const unsigned long waiting = waitingBytes(count);
    digest.hash(PADDING, (waiting < 56 ? 56 : 120) - waiting);
    digest.hash(length, LENGTH_LENGTH);
}

void finish(HashContext& digest, uint32_t* state, uint32_t* count, unsigned char* buffer) {
    const uint32_t bits[2] = {htole32(count[0]), htole32(count[1])};
    unsigned char length[LENGTH_LENGTH];
    memcpy(length, bits, sizeof length);
    if (hasTable(digest, MD5_TABLE))
        feedPadding(transform, state, count, buffer, length);
    else
        feedPaddingByHash(digest, count, length);
}

void writeDigest(const uint32_t* state, unsigned char* out, unsigned long length) {
    uint32_t words[DIGEST_LENGTH / 4];
    for (unsigned i = 0; i < DIGEST_LENGTH / 4; ++i) words[i] = htole32(state[i]);
    memcpy(out, words, length);
    wipe(words, sizeof words);
}

}  // namespace

Md5HashContext::Md5HashContext() {
    Md5HashContext::destroy();
}

Md5HashContext::~Md5HashContext() {
    Md5HashContext::destroy();
}

int Md5HashContext::initialize(unsigned long returnedLength) {
    returnedHashLength = returnedLengthOf(*this, returnedLength);
    count[0] = 0;
    count[1] = 0;
    state[0] = 0x67452301;
    state[1] = 0xefcdab89;
    state[2] = 0x98badcfe;
    state[3] = 0x10325476;
    return 0;
}

void Md5HashContext::destroy() {
    returnedHashLength = DIGEST_LENGTH;
    wipe(state, sizeof state);
    wipe(count, sizeof count);
    wipe(buffer, sizeof buffer);
}

void Md5HashContext::md5Transform(const unsigned char* block) {
    transform(state, block, 1);
}

void Md5HashContext::hash(const unsigned char* data, unsigned long length) {
    feed(transform, state, count, buffer, data, length);
}

unsigned long Md5HashContext::getReturnedHashLength() const {
    return returnedHashLength;
}

void Md5HashContext::getHash(unsigned char* out) {
    finish(*this, state, count, buffer);
    writeDigest(state, out, returnedHashLength);
}

unsigned long Md5HashContext::getCompleteHashLength() const {
    return DIGEST_LENGTH;
}

void Md5HashContext::getCompleteHash(unsigned char* out) {
    finish(*this, state, count, buffer);
    writeDigest(state, out, DIGEST_LENGTH);
}

int Md5HashContext::test() {
    static const unsigned char EXPECTED[DIGEST_LENGTH] = {0x90, 0x01, 0x50, 0x98, 0x3c, 0xd2,
                                                          0x4f, 0xb0, 0xd6, 0x96, 0x3f, 0x7d,
                                                          0x28, 0xe1, 0x7f, 0x72};
    return testWithAbc(*this, EXPECTED);
}
