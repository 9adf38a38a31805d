// SPDX-License-Identifier: MIT
// CQEL_String: encodings. Construction from and conversion to ASCII, byte
// strings (Latin-1), wide strings (UTF-32 or UTF-16) and formats; byte and
// character access over the UTF-8 text. Editing, searching and numbers are in
// CQEL_String.cpp.
#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <string>

#include "core/CQEL_Operation.h"
#include "core/CQEL_String.h"

namespace QEL::Core {

namespace {

bool IsContinuation(unsigned char byte) {
    return byte >= 0x80 && (byte & 0x40) == 0;
}

bool IsCharacter(char32_t code) {
    return code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
}

// Length of the valid UTF-8 sequence at text[0] (available bytes in all), or 0
// when it is not one (overlong forms, surrogates and values above U+10FFFF are
// not valid).
int DecodeUTF8(unsigned char const* text, std::size_t available, char32_t& code) {
    unsigned char const lead = text[0];
    if (lead < 0x80) {
        code = lead;
        return 1;
    }
    int length;
    char32_t smallest;
    if ((lead & 0xE0) == 0xC0) {
        length = 2, code = lead & 0x1F, smallest = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
        length = 3, code = lead & 0x0F, smallest = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
        length = 4, code = lead & 0x07, smallest = 0x10000;
    } else {
        return 0;
    }
    if (available < std::size_t(length)) return 0;
    for (int i = 1; i < length; ++i) {
        if ((text[i] & 0xC0) != 0x80) return 0;
        code = code << 6 | (text[i] & 0x3F);
    }
    return code >= smallest && IsCharacter(code) ? length : 0;
}

void EncodeUTF8(std::string& out, char32_t code) {
    if (code < 0x80) {
        out += char(code);
    } else if (code < 0x800) {
        out += char(0xC0 | code >> 6);
        out += char(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        out += char(0xE0 | code >> 12);
        out += char(0x80 | (code >> 6 & 0x3F));
        out += char(0x80 | (code & 0x3F));
    } else {
        out += char(0xF0 | code >> 18);
        out += char(0x80 | (code >> 12 & 0x3F));
        out += char(0x80 | (code >> 6 & 0x3F));
        out += char(0x80 | (code & 0x3F));
    }
}

void EncodeOrSubstitute(std::string& out, char32_t code) {
    if (IsCharacter(code))
        EncodeUTF8(out, code);
    else
        out += CQEL_String::DefaultSubstitution().View();
}

// UTF-16 units (unit(i) for i < count) to UTF-8; lone surrogates are substituted.
template <class Unit>
std::string UTF16ToUTF8(std::size_t count, Unit unit) {
    std::string out;
    out.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        char32_t const high = unit(i);
        if (high >= 0xD800 && high <= 0xDBFF && i + 1 < count) {
            char32_t const low = unit(i + 1);
            if (low >= 0xDC00 && low <= 0xDFFF) {
                EncodeUTF8(out, 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00));
                ++i;
                continue;
            }
        }
        EncodeOrSubstitute(out, high);
    }
    return out;
}

std::string WideToUTF8(wchar_t const* text, std::size_t count) {
    if constexpr (sizeof(wchar_t) == 2) {
        return UTF16ToUTF8(count, [text](std::size_t i) { return char32_t(std::uint16_t(text[i])); });
    } else {
        std::string out;
        out.reserve(count);
        for (std::size_t i = 0; i < count; ++i)
            EncodeOrSubstitute(out, char32_t(std::uint32_t(text[i])));
        return out;
    }
}

std::string Latin1ToUTF8(unsigned char const* text, std::size_t count) {
    std::string out;
    out.reserve(count * 2);
    for (std::size_t i = 0; i < count; ++i)
        EncodeUTF8(out, text[i]);
    return out;
}

// Calls visit(code) for each valid character of text and visit(invalid) for
// each byte that does not start one.
template <class Visit>
void ForEachCode(std::string_view text, char32_t invalid, Visit&& visit) {
    auto const* bytes = reinterpret_cast<unsigned char const*>(text.data());
    for (std::size_t i = 0; i < text.size();) {
        char32_t code = 0;
        int const length = DecodeUTF8(bytes + i, text.size() - i, code);
        visit(length ? code : invalid);
        i += length ? std::size_t(length) : 1;
    }
}

constexpr char32_t kInvalidCode = 0xFFFFFFFF;

}  // namespace

