// SPDX-License-Identifier: MIT
//
// SHA-1 (FIPS 180-1). Words are big-endian, in the message, the length and the digest.
//
// Tested by digests_test.cc.

#include <velutils++/digests.h>

#include <endian.h>
#include <string.h>

#include "digest_internal.h"

namespace {

const unsigned long DIGEST_LENGTH = 20;

// The steps, with the three functions of the rounds. The step before has just computed a, so terms
// without a are added first.
ALWAYS_INLINE void stepChoose(uint32_t a, uint32_t& b, uint32_t c, uint32_t d, uint32_t& e,
                              uint32_t word, uint32_t constant) {
    e += word + constant;
    e += d ^ (b & (c ^ d));
    e += rotateLeft(a, 5);
    b = rotateLeft(b, 30);
}

ALWAYS_INLINE void stepParity(uint32_t a, uint32_t& b, uint32_t c, uint32_t d, uint32_t& e,
                              uint32_t word, uint32_t constant) {
    e += word + constant;
    e += b ^ c ^ d;
    e += rotateLeft(a, 5);
    b = rotateLeft(b, 30);
}

// The two parts of the majority have no bit in common, so they can be added separately.
ALWAYS_INLINE void stepMajority(uint32_t a, uint32_t& b, uint32_t c, uint32_t d, uint32_t& e,
                                uint32_t word, uint32_t constant) {
    e += word + constant + (c & d);
    e += b & (c ^ d);
    e += rotateLeft(a, 5);
    b = rotateLeft(b, 30);
}

// Loads word i of the block into w, from which the schedule continues.
ALWAYS_INLINE uint32_t load(uint32_t* w, const unsigned char* block, int i) {
    memcpy(&w[i], block + 4 * i, 4);
    return w[i] = be32toh(w[i]);
}

// The next word of the message schedule replaces the one of 16 steps before.
ALWAYS_INLINE uint32_t extend(uint32_t* w, int i) {
    w[i] = rotateLeft(w[(i + 13) % 16] ^ w[(i + 8) % 16] ^ w[(i + 2) % 16] ^ w[i], 1);
    return w[i];
}

void transform(uint32_t* state, const unsigned char* data, unsigned long blocks) {
    uint32_t w[16];
    uint32_t a = state[0], b = state[1], c = state[2], d = state[3], e = state[4];

    for (; blocks > 0; --blocks, data += BLOCK_LENGTH) {
        const uint32_t oldA = a, oldB = b, oldC = c, oldD = d, oldE = e;

        stepChoose(a, b, c, d, e, load(w, data, 0), 0x5a827999);
        stepChoose(e, a, b, c, d, load(w, data, 1), 0x5a827999);
        stepChoose(d, e, a, b, c, load(w, data, 2), 0x5a827999);
        stepChoose(c, d, e, a, b, load(w, data, 3), 0x5a827999);
        stepChoose(b, c, d, e, a, load(w, data, 4), 0x5a827999);
        stepChoose(a, b, c, d, e, load(w, data, 5), 0x5a827999);
        stepChoose(e, a, b, c, d, load(w, data, 6), 0x5a827999);
        stepChoose(d, e, a, b, c, load(w, data, 7), 0x5a827999);
        stepChoose(c, d, e, a, b, load(w, data, 8), 0x5a827999);
        stepChoose(b, c, d, e, a, load(w, data, 9), 0x5a827999);
        stepChoose(a, b, c, d, e, load(w, data, 10), 0x5a827999);
        stepChoose(e, a, b, c, d, load(w, data, 11), 0x5a827999);
        stepChoose(d, e, a, b, c, load(w, data, 12), 0x5a827999);
        stepChoose(c, d, e, a, b, load(w, data, 13), 0x5a827999);
        stepChoose(b, c, d, e, a, load(w, data, 14), 0x5a827999);
        stepChoose(a, b, c, d, e, load(w, data, 15), 0x5a827999);
        stepChoose(e, a, b, c, d, extend(w, 0), 0x5a827999);
        stepChoose(d, e, a, b, c, extend(w, 1), 0x5a827999);
        stepChoose(c, d, e, a, b, extend(w, 2), 0x5a827999);
        stepChoose(b, c, d, e, a, extend(w, 3), 0x5a827999);

        stepParity(a, b, c, d, e, extend(w, 4), 0x6ed9eba1);
        stepParity(e, a, b, c, d, extend(w, 5), 0x6ed9eba1);
        stepParity(d, e, a, b, c, extend(w, 6), 0x6ed9eba1);
        stepParity(c, d, e, a, b, extend(w, 7), 0x6ed9eba1);
        stepParity(b, c, d, e, a, extend(w, 8), 0x6ed9eba1);
        stepParity(a, b, c, d, e, extend(w, 9), 0x6ed9eba1);
        stepParity(e, a, b, c, d, extend(w, 10), 0x6ed9eba1);
        stepParity(d, e, a, b, c, extend(w, 11), 0x6ed9eba1);
        stepParity(c, d, e, a, b, extend(w, 12), 0x6ed9eba1);
        stepParity(b, c, d, e, a, extend(w, 13), 0x6ed9eba1);
        stepParity(a, b, c, d, e, extend(w, 14), 0x6ed9eba1);
        stepParity(e, a, b, c, d, extend(w, 15), 0x6ed9eba1);
        stepParity(d, e, a, b, c, extend(w, 0), 0x6ed9eba1);
        stepParity(c, d, e, a, b, extend(w, 1), 0x6ed9eba1);
        stepParity(b, c, d, e, a, extend(w, 2), 0x6ed9eba1);
        stepParity(a, b, c, d, e, extend(w, 3), 0x6ed9eba1);
        stepParity(e, a, b, c, d, extend(w, 4), 0x6ed9eba1);
        stepParity(d, e, a, b, c, extend(w, 5), 0x6ed9eba1);
        stepParity(c, d, e, a, b, extend(w, 6), 0x6ed9eba1);
        stepParity(b, c, d, e, a, extend(w, 7), 0x6ed9eba1);

        stepMajority(a, b, c, d, e, extend(w, 8), 0x8f1bbcdc);
        stepMajority(e, a, b, c, d, extend(w, 9), 0x8f1bbcdc);
        stepMajority(d, e, a, b, c, extend(w, 10), 0x8f1bbcdc);
        stepMajority(c, d, e, a, b, extend(w, 11), 0x8f1bbcdc);
        stepMajority(b, c, d, e, a, extend(w, 12), 0x8f1bbcdc);
        stepMajority(a, b, c, d, e, extend(w, 13), 0x8f1bbcdc);
        stepMajority(e, a, b, c, d, extend(w, 14), 0x8f1bbcdc);
        stepMajority(d, e, a, b, c, extend(w, 15), 0x8f1bbcdc);
        stepMajority(c, d, e, a, b, extend(w, 0), 0x8f1bbcdc);
        stepMajority(b, c, d, e, a, extend(w, 1), 0x8f1bbcdc);
        stepMajority(a, b, c, d, e, extend(w, 2), 0x8f1bbcdc);
        stepMajority(e, a, b, c, d, extend(w, 3), 0x8f1bbcdc);
        stepMajority(d, e, a, b, c, extend(w, 4), 0x8f1bbcdc);
        stepMajority(c, d, e, a, b, extend(w, 5), 0x8f1bbcdc);
        stepMajority(b, c, d, e, a, extend(w, 6), 0x8f1bbcdc);
        stepMajority(a, b, c, d, e, extend(w, 7), 0x8f1bbcdc);
        stepMajority(e, a, b, c, d, extend(w, 8), 0x8f1bbcdc);
        stepMajority(d, e, a, b, c, extend(w, 9), 0x8f1bbcdc);
        stepMajority(c, d, e, a, b, extend(w, 10), 0x8f1bbcdc);
        stepMajority(b, c, d, e, a, extend(w, 11), 0x8f1bbcdc);

        stepParity(a, b, c, d, e, extend(w, 12), 0xca62c1d6);
        stepParity(e, a, b, c, d, extend(w, 13), 0xca62c1d6);
        stepParity(d, e, a, b, c, extend(w, 14), 0xca62c1d6);
        stepParity(c, d, e, a, b, extend(w, 15), 0xca62c1d6);
        stepParity(b, c, d, e, a, extend(w, 0), 0xca62c1d6);
        stepParity(a, b, c, d, e, extend(w, 1), 0xca62c1d6);
        stepParity(e, a, b, c, d, extend(w, 2), 0xca62c1d6);
        stepParity(d, e, a, b, c, extend(w, 3), 0xca62c1d6);
        stepParity(c, d, e, a, b, extend(w, 4), 0xca62c1d6);
        stepParity(b, c, d, e, a, extend(w, 5), 0xca62c1d6);
        stepParity(a, b, c, d, e, extend(w, 6), 0xca62c1d6);
        stepParity(e, a, b, c, d, extend(w, 7), 0xca62c1d6);
        stepParity(d, e, a, b, c, extend(w, 8), 0xca62c1d6);
        stepParity(c, d, e, a, b, extend(w, 9), 0xca62c1d6);
        stepParity(b, c, d, e, a, extend(w, 10), 0xca62c1d6);
        stepParity(a, b, c, d, e, extend(w, 11), 0xca62c1d6);
        stepParity(e, a, b, c, d, extend(w, 12), 0xca62c1d6);
        stepParity(d, e, a, b, c, extend(w, 13), 0xca62c1d6);
        stepParity(c, d, e, a, b, extend(w, 14), 0xca62c1d6);
        stepParity(b, c, d, e, a, extend(w, 15), 0xca62c1d6);

        a += oldA;
        b += oldB;
        c += oldC;
        d += oldD;
        e += oldE;
    }
    state[0] = a;
    state[1] = b;
    state[2] = c;
    state[3] = d;
    state[4] = e;
    wipe(w, sizeof w);
}

// Derived classes may rely on seeing the padding, byte by byte, and the length in the virtual
// hash().
void feedPaddingByByte(HashContext& digest, const uint32_t* count, const unsigned char* length) {
    static const unsigned char PADDING[] = {0x80, 0};
    digest.hash(&PADDING[0], 1);
    while (waitingBytes(count) != BLOCK_LENGTH - LENGTH_LENGTH) digest.hash(&PADDING[1], 1);
    digest.hash(length, LENGTH_LENGTH);
}

void finish(HashContext& digest, uint32_t* state, uint32_t* count, unsigned char* buffer) {
    const uint32_t bits[2] = {htobe32(count[1]), htobe32(count[0])};
    unsigned char length[LENGTH_LENGTH];
    memcpy(length, bits, sizeof length);
    if (hasTable(digest, SHA1_TABLE))
        feedPadding(transform, state, count, buffer, length);
    else
        feedPaddingByByte(digest, count, length);
}

void writeDigest(const uint32_t* state, unsigned char* out, unsigned long length) {
    uint32_t words[DIGEST_LENGTH / 4];
    for (unsigned i = 0; i < DIGEST_LENGTH / 4; ++i) words[i] = htobe32(state[i]);
    memcpy(out, words, length);
    wipe(words, sizeof words);
}

}  // namespace

