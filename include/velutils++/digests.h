/* SPDX-License-Identifier: MIT
 *
 * Message digests: the HashContext interface with MD5 (RFC 1321) and SHA-1 (FIPS 180-1), and
 * HMAC (RFC 2104) over any digest with that interface. C++ only.
 *
 *     Sha1HashContext sha1;
 *     sha1.initialize(0);                 // 0: the whole digest
 *     sha1.hash(data, length);            // any number of times
 *     unsigned char digest[20];
 *     sha1.getHash(digest);               // once; initialize() starts the next message
 *
 * MD5 and SHA-1 are here for protocols that require them. Collisions can be made for both. HMAC
 * with them is not broken by that.
 *
 * Lengths count bytes; a message may have up to 2^61 - 1 of them, also where long is 32 bits.
 * Pointers to data may have any alignment, and may be null when the length is 0. Output areas must
 * hold what is written and are not checked. Nothing throws or logs, and nothing but digestToHex()
 * allocates.
 *
 * Threads: an object belongs to one thread at a time; objects do not know of each other.
 */
#ifndef VELUTILS_DIGESTS_H
#define VELUTILS_DIGESTS_H

#include <velutils++/export.h>

#ifdef __cplusplus
#include <velutils++/text.h>

#include <stdint.h>

// The order of virtual operations and of fields in these classes is part of the binary interface.

// A digest, for one message after another.
class VELUTILS_API HashContext {
  public:
    virtual ~HashContext();

    // Starts a message and drops an unfinished one. returnedLength is the number of bytes that
    // getHash() will write. 0, or more than the digest has, means the complete digest. Returns 0. A
    // digest of your own may return another value if it fails; then no message is started.
    virtual int initialize(unsigned long returnedLength) = 0;

    // Wipes message, digest and returned length from the object. Only initialize() and test() may
    // be called after it. Constructors and destructors wipe them, too.
    virtual void destroy() = 0;

    // Adds bytes to the message.
    // REQUIRES: initialize() since the last getHash(), getCompleteHash() or destroy().
    virtual void hash(const unsigned char* data, unsigned long length) = 0;

    // Returns how many bytes getHash() writes: from 1 to getCompleteHashLength().
    virtual unsigned long getReturnedHashLength() const = 0;

    // Finishes the message and writes the first getReturnedHashLength() bytes of its digest.
    //
    // Call either getHash() or getCompleteHash(), and only once for a message: the padding goes
    // through hash() into the object itself, and a second call would digest it, too. The digest
    // stays in the object until initialize() or destroy().
    virtual void getHash(unsigned char* out) = 0;
    // Returns the size of the complete digest in bytes.
    virtual unsigned long getCompleteHashLength() const = 0;
    // As getHash(), but writes the complete digest.
    virtual void getCompleteHash(unsigned char* out) = 0;

    // Digests "abc" with this object. Returns 0 if the result is the published one, otherwise -1.
    // Afterwards an empty message is started, whose complete digest will be returned.
    virtual int test() = 0;
};

// MD5: 16 bytes.
//
// A copy contains the same unfinished message, and both continue independently.
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

    // Adds one block of 64 bytes to the chaining words. It changes nothing else: neither the bytes
    // that wait for a full block nor the length of the message.
    void md5Transform(const unsigned char* block);

  private:
    friend class HmacContext;  // starts a message after a pad that it has digested before

    uint32_t state[4];
    uint32_t count[2];  // bits of the message so far, the low word first
    unsigned char buffer[64];
    unsigned long returnedHashLength;
};

// SHA-1: 20 bytes. It can be copied as Md5HashContext.
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
    friend class HmacContext;  // as in Md5HashContext

    uint32_t state[5];
    uint32_t count[2];  // bits of the message so far, the low word first
    unsigned char buffer[64];
    unsigned long returnedHashLength;
};

// A message authentication code, for one message after another.
class VELUTILS_API AuthenticationContext {
  public:
    virtual ~AuthenticationContext();

    // Sets the key, of any length, and how many bytes getHash() will write (0: all), and starts a
    // message as reset() does. The object keeps what is derived from the key, but not the key.
    virtual int initialize(const unsigned char* key, unsigned long keyLength,
                           unsigned long returnedLength) = 0;

