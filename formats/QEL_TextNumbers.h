// SPDX-License-Identifier: MIT
// Number scanning and printing for the text point formats (internal to the
// library). Scanning follows sscanf's "%lf %lf ...": leading white space is
// skipped, each number may be preceded by white space or directly follow the
// previous one, and scanning stops at the first text that is not a number.
// On decimal input (with "inf", "infinity" and "nan" in any case) the values
// are those of sscanf (overflow reads as infinity, underflow as zero); hexadecimal floats are not read.
// Neither call allocates or throws.
#pragma once

#include <fast_float/fast_float.h>

#include <charconv>
#include <cstdint>
#include <string_view>

namespace QEL::Core::Text {

inline bool IsSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// The common short decimal ("-123.456", "1.5e-3") read directly: when its
// digits form an integer m <= 2^53 and its decimal exponent k satisfies
// |k| <= 22, both m and 10^|k| are exact doubles and one IEEE multiplication
// or division rounds correctly (Clinger's fast path), giving strtod's value.
// Returns the end of the number, or null to leave the text to the general
// parser (more digits, larger exponents, an exponent mark without digits,
// no digits at all). p points past any sign.
inline char const* ParseShortDecimal(char const* p, char const* end, bool negative, double& value) {
    static constexpr double kPowers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                         1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                         1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
    std::uint64_t mantissa = 0;
    int digits = 0, fraction = 0;
    auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    for (; p < end && isDigit(*p); ++p, ++digits)
        mantissa = mantissa * 10 + std::uint64_t(*p - '0');
    if (p < end && *p == '.')
        for (++p; p < end && isDigit(*p); ++p, ++digits, ++fraction)
            mantissa = mantissa * 10 + std::uint64_t(*p - '0');
    if (digits == 0 || digits > 19) return nullptr;  // 19 digits cannot overflow 64 bits
    int exponent = 0;
    if (p < end && (*p == 'e' || *p == 'E')) {
        char const* q = p + 1;
        bool const negativeExponent = q < end && *q == '-';
        if (q < end && (*q == '-' || *q == '+')) ++q;
        if (q == end || !isDigit(*q)) return nullptr;
        for (; q < end && isDigit(*q); ++q)
            if (exponent < 1000) exponent = exponent * 10 + (*q - '0');
        if (negativeExponent) exponent = -exponent;
        p = q;
    }
    exponent -= fraction;
    if (mantissa > (std::uint64_t(1) << 53) || exponent < -22 || exponent > 22) return nullptr;
    double const m = double(mantissa);
    double const magnitude = exponent < 0 ? m / kPowers[-exponent] : m * kPowers[exponent];
    value = negative ? -magnitude : magnitude;
    return p;
}

// Reads up to max numbers from [p, end) into values and moves p past the
// last one read; returns how many were read.
inline int ScanDoublesAt(char const*& at, char const* const end, double* values, int max) {
    char const* p = at;
    int count = 0;
    while (count < max) {
        while (p < end && IsSpace(*p))
            ++p;
        if (p == end) break;
        char const* start = p;
        bool negative = false;
        if (*start == '+' || *start == '-') {
            negative = *start == '-';
            ++start;
            if (start == end || *start == '+' || *start == '-') break;
        }
        double value = 0.0;
        if (char const* const next = ParseShortDecimal(start, end, negative, value)) {
            values[count++] = value;
            p = next;
            continue;
        }
        auto const result = fast_float::from_chars(start, end, value);
        if (result.ptr == start) break;
        values[count++] = negative ? -value : value;
        p = result.ptr;
        // An exponent mark without digits ends the number, as glibc's scanf consumes it.
        if (p < end && (*p == 'e' || *p == 'E')) {
            ++p;
            if (p < end && (*p == '+' || *p == '-')) ++p;
        }
    }
    at = p;
    return count;
}

// Reads up to max numbers from text into values; returns how many were read.
inline int ScanDoubles(std::string_view text, double* values, int max) {
    char const* p = text.data();
    return ScanDoublesAt(p, p + text.size(), values, max);
}

// The first white-space separated word of text, and the rest after it.
inline std::string_view FirstWord(std::string_view text, std::string_view* rest = nullptr) {
    std::size_t begin = 0;
    while (begin < text.size() && IsSpace(text[begin]))
        ++begin;
    std::size_t end = begin;
    while (end < text.size() && !IsSpace(text[end]))
        ++end;
    if (rest) *rest = text.substr(end);
    return text.substr(begin, end - begin);
}

inline bool EqualsNoCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        char x = a[i], y = b[i];
        if (x >= 'A' && x <= 'Z') x = char(x - 'A' + 'a');
        if (y >= 'A' && y <= 'Z') y = char(y - 'A' + 'a');
        if (x != y) return false;
    }
    return true;
}

// Writes value as printf's "%.<digits>g" would (the default of a C++ stream
// at digits = 6) and returns the end of the text; out needs 32 bytes.
inline char* PrintDouble(char* out, double value, int digits) {
    return std::to_chars(out, out + 32, value, std::chars_format::general, digits).ptr;
}

}  // namespace QEL::Core::Text
