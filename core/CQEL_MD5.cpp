// SPDX-License-Identifier: MIT
#include "core/CQEL_MD5.h"

#include <openssl/evp.h>

#include <cstdio>
#include <new>

namespace QEL::Core {

namespace {
EVP_MD_CTX* Context(void* context) {
    return static_cast<EVP_MD_CTX*>(context);
}
}  // namespace

std::string sMD5CheckSumValue::ToHex() const {
    std::string hex;
    hex.reserve(32);
    char pair[3];
    for (std::uint32_t word : value)
        for (int b = 0; b < 4; ++b) {
            std::snprintf(pair, sizeof pair, "%02x", static_cast<unsigned>((word >> (8 * b)) & 0xFFu));
            hex += pair;
        }
    return hex;
}

CQEL_MD5::CQEL_MD5() : m_context(EVP_MD_CTX_new()) {
    if (!m_context || EVP_DigestInit_ex(Context(m_context), EVP_md5(), nullptr) != 1) {
        EVP_MD_CTX_free(Context(m_context));
        throw std::bad_alloc();
    }
}

CQEL_MD5::~CQEL_MD5() {
    EVP_MD_CTX_free(Context(m_context));
}

void CQEL_MD5::Update(void const* data, std::size_t bytes) {
    if (bytes) EVP_DigestUpdate(Context(m_context), data, bytes);
}

sMD5CheckSumValue CQEL_MD5::Finish() {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_DigestFinal_ex(Context(m_context), digest, &length);
    sMD5CheckSumValue sum;
    for (int w = 0; w < 4; ++w)
        sum.value[w] = std::uint32_t(digest[4 * w]) | std::uint32_t(digest[4 * w + 1]) << 8 |
                       std::uint32_t(digest[4 * w + 2]) << 16 | std::uint32_t(digest[4 * w + 3]) << 24;
    return sum;
}

sMD5CheckSumValue CQEL_MD5::Compute(void const* data, std::size_t bytes) {
    CQEL_MD5 md5;
    md5.Update(data, bytes);
    return md5.Finish();
}

}  // namespace QEL::Core
