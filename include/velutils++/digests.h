/* SPDX-License-Identifier: MIT
 *
 * Message digests: the HashContext interface with MD5 (RFC 1321) and SHA-1 (FIPS 180-1), and
 * HMAC (RFC 2104) over any digest behind that interface. C++ only.
 *
 *     Sha1HashContext sha1;
 *     sha1.initialize(0);                 // 0: the whole digest
 *     sha1.hash(data, length);            // any number of times
 *     unsigned char digest[20];
 *     sha1.getHash(digest);               // once; initialize() starts the next message
 *
 * MD5 and SHA-1 are here for the protocols that prescribe them. Neither resists collisions; HMAC
 * over them is not broken by that.
 *
 * Lengths count bytes; a message may have up to 2^61 - 1 of them, also where long is 32 bits.
 * Pointers to data may have any alignment, and may be null when the length is 0. Output areas must
 * hold what is written and are not checked. Nothing allocates, throws or logs.
 *
 * Threads: an object belongs to one thread at a time; objects do not know of each other.
 */
#ifndef VELUTILS_DIGESTS_H
#define VELUTILS_DIGESTS_H

#include <stdint.h>

#include <velutils++/export.h>

#ifdef __cplusplus

// The order of virtual operations and of fields in these classes is part of the binary interface.

// A message digest of one message after the other.
class VELUTILS_API HashContext {
  public:
    virtual ~HashContext();

    // Starts a message, dropping one under way. returnedLength is what getHash() will write; 0, or
    // more than the digest has, means the complete digest. Always 0 for the digests declared here;
    // a digest that can fail returns something else, and has then started nothing.
    virtual int initialize(unsigned long returnedLength) = 0;

    // Wipes message, digest and returned length from the object. Only initialize() or test() may
    // follow. Constructors and destructors do the same.
    virtual void destroy() = 0;

    // Adds to the message.
    // REQUIRES: initialize() since the last getHash(), getCompleteHash() or destroy().
    virtual void hash(const unsigned char* data, unsigned long length) = 0;

    // What getHash() writes: from 1 to getCompleteHashLength().
    virtual unsigned long getReturnedHashLength() const = 0;

    // Finish the message and write the first getReturnedHashLength() bytes of its digest, or all
    // of it. One of the two, once a message: padding goes through hash() into the object itself,
    // and a second call would digest it too. The digest stays in the object until initialize() or
    // destroy().
    virtual void getHash(unsigned char* out) = 0;
    // The size of the digest.
    virtual unsigned long getCompleteHashLength() const = 0;
    // See getHash().
    virtual void getCompleteHash(unsigned char* out) = 0;

    // Digests "abc" with this very object: 0 when the published result comes out, otherwise -1.
    // Leaves an empty message started, with the complete returned length.
    virtual int test() = 0;
};

// MD5: 16 bytes.
//
// A copy has the same message under way and goes on independently.
class VELUTILS_API Md5HashContext : public HashContext {
  public:
    Md5HashContext();
    ~Md5HashContext() override;

    int initialize(unsigned long returnedLength) override;
    void destroy() override;
    void hash(const unsigned char* data, unsigned long length) override;
    unsigned long getReturnedHashLength() const override;
    void getHash(unsigned char* out) override;
    unsigned long getCompleteHashLength() const override;
    void getCompleteHash(unsigned char* out) override;
    int test() override;

    // Adds one block of 64 bytes to the chaining words and to nothing else: the step of which
    // hash() is made.
    void md5Transform(const unsigned char* block);

  private:
    uint32_t state[4];
    uint32_t count[2];  // bits of the message so far, the low word first
    unsigned char buffer[64];
    unsigned long returnedHashLength;
};

// SHA-1: 20 bytes. Copies as Md5HashContext does.
class VELUTILS_API Sha1HashContext : public HashContext {
  public:
    Sha1HashContext();
    ~Sha1HashContext() override;

    int initialize(unsigned long returnedLength) override;
    void destroy() override;
    void hash(const unsigned char* data, unsigned long length) override;
    unsigned long getReturnedHashLength() const override;
    void getHash(unsigned char* out) override;
    unsigned long getCompleteHashLength() const override;
    void getCompleteHash(unsigned char* out) override;
    int test() override;

