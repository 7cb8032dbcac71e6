// SPDX-License-Identifier: MIT
//
// The peers run their scalar code: run-bench sets NETTLE_FAT_OVERRIDE and OPENSSL_ia32cap, so that
// they do not use the processor's SHA and vector instructions.

#define OPENSSL_SUPPRESS_DEPRECATED

#include "side_by_side.h"

#include <velutils++/digests.h>

#include <nettle/hmac.h>
#include <nettle/sha1.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/md5.h>
#include <openssl/sha.h>

#include <vector>

namespace {

typedef std::vector<unsigned char> Bytes;

const unsigned char KEY[] = "a key of 20 bytes....";
const size_t KEY_LENGTH = 20;

template <class Context>
Body digest(long n) {
    return repeat([message = Bytes(static_cast<size_t>(n), 'm')] {
        Context context;
        unsigned char out[20];
        context.initialize(0);
        context.hash(message.data(), message.size());
        context.getHash(out);
        benchmark::DoNotOptimize(out);
    });
}

Body opensslMd5(long n) {
    return repeat([message = Bytes(static_cast<size_t>(n), 'm')] {
        MD5_CTX context;
        unsigned char out[16];
        MD5_Init(&context);
        MD5_Update(&context, message.data(), message.size());
        MD5_Final(out, &context);
        benchmark::DoNotOptimize(out);
    });
}

Body opensslSha1(long n) {
    return repeat([message = Bytes(static_cast<size_t>(n), 'm')] {
        SHA_CTX context;
        unsigned char out[20];
        SHA1_Init(&context);
        SHA1_Update(&context, message.data(), message.size());
        SHA1_Final(out, &context);
        benchmark::DoNotOptimize(out);
    });
}

Body nettleSha1(long n) {
    return repeat([message = Bytes(static_cast<size_t>(n), 'm')] {
        struct sha1_ctx context;
        unsigned char out[20];
        sha1_init(&context);
        sha1_update(&context, message.size(), message.data());
        sha1_digest(&context, sizeof out, out);
        benchmark::DoNotOptimize(out);
    });
}

void hmacSha1(benchmark::State& state) {
    const Bytes message(64, 'm');
    Sha1HashContext sha1;
    HmacContext hmac(&sha1);
    hmac.initialize(KEY, KEY_LENGTH, 0);
    for (auto _ : state) {
        unsigned char out[20];
        hmac.reset();
        hmac.hash(message.data(), message.size());
        hmac.getHash(out);
        benchmark::DoNotOptimize(out);
    }
}

void nettleHmacSha1(benchmark::State& state) {
    const Bytes message(64, 'm');
    struct hmac_sha1_ctx hmac;
    hmac_sha1_set_key(&hmac, KEY_LENGTH, KEY);
    for (auto _ : state) {
        unsigned char out[20];
        hmac_sha1_update(&hmac, message.size(), message.data());
        hmac_sha1_digest(&hmac, sizeof out, out);
        benchmark::DoNotOptimize(out);
    }
}

void opensslHmacSha1(benchmark::State& state) {
    const Bytes message(64, 'm');
    HMAC_CTX* const hmac = HMAC_CTX_new();
    HMAC_Init_ex(hmac, KEY, KEY_LENGTH, EVP_sha1(), nullptr);
    for (auto _ : state) {
        unsigned char out[20];
        unsigned length = sizeof out;
        HMAC_Init_ex(hmac, nullptr, 0, nullptr, nullptr);
        HMAC_Update(hmac, message.data(), message.size());
        HMAC_Final(hmac, out, &length);
        benchmark::DoNotOptimize(out);
    }
    HMAC_CTX_free(hmac);
}

}  // namespace

void registerDigests() {
    sideBySide("MD5, 1 KiB", "Md5HashContext", digest<Md5HashContext>(1024),
               {{"OpenSSL", "1.03", opensslMd5(1024)}});
    sideBySide("MD5, 64 KiB", "Md5HashContext", digest<Md5HashContext>(65536),
               {{"OpenSSL", "1.03", opensslMd5(65536)}});
    sideBySide("SHA-1, 64 bytes", "Sha1HashContext", digest<Sha1HashContext>(64),
               {{"OpenSSL, scalar", "1.0", opensslSha1(64)}});
    sideBySide("SHA-1, 1 KiB", "Sha1HashContext", digest<Sha1HashContext>(1024),
               {{"nettle, scalar", "1.0", nettleSha1(1024)}});
    sideBySide("SHA-1, 64 KiB", "Sha1HashContext", digest<Sha1HashContext>(65536),
               {{"nettle, scalar", "1.0", nettleSha1(65536)}});
    sideBySide(
        "HMAC-SHA1 of 64 bytes, same key", "HmacContext", hmacSha1,
        {{"nettle, scalar", "1.2", nettleHmacSha1}, {"OpenSSL, scalar", "1.2", opensslHmacSha1}});
    scaling("Md5HashContext, bytes", "linear", 1000, digest<Md5HashContext>);
    scaling("Sha1HashContext, bytes", "linear", 1000, digest<Sha1HashContext>);
}