// --- construction and setting ------------------------------------------------

CQEL_String::CQEL_String() {
    m_bytes.CheckSpace(1);
}

CQEL_String::CQEL_String(CQEL_String&& other) noexcept {
    m_bytes.SwapContents(other.m_bytes);
}

CQEL_String& CQEL_String::operator=(CQEL_String&& other) noexcept {
    if (this != &other) {
        m_bytes.SwapContents(other.m_bytes);
        other.m_bytes.Reset();
    }
    return *this;
}

CQEL_String::CQEL_String(unsigned char const* bytes, int count, EStringEncoding encoding) {
    static CQEL_Operation const op("QEL::Core::CQEL_String::CQEL_String");
    m_bytes.CheckSpace(1);
    op.Run([&] {
        op.CheckParameter(count >= 0, "count");
        op.Check(bytes || count == 0, QEL_NULL_PARAMETER, "bytes", "Null Pointer");
        if (count == 0) return;
        switch (encoding) {
            case EStringEncoding::Latin1:
                Assign(Latin1ToUTF8(bytes, std::size_t(count)));
                break;
            case EStringEncoding::UTF16LE: {
                std::string text = UTF16ToUTF8(std::size_t(count) / 2, [bytes](std::size_t i) {
                    return char32_t(bytes[2 * i] | bytes[2 * i + 1] << 8);
                });
                if (count % 2) text += DefaultSubstitution().View();
                Assign(text);
                break;
            }
            case EStringEncoding::ASCII:
            case EStringEncoding::UTF8:
            default:
                Assign({reinterpret_cast<char const*>(bytes), std::size_t(count)});
                break;
        }
    });
}

CQEL_String::CQEL_String(char character) : CQEL_String() {
    SetFromASCII(character);
}

CQEL_String::CQEL_String(wchar_t character) : CQEL_String() {
    SetFromWideString(character);
}

CQEL_String& CQEL_String::operator=(char character) {
    SetFromASCII(character);
    return *this;
}

CQEL_String& CQEL_String::operator=(wchar_t character) {
    SetFromWideString(character);
    return *this;
}

void CQEL_String::SetFromASCII(char const* text) {
    Assign(text ? std::string_view(text) : std::string_view());
}

void CQEL_String::SetFromASCII(char const* text, int bytes) {
    static CQEL_Operation const op("QEL::Core::CQEL_String::SetFromASCII");
    op.Run([&] {
        op.CheckParameter(bytes >= 0, "bytes");
        op.Check(text || bytes == 0, QEL_NULL_PARAMETER, "text", "Null Pointer");
        Assign({text, std::size_t(bytes)});
    });
}

void CQEL_String::SetFromASCII(char character) {
    Assign(character ? std::string_view(&character, 1) : std::string_view());
}

void CQEL_String::SetFromByteString(char const* text) {
    SetFromByteString(text, text ? int(std::min<std::size_t>(std::strlen(text), kMaxLength + 1u)) : 0);
}

void CQEL_String::SetFromByteString(char const* text, int bytes) {
    static CQEL_Operation const op("QEL::Core::CQEL_String::SetFromByteString");
    op.Run([&] {
        op.CheckParameter(bytes >= 0, "bytes");
        op.Check(text || bytes == 0, QEL_NULL_PARAMETER, "text", "Null Pointer");
        op.CheckRange(bytes, 0, kMaxLength, "bytes");
        Assign(Latin1ToUTF8(reinterpret_cast<unsigned char const*>(text), std::size_t(bytes)));
    });
}

void CQEL_String::SetFromByteString(char character) {
    if (character)
        SetFromByteString(&character, 1);
    else
        Clear();
}

void CQEL_String::SetFromWideString(wchar_t const* text) {
    SetFromWideString(text, text ? int(std::min<std::size_t>(std::wcslen(text), kMaxLength + 1u)) : 0);
}

void CQEL_String::SetFromWideString(wchar_t const* text, int count) {
    static CQEL_Operation const op("QEL::Core::CQEL_String::SetFromWideString");
    op.Run([&] {
        op.CheckParameter(count >= 0, "count");
        op.Check(text || count == 0, QEL_NULL_PARAMETER, "text", "Null Pointer");
        op.CheckRange(count, 0, kMaxLength, "count");
        Assign(WideToUTF8(text, std::size_t(count)));
    });
}