    // As md5Transform().
    void sha1Transform(const unsigned char* block);

  private:
    uint32_t state[5];
    uint32_t count[2];  // bits of the message so far, the low word first
    unsigned char buffer[64];
    unsigned long returnedHashLength;
};

// A keyed authenticator of one message after the other.
class VELUTILS_API AuthenticationContext {
  public:
    virtual ~AuthenticationContext();

    // Sets the key, of any length, and how many bytes getHash() shall write, 0 meaning all it has;
    // then starts a message as reset() does. The key is not kept, only what is derived from it.
    virtual int initialize(const unsigned char* key, unsigned long keyLength,
                           unsigned long returnedLength) = 0;

    // Forgets the key and lets go of what it works with. Only destruction may follow.
    virtual void destroy() = 0;

    // Starts another message with the same key, dropping one under way. 0, or the error of the
    // digest underneath; those declared here have none.
    virtual int reset() = 0;

    // Adds to the message.
    virtual void hash(const unsigned char* data, unsigned long length) = 0;

    // Finishes the message and writes its authentication code. Once a message. To check a code
    // that came from outside, compare in constant time, not with memcmp.
    virtual void getHash(unsigned char* out) = 0;

    // The size of the whole code.
    virtual unsigned long getCompleteHashLength() const = 0;

    // The length given to initialize(), even if longer than the code: an output area of this size
    // is always large enough.
    virtual unsigned long getReturnedHashLength() const = 0;
};

// HMAC with a digest of the caller's choice.
//
//     Md5HashContext md5;
//     HmacContext hmac(&md5);
//     hmac.initialize(key, keyLength, 12);    // HMAC-MD5-96
//
// The digest stays the caller's and must live until destroy() or the destructor; it is never
// deleted or wiped here. Between reset() and getHash() it may not be used otherwise. What it holds
// of the last message and key stays in it until its own initialize(), hash() or destroy() writes
// over it; the HmacContext itself keeps nothing of them after destroy().
//
// Only initialize(), hash(), getHash() and getCompleteHashLength() of the digest are called. The
// key block is always 64 bytes, so a digest of the caller's own gives standard HMAC only if it
// works on blocks of 64 bytes. A key longer than that is replaced by its digest, of which 64 bytes
// count.
class VELUTILS_API HmacContext : public AuthenticationContext {
  public:
    // REQUIRES: digest is not null. initialize() comes before anything else.
    explicit HmacContext(HashContext* digest);
    HmacContext(const HmacContext&) = delete;
    HmacContext& operator=(const HmacContext&) = delete;
    ~HmacContext() override;

    int initialize(const unsigned char* key, unsigned long keyLength,
                   unsigned long returnedLength) override;
    void destroy() override;
    int reset() override;
    void hash(const unsigned char* data, unsigned long length) override;
    // Writes getReturnedHashLength() bytes, but never more than the digest has.
    void getHash(unsigned char* out) override;
    unsigned long getCompleteHashLength() const override;
    unsigned long getReturnedHashLength() const override;

  private:
    HashContext* hashContext;
    unsigned char innerKeyPad[64];
    unsigned char outerKeyPad[64];
    unsigned long returnedHashLength;
};

static_assert(sizeof(HashContext) == sizeof(void*), "the interface has no fields");
static_assert(sizeof(AuthenticationContext) == sizeof(void*), "the interface has no fields");
static_assert(sizeof(Md5HashContext) == sizeof(void*) + 16 + 8 + 64 + sizeof(long),
              "state, count, buffer, returnedHashLength");
static_assert(sizeof(Sha1HashContext) ==
                  sizeof(void*) + 20 + 8 + 64 + sizeof(long) + (sizeof(long) == 8 ? 4 : 0),
              "state, count, buffer, returnedHashLength");
static_assert(sizeof(HmacContext) == 2 * sizeof(void*) + 64 + 64 + sizeof(long),
              "hashContext, innerKeyPad, outerKeyPad, returnedHashLength");
#endif

#endif
