// SPDX-License-Identifier: MIT
#include "formats/CQELCipher.h"

#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/params.h>
#include <openssl/rand.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "core/CQEL_Operation.h"
#include "core/CQEL_String.h"
#include "formats/QEL_PBKDF2.h"

namespace QEL::Core {

namespace {

CQEL_Operation const& CipherOp() {
    static CQEL_Operation const op("QEL::Core::CQELCipher");
    return op;
}

[[noreturn]] void OpenSSLFailure(char const* what) {
    CipherOp().Throw(QEL_OPERATION_FAILED, "", CQEL_String::FromFormat("OpenSSL failed to %s", what));
}

struct SCipherContextFree {
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, SCipherContextFree>;

CipherContext NewContext() {
    CipherContext context(EVP_CIPHER_CTX_new());
    if (!context) OpenSSLFailure("make a cipher context");
    return context;
}

// HKDF-SHA256 expansion of master into one 32-byte key for the given purpose.
void ExpandKey(unsigned char const (&master)[32], char const* purpose, unsigned char (&key)[32]) {
    EVP_KDF* kdf = EVP_KDF_fetch(nullptr, "HKDF", nullptr);
    EVP_KDF_CTX* context = kdf ? EVP_KDF_CTX_new(kdf) : nullptr;
    EVP_KDF_free(kdf);
    if (!context) OpenSSLFailure("make an HKDF context");
    char digest[] = "SHA256";
    OSSL_PARAM params[] = {OSSL_PARAM_construct_utf8_string(OSSL_KDF_PARAM_DIGEST, digest, 0),
                           OSSL_PARAM_construct_octet_string(
                               OSSL_KDF_PARAM_KEY, const_cast<unsigned char*>(master), sizeof master),
                           OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_INFO, const_cast<char*>(purpose),
                                                             std::strlen(purpose)),
                           OSSL_PARAM_construct_end()};
    int const ok = EVP_KDF_derive(context, key, sizeof key, params);
    EVP_KDF_CTX_free(context);
    if (ok != 1) OpenSSLFailure("derive a key with HKDF");
}

}  // namespace

CQELCipher::CQELCipher(std::string_view key, unsigned char const (&salt)[kSaltBytes],
                       std::uint32_t iterations) {
    unsigned char master[32];
    if (!PBKDF2_HMAC_SHA256(key, salt, kSaltBytes, iterations, master, sizeof master)) {
        OPENSSL_cleanse(master, sizeof master);
        OpenSSLFailure("stretch the key with PBKDF2");
    }
    try {
        ExpandKey(master, "QEL key check block v1", m_keyCheckKey);
        ExpandKey(master, "QEL record encipherment v1", m_recordKey);
    } catch (...) {
        OPENSSL_cleanse(master, sizeof master);
        OPENSSL_cleanse(m_keyCheckKey, sizeof m_keyCheckKey);
        OPENSSL_cleanse(m_recordKey, sizeof m_recordKey);
        throw;
    }
    OPENSSL_cleanse(master, sizeof master);
}

CQELCipher::~CQELCipher() {
    OPENSSL_cleanse(m_keyCheckKey, sizeof m_keyCheckKey);
    OPENSSL_cleanse(m_recordKey, sizeof m_recordKey);
}

void CQELCipher::RandomSalt(unsigned char (&salt)[kSaltBytes]) {
    if (RAND_bytes(salt, kSaltBytes) != 1) OpenSSLFailure("make a random salt");
}

void CQELCipher::WrapKeyCheck(unsigned char const (&plain)[kKeyCheckPlainBytes],
                              unsigned char (&wrapped)[kKeyCheckBytes]) const {
    CipherContext context = NewContext();
    EVP_CIPHER_CTX_set_flags(context.get(), EVP_CIPHER_CTX_FLAG_WRAP_ALLOW);
    int length = 0, tail = 0;
    if (EVP_EncryptInit_ex(context.get(), EVP_aes_256_wrap_pad(), nullptr, m_keyCheckKey, nullptr) != 1 ||
        EVP_EncryptUpdate(context.get(), wrapped, &length, plain, kKeyCheckPlainBytes) != 1 ||
        EVP_EncryptFinal_ex(context.get(), wrapped + length, &tail) != 1 || length + tail != kKeyCheckBytes)
        OpenSSLFailure("wrap the key check block");
}

bool CQELCipher::UnwrapKeyCheck(unsigned char const (&wrapped)[kKeyCheckBytes],
                                unsigned char (&plain)[kKeyCheckPlainBytes]) const {
    CipherContext context = NewContext();
    EVP_CIPHER_CTX_set_flags(context.get(), EVP_CIPHER_CTX_FLAG_WRAP_ALLOW);
    // The unwrapped data may be up to the wrapped size in the cipher's view.
    unsigned char buffer[kKeyCheckBytes];
    int length = 0, tail = 0;
    bool const ok =
        EVP_DecryptInit_ex(context.get(), EVP_aes_256_wrap_pad(), nullptr, m_keyCheckKey, nullptr) == 1 &&
        EVP_DecryptUpdate(context.get(), buffer, &length, wrapped, kKeyCheckBytes) == 1 &&
        EVP_DecryptFinal_ex(context.get(), buffer + length, &tail) == 1 &&
        length + tail == kKeyCheckPlainBytes;
    if (ok) std::memcpy(plain, buffer, kKeyCheckPlainBytes);
    OPENSSL_cleanse(buffer, sizeof buffer);
    return ok;
}

void CQELCipher::RandomNonce(unsigned char (&nonce)[kNonceBytes]) {
    if (RAND_bytes(nonce, kNonceBytes) != 1) OpenSSLFailure("make a random nonce");
}

CQELCipher::CRecord::CRecord(CQELCipher const& cipher, bool seal, unsigned char const (&nonce)[kNonceBytes],
                             void const* aad, int aadBytes)
    : m_context(nullptr), m_seal(seal) {
    CipherContext context = NewContext();
    int length = 0;
    bool const ok =
        seal ? EVP_EncryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, nullptr, nullptr) == 1 &&
                   EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_SET_IVLEN, kNonceBytes, nullptr) == 1 &&
                   EVP_EncryptInit_ex(context.get(), nullptr, nullptr, cipher.m_recordKey, nonce) == 1 &&
                   EVP_EncryptUpdate(context.get(), nullptr, &length, static_cast<unsigned char const*>(aad),
                                     aadBytes) == 1
             : EVP_DecryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, nullptr, nullptr) == 1 &&
                   EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_SET_IVLEN, kNonceBytes, nullptr) == 1 &&
                   EVP_DecryptInit_ex(context.get(), nullptr, nullptr, cipher.m_recordKey, nonce) == 1 &&
                   EVP_DecryptUpdate(context.get(), nullptr, &length, static_cast<unsigned char const*>(aad),
                                     aadBytes) == 1;
    if (!ok) OpenSSLFailure(seal ? "start sealing a record" : "start opening a record");
    m_context = context.release();
}