void CQEL_String::SetFromWideString(wchar_t character) {
    if (character)
        SetFromWideString(&character, 1);
    else
        Clear();
}

void CQEL_String::SetFromFormatV(char const* format, va_list arguments) {
    if (!format) {
        Clear();
        return;
    }
    va_list measure;
    va_copy(measure, arguments);
    int const length = std::vsnprintf(nullptr, 0, format, measure);
    va_end(measure);
    if (length < 0) {
        Clear();
        return;
    }
    CQEL_String text;
    text.CheckSpace(length);
    std::vsnprintf(reinterpret_cast<char*>(text.Bytes()), std::size_t(length) + 1, format, arguments);
    m_bytes.SwapContents(text.m_bytes);
}

void CQEL_String::SetFromFormatV(wchar_t const* format, va_list arguments) {
    if (!format) {
        Clear();
        return;
    }
    // vswprintf does not tell the length it needs: grow until the text fits.
    std::wstring buffer(256, L'\0');
    for (;;) {
        va_list attempt;
        va_copy(attempt, arguments);
        int const length = std::vswprintf(buffer.data(), buffer.size(), format, attempt);
        va_end(attempt);
        if (length >= 0) {
            buffer.resize(std::size_t(length));
            break;
        }
        if (buffer.size() >= (std::size_t(1) << 26)) {  // a format error, not a short buffer
            buffer.clear();
            break;
        }
        buffer.resize(buffer.size() * 4);
    }
    Assign(WideToUTF8(buffer.data(), buffer.size()));
}

void CQEL_String::SetFromFormat(char const* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    SetFromFormatV(format, arguments);
    va_end(arguments);
}

