// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>

#include "core/CQEL_MD5.h"

using QEL::Core::CQEL_MD5;

namespace {

std::string Hex(std::string const& text) {
    return CQEL_MD5::Compute(text.data(), text.size()).ToHex();
}

}  // namespace

TEST(MD5, MatchesTheReferenceSuite) {
    EXPECT_EQ(Hex(""), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(Hex("a"), "0cc175b9c0f1b6a831c399e269772661");
    EXPECT_EQ(Hex("abc"), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(Hex("message digest"), "f96b697d7cb7938d525a2f31aaf161d0");
    EXPECT_EQ(Hex("abcdefghijklmnopqrstuvwxyz"), "c3fcd3d76192e4007dfb496cca67e13b");
    EXPECT_EQ(Hex("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"),
              "d174ab98d277d9f5a5611c2c9f419d9f");
    EXPECT_EQ(Hex("1234567890123456789012345678901234567890123456789012345678901234567890123456789"
                  "0"),
              "57edf4a22be3c955ac49da2e2107b67a");
}

TEST(MD5, WordsAreTheDigestBytesReadLittleEndian) {
    auto const sum = CQEL_MD5::Compute("abc", 3);
    EXPECT_EQ(sum.value[0], 0x98500190u);
    EXPECT_EQ(sum.value[3], 0x727fe128u);
}

TEST(MD5, IncrementalUpdatesEqualOneShot) {
    std::string text(100000, '\0');
    for (std::size_t i = 0; i < text.size(); ++i)
        text[i] = char(i * 7 + 3);
    CQEL_MD5 md5;
    for (std::size_t at = 0; at < text.size(); at += 777)
        md5.Update(text.data() + at, std::min<std::size_t>(777, text.size() - at));
    EXPECT_EQ(md5.Finish(), CQEL_MD5::Compute(text.data(), text.size()));
}
