// SPDX-License-Identifier: MIT
// CQEL_Colour: an 8-bit RGBA colour, four bytes, trivially copyable so that
// colour arrays are stored and written raw.
#pragma once

#include <cstdint>

namespace QEL::Elements {

struct CQEL_Colour {
    std::uint8_t r = 0;
    std::uint8_t g = 0;
    std::uint8_t b = 0;
    std::uint8_t a = 255;  // opaque unless said otherwise

    constexpr CQEL_Colour() = default;
    constexpr CQEL_Colour(std::uint8_t red, std::uint8_t green, std::uint8_t blue, std::uint8_t alpha = 255)
        : r(red), g(green), b(blue), a(alpha) {}

    constexpr bool operator==(CQEL_Colour const&) const = default;
};

static_assert(sizeof(CQEL_Colour) == 4);

}  // namespace QEL::Elements
