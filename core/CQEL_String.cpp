// SPDX-License-Identifier: MIT
#include "core/CQEL_String.h"

#include <cstdio>
#include <cstring>

#include "core/CQEL_Operation.h"

namespace QEL::Core {

CQEL_String::CQEL_String() {
    m_bytes.CheckSpace(1);
}

CQEL_String::CQEL_String(unsigned char const* bytes, int count, EStringEncoding encoding) {
    m_bytes.CheckSpace(1);
    if (!bytes || count <= 0) return;
    if (encoding != EStringEncoding::Latin1) {
        SetFromASCII(reinterpret_cast<char const*>(bytes), count);
        return;
    }
    std::string utf8;
    utf8.reserve(std::size_t(count) * 2);
    for (int i = 0; i < count; ++i) {
        unsigned char const c = bytes[i];
        if (c < 0x80) {
            utf8 += char(c);
        } else {
            utf8 += char(0xC0 | (c >> 6));
            utf8 += char(0x80 | (c & 0x3F));
        }
    }
    SetFromASCII(utf8.data(), int(utf8.size()));
}

void CQEL_String::SetFromASCII(char const* text) {
    SetFromASCII(text, text ? int(std::strlen(text)) : 0);
}

void CQEL_String::SetFromASCII(char const* text, int bytes) {
    if (!text || bytes < 0) bytes = 0;
    CQEL_String copy;  // text may point into this string
    copy.CheckSpace(bytes);
    if (bytes) std::memcpy(copy.m_bytes.begin(), text, std::size_t(bytes));
    m_bytes.SwapContents(copy.m_bytes);
}

void CQEL_String::SetFromFormatV(char const* format, va_list arguments) {
    va_list measure;
    va_copy(measure, arguments);
    int const length = std::vsnprintf(nullptr, 0, format, measure);
    va_end(measure);
    if (length < 0) {
        SetFromASCII("");
        return;
    }
    CQEL_String text;
    text.CheckSpace(length);
    std::vsnprintf(reinterpret_cast<char*>(text.m_bytes.begin()), std::size_t(length) + 1, format, arguments);
    m_bytes.SwapContents(text.m_bytes);
}

void CQEL_String::SetFromFormat(char const* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    SetFromFormatV(format, arguments);
    va_end(arguments);
}

CQEL_String CQEL_String::FromASCII(char const* text) {
    CQEL_String s;
    s.SetFromASCII(text);
    return s;
}

CQEL_String CQEL_String::FromASCII(char const* text, int bytes) {
    CQEL_String s;
    s.SetFromASCII(text, bytes);
    return s;
}

CQEL_String CQEL_String::FromFormat(char const* format, ...) {
    CQEL_String s;
    va_list arguments;
    va_start(arguments, format);
    s.SetFromFormatV(format, arguments);
    va_end(arguments);
    return s;
}

CQEL_String const& CQEL_String::Empty() {
    static CQEL_String const empty;
    return empty;
}

void CQEL_String::CheckSpace(int length) {
    static CQEL_Operation const op("QEL::Core::CQEL_String::CheckSpace");
    op.CheckRange(length, 0, 1000000000, "length");
    m_bytes.CheckSpace(length + 1);
    m_bytes.Unsafe_Get(length) = 0;
}

CQEL_String& CQEL_String::operator+=(CQEL_String const& other) {
    int const first = Length(), n = other.Length();
    if (n == 0) return *this;
    if (&other == this) {
        CQEL_String const copy(other);
        return *this += copy;
    }
    CheckSpace(first + n);
    std::memcpy(m_bytes.begin() + first, other.m_bytes.begin(), std::size_t(n));
    return *this;
}

CQEL_String CQEL_String::operator+(CQEL_String const& other) const {
    CQEL_String sum(*this);
    sum += other;
    return sum;
}

bool CQEL_String::operator==(CQEL_String const& other) const {
    int const n = Length();
    if (n != other.Length()) return false;
    return n == 0 || std::memcmp(m_bytes.begin(), other.m_bytes.begin(), std::size_t(n)) == 0;
}

}  // namespace QEL::Core