void CQEL_String::SetFromFormat(wchar_t const* format, ...) {
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

CQEL_String CQEL_String::FromASCII(char character) {
    return CQEL_String(character);
}

CQEL_String CQEL_String::FromByteString(char const* text) {
    CQEL_String s;
    s.SetFromByteString(text);
    return s;
}

CQEL_String CQEL_String::FromByteString(char const* text, int bytes) {
    CQEL_String s;
    s.SetFromByteString(text, bytes);
    return s;
}

CQEL_String CQEL_String::FromByteString(char character) {
    CQEL_String s;
    s.SetFromByteString(character);
    return s;
}

CQEL_String CQEL_String::FromWideString(wchar_t const* text) {
    CQEL_String s;
    s.SetFromWideString(text);
    return s;
}

CQEL_String CQEL_String::FromWideString(wchar_t const* text, int count) {
    CQEL_String s;
    s.SetFromWideString(text, count);
    return s;
}

CQEL_String CQEL_String::FromWideString(wchar_t character) {
    return CQEL_String(character);
}

CQEL_String CQEL_String::FromFormat(char const* format, ...) {
    CQEL_String s;
    va_list arguments;
    va_start(arguments, format);
    s.SetFromFormatV(format, arguments);
    va_end(arguments);
    return s;
}

CQEL_String CQEL_String::FromFormat(wchar_t const* format, ...) {
    CQEL_String s;
    va_list arguments;
    va_start(arguments, format);
    s.SetFromFormatV(format, arguments);
    va_end(arguments);
    return s;
}

// The process-wide values are never destroyed, so that static destructors
// that still build strings (or messages) at exit can use them.
CQEL_String const& CQEL_String::Empty() {
    static CQEL_String const* const empty = new CQEL_String;
    return *empty;
}

CQEL_Array<CQEL_String> const& CQEL_String::WhiteSpace() {
    static CQEL_Array<CQEL_String> const* const spaces = [] {
        auto* list = new CQEL_Array<CQEL_String>;
        for (char const* space : {" ", "\t", "\n", "\r", "\v", "\f", "\xC2\xA0"})
            list->PushBack(FromASCII(space));
        return list;
    }();
    return *spaces;
}

CQEL_String const& CQEL_String::DefaultSubstitution() {
    static CQEL_String const* const substitution = new CQEL_String(FromASCII("?"));
    return *substitution;
}

std::string CQEL_String::GetByteString() const {
    std::string out;
    out.reserve(std::size_t(Length()));
    ForEachCode(View(), kInvalidCode, [&out](char32_t code) {
        if (code <= 0xFF)
            out += char(code);
        else
            out += DefaultSubstitution().View();
    });
    return out;
}

std::wstring CQEL_String::GetWideString() const {
    std::wstring out;
    out.reserve(std::size_t(Length()));
    auto put = [&out](char32_t code) {
        if (sizeof(wchar_t) == 2 && code >= 0x10000) {
            out += wchar_t(0xD800 + ((code - 0x10000) >> 10));
            out += wchar_t(0xDC00 + ((code - 0x10000) & 0x3FF));
        } else {
            out += wchar_t(code);
        }
    };
    ForEachCode(View(), kInvalidCode, [&](char32_t code) {
        if (code != kInvalidCode)
            put(code);
        else
            ForEachCode(DefaultSubstitution().View(), U'?', put);
    });
    return out;
}

char* CQEL_String::GetBuffer() {
    if (m_bytes.IsEmpty()) CheckSpace(0);
    return reinterpret_cast<char*>(Bytes());
}

CQEL_String CQEL_String::GetASCII(CQEL_String const& substitution) const {
    std::string out;
    out.reserve(std::size_t(Length()));
    ForEachCode(View(), kInvalidCode, [&](char32_t code) {
        if (code < 0x80)
            out += char(code);
        else
            out += substitution.View();
    });
    CQEL_String result;
    result.Assign(out);
    return result;
}

void CQEL_String::ToASCII(CQEL_String const& substitution) {
    *this = GetASCII(substitution);
}

// --- byte and character access -----------------------------------------------

bool CQEL_String::IsContinuationByte(int byte_index) const {
    static CQEL_Operation const op("QEL::Core::CQEL_String::IsContinuationByte");
    return op.Run([&] {
        op.CheckRange(byte_index, 0, Length() - 1, "byte_index");
        return IsContinuation(Bytes()[byte_index]);
    });
}

bool CQEL_String::IsASCIIByte(int byte_index) const {
    static CQEL_Operation const op("QEL::Core::CQEL_String::IsASCIIByte");
    return op.Run([&] {
        op.CheckRange(byte_index, 0, Length() - 1, "byte_index");
        return Bytes()[byte_index] < 0x80;
    });
}

int CQEL_String::GetCharacterStartIndex(int byte_index) const {
    static CQEL_Operation const op("QEL::Core::CQEL_String::GetCharacterStartIndex");
    return op.Run([&] {
        op.CheckRange(byte_index, 0, Length() - 1, "byte_index");
        int i = byte_index;
        while (i >= 0 && IsContinuation(Bytes()[i]))
            --i;
        return i;
    });
}

int CQEL_String::GetCharacterLength(int byte_index) const {
    static CQEL_Operation const op("QEL::Core::CQEL_String::GetCharacterLength");
    return op.Run([&] {
        op.CheckRange(byte_index, 0, Length() - 1, "byte_index");
        int const start = GetCharacterStartIndex(byte_index);
        if (start < 0) return -1;
        unsigned char const lead = Bytes()[start];
        if (lead < 0x80) return 1;
        int const ones = std::countl_one(lead);
        return ones >= 5 ? -1 : ones;
    });
}

int CQEL_String::GetCharacterCount() const {
    int count = 0;
    for (unsigned char const byte : View())
        count += !IsContinuation(byte);
    return count;
}

CQEL_String CQEL_String::GetFirstCharacter() const {
    static CQEL_Operation const op("QEL::Core::CQEL_String::GetFirstCharacter");
    return op.Run([&] {
        op.Check(!IsEmpty(), QEL_INVALID_OPERATION, "", "The string is empty.");
        int const length = GetCharacterLength(0);
        return FromASCII(GetArray(), std::clamp(length, 1, Length()));
    });
}

CQEL_String CQEL_String::GetLastCharacter() const {
    static CQEL_Operation const op("QEL::Core::CQEL_String::GetLastCharacter");
    return op.Run([&] {
        op.Check(!IsEmpty(), QEL_INVALID_OPERATION, "", "The string is empty.");
        int start = GetCharacterStartIndex(Length() - 1);
        if (start < 0) start = Length() - 1;
        return FromASCII(GetArray() + start, Length() - start);
    });
}

bool CQEL_String::IsValid() const {
    bool valid = true;
    ForEachCode(View(), kInvalidCode, [&valid](char32_t code) { valid = valid && code != kInvalidCode; });
    return valid;
}

}  // namespace QEL::Core
