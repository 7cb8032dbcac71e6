// SPDX-License-Identifier: MIT

#include <velutils++/digests.h>

#include <gtest/gtest.h>
#include <limits.h>
#include <string.h>
#include <sys/mman.h>

#include <new>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>

#include "tests/support/allocations.h"
#include "tests/support/files.h"
#include "tests/support/network.h"
#include "tests/support/virtual_slot.h"

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
    std::string text;
    for (const char byte : data)
        for (const int shift : {4, 0}) text += "0123456789abcdef"[byte >> shift & 15];
    return text;
}

// The bytes of an object behind its virtual table, also of one that has been destroyed.
std::string memoryOf(const void* object, size_t size) {
    const volatile char* const memory = static_cast<const volatile char*>(object) + sizeof(void*);
    std::string copy;
    for (size_t i = 0; i < size; ++i) copy += memory[i];
    return copy;
}

struct Known {
    unsigned long length;
    const char* program;  // of the system, computing the same
    const char *abc, *zeros, *jefe;
};
const Known MD5 = {16, "md5sum ", "900150983cd24fb0d6963f7d28e17f72",
                   "53f83c490b7435d7e205466bfd984882", "750c783e6ab0b503eaa86e310a5db738"};
const Known SHA1 = {20, "sha1sum ", "a9993e364706816aba3e25717850c26c9cd0d89d",
                    "8e9aff269b0100da94e05015243e0a65c1399752",
                    "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79"};

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
    const size_t fields = known.length + 8 + 64;  // state, count and buffer
};
using Digests = testing::Types<Md5HashContext, Sha1HashContext>;
TYPED_TEST_SUITE(Digest, Digests, );

// Every length up to some blocks, in every split into two calls.
TYPED_TEST(Digest, MessagesInPiecesAgreeWithTheSystemsProgram) {
    const size_t longest = 200;
    std::string message;
    for (size_t i = 0; i < longest; ++i) message += static_cast<char>(i * 167 + 3);
    for (size_t n = 0; n <= longest; ++n)
        writeFile("/tmp/message" + std::to_string(1000 + n), message.substr(0, n));
    std::istringstream sums(outputOf(std::string(this->known.program) + "/tmp/message*"));
    std::string sum, name;
    for (size_t n = 0; n <= longest; ++n) {
        ASSERT_TRUE(sums >> sum >> name);
        for (size_t split = 0; split <= n; ++split) {
            this->digest.initialize(0);
            this->digest.hash(bytes(message), split);
            this->digest.hash(nullptr, 0);
            this->digest.hash(bytes(message) + split, n - split);
            ASSERT_EQ(sum, hex(finish(this->digest, sum.size() / 2))) << n << " at " << split;
        }
    }
}

// 2^29 bytes are 2^32 bits: they come in one length, or make the low word of the count wrap.
TYPED_TEST(Digest, CountsBitsPast32) {
    const size_t size = (1UL << 29) + 5;
    void* const zeros = mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(MAP_FAILED, zeros);
    this->digest.initialize(0);
    this->digest.hash(static_cast<unsigned char*>(zeros), size);
    EXPECT_EQ(this->known.zeros, hex(finish(this->digest, this->known.length)));
    munmap(zeros, size);

    this->digest.initialize(0);
    uint32_t count[2] = {0xFFFFFFF8, 7};
    char* const place = reinterpret_cast<char*>(&this->digest) + sizeof(void*) + this->fields - 72;
    memcpy(place, count, sizeof count);
    this->digest.hash(bytes("ab"), 2);
    memcpy(count, place, sizeof count);
    EXPECT_TRUE(count[0] == 8 && count[1] == 8);
}

