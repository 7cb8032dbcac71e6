// SPDX-License-Identifier: MIT
//
// fuzz/digests.cc checks messages in pieces, returned lengths, HMAC against its definition, and
// what HMAC leaves of the digest.

#include <velutils++/digests.h>

#include <gtest/gtest.h>
#include <string.h>
#include <sys/mman.h>

#include <new>
#include <sstream>
#include <string>
#include <type_traits>

#include "tests/support/allocations.h"
#include "tests/support/files.h"
#include "tests/support/network.h"

namespace {

const unsigned char* bytes(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

// What getHash() writes, which must be `length` bytes.
template <class Context>
std::string finish(Context& context, size_t length) {
    std::string out(80, '~');
    context.getHash(reinterpret_cast<unsigned char*>(&out[0]));
    EXPECT_EQ(std::string(80 - length, '~'), out.substr(length));
    return out.substr(0, length);
}

std::string hex(const std::string& data) {
    return digestToHex(bytes(data), data.size()).buffer();
}

// The state, count and buffer of a digest of `length` bytes. They follow the virtual table pointer.
// The object may have been destroyed.
std::string fieldsIn(const char* object, size_t length) {
    return std::string(object + sizeof(void*), length + 8 + 64);
}

struct Known {
    unsigned long length;
    const char* program;  // of the system, that computes the same digest
    const char* zeros;    // the digest of 2^29 + 5 zeros
};
const Known MD5 = {16, "md5sum ", "53f83c490b7435d7e205466bfd984882"};
const Known SHA1 = {20, "sha1sum ", "8e9aff269b0100da94e05015243e0a65c1399752"};

template <class Context>
class Digest : public testing::Test {
  protected:
    std::string digestOf(const std::string& message) {
        EXPECT_EQ(0, digest.initialize(0));
        digest.hash(bytes(message), message.size());
        return finish(digest, known.length);
    }

    const Known& known = std::is_same<Context, Md5HashContext>() ? MD5 : SHA1;
    Context digest;
};
using Digests = testing::Types<Md5HashContext, Sha1HashContext>;
TYPED_TEST_SUITE(Digest, Digests, );

// For each length of up to three blocks.
TYPED_TEST(Digest, AgreesWithTheSystemsProgram) {
    std::string message;
    for (size_t n = 0; n < 200; ++n) {
        writeFile("/tmp/message" + std::to_string(1000 + n), message);
        message += static_cast<char>(n * 167 + 3);
    }
    std::istringstream sums(outputOf(std::string(this->known.program) + "/tmp/message*"));
    std::string sum, name;
    for (size_t n = 0; n < 200; ++n) {
        ASSERT_TRUE(sums >> sum >> name);
        ASSERT_EQ(sum, hex(this->digestOf(message.substr(0, n)))) << n;
    }
}

// 2^29 bytes are 2^32 bits. MD5 gets them in one call. SHA-1, which counts with the same code, gets
// them in two, and the low word of the count overflows.
TYPED_TEST(Digest, CountsBitsPast32) {
    const size_t size = (1UL << 29) + 5;
    const size_t first = &this->known == &MD5 ? size : (1UL << 29) - 1;
    void* const memory = mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(MAP_FAILED, memory);
    const unsigned char* const zeros = static_cast<unsigned char*>(memory);
    this->digest.initialize(0);
    this->digest.hash(zeros, first);
    this->digest.hash(zeros, size - first);
    EXPECT_EQ(this->known.zeros, hex(finish(this->digest, this->known.length)));
    munmap(memory, size);
}

TYPED_TEST(Digest, TheSelfTestLeavesAnEmptyMessage) {
    const std::string expected = this->digestOf("abc");
    TypeParam fresh;
    EXPECT_EQ(this->known.length, fresh.getReturnedHashLength()) << "newly built";
    fresh.initialize(5);
    EXPECT_EQ(0, fresh.test());
    EXPECT_EQ(this->known.length, fresh.getReturnedHashLength());
    fresh.hash(bytes("abc"), 3);
    EXPECT_EQ(expected, finish(fresh, this->known.length));
    EXPECT_NE(expected, finish(fresh, this->known.length)) << "getHash() restarts";
}

TYPED_TEST(Digest, DestroyAndDestructorWipe) {
    const std::string secret(47, 's');
    const size_t length = this->known.length;
    for (const bool destruct : {false, true}) {
        alignas(TypeParam) char memory[sizeof(TypeParam)];
        TypeParam& held = *new (memory) TypeParam;
        held.initialize(0);
        held.hash(bytes(secret), secret.size());
        ASSERT_NE(std::string::npos, fieldsIn(memory, length).find(secret));
        if (destruct)
            held.~TypeParam();
        else
            held.destroy();
        EXPECT_EQ(std::string(length + 8 + 64, '\0'), fieldsIn(memory, length));
    }
}

TEST(Hmac, DestroyAndDestructorWipe) {
    Md5HashContext digest;
    const std::string zeros(128, '\0');  // two pads
    for (const bool destruct : {false, true}) {
        alignas(HmacContext) char memory[sizeof(HmacContext)];
        HmacContext& hmac = *new (memory) HmacContext(&digest);
        hmac.initialize(bytes("secret"), 6, 0);
        if (destruct)
            hmac.~HmacContext();
        else
            hmac.destroy();
        EXPECT_NE(std::string::npos, std::string(memory, sizeof memory).find(zeros));
    }
}

// A digest that claims to be longer than a block.
class Long : public Sha1HashContext {
  public:
    int initialize(unsigned long n) override {
        asked = n;
        return result == 0 ? Sha1HashContext::initialize(n) : result;
    }
    void destroy() override { ++destroyed; }
    void hash(const unsigned char* data, unsigned long n) override {
        hashed += n;
        Sha1HashContext::hash(data, n);
    }
    void getHash(unsigned char* out) override { memset(out, 'd', 100); }
    unsigned long getCompleteHashLength() const override { return 100; }

    unsigned long asked = 0, hashed = 0;
    int result = 0, destroyed = 0;
};

TEST(Hmac, DrivesAnyDigest) {
    Long digest;
    {
        HmacContext hmac(&digest);
        EXPECT_EQ(100u, hmac.getReturnedHashLength());
        const std::string key(65, 'k');
        EXPECT_EQ(0, hmac.initialize(bytes(key), 65, 12));
        EXPECT_EQ(65u + 64, digest.hashed);  // the key and a pad
        EXPECT_EQ(0u, digest.asked);
        unsigned char code[100];
        hmac.getHash(code);
        EXPECT_EQ(65u + 64 + 64 + 100, digest.hashed);
        EXPECT_EQ(12u, digest.asked);
        digest.result = 7;
        EXPECT_EQ(7, hmac.reset());
        EXPECT_EQ(7, hmac.initialize(bytes(key), 64, 0));
        EXPECT_EQ(65u + 64 + 64 + 100, digest.hashed);
    }
    EXPECT_EQ(0, digest.destroyed);
}

TEST(DigestBytes, AreComparedToTheLastAndPrinted) {
    unsigned char a[40], b[40];
    for (unsigned i = 0; i < sizeof a; ++i) a[i] = b[i] = static_cast<unsigned char>(i * 37);
    for (unsigned i = 0; i < sizeof a; ++i) {
        b[i] ^= static_cast<unsigned char>(1u << i % 8);
        EXPECT_FALSE(digestsEqual(a, b, sizeof a)) << i;
        EXPECT_TRUE(digestsEqual(a, b, i)) << i;
        b[i] = a[i];
    }
    EXPECT_TRUE(digestsEqual(a, b, sizeof a));
    EXPECT_TRUE(digestsEqual(nullptr, nullptr, 0));

    EXPECT_EQ(0, digestToHex(nullptr, 0).length());
    EXPECT_EQ(0, digestToHex(a, 0x40000000).length());
    const allocations::Refusal refusal(1);
    EXPECT_EQ(80, digestToHex(a, sizeof a).length());  // grows if no room could be reserved
}

}  // namespace
