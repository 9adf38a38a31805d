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

namespace QEL::Core {

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

    // One record being sealed or opened with AES-256-GCM under the record
    // key; the caller walks the record in pieces of any size and stores or
    // reads the nonce and tag around them.
    class CRecord {
      public:
        // aad is authenticated with the record. Throws reason 31 when OpenSSL fails.
        CRecord(CQELCipher const& cipher, bool seal, unsigned char const (&nonce)[kNonceBytes],
                void const* aad, int aadBytes);
        ~CRecord();
        CRecord(CRecord const&) = delete;
        CRecord& operator=(CRecord const&) = delete;

        // Enciphers (sealing) or deciphers (opening) bytes from in to out,
        // which may be the same place.
        void Update(unsigned char const* in, unsigned char* out, std::int64_t bytes);
        // Sealing: the tag over everything updated.
        void Seal(unsigned char (&tag)[kTagBytes]);
        // Opening: false when the tag does not authenticate what was updated.
        bool Open(unsigned char const (&tag)[kTagBytes]);

      private:
        void* m_context;  // EVP_CIPHER_CTX
        bool m_seal;
    };

    // Fills nonce with random bytes; throws reason 31 when OpenSSL fails.
    static void RandomNonce(unsigned char (&nonce)[kNonceBytes]);

  private:
    unsigned char m_keyCheckKey[32];
    unsigned char m_recordKey[32];
};

}  // namespace QEL::Core
