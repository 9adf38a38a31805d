// SPDX-License-Identifier: MIT
// The byte layout of the native container (internal to the library): header
// and index block fields, their little-endian encoding, the data an
// enciphered record authenticates, and the checks both directions share.
// docs/qel-format.md describes the same layout for readers of the files.
#pragma once

#include <openssl/crypto.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

#include "core/CQEL_MD5.h"
#include "core/CQEL_Operation.h"
#include "core/CQEL_String.h"
#include "formats/CQELCipher.h"
#include "formats/CQELParser.h"

namespace QEL::Core::QELLayout {

using Block = std::array<unsigned char, CQELParser::kBlockBytes>;

// Header fields.
constexpr char kMagic[11] = "SessionQEL";
constexpr std::int32_t kVersion = 1;
constexpr int kVersionAt = 16;
constexpr int kCountAt = 20;
constexpr int kIndexOffsetAt = 24;
constexpr int kKeyCheckAt = 28;
constexpr int kSchemeAt = 292;
constexpr int kIterationsAt = 296;
constexpr int kSaltAt = 300;

// Cipher schemes (header offset 292).
constexpr std::uint32_t kSchemeNone = 0;
constexpr std::uint32_t kSchemeAesGcm = 1;

// Element index block fields.
constexpr int kIdentifierAt = 0;
constexpr int kField1At = 256;
constexpr int kOwnerAt = 260;
constexpr int kOffsetAt = 264;
constexpr int kLengthAt = 268;
constexpr int kField2At = 272;
constexpr int kClassNameAt = 276;
constexpr int kTypeNameAt = 532;
constexpr int kDigestAt = 788;
constexpr int kTextBytes = 256;

constexpr std::int64_t kMaxFileBytes = std::int64_t(UINT32_MAX);

inline void PutU32(Block& block, int at, std::uint32_t value) {
    for (int b = 0; b < 4; ++b)
        block[std::size_t(at + b)] = static_cast<unsigned char>(value >> (8 * b));
}
inline std::uint32_t GetU32(Block const& block, int at) {
    std::uint32_t value = 0;
    for (int b = 0; b < 4; ++b)
        value |= std::uint32_t(block[std::size_t(at + b)]) << (8 * b);
    return value;
}
// Stores at most 255 bytes of text and a zero byte; the rest of the field stays zero.
inline void PutText(Block& block, int at, CQEL_String const& text) {
    std::size_t const bytes = std::min<std::size_t>(std::size_t(text.Length()), kTextBytes - 1);
    std::memcpy(block.data() + at, text.GetArray(), bytes);
}
// The text up to the first zero byte of the field (all 256 bytes if none).
inline CQEL_String GetText(Block const& block, int at) {
    auto const* begin = reinterpret_cast<char const*>(block.data() + at);
    auto const* end = static_cast<char const*>(std::memchr(begin, 0, kTextBytes));
    return CQEL_String::FromASCII(begin, int(end ? end - begin : kTextBytes));
}

inline void PutDigest(Block& block, sMD5CheckSumValue const& digest) {
    for (int w = 0; w < 4; ++w)
        PutU32(block, kDigestAt + 4 * w, digest.value[w]);
}
inline sMD5CheckSumValue GetDigest(Block const& block) {
    sMD5CheckSumValue digest;
    for (int w = 0; w < 4; ++w)
        digest.value[w] = GetU32(block, kDigestAt + 4 * w);
    return digest;
}

// The data authenticated with an enciphered record: its position in the index
// and its whole index block, so that an index entry cannot be altered or
// moved without the record failing authentication.
inline std::vector<unsigned char> RecordAAD(std::uint32_t recordNumber, Block const& block) {
    std::vector<unsigned char> aad(4 + block.size());
    for (int b = 0; b < 4; ++b)
        aad[std::size_t(b)] = static_cast<unsigned char>(recordNumber >> (8 * b));
    std::memcpy(aad.data() + 4, block.data(), block.size());
    return aad;
}

// The 256-byte key buffer: the key's bytes, zero-filled.
struct SKeyBuffer {
    unsigned char bytes[CQELCipher::kKeyCheckPlainBytes] = {};
    explicit SKeyBuffer(CQEL_String const& key) {
        std::memcpy(bytes, key.GetArray(), std::size_t(key.Length()));
    }
    ~SKeyBuffer() { OPENSSL_cleanse(bytes, sizeof bytes); }
    SKeyBuffer(SKeyBuffer const&) = delete;
    SKeyBuffer& operator=(SKeyBuffer const&) = delete;
};

inline void ValidateKey(CQEL_Operation const& op, CQEL_String const& key) {
    if (key.Length() > CQELParser::kMaxKeyBytes)
        op.Throw(QEL_INVALID_PARAMETER, "encryptionKey",
                 CQEL_String::FromFormat("Encryption key must be less than %d characters",
                                         CQELParser::kMaxKeyBytes + 1));
    if (std::memchr(key.GetArray(), 0, std::size_t(key.Length())))
        op.Throw(QEL_INVALID_PARAMETER, "encryptionKey",
                 "Encryption key must not contain null termination characters");
}

// Records from this size on are written and digested on two threads; below
// it a thread costs more than it saves.
constexpr std::int64_t kParallelBytes = std::int64_t(4) << 20;

}  // namespace QEL::Core::QELLayout

namespace QEL::Core {

// The operations that Export and Import report failures as.
CQEL_Operation const& ExportOp();
CQEL_Operation const& ImportOp();

}  // namespace QEL::Core
