// SPDX-License-Identifier: MIT
#include "formats/QEL_PBKDF2.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <string>
#include <vector>

using namespace QEL::Core;

namespace {

std::vector<unsigned char> Ours(std::string const& password, std::string const& salt,
                                std::uint32_t iterations, std::size_t bytes) {
    std::vector<unsigned char> out(bytes, 0xAA);
    EXPECT_TRUE(PBKDF2_HMAC_SHA256(password, reinterpret_cast<unsigned char const*>(salt.data()), salt.size(),
                                   iterations, out.data(), out.size()));
    return out;
}

std::vector<unsigned char> OpenSSLs(std::string const& password, std::string const& salt,
                                    std::uint32_t iterations, std::size_t bytes) {
    std::vector<unsigned char> out(bytes);
    EXPECT_EQ(PKCS5_PBKDF2_HMAC(password.data(), int(password.size()),
                                reinterpret_cast<unsigned char const*>(salt.data()), int(salt.size()),
                                int(iterations), EVP_sha256(), int(out.size()), out.data()),
              1);
    return out;
}

}  // namespace

// RFC 7914, section 11: the published vectors of PBKDF2-HMAC-SHA256.
TEST(PBKDF2, MatchesThePublishedVectors) {
    std::vector<unsigned char> const one = {
        0x55, 0xac, 0x04, 0x6e, 0x56, 0xe3, 0x08, 0x9f, 0xec, 0x16, 0x91, 0xc2, 0x25, 0x44, 0xb6, 0x05,
        0xf9, 0x41, 0x85, 0x21, 0x6d, 0xde, 0x04, 0x65, 0xe6, 0x8b, 0x9d, 0x57, 0xc2, 0x0d, 0xac, 0xbc,
        0x49, 0xca, 0x9c, 0xcc, 0xf1, 0x79, 0xb6, 0x45, 0x99, 0x16, 0x64, 0xb3, 0x9d, 0x77, 0xef, 0x31,
        0x7c, 0x71, 0xb8, 0x45, 0xb1, 0xe3, 0x0b, 0xd5, 0x09, 0x11, 0x20, 0x41, 0xd3, 0xa1, 0x97, 0x83};
    EXPECT_EQ(Ours("passwd", "salt", 1, 64), one);
    std::vector<unsigned char> const many = {
        0x4d, 0xdc, 0xd8, 0xf6, 0x0b, 0x98, 0xbe, 0x21, 0x83, 0x0c, 0xee, 0x5e, 0xf2, 0x27, 0x01, 0xf9,
        0x64, 0x1a, 0x44, 0x18, 0xd0, 0x4c, 0x04, 0x14, 0xae, 0xff, 0x08, 0x87, 0x6b, 0x34, 0xab, 0x56,
        0xa1, 0xd4, 0x25, 0xa1, 0x22, 0x58, 0x33, 0x54, 0x9a, 0xdb, 0x84, 0x1b, 0x51, 0xc9, 0xb3, 0x17,
        0x6a, 0x27, 0x2b, 0xde, 0xbb, 0xa1, 0xd0, 0x78, 0x47, 0x8f, 0x62, 0xb3, 0x97, 0xf3, 0x3c, 0x8d};
    EXPECT_EQ(Ours("Password", "NaCl", 80000, 64), many);
}

// Passwords around the HMAC block size (a longer one is hashed first), salts
// around SHA-256's padding boundary, iteration counts that start the loop or
// skip it, and outputs that end inside a block.
TEST(PBKDF2, AgreesWithOpenSSLAcrossPasswordSaltCountAndLength) {
    for (std::size_t passwordBytes : {0, 1, 31, 55, 63, 64, 65, 200, 255})
        for (std::size_t saltBytes : {0, 1, 32, 51, 52, 60, 64, 119})
            for (std::uint32_t iterations : {1u, 2u, 3u, 1000u})
                for (std::size_t bytes : {1, 31, 32, 33, 96}) {
                    std::string password(passwordBytes, '\0'), salt(saltBytes, '\0');
                    for (std::size_t i = 0; i < passwordBytes; ++i)
                        password[i] = char('!' + (i * 7 + passwordBytes) % 90);
                    for (std::size_t i = 0; i < saltBytes; ++i)
                        salt[i] = char(i * 13 + saltBytes);
                    ASSERT_EQ(Ours(password, salt, iterations, bytes),
                              OpenSSLs(password, salt, iterations, bytes))
                        << passwordBytes << " byte password, " << saltBytes << " byte salt, " << iterations
                        << " iterations, " << bytes << " bytes";
                }
    unsigned char unused[32];
    EXPECT_FALSE(PBKDF2_HMAC_SHA256("key", unused, 0, 0, unused, sizeof unused));
}