Sha1HashContext::Sha1HashContext() {
    Sha1HashContext::destroy();
}

Sha1HashContext::~Sha1HashContext() {
    Sha1HashContext::destroy();
}

int Sha1HashContext::initialize(unsigned long returnedLength) {
    returnedHashLength = returnedLengthOf(*this, returnedLength);
    count[0] = 0;
    count[1] = 0;
    state[0] = 0x67452301;
    state[1] = 0xefcdab89;
    state[2] = 0x98badcfe;
    state[3] = 0x10325476;
    state[4] = 0xc3d2e1f0;
    return 0;
}

void Sha1HashContext::destroy() {
    returnedHashLength = DIGEST_LENGTH;
    wipe(state, sizeof state);
    wipe(count, sizeof count);
    wipe(buffer, sizeof buffer);
}

void Sha1HashContext::sha1Transform(const unsigned char* block) {
    transform(state, block, 1);
}

void Sha1HashContext::hash(const unsigned char* data, unsigned long length) {
    feed(transform, state, count, buffer, data, length);
}

unsigned long Sha1HashContext::getReturnedHashLength() const {
    return returnedHashLength;
}

void Sha1HashContext::getHash(unsigned char* out) {
    finish(*this, state, count, buffer);
    writeDigest(state, out, returnedHashLength);
}

unsigned long Sha1HashContext::getCompleteHashLength() const {
    return DIGEST_LENGTH;
}

void Sha1HashContext::getCompleteHash(unsigned char* out) {
    finish(*this, state, count, buffer);
    writeDigest(state, out, DIGEST_LENGTH);
}

int Sha1HashContext::test() {
    static const unsigned char EXPECTED[DIGEST_LENGTH] = {0xa9, 0x99, 0x3e, 0x36, 0x47, 0x06, 0x81,
                                                          0x6a, 0xba, 0x3e, 0x25, 0x71, 0x78, 0x50,
                                                          0xc2, 0x6c, 0x9c, 0xd0, 0xd8, 0x9d};
    return testWithAbc(*this, EXPECTED);
}
