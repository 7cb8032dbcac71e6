// SPDX-License-Identifier: MIT

#include "authority.h"

#include <velutils++/conversions.h>
#include <velutils++/digests.h>

#include <string.h>

namespace {

const unsigned char* bytesOf(const String& text) {
    return reinterpret_cast<const unsigned char*>(text.buffer());
}

unsigned long sizeOf(const String& text) {
    return static_cast<unsigned long>(text.length());
}

// Looks at all characters, so that the time does not tell how many were right.
bool equalInConstantTime(const char* a, const char* b, size_t n) {
    unsigned difference = 0;
    for (size_t i = 0; i < n; ++i) difference |= static_cast<unsigned char>(a[i] ^ b[i]);
    return difference == 0;
}

}  // namespace

bool Authority::accepts(const String& text, const String& code) const {
    if (key_.length() == 0 || code.length() != 40) return false;
    Sha1HashContext sha1;
    HmacContext hmac(&sha1);
    hmac.initialize(bytesOf(key_), sizeOf(key_), 0);
    hmac.hash(bytesOf(text), sizeOf(text));
    unsigned char digest[20];
    hmac.getHash(digest);
    char expected[41] = "";
    for (size_t i = 0; i < sizeof digest; ++i) memcpy(expected + 2 * i, binToHexLut[digest[i]], 2);
    return equalInConstantTime(expected, code.buffer(), 40);
}
