// SPDX-License-Identifier: MIT
// PBKDF2-HMAC-SHA256 (RFC 8018) for stretching the keys of enciphered
// containers (internal to the library).
//
// The result is bit for bit that of OpenSSL's PKCS5_PBKDF2_HMAC with
// SHA-256. What differs is the cost of an iteration: after the first, an
// iteration hashes a 32-byte block under fixed HMAC pads, which is exactly
// two SHA-256 compressions once the pads' states and the block's padding are
// prepared; this loop runs just those two (libcrypto's block function, with
// the processor's SHA extensions where present), where the generic HMAC
// interface spends about as much again on its bookkeeping per iteration.
// An attacker guessing keys has such loops anyway; the work factor of the
// file is the iteration count, which this does not change.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace QEL::Core {

// Derives bytes of key material from password and salt with iterations
// rounds; false for zero iterations (or when OpenSSL fails, where the generic
// path is taken). Intermediate values are wiped before returning.
bool PBKDF2_HMAC_SHA256(std::string_view password, unsigned char const* salt, std::size_t saltBytes,
                        std::uint32_t iterations, unsigned char* derived, std::size_t bytes);

}  // namespace QEL::Core