TYPED_TEST(Digest, ReturnedLength) {
    const unsigned long length = this->known.length;
    EXPECT_EQ(length, this->digest.getCompleteHashLength());
    EXPECT_EQ(length, this->digest.getReturnedHashLength()) << "newly built";
    for (const unsigned long n : {0UL, 1UL, length - 1, length, length + 1, ULONG_MAX}) {
        const unsigned long expected = n == 0 || n > length ? length : n;
        EXPECT_EQ(0, this->digest.initialize(n));
        EXPECT_EQ(expected, this->digest.getReturnedHashLength());
        this->digest.hash(bytes("abc"), 3);
        TypeParam copy(this->digest);
        EXPECT_EQ(std::string(this->known.abc, 2 * expected), hex(finish(this->digest, expected)));
        unsigned char complete[20];
        copy.getCompleteHash(complete);
        EXPECT_EQ(this->known.abc, hex(std::string(complete, complete + length)));
    }
    EXPECT_NE(this->known.abc, hex(finish(this->digest, length))) << "does not restart";
    // The self test leaves an empty message.
    this->digest.initialize(5);
    EXPECT_EQ(0, this->digest.test());
    EXPECT_EQ(length, this->digest.getReturnedHashLength());
    this->digest.hash(bytes("abc"), 3);
    EXPECT_EQ(this->known.abc, hex(finish(this->digest, length)));
}

// Wipes in the two ways there are and tells what is left.
template <class Context>
std::string wiped(Context& context, bool destruct, size_t size) {
    if (destruct)
        context.~Context();
    else
        context.destroy();
    return memoryOf(&context, size);
}

std::string padded(std::string key, char pad) {
    key.resize(64, '\0');
    for (char& byte : key) byte = static_cast<char>(byte ^ pad);
    return key;
}

TYPED_TEST(Digest, DestroyAndDestructorWipe) {
    const std::string secret(47, 's');
    const std::string pads = padded("secret", 0x36) + padded("secret", 0x5c);
    for (const bool destruct : {false, true}) {
        alignas(TypeParam) unsigned char memory[sizeof(TypeParam)];
        TypeParam& held = *new (memory) TypeParam;
        held.initialize(0);
        held.hash(bytes(secret), 47);
        ASSERT_NE(std::string::npos, memoryOf(memory, this->fields).find("ssss"));
        EXPECT_EQ(std::string(this->fields, '\0'), wiped(held, destruct, this->fields));

        alignas(HmacContext) unsigned char place[sizeof(HmacContext)];
        HmacContext& hmac = *new (place) HmacContext(&this->digest);
        hmac.initialize(bytes("secret"), 6, 0);
        const size_t size = sizeof place - sizeof(void*);
        ASSERT_EQ(sizeof(void*), memoryOf(place, size).find(pads));
        EXPECT_NE(std::string::npos, wiped(hmac, destruct, size).find(std::string(128, '\0')));
    }
}

// The published vector; then the definition, for keys around the length of a block and outputs
// around that of a digest.
TYPED_TEST(Digest, Hmac) {
    const unsigned long length = this->known.length;
    HmacContext hmac(&this->digest);
    EXPECT_EQ(length, hmac.getCompleteHashLength());
    EXPECT_EQ(length, hmac.getReturnedHashLength());
    hmac.initialize(bytes("Jefe"), 4, 0);
    for (int message = 0; message < 2; ++message) {
        hmac.hash(bytes("what do ya want for nothing?"), 28);
        EXPECT_EQ(this->known.jefe, hex(finish(hmac, length)));
        EXPECT_EQ(0, hmac.reset());
    }
    for (size_t n = 0; n <= 130; ++n) {
        const std::string key(n, 'k'), used = n <= 64 ? key : this->digestOf(key);
        const std::string inner = this->digestOf(padded(used, 0x36) + "message");
        const std::string whole = this->digestOf(padded(used, 0x5c) + inner);
        for (const unsigned long returned : {0UL, 12UL, 32UL}) {
            EXPECT_EQ(0, hmac.initialize(n == 0 ? nullptr : bytes(key), n, returned));
            EXPECT_EQ(returned == 0 ? length : returned, hmac.getReturnedHashLength());
            hmac.hash(bytes("message"), 7);
            const unsigned long written = returned == 12 ? 12 : length;
            EXPECT_EQ(whole.substr(0, written), finish(hmac, written)) << n;
        }
    }
}

