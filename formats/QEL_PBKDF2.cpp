// SPDX-License-Identifier: MIT
// SHA256_Transform, the block function, is deprecated in OpenSSL 3 (which
// wants all hashing through EVP) but remains part of its interface; a build of
// OpenSSL without it gets the generic PKCS5_PBKDF2_HMAC.
#define OPENSSL_SUPPRESS_DEPRECATED
#include "formats/QEL_PBKDF2.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/sha.h>

#include <algorithm>
#include <bit>
#include <cstring>

namespace QEL::Core {

namespace {

#ifndef OPENSSL_NO_DEPRECATED_3_0

constexpr std::size_t kBlock = SHA256_CBLOCK;          // 64
constexpr std::size_t kDigest = SHA256_DIGEST_LENGTH;  // 32

std::uint32_t BigEndian(std::uint32_t word) {
    if constexpr (std::endian::native == std::endian::little)
        return __builtin_bswap32(word);
    else
        return word;
}

// The digest bytes of eight state words (each most significant byte first).
void StoreDigest(SHA_LONG const (&words)[8], unsigned char* to) {
    for (int i = 0; i < 8; ++i) {
        std::uint32_t const word = BigEndian(words[i]);
        std::memcpy(to + 4 * i, &word, 4);
    }
}

// Everything that holds key material, wiped as one.
struct SWork {
    SHA256_CTX inner, outer;  // the states after the HMAC pads
    SHA256_CTX context;
    unsigned char pad[kBlock];
    unsigned char innerBlock[kBlock];  // U, padded as a message of 64 + 32 bytes
    unsigned char outerBlock[kBlock];  // the inner digest, padded likewise
    SHA_LONG sum[8];                   // the XOR of the U, as state words
    unsigned char digest[kDigest];
    ~SWork() { OPENSSL_cleanse(this, sizeof *this); }
};

void PrepareBlock(unsigned char (&block)[kBlock]) {
    std::memset(block, 0, kBlock);
    block[kDigest] = 0x80;
    // Message length in bits, big-endian: one pad block and one digest.
    constexpr std::uint64_t bits = (kBlock + kDigest) * 8;
    for (int i = 0; i < 8; ++i)
        block[kBlock - 1 - i] = static_cast<unsigned char>(bits >> (8 * i));
}

#endif

}  // namespace

bool PBKDF2_HMAC_SHA256(std::string_view password, unsigned char const* salt, std::size_t saltBytes,
                        std::uint32_t iterations, unsigned char* derived, std::size_t bytes) {
#ifdef OPENSSL_NO_DEPRECATED_3_0
    return PKCS5_PBKDF2_HMAC(password.data(), int(password.size()), salt, int(saltBytes), int(iterations),
                             EVP_sha256(), int(bytes), derived) == 1;
#else
    if (iterations == 0) return false;
    SWork work;
    // HMAC's key: the password, or its digest when longer than a block.
    std::memset(work.pad, 0, kBlock);
    if (password.size() > kBlock)
        SHA256(reinterpret_cast<unsigned char const*>(password.data()), password.size(), work.pad);
    else
        std::memcpy(work.pad, password.data(), password.size());
    for (auto& byte : work.pad)
        byte ^= 0x36;
    SHA256_Init(&work.inner);
    SHA256_Update(&work.inner, work.pad, kBlock);
    for (auto& byte : work.pad)
        byte ^= 0x36 ^ 0x5c;
    SHA256_Init(&work.outer);
    SHA256_Update(&work.outer, work.pad, kBlock);
    PrepareBlock(work.innerBlock);
    PrepareBlock(work.outerBlock);

    for (std::uint32_t block = 1; bytes > 0; ++block) {
        // U1 = HMAC(password, salt || block number), through the general path.
        unsigned char const number[4] = {
            static_cast<unsigned char>(block >> 24), static_cast<unsigned char>(block >> 16),
            static_cast<unsigned char>(block >> 8), static_cast<unsigned char>(block)};
        work.context = work.inner;
        SHA256_Update(&work.context, salt, saltBytes);
        SHA256_Update(&work.context, number, sizeof number);
        SHA256_Final(work.outerBlock, &work.context);  // the digest, before the block's padding
        work.context = work.outer;
        SHA256_Update(&work.context, work.outerBlock, kDigest);
        SHA256_Final(work.innerBlock, &work.context);
        // U1 again as state words, to accumulate in word form.
        for (int i = 0; i < 8; ++i) {
            std::uint32_t word;
            std::memcpy(&word, work.innerBlock + 4 * i, 4);
            work.sum[i] = BigEndian(word);
        }
        // Each later U costs two compressions: inner pad state over the
        // padded U, outer pad state over the padded inner digest.
        for (std::uint32_t round = 1; round < iterations; ++round) {
            std::memcpy(work.context.h, work.inner.h, sizeof work.context.h);
            SHA256_Transform(&work.context, work.innerBlock);
            StoreDigest(work.context.h, work.outerBlock);
            std::memcpy(work.context.h, work.outer.h, sizeof work.context.h);
            SHA256_Transform(&work.context, work.outerBlock);
            StoreDigest(work.context.h, work.innerBlock);
            for (int i = 0; i < 8; ++i)
                work.sum[i] ^= work.context.h[i];
        }
        StoreDigest(work.sum, work.digest);
        std::size_t const take = std::min(bytes, kDigest);
        std::memcpy(derived, work.digest, take);
        derived += take;
        bytes -= take;
    }
    return true;
#endif
}

}  // namespace QEL::Core
