// SPDX-License-Identifier: MIT

#include <velutils++/digests.h>

#include <gtest/gtest.h>
#include <limits.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include <new>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/files.h"
#include "tests/support/virtual_slot.h"

namespace {

typedef std::vector<std::string> Strings;

const unsigned char* bytes(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

// What getHash() writes, which must be `length` bytes: in hexadecimal, two characters a byte.
template <class Context>
std::string finish(Context& context, unsigned long length,
                   void (Context::*write)(unsigned char*) = &Context::getHash) {
    std::string out(80, '~'), text;
    (context.*write)(reinterpret_cast<unsigned char*>(&out[0]));
    EXPECT_EQ(std::string(80 - length, '~'), out.substr(length));
    char digits[3];
    for (size_t i = 0; i < length; ++i) {
        snprintf(digits, sizeof digits, "%02x", static_cast<unsigned char>(out[i]));
        text += digits;
    }
    return text;
}

std::string digestOf(HashContext& digest, const std::string& message) {
    EXPECT_EQ(0, digest.initialize(1));
    digest.hash(bytes(message), message.size());
    return finish(digest, digest.getCompleteHashLength(), &HashContext::getCompleteHash);
}

std::string unhex(const std::string& text) {
    std::string data;
    for (size_t i = 0; i < text.size(); i += 2)
        data += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
    return data;
}

struct Algorithm {
    const char* name;
    HashContext* (*create)(void* place);
    void (*transform)(HashContext& digest, const unsigned char* block);
    unsigned long length;
    const char* program;  // of the system, computing the same
    const char *empty, *abc;
};

const Algorithm ALGORITHMS[] = {
    {"MD5", [](void* place) -> HashContext* { return new (place) Md5HashContext; },
     [](HashContext& digest, const unsigned char* block) {
         dynamic_cast<Md5HashContext&>(digest).md5Transform(block);
     },
     16, "md5sum", "d41d8cd98f00b204e9800998ecf8427e", "900150983cd24fb0d6963f7d28e17f72"},
    {"SHA1", [](void* place) -> HashContext* { return new (place) Sha1HashContext; },
     [](HashContext& digest, const unsigned char* block) {
         dynamic_cast<Sha1HashContext&>(digest).sha1Transform(block);
     },
     20, "sha1sum", "da39a3ee5e6b4b0d3255bfef95601890afd80709",
     "a9993e364706816aba3e25717850c26c9cd0d89d"},
};

void PrintTo(const Algorithm& algorithm, std::ostream* out) {
    *out << algorithm.name;
}

// The bytes of an object behind its virtual table, also of one that has been destroyed.
std::string memoryOf(const void* object, size_t size) {
    const volatile unsigned char* const memory = static_cast<const volatile unsigned char*>(object);
    std::string copy;
    for (size_t i = sizeof(void*); i < size; ++i) copy += static_cast<char>(memory[i]);
    return copy;
}

class Digest : public testing::TestWithParam<Algorithm> {
  protected:
    ~Digest() override { digest.~HashContext(); }

    // state, count and buffer
    std::string fields() const { return memoryOf(place, sizeof(void*) + length + 8 + 64); }

    // The sums that the system's program finds for files.
    static Strings sumsOf(const std::string& files) {
        Strings sums;
        FILE* const pipe = popen((GetParam().program + (" " + files)).c_str(), "r");
        char line[512];
        while (pipe != nullptr && fgets(line, sizeof line, pipe) != nullptr)
            sums.push_back(std::string(line, strcspn(line, " ")));
        EXPECT_EQ(0, pclose(pipe));
        return sums;
    }

    const unsigned long length = GetParam().length;
    alignas(Sha1HashContext) unsigned char place[sizeof(Sha1HashContext)];
    HashContext& digest = *GetParam().create(place);
};

INSTANTIATE_TEST_SUITE_P(Digests, Digest, testing::ValuesIn(ALGORITHMS),
                         testing::PrintToStringParamName());

TEST_P(Digest, PublishedVectors) {
    EXPECT_EQ(GetParam().empty, digestOf(digest, ""));
    EXPECT_EQ(GetParam().abc, digestOf(digest, "abc"));
}

// Every length up to some blocks: every split into two calls, single bytes, every alignment.
TEST_P(Digest, MessagesInPiecesAgreeWithTheSystemsProgram) {
    const size_t longest = 300;
    std::string message;
    for (size_t i = 0; i < longest; ++i) message += static_cast<char>(i * 167 + 3);
    for (size_t n = 0; n <= longest; ++n)
        writeFile("/tmp/message" + std::to_string(1000 + n), message.substr(0, n));
    const Strings sums = sumsOf("/tmp/message*");
    ASSERT_EQ(longest + 1, sums.size());

    for (size_t n = 0; n <= longest; ++n) {
        for (size_t split = 0; split <= n; ++split) {
            digest.initialize(0);
            digest.hash(bytes(message), split);
            digest.hash(bytes(message) + split, n - split);
            ASSERT_EQ(sums[n], finish(digest, length)) << n << " split at " << split;
        }
        digest.initialize(0);
        for (size_t i = 0; i < n; ++i) digest.hash(bytes(message) + i, 1);
        digest.hash(nullptr, 0);
        ASSERT_EQ(sums[n], finish(digest, length)) << n << " single bytes";
    }
    for (size_t offset = 0; offset < 16; ++offset) {
        const std::string shifted = std::string(offset, 'x') + message;
        digest.initialize(0);
        digest.hash(bytes(shifted) + offset, longest);
        EXPECT_EQ(sums[longest], finish(digest, length)) << "at offset " << offset;
    }
}

// 2^29 bytes are 2^32 bits: they come in one length, or make the low word of the count wrap.
TEST_P(Digest, CountsBitsPast32) {
    const size_t size = (1UL << 29) + 5;
    void* const zeros = mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(MAP_FAILED, zeros);
    writeFile("/tmp/zeros", "");
    ASSERT_EQ(0, truncate("/tmp/zeros", static_cast<off_t>(size)));
    const std::string sum = sumsOf("/tmp/zeros").at(0);
    for (const size_t first : {size, size_t(6)}) {
        digest.initialize(0);
        digest.hash(static_cast<unsigned char*>(zeros), first);
        digest.hash(static_cast<unsigned char*>(zeros), size - first);
        EXPECT_EQ(sum, finish(digest, length)) << "after " << first << " bytes";
    }
    munmap(zeros, size);
    unlink("/tmp/zeros");
}

TEST_P(Digest, ReturnedLength) {
    EXPECT_EQ(length, digest.getCompleteHashLength());
    EXPECT_EQ(length, digest.getReturnedHashLength()) << "newly built";
    for (const unsigned long n : {0UL, 1UL, 5UL, 12UL, length - 1, length, length + 1, ULONG_MAX}) {
        const unsigned long expected = n == 0 || n > length ? length : n;
        EXPECT_EQ(0, digest.initialize(n));
        EXPECT_EQ(expected, digest.getReturnedHashLength());
        digest.hash(bytes("abc"), 3);
        EXPECT_EQ(std::string(GetParam().abc, 2 * expected), finish(digest, expected));
    }
    EXPECT_NE(GetParam().abc, finish(digest, length)) << "finishing does not restart";
}

TEST_P(Digest, SelfTestStartsAnEmptyMessage) {
    digest.initialize(5);
    digest.hash(bytes("lost"), 4);
    EXPECT_EQ(0, digest.test());
    EXPECT_EQ(length, digest.getReturnedHashLength());
    EXPECT_EQ(GetParam().empty, finish(digest, length));
}

TEST_P(Digest, TransformChangesTheChainingWordsOnly) {
    const std::string block = "0123456789abcdefghijklmnopqrstuvwxyz0123456789ABCDEFGHIJKLMNOPQR";
    digest.initialize(0);
    const std::string before = fields();
    digest.hash(bytes(block), 64);
    const std::string state = fields().substr(0, length);
    digest.initialize(0);
    GetParam().transform(digest, bytes(block));
    EXPECT_EQ(state + before.substr(length), fields());
}

TEST_P(Digest, DestroyAndDestructorWipe) {
    const std::string secret = "between one block and another there is a secret";
    for (const bool destruct : {false, true}) {
        digest.initialize(5);
        digest.hash(bytes(secret + secret), 2 * secret.size());
        ASSERT_NE(std::string::npos, fields().find("is a secret"));
        if (destruct)
            digest.~HashContext();
        else
            digest.destroy();
        EXPECT_EQ(std::string(length + 8 + 64, '\0'), fields());
        if (destruct) GetParam().create(place);
        EXPECT_EQ(length, digest.getReturnedHashLength());
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
        if (complete <= Base::getCompleteHashLength())
            Base::getHash(out);
        else
            memset(out, 'd', Base::getReturnedHashLength());
    }
    unsigned long getCompleteHashLength() const override { return complete; }

    std::string taken() {
        std::string taken;
        std::swap(taken, calls);
        return taken;
    }

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
TEST(DigestOverrides, AreCalled) {
    Recorder<Md5HashContext> md5(12);
    EXPECT_EQ(0, md5.test());
    EXPECT_EQ("initialize 0; hash 3; getHash 12; hash 53; hash 8; initialize 0; ", md5.taken());
    md5.initialize(13);
    EXPECT_EQ(12u, md5.getReturnedHashLength());
    md5.broken = true;
    EXPECT_EQ(-1, md5.test());

    Recorder<Sha1HashContext> sha1(12);
    EXPECT_EQ(0, sha1.test());
    std::string padding;  // in single bytes
    for (int i = 0; i < 53; ++i) padding += "hash 1; ";
    EXPECT_EQ("initialize 0; hash 3; getHash 12; " + padding + "hash 8; initialize 0; ",
              sha1.taken());
}

const struct {
    std::string key, data;
    const char *md5, *sha1;
} RFC2202[] = {
    {std::string(16, '\x0b'), "Hi There", "9294727a3638bb1c13f48ef8158bfc9d", nullptr},
    {std::string(20, '\x0b'), "Hi There", nullptr, "b617318655057264e28bc0b6fb378c8ef146be00"},
    {"Jefe", "what do ya want for nothing?", "750c783e6ab0b503eaa86e310a5db738",
     "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79"},
    {std::string(16, '\xaa'), std::string(50, '\xdd'), "56be34521d144c88dbb8c733f0e8b3f6", nullptr},
    {std::string(20, '\xaa'), std::string(50, '\xdd'), nullptr,
     "125d7342b9ac11cd91a39af48aa17b4f63f175d3"},
    {unhex("0102030405060708090a0b0c0d0e0f10111213141516171819"), std::string(50, '\xcd'),
     "697eaf0aca3a3aea3a75164746ffaa79", "4c9007f4026250c6bc8414f9bf50c86c2d7235da"},
    {std::string(16, '\x0c'), "Test With Truncation", "56461ef2342edc00f9bab995690efd4c", nullptr},
    {std::string(20, '\x0c'), "Test With Truncation", nullptr,
     "4c1a03424b55e07fe7f27be1d58bb9324a9a5a04"},
    {std::string(80, '\xaa'), "Test Using Larger Than Block-Size Key - Hash Key First",
     "6b1ab7fe4bd7bf8f0b62e6ce61b9d0cd", "aa4ae5e15272d00e95705637ce8a3b55ed402112"},
    {std::string(80, '\xaa'),
     "Test Using Larger Than Block-Size Key and Larger Than One Block-Size Data",
     "6f630fad67cda0ee1fb1f562db3aa53e", "e8e99d0f45237d786d6bbaa7965c7808bbff1a91"},
};

TEST_P(Digest, HmacPublishedVectors) {
    for (const auto& row : RFC2202) {
        const char* const expected = length == 16 ? row.md5 : row.sha1;
        if (expected == nullptr) continue;
        HmacContext hmac(&digest);
        EXPECT_EQ(0, hmac.initialize(bytes(row.key), row.key.size(), 0));
        for (int message = 0; message < 2; ++message) {
            hmac.hash(bytes(row.data), row.data.size());
            EXPECT_EQ(expected, finish(hmac, length));
            EXPECT_EQ(0, hmac.reset());
        }
    }
}

std::string padded(std::string key, char pad) {
    key.resize(64, '\0');
    for (char& byte : key) byte = static_cast<char>(byte ^ pad);
    return key;
}

// The definition, for keys around the length of a block and outputs around that of a digest.
TEST_P(Digest, HmacLengths) {
    HmacContext hmac(&digest);
    EXPECT_EQ(length, hmac.getCompleteHashLength());
    EXPECT_EQ(length, hmac.getReturnedHashLength());
    for (size_t n = 0; n <= 130; ++n) {
        const std::string key(n, 'k');
        const std::string used = n <= 64 ? key : unhex(digestOf(digest, key));
        const std::string inner = digestOf(digest, padded(used, 0x36) + "message");
        const std::string whole = digestOf(digest, padded(used, 0x5c) + unhex(inner));
        for (const unsigned long returned : {0UL, 12UL, 32UL}) {
            EXPECT_EQ(0, hmac.initialize(n == 0 ? nullptr : bytes(key), n, returned));
            EXPECT_EQ(returned == 0 ? length : returned, hmac.getReturnedHashLength());
            hmac.hash(bytes("message"), 7);
            const unsigned long written = returned == 12 ? 12 : length;
            EXPECT_EQ(whole.substr(0, 2 * written), finish(hmac, written)) << n;
        }
    }
}

TEST_P(Digest, HmacDestroyAndDestructorWipe) {
    const std::string inner = padded("secret", 0x36), outer = padded("secret", 0x5c);
    for (const bool destruct : {false, true}) {
        alignas(HmacContext) unsigned char memory[sizeof(HmacContext)];
        HmacContext& hmac = *new (memory) HmacContext(&digest);
        hmac.initialize(bytes("secret"), 6, 0);
        ASSERT_EQ(sizeof(void*), memoryOf(memory, sizeof memory).find(inner + outer));
        if (destruct)
            hmac.~HmacContext();
        else
            hmac.destroy();
        EXPECT_NE(std::string::npos, memoryOf(memory, sizeof memory).find(std::string(128, '\0')));
        EXPECT_EQ(GetParam().abc, digestOf(digest, "abc")) << "the digest lives on";
    }
}

TEST(Hmac, DrivesAnyDigest) {
    Recorder<Sha1HashContext> digest(100);  // longer than a block
    {
        HmacContext hmac(&digest);
        const std::string key(65, 'k');
        EXPECT_EQ(0, hmac.initialize(bytes(key), 65, 12));
        EXPECT_EQ("initialize 64; hash 65; getHash 64; initialize 0; hash 64; ", digest.taken());
        finish(hmac, 12);
        EXPECT_EQ("getHash 100; initialize 12; hash 64; hash 100; getHash 12; ", digest.taken());
        digest.result = 7;
        EXPECT_EQ(7, hmac.reset());
        EXPECT_EQ(7, hmac.initialize(bytes(key), 64, 0));
    }
    EXPECT_EQ("initialize 0; initialize 0; ", digest.taken()) << "nothing fed, wiped or deleted";
}

TEST(DigestSlots, AreInOrder) {
    EXPECT_EQ(2u, virtualSlot(&HashContext::initialize));
    EXPECT_EQ(3u, virtualSlot(&HashContext::destroy));
    EXPECT_EQ(4u, virtualSlot(&HashContext::hash));
    EXPECT_EQ(5u, virtualSlot(&HashContext::getReturnedHashLength));
    EXPECT_EQ(6u, virtualSlot(&HashContext::getHash));
    EXPECT_EQ(7u, virtualSlot(&HashContext::getCompleteHashLength));
    EXPECT_EQ(8u, virtualSlot(&HashContext::getCompleteHash));
    EXPECT_EQ(9u, virtualSlot(&HashContext::test));

    EXPECT_EQ(2u, virtualSlot(&AuthenticationContext::initialize));
    EXPECT_EQ(3u, virtualSlot(&AuthenticationContext::destroy));
    EXPECT_EQ(4u, virtualSlot(&AuthenticationContext::reset));
    EXPECT_EQ(5u, virtualSlot(&AuthenticationContext::hash));
    EXPECT_EQ(6u, virtualSlot(&AuthenticationContext::getHash));
    EXPECT_EQ(7u, virtualSlot(&AuthenticationContext::getCompleteHashLength));
    EXPECT_EQ(8u, virtualSlot(&AuthenticationContext::getReturnedHashLength));
}

}  // namespace
