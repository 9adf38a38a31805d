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
#include "platform/CQEL_Stream.h"

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

constexpr std::int64_t kPiece = 1 << 16;

}  // namespace

CQELCipher::CQELCipher(std::string_view key, unsigned char const (&salt)[kSaltBytes],
                       std::uint32_t iterations) {
    unsigned char master[32];
    if (PKCS5_PBKDF2_HMAC(key.data(), int(key.size()), salt, kSaltBytes, int(iterations), EVP_sha256(),
                          sizeof master, master) != 1) {
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

void CQELCipher::SealRecord(CQEL_Stream const& plain, void const* aad, int aadBytes, CQEL_Stream& out) const {
    unsigned char nonce[kNonceBytes];
    if (RAND_bytes(nonce, kNonceBytes) != 1) OpenSSLFailure("make a random nonce");
    CipherContext context = NewContext();
    int length = 0;
    if (EVP_EncryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, nullptr, nullptr) != 1 ||
        EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_SET_IVLEN, kNonceBytes, nullptr) != 1 ||
        EVP_EncryptInit_ex(context.get(), nullptr, nullptr, m_recordKey, nonce) != 1 ||
        EVP_EncryptUpdate(context.get(), nullptr, &length, static_cast<unsigned char const*>(aad),
                          aadBytes) != 1)
        OpenSSLFailure("start sealing a record");
    out.Put(nonce, kNonceBytes);
    auto buffer = std::make_unique_for_overwrite<unsigned char[]>(std::size_t(kPiece) + 32);
    bool ok = true;
    plain.ForEachRun([&](unsigned char const* run, std::int64_t bytes) {
        for (std::int64_t done = 0; ok && done < bytes; done += kPiece) {
            int const piece = int(std::min(kPiece, bytes - done));
            ok = EVP_EncryptUpdate(context.get(), buffer.get(), &length, run + done, piece) == 1;
            if (ok) out.Put(buffer.get(), length);
        }
    });
    unsigned char tag[kTagBytes];
    if (!ok || EVP_EncryptFinal_ex(context.get(), buffer.get(), &length) != 1 ||
        EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_GET_TAG, kTagBytes, tag) != 1)
        OpenSSLFailure("seal a record");
    if (length > 0) out.Put(buffer.get(), length);
    out.Put(tag, kTagBytes);
}

bool CQELCipher::OpenRecord(CQEL_Stream& in, std::int64_t storedBytes, void const* aad, int aadBytes,
                            CQEL_Stream& plain, sMD5CheckSumValue& digest) const {
    unsigned char nonce[kNonceBytes];
    in.Get(nonce, kNonceBytes);
    CipherContext context = NewContext();
    int length = 0;
    if (EVP_DecryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, nullptr, nullptr) != 1 ||
        EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_SET_IVLEN, kNonceBytes, nullptr) != 1 ||
        EVP_DecryptInit_ex(context.get(), nullptr, nullptr, m_recordKey, nonce) != 1 ||
        EVP_DecryptUpdate(context.get(), nullptr, &length, static_cast<unsigned char const*>(aad),
                          aadBytes) != 1)
        OpenSSLFailure("start opening a record");
    auto input = std::make_unique_for_overwrite<unsigned char[]>(std::size_t(kPiece));
    auto output = std::make_unique_for_overwrite<unsigned char[]>(std::size_t(kPiece) + 32);
    CQEL_MD5 md5;
    std::int64_t const cipherBytes = storedBytes - kRecordOverhead;
    for (std::int64_t done = 0; done < cipherBytes; done += kPiece) {
        int const piece = int(std::min(kPiece, cipherBytes - done));
        in.Get(input.get(), piece);
        if (EVP_DecryptUpdate(context.get(), output.get(), &length, input.get(), piece) != 1)
            OpenSSLFailure("open a record");
        plain.Put(output.get(), length);
        md5.Update(output.get(), std::size_t(length));
    }
    unsigned char tag[kTagBytes];
    in.Get(tag, kTagBytes);
    if (EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_SET_TAG, kTagBytes, tag) != 1)
        OpenSSLFailure("set a record's tag");
    bool const authentic = EVP_DecryptFinal_ex(context.get(), output.get(), &length) == 1;
    digest = md5.Finish();
    return authentic;
}

}  // namespace QEL::Core