// A digest that writes down what is asked of it.
template <class Base>
class Recorder : public Base {
  public:
    explicit Recorder(unsigned long completeLength) : complete(completeLength) {}

    int initialize(unsigned long n) override {
        record("initialize", n);
        return result == 0 ? Base::initialize(n) : result;
    }
    void destroy() override { record("destroy", 0); }
    void hash(const unsigned char* data, unsigned long n) override {
        record("hash", n);
        Base::hash(data, broken ? 0 : n);
    }
    void getHash(unsigned char* out) override {
        record("getHash", Base::getReturnedHashLength());
        if (complete <= Base::getCompleteHashLength()) Base::getHash(out);
    }
    unsigned long getCompleteHashLength() const override { return complete; }

    std::string taken() { return std::exchange(calls, ""); }

    int result = 0;
    bool broken = false;

  private:
    void record(const char* call, unsigned long n) {
        calls += call + (" " + std::to_string(n)) + "; ";
    }

    unsigned long complete;
    std::string calls;
};

// What a derived class can rely on: everything internal goes through its operations.
TYPED_TEST(Digest, OverridesAreCalled) {
    const bool whole = this->known.length == 16;  // MD5 pads in one piece, SHA-1 in bytes
    std::string padding = "hash 53; ";
    for (int i = 0; i < 53 && !whole; ++i) padding = (i > 0 ? padding : "") + "hash 1; ";
    Recorder<TypeParam> recorder(12);
    EXPECT_EQ(0, recorder.test());
    EXPECT_EQ("initialize 0; hash 3; getHash 12; " + padding + "hash 8; initialize 0; ",
              recorder.taken());
    recorder.initialize(13);
    EXPECT_EQ(12u, recorder.getReturnedHashLength());
    recorder.broken = whole;  // the other would not come to an end
    EXPECT_EQ(recorder.broken ? -1 : 0, recorder.test());
}

TEST(Hmac, DrivesAnyDigest) {
    Recorder<Sha1HashContext> digest(100);  // longer than a block
    {
        HmacContext hmac(&digest);
        const std::string key(65, 'k');
        EXPECT_EQ(0, hmac.initialize(bytes(key), 65, 12));
        EXPECT_EQ("initialize 64; hash 65; getHash 64; initialize 0; hash 64; ", digest.taken());
        finish(hmac, 0);
        EXPECT_EQ("getHash 100; initialize 12; hash 64; hash 100; getHash 12; ", digest.taken());
        digest.result = 7;
        EXPECT_EQ(7, hmac.reset());
        EXPECT_EQ(7, hmac.initialize(bytes(key), 64, 0));
    }
    EXPECT_EQ("initialize 0; initialize 0; ", digest.taken()) << "nothing fed, wiped or deleted";
}

TEST(Hmac, SlotsAreInOrder) {
    typedef HashContext H;
    EXPECT_TRUE(inSlotOrder(&H::initialize, &H::destroy, &H::hash, &H::getReturnedHashLength,
                            &H::getHash, &H::getCompleteHashLength, &H::getCompleteHash, &H::test));
    typedef AuthenticationContext A;
    EXPECT_TRUE(inSlotOrder(&A::initialize, &A::destroy, &A::reset, &A::hash, &A::getHash,
                            &A::getCompleteHashLength, &A::getReturnedHashLength));
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

    const std::string data("\x00\x09\xa0\xff\x7f", 5);
    EXPECT_EQ("0009a0ff7f", std::string(digestToHex(bytes(data), data.size()).buffer()));
    EXPECT_EQ(0, digestToHex(nullptr, 0).length());
    EXPECT_EQ(0, digestToHex(a, 0x40000000).length());
    for (long n = 1;; ++n) {
        const allocations::Refusal refusal(n);
        const long length = digestToHex(a, sizeof a).length();
        EXPECT_TRUE(length == 0 || length == 80) << length;
        if (!refusal.happened()) break;
    }
}

}  // namespace
