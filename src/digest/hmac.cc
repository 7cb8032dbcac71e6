// SPDX-License-Identifier: MIT
//
// HMAC (RFC 2104): hash(outer pad, hash(inner pad, message)), both with the caller's digest.
//
// The key is kept as the two pads, the blocks that precede the hashed data. From reset() to
// getHash() the digest processes the inner message. getHash() then restarts it for the outer one.
//
// For the library's own two digests, initialize() digests each pad once and keeps the state after
// the pad in place of the pad. Loading this state into the digest starts a message as if the digest
// had been fed the pad: a message of 64 bytes takes three blocks instead of five. A derived class
// may do more than digest, so it is fed the pads.
//
// Tested by digests_test.cc.

#include <velutils++/digests.h>

#include <alloca.h>
#include <string.h>

#include "digest_internal.h"

AuthenticationContext::~AuthenticationContext() {}

HmacContext::HmacContext(HashContext* digest)
    : hashContext(digest), returnedHashLength(digest->getCompleteHashLength()) {}

HmacContext::~HmacContext() {
    HmacContext::destroy();
}

int HmacContext::initialize(const unsigned char* key, unsigned long keyLength,
                            unsigned long returnedLength) {
    returnedHashLength =
        returnedLength != 0 ? returnedLength : hashContext->getCompleteHashLength();

    memset(innerKeyPad, 0, sizeof innerKeyPad);
    if (keyLength > BLOCK_LENGTH) {
        // A digest longer than the block is cut to the block's length.
        const bool fits = hashContext->getCompleteHashLength() <= BLOCK_LENGTH;
        hashContext->initialize(fits ? 0 : BLOCK_LENGTH);
        hashContext->hash(key, keyLength);
        hashContext->getHash(innerKeyPad);
    } else if (keyLength > 0) {
        memcpy(innerKeyPad, key, keyLength);
    }

    memcpy(outerKeyPad, innerKeyPad, sizeof outerKeyPad);
    for (unsigned char& byte : innerKeyPad) byte ^= 0x36;
    for (unsigned char& byte : outerKeyPad) byte ^= 0x5c;
    digestPad(innerKeyPad);
    digestPad(outerKeyPad);
    return reset();
}

// Uses another digest object, so that the caller's digest does not change before reset().
template <class Digest>
void HmacContext::replaceByState(unsigned char* pad) {
    Digest digest;
    digest.initialize(0);
    digest.hash(pad, BLOCK_LENGTH);
    wipe(pad, BLOCK_LENGTH);
    memcpy(pad, digest.state, sizeof digest.state);
}

template <class Digest>
void HmacContext::loadState(const unsigned char* pad) {
    Digest& digest = static_cast<Digest&>(*hashContext);
    memcpy(digest.state, pad, sizeof digest.state);
    digest.count[0] = 8 * BLOCK_LENGTH;
}

void HmacContext::digestPad(unsigned char* pad) const {
    if (hasTable(*hashContext, MD5_TABLE)) replaceByState<Md5HashContext>(pad);
    if (hasTable(*hashContext, SHA1_TABLE)) replaceByState<Sha1HashContext>(pad);
}

// Brings the digest, which has just been initialized, into its state after the pad.
void HmacContext::startAfter(const unsigned char* pad) {
    if (hasTable(*hashContext, MD5_TABLE))
        loadState<Md5HashContext>(pad);
    else if (hasTable(*hashContext, SHA1_TABLE))
        loadState<Sha1HashContext>(pad);
    else
        hashContext->hash(pad, BLOCK_LENGTH);
}

void HmacContext::destroy() {
    hashContext = nullptr;
    wipe(innerKeyPad, sizeof innerKeyPad);
    wipe(outerKeyPad, sizeof outerKeyPad);
}

int HmacContext::reset() {
    const int result = hashContext->initialize(0);
    if (result != 0) return result;
    startAfter(innerKeyPad);
    return 0;
}

void HmacContext::hash(const unsigned char* data, unsigned long length) {
    hashContext->hash(data, length);
}

void HmacContext::getHash(unsigned char* out) {
    // On the stack: a digest has only some tens of bytes, and an allocation could fail.
    const unsigned long length = hashContext->getCompleteHashLength();
    unsigned char* const inner = static_cast<unsigned char*>(alloca(length));

    hashContext->getHash(inner);
    hashContext->initialize(returnedHashLength);
    startAfter(outerKeyPad);
    hashContext->hash(inner, length);
    hashContext->getHash(out);
    wipe(inner, length);
}

unsigned long HmacContext::getCompleteHashLength() const {
    return hashContext->getCompleteHashLength();
}

unsigned long HmacContext::getReturnedHashLength() const {
    return returnedHashLength;
}
