// SPDX-License-Identifier: MIT
// MD5 digests (RFC 1321) of byte runs, as the library stores them: four 32-bit
// words, each read little-endian from the 16 digest bytes. MD5 serves here as
// an integrity check of records, not as a cryptographic hash.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "core/QEL_Export.h"

namespace QEL::Core {

struct sMD5CheckSumValue {
    std::uint32_t value[4] = {0, 0, 0, 0};

    bool operator==(sMD5CheckSumValue const&) const = default;
    // The 32 lower-case hexadecimal digits of the digest bytes, as md5sum prints them.
    QEL_API std::string ToHex() const;
};

// Incremental digest: Update any number of times, then Finish once.
class QEL_API CQEL_MD5 {
  public:
    CQEL_MD5();
    ~CQEL_MD5();
    CQEL_MD5(CQEL_MD5 const&) = delete;
    CQEL_MD5& operator=(CQEL_MD5 const&) = delete;

    void Update(void const* data, std::size_t bytes);
    sMD5CheckSumValue Finish();

    static sMD5CheckSumValue Compute(void const* data, std::size_t bytes);

  private:
    void* m_context;  // EVP_MD_CTX
};

}  // namespace QEL::Core
