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
#include <string_view>

namespace QEL::Core::Text {

inline bool IsSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// Reads up to max numbers from text into values; returns how many were read.
inline int ScanDoubles(std::string_view text, double* values, int max) {
    char const* p = text.data();
    char const* const end = p + text.size();
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
    return count;
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