CQELCipher::CRecord::~CRecord() {
    EVP_CIPHER_CTX_free(static_cast<EVP_CIPHER_CTX*>(m_context));
}

void CQELCipher::CRecord::Update(unsigned char const* in, unsigned char* out, std::int64_t bytes) {
    auto* const context = static_cast<EVP_CIPHER_CTX*>(m_context);
    // GCM is a stream mode: each update yields exactly as many bytes as it takes.
    constexpr std::int64_t kMaxPiece = std::int64_t(1) << 30;
    for (std::int64_t done = 0; done < bytes; done += kMaxPiece) {
        int const piece = int(std::min(kMaxPiece, bytes - done));
        int length = 0;
        int const ok = m_seal ? EVP_EncryptUpdate(context, out + done, &length, in + done, piece)
                              : EVP_DecryptUpdate(context, out + done, &length, in + done, piece);
        if (ok != 1 || length != piece) OpenSSLFailure(m_seal ? "seal a record" : "open a record");
    }
}

void CQELCipher::CRecord::Seal(unsigned char (&tag)[kTagBytes]) {
    auto* const context = static_cast<EVP_CIPHER_CTX*>(m_context);
    unsigned char rest[32];
    int length = 0;
    if (EVP_EncryptFinal_ex(context, rest, &length) != 1 || length != 0 ||
        EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_GCM_GET_TAG, kTagBytes, tag) != 1)
        OpenSSLFailure("seal a record");
}

bool CQELCipher::CRecord::Open(unsigned char const (&tag)[kTagBytes]) {
    auto* const context = static_cast<EVP_CIPHER_CTX*>(m_context);
    unsigned char copy[kTagBytes];
    std::memcpy(copy, tag, kTagBytes);
    if (EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_GCM_SET_TAG, kTagBytes, copy) != 1)
        OpenSSLFailure("set a record's tag");
    unsigned char rest[32];
    int length = 0;
    return EVP_DecryptFinal_ex(context, rest, &length) == 1;
}

}  // namespace QEL::Core
