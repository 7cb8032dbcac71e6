// SPDX-License-Identifier: MIT

#include "authority.h"

#include <velutils++/digests.h>

namespace {

const unsigned char* bytesOf(const String& text) {
    return reinterpret_cast<const unsigned char*>(text.buffer());
}

unsigned long sizeOf(const String& text) {
    return static_cast<unsigned long>(text.length());
}

}  // namespace

bool Authority::accepts(const String& text, const String& code) const {
    if (key_.length() == 0) return false;
    Sha1HashContext sha1;
    HmacContext hmac(&sha1);
    hmac.initialize(bytesOf(key_), sizeOf(key_), 0);
    hmac.hash(bytesOf(text), sizeOf(text));
    unsigned char digest[20];
    hmac.getHash(digest);
    const String expected(digestToHex(digest, sizeof digest));
    if (expected.length() == 0 || code.length() != expected.length()) return false;
    return digestsEqual(bytesOf(expected), bytesOf(code), sizeOf(expected));
}
