// SPDX-License-Identifier: MIT
// The encipherment of native-container files (internal to the library; the
// byte layout is in docs/qel-format.md):
//   - the caller's key is stretched with PBKDF2-HMAC-SHA256 over a random
//     32-byte salt stored in the file, then split with HKDF-SHA256 into a
//     key-check key and a record key, so that neither reveals the other;
//   - the 256-byte key check block is wrapped with AES-256 key wrap with
//     padding (RFC 5649), which adds exactly 8 bytes and fails to unwrap
//     under any other key;
//   - each record is sealed with AES-256-GCM under a random 96-bit nonce,
//     its index block as associated data, and stored as nonce, ciphertext
//     and 128-bit tag.
// Derived keys live only in this object and are wiped when it goes.
#pragma once

#include <cstdint>
#include <string_view>

#include "core/CQEL_MD5.h"

namespace QEL::Core {

class CQEL_Stream;

class CQELCipher {
  public:
    static constexpr int kSaltBytes = 32;
    static constexpr int kNonceBytes = 12;
    static constexpr int kTagBytes = 16;
    static constexpr int kRecordOverhead = kNonceBytes + kTagBytes;
    static constexpr int kKeyCheckPlainBytes = 256;
    static constexpr int kKeyCheckBytes = 264;

    // Derives the keys; throws reason 31 when OpenSSL fails.
    CQELCipher(std::string_view key, unsigned char const (&salt)[kSaltBytes], std::uint32_t iterations);
    ~CQELCipher();
    CQELCipher(CQELCipher const&) = delete;
    CQELCipher& operator=(CQELCipher const&) = delete;

    // Fills salt with random bytes; throws reason 31 when OpenSSL fails.
    static void RandomSalt(unsigned char (&salt)[kSaltBytes]);

    void WrapKeyCheck(unsigned char const (&plain)[kKeyCheckPlainBytes],
                      unsigned char (&wrapped)[kKeyCheckBytes]) const;
    // False when the block was not wrapped with this key (or was altered).
    bool UnwrapKeyCheck(unsigned char const (&wrapped)[kKeyCheckBytes],
                        unsigned char (&plain)[kKeyCheckPlainBytes]) const;

    // Appends nonce, the enciphered bytes of plain and the tag to out at its
    // put position; aad is authenticated with them.
    void SealRecord(CQEL_Stream const& plain, void const* aad, int aadBytes, CQEL_Stream& out) const;
    // Deciphers storedBytes of in from its get position (nonce, ciphertext,
    // tag) into plain and returns the MD5 digest of the plain bytes. Returns
    // false when authentication fails; plain then holds nothing usable.
    // storedBytes must be at least kRecordOverhead and lie within in.
    bool OpenRecord(CQEL_Stream& in, std::int64_t storedBytes, void const* aad, int aadBytes,
                    CQEL_Stream& plain, sMD5CheckSumValue& digest) const;

  private:
    unsigned char m_keyCheckKey[32];
    unsigned char m_recordKey[32];
};

}  // namespace QEL::Core
