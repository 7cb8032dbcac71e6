// SPDX-License-Identifier: MIT
//
// Compares the digest of a message in any pieces with the digest of the whole, HMAC with its
// definition in RFC 2104, and the digests that HMAC drives directly with those that it drives
// through their virtual operations. Checks returned lengths. digests_test.cc has known digests.

#include <velutils++/digests.h>

#include <vector>

#include "fuzz/input.h"

namespace {

const unsigned char* bytes(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

// Returns what getHash() writes, into an area of exactly that size.
template <class Context>
std::string finish(Context& context, size_t length) {
    std::vector<unsigned char> out(length);
    context.getHash(out.data());
    return std::string(out.begin(), out.end());
}

template <class Digest>
std::string digestOf(const std::string& message) {
    Digest digest;
    REQUIRE(digest.initialize(0) == 0);
    digest.hash(bytes(message), message.size());
    return finish(digest, digest.getCompleteHashLength());
}

std::string padded(std::string key, char pad) {
    key.resize(64, '\0');
    for (char& byte : key) byte = static_cast<char>(byte ^ pad);
    return key;
}

template <class Digest>
void check(const std::string& key, const std::string& message, size_t piece,
           unsigned long returned) {
    Digest digest;
    const unsigned long length = digest.getCompleteHashLength();
    const unsigned long expected = returned == 0 || returned > length ? length : returned;
    const std::string whole = digestOf<Digest>(message);
    REQUIRE(digest.initialize(returned) == 0);
    REQUIRE(digest.getReturnedHashLength() == expected);
    for (size_t at = 0; at < message.size(); at += piece) {
        digest.hash(bytes(message) + at, std::min(piece, message.size() - at));
        digest.hash(nullptr, 0);
    }
    Digest copy(digest);
    REQUIRE(finish(digest, expected) == whole.substr(0, expected));
    std::vector<unsigned char> complete(length);
    copy.getCompleteHash(complete.data());
    REQUIRE(std::string(complete.begin(), complete.end()) == whole);

    const std::string used = key.size() <= 64 ? key : digestOf<Digest>(key);
    const std::string inner = digestOf<Digest>(padded(used, 0x36) + message);
    const std::string code = digestOf<Digest>(padded(used, 0x5c) + inner);
    HmacContext hmac(&copy);
    REQUIRE(hmac.getCompleteHashLength() == length);
    REQUIRE(hmac.initialize(key.empty() ? nullptr : bytes(key), key.size(), returned) == 0);
    REQUIRE(hmac.getReturnedHashLength() == (returned == 0 ? length : returned));
    for (int round = 0; round < 2; ++round) {
        hmac.hash(bytes(message), message.size());
        REQUIRE(finish(hmac, expected) == code.substr(0, expected));
        REQUIRE(hmac.reset() == 0);
    }
}

// The state, count and buffer, which follow the virtual table pointer.
template <class Digest>
std::string fieldsOf(const Digest& digest) {
    return std::string(reinterpret_cast<const char*>(&digest) + sizeof(void*),
                       digest.getCompleteHashLength() + 8 + 64);
}

// A derived class's digest is driven through its virtual operations alone. The library's own
// digests are not, and must be left as if they were.
template <class Digest>
void isLeftAsByItsOperations(const std::string& key, const std::string& message,
                             unsigned long returned) {
    class Derived : public Digest {};
    Digest own;
    Derived derived;
    HmacContext fast(&own);
    HmacContext slow(&derived);
    const auto requireSame = [&] {
        REQUIRE(fieldsOf(own) == fieldsOf(derived));
        REQUIRE(own.getReturnedHashLength() == derived.getReturnedHashLength());
    };
    REQUIRE(fast.initialize(bytes(key), key.size(), returned) == 0);
    REQUIRE(slow.initialize(bytes(key), key.size(), returned) == 0);
    requireSame();
    for (const size_t length : {message.size(), size_t{0}}) {
        fast.hash(bytes(message), length);
        slow.hash(bytes(message), length);
        requireSame();
        const size_t most = own.getCompleteHashLength();
        const size_t written = returned == 0 ? most : std::min(most, size_t{returned});
        REQUIRE(finish(fast, written) == finish(slow, written));
        requireSame();
        REQUIRE(fast.reset() == 0);
        REQUIRE(slow.reset() == 0);
        requireSame();
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, std::min(size, size_t{1000}));
    const unsigned long returned = input.below(30);
    const size_t piece = input.below(140) + 1;
    const std::string key = input.text(input.below(140));
    const std::string message = input.rest();
    check<Md5HashContext>(key, message, piece, returned);
    check<Sha1HashContext>(key, message, piece, returned);
    isLeftAsByItsOperations<Md5HashContext>(key, message, returned);
    isLeftAsByItsOperations<Sha1HashContext>(key, message, returned);
    return 0;
}
