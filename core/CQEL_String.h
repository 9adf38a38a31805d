// SPDX-License-Identifier: MIT
// CQEL_String: the library's string. Text is held as UTF-8 bytes in a checked
// array whose last element is always a zero terminator (count = length + 1).
#pragma once

#include <cstdarg>
#include <string>
#include <string_view>

#include "core/CQEL_Array.h"
#include "core/QEL_Export.h"

namespace QEL::Core {

// How the bytes handed to the byte constructor are encoded.
enum class EStringEncoding : int {
    ASCII = 0,  // taken as is
    UTF8 = 1,   // taken as is
    Latin1 = 2  // 8-bit ISO-8859-1, converted to UTF-8
};

class QEL_API CQEL_String {
  public:
    CQEL_String();
    CQEL_String(CQEL_String const& other) = default;
    CQEL_String& operator=(CQEL_String const& other) = default;
    CQEL_String(unsigned char const* bytes, int count, EStringEncoding encoding);
    ~CQEL_String() = default;

    // --- construction and setting -------------------------------------------
    void SetFromASCII(char const* text);
    void SetFromASCII(char const* text, int bytes);
    void SetFromUTF8(char const* text) { SetFromASCII(text); }
    void SetFromUTF8(char const* text, int bytes) { SetFromASCII(text, bytes); }
    void SetFromFormat(char const* format, ...) __attribute__((format(printf, 2, 3)));
    void SetFromFormatV(char const* format, va_list arguments);

    static CQEL_String FromASCII(char const* text);
    static CQEL_String FromASCII(char const* text, int bytes);
    static CQEL_String FromUTF8(char const* text) { return FromASCII(text); }
    static CQEL_String FromUTF8(char const* text, int bytes) { return FromASCII(text, bytes); }
    static CQEL_String FromFormat(char const* format, ...) __attribute__((format(printf, 1, 2)));

    // The process-wide empty string.
    static CQEL_String const& Empty();

    // The zero-terminated UTF-8 bytes (never null).
    char const* GetArray() const { return reinterpret_cast<char const*>(m_bytes.begin()); }
    char const* c_str() const { return GetArray(); }
    std::string_view View() const { return {GetArray(), std::size_t(Length())}; }

    int Length() const { return m_bytes.Count() - 1; }
    bool IsEmpty() const { return Length() == 0; }

    // Sets the length in bytes (0..1000000000, else reason 5 "length") and
    // terminates the text there; new bytes are zero.
    void CheckSpace(int length);

    // --- editing -------------------------------------------------------------
    CQEL_String& operator+=(CQEL_String const& other);
    CQEL_String operator+(CQEL_String const& other) const;

    // --- comparison ------------------------------------------------------------
    bool operator==(CQEL_String const& other) const;
    bool operator!=(CQEL_String const& other) const { return !(*this == other); }

  private:
    CQEL_Array<unsigned char> m_bytes;
};

}  // namespace QEL::Core