    // Wipes what was derived from the key and drops the digest. Only the destructor may be called
    // after it.
    virtual void destroy() = 0;

    // Starts another message with the same key and drops an unfinished one. Returns 0, or the error
    // of the digest's initialize(). The digests declared here always return 0.
    virtual int reset() = 0;

    // Adds bytes to the message.
    virtual void hash(const unsigned char* data, unsigned long length) = 0;

    // Finishes the message and writes its authentication code. Once a message. To check a code
    // that came from outside, compare with digestsEqual(), not with memcmp.
    virtual void getHash(unsigned char* out) = 0;

    // Returns the size of the complete code in bytes.
    virtual unsigned long getCompleteHashLength() const = 0;

    // Returns the length given to initialize(), even if it is longer than the code. An output area
    // of this size is large enough for getHash().
    virtual unsigned long getReturnedHashLength() const = 0;
};

// HMAC with a digest of the caller's choice.
//
//     Md5HashContext md5;
//     HmacContext hmac(&md5);
//     hmac.initialize(key, keyLength, 12);    // HMAC-MD5-96
//
// The caller owns the digest. It must live until destroy() or the destructor, which neither delete
// nor wipe it. Between reset() and getHash() it must not be used for anything else. What it holds
// of the last message and key stays in it until its own initialize(), hash() or destroy()
// overwrites it. The HmacContext itself keeps nothing of them after destroy().
//
// Only the digest's initialize(), hash(), getHash() and getCompleteHashLength() are called. The key
// block always has 64 bytes, so a digest of your own gives standard HMAC only if it works on blocks
// of 64 bytes. A key longer than 64 bytes is replaced by its digest, cut to 64 bytes.
//
// If the digest is an Md5HashContext or Sha1HashContext itself, and not of a derived class, the key
// is digested only once, in initialize(), and not for each message.
class VELUTILS_API HmacContext : public AuthenticationContext {
  public:
    // Does not start a message: call initialize() before anything else.
    // REQUIRES: digest is not null.
    explicit HmacContext(HashContext* digest);
    HmacContext(const HmacContext&) = delete;
    HmacContext& operator=(const HmacContext&) = delete;
    ~HmacContext() override;

    int initialize(const unsigned char* key, unsigned long keyLength,
                   unsigned long returnedLength) override;
    void destroy() override;
    int reset() override;
    void hash(const unsigned char* data, unsigned long length) override;
    // Writes getReturnedHashLength() bytes, but no more than the digest has.
    void getHash(unsigned char* out) override;

    unsigned long getCompleteHashLength() const override;
    unsigned long getReturnedHashLength() const override;

  private:
    VELUTILS_LOCAL void digestPad(unsigned char* pad) const;
    VELUTILS_LOCAL void startAfter(const unsigned char* pad);
    template <class Digest>
    VELUTILS_LOCAL static void replaceByState(unsigned char* pad);
    template <class Digest>
    VELUTILS_LOCAL void loadState(const unsigned char* pad);

    HashContext* hashContext;
    // The key block's two pads, or, for the library's own digests, the digest's states after them.
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

// Whether two digests or codes of the same length are equal. It reads every byte of both, so the
// time depends on the length alone and does not show where they differ. True for length 0.
inline bool digestsEqual(const unsigned char* a, const unsigned char* b, unsigned long length) {
    // The compiler may not leave out a volatile read, so it cannot stop at the first difference.
    const volatile unsigned char* const left = a;
    const volatile unsigned char* const right = b;
    unsigned difference = 0;
    for (unsigned long i = 0; i < length; ++i)
        difference |= static_cast<unsigned>(left[i]) ^ static_cast<unsigned>(right[i]);
    return difference == 0;
}

// Returns the bytes in hexadecimal, two lowercase digits each. Empty when out of memory.
inline String digestToHex(const unsigned char* digest, unsigned long length) {
    if (length > 0x3FFFFFFF) return String();  // longer than a text can be
    String hex("", static_cast<long>(2 * length));
    for (unsigned long i = 0; i < length; ++i) {
        hex += "0123456789abcdef"[digest[i] / 16];
        hex += "0123456789abcdef"[digest[i] % 16];
    }
    return hex.length() == static_cast<long>(2 * length) ? hex : String();
}
#endif

#endif
