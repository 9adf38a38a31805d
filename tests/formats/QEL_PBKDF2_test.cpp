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
