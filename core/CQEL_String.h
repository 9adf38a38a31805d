// SPDX-License-Identifier: MIT
// CQEL_String: the library's string. Text is held as UTF-8 bytes in a checked
// array whose last element is always a zero terminator (count = length + 1),
// so plain ASCII and UTF-8 are stored alike.
//
// Conventions of the whole class:
// - Positions, lengths and counts are in bytes, except where a name says
//   "Character": a character is one UTF-8 sequence (a byte below 0x80, or a
//   lead byte followed by its continuation bytes 10xxxxxx).
// - Raw texts handed in with a count (SetFromASCII(text, bytes), ...) take the
//   count literally, embedded zero bytes included; a negative count throws
//   reason 5. Byte counts within a string (Append, Prepend, Remove, Extract)
//   may be negative, meaning "all of it" / "up to the end".
// - An empty pattern is never found: Find returns -1, MatchesAtIndex false,
//   Remove and Replace change nothing.
// - Where an array of patterns is searched, the earliest position wins (the
//   latest for FindReverse); at one position the longest pattern wins, then the
//   first in array order.
// - Checked arguments throw CQEL_Exception reason 5 "Parameter out of range"
//   with the parameter's name ("length", "byte_index", "bytes", "start") and
//   the location "QEL::Core::CQEL_String::<operation>" at the line of the check.
// - Case: ToLower, ToUpper, GetLower, GetUpper, GetNumUpper and GetNumLower know
//   the ASCII letters and the letters of the Latin-1 supplement (U+00C0 to
//   U+00FE); operator^= folds only 'A' to 'Z', so that it compares bytes.
// - The 8-bit byte string of the library is ISO-8859-1 (Latin-1): each byte is
//   the code point of its value. Wide strings are UTF-32 where wchar_t has 32
//   bits and UTF-16 where it has 16.
// - A moved-from string is empty.
#pragma once

#include <cstdarg>
#include <string>
#include <string_view>

#include "core/CQEL_Array.h"
#include "core/CQEL_MD5.h"
#include "core/QEL_Export.h"

namespace QEL::Core {

// How the bytes handed to the byte constructor are encoded.
enum class EStringEncoding : int {
    ASCII = 0,   // taken byte for byte (bytes above 0x7F are kept as they are)
    UTF8 = 1,    // taken byte for byte
    Latin1 = 2,  // ISO-8859-1, converted to UTF-8
    UTF16LE = 3  // 16-bit little-endian units with surrogate pairs, converted to UTF-8; count in bytes
};

class QEL_API CQEL_String {
  public:
    // --- construction and setting -------------------------------------------

    CQEL_String();
    CQEL_String(CQEL_String const& other) = default;
    CQEL_String& operator=(CQEL_String const& other) = default;
    // Constant time; the source is left empty.
    CQEL_String(CQEL_String&& other) noexcept;
    CQEL_String& operator=(CQEL_String&& other) noexcept;
    // count bytes in the given encoding. Null bytes with count 0 give the empty
    // string; null bytes with a positive count throw reason 0 ("bytes"), a
    // negative count reason 5 ("count"). Bytes that cannot be converted (a
    // lone surrogate, an odd last byte of UTF-16) become DefaultSubstitution().
    CQEL_String(unsigned char const* bytes, int count, EStringEncoding encoding);
    ~CQEL_String() = default;

    // ASCII and UTF-8 are set alike, by a byte copy. A null text gives the
    // empty string; with a count, a null text and a positive count throw
    // reason 0 ("text"), a negative count reason 5 ("bytes"). The one-character
    // forms take one byte; '\0' gives the empty string.
    void SetFromASCII(char const* text);
    void SetFromASCII(char const* text, int bytes);
    void SetFromASCII(char character);
    void SetFromUTF8(char const* text) { SetFromASCII(text); }
    void SetFromUTF8(char const* text, int bytes) { SetFromASCII(text, bytes); }
    void SetFromUTF8(char character) { SetFromASCII(character); }
    // From the 8-bit byte string (Latin-1), converted to UTF-8. Counts and
    // null texts as for SetFromASCII.
    void SetFromByteString(char const* text);
    void SetFromByteString(char const* text, int bytes);
    void SetFromByteString(char character);
    // From wide characters (count in wchar_t units), converted to UTF-8; units
    // that are not a character (lone surrogates, values above U+10FFFF) become
    // DefaultSubstitution(). Counts and null texts as for SetFromASCII.
    void SetFromWideString(wchar_t const* text);
    void SetFromWideString(wchar_t const* text, int count);
    void SetFromWideString(wchar_t character);
    // printf-style formatting (vsnprintf, vswprintf). A format that the C
    // library cannot apply gives the empty string.
    void SetFromFormat(char const* format, ...) __attribute__((format(printf, 2, 3)));
    void SetFromFormat(wchar_t const* format, ...);
    void SetFromFormatV(char const* format, va_list arguments);
    void SetFromFormatV(wchar_t const* format, va_list arguments);

    // New strings, as the Set operations above.
    static CQEL_String FromASCII(char const* text);
    static CQEL_String FromASCII(char const* text, int bytes);
    static CQEL_String FromASCII(char character);
    static CQEL_String FromUTF8(char const* text) { return FromASCII(text); }
    static CQEL_String FromUTF8(char const* text, int bytes) { return FromASCII(text, bytes); }
    static CQEL_String FromUTF8(char character) { return FromASCII(character); }
    static CQEL_String FromByteString(char const* text);
    static CQEL_String FromByteString(char const* text, int bytes);
    static CQEL_String FromByteString(char character);
    static CQEL_String FromWideString(wchar_t const* text);
    static CQEL_String FromWideString(wchar_t const* text, int count);
    static CQEL_String FromWideString(wchar_t character);
    static CQEL_String FromFormat(char const* format, ...) __attribute__((format(printf, 1, 2)));
    static CQEL_String FromFormat(wchar_t const* format, ...);

    // The process-wide empty string.
    static CQEL_String const& Empty();
    // The process-wide strings that count as white space: space, tab, line
    // feed, carriage return, vertical tab, form feed and no-break space (U+00A0).
    static CQEL_Array<CQEL_String> const& WhiteSpace();
    // The process-wide replacement of characters that cannot be converted: "?".
    static CQEL_String const& DefaultSubstitution();

    // The text as the 8-bit byte string (Latin-1). Characters above U+00FF and
    // bytes that are not valid UTF-8 become DefaultSubstitution() each.
    std::string GetByteString() const;
    // The text as wide characters. Bytes that are not valid UTF-8 become
    // DefaultSubstitution() each.
    std::wstring GetWideString() const;
    // The zero-terminated UTF-8 bytes (never null).
    char const* GetArray() const {
        return m_bytes.Count() ? reinterpret_cast<char const*>(m_bytes.begin()) : "";
    }
    char const* c_str() const { return GetArray(); }
    std::string_view View() const { return {GetArray(), std::size_t(Length())}; }
    // The bytes for writing directly, Length() + 1 of them; see Prepare and Compress.
    char* GetBuffer();
    // The text with each character outside ASCII (a whole UTF-8 sequence) and
    // each byte that is not valid UTF-8 replaced by substitution, which is
    // inserted as it is.
    CQEL_String GetASCII(CQEL_String const& substitution = DefaultSubstitution()) const;
    void ToASCII(CQEL_String const& substitution = DefaultSubstitution());

    // --- byte and character access --------------------------------------------

    int Length() const { return m_bytes.Count() ? m_bytes.Count() - 1 : 0; }
    bool IsEmpty() const { return Length() == 0; }

    // Unchecked: byte i of the buffer, 0 <= i <= Length() (index Length() is the
    // terminator). Outside the buffer the reference is at the invalid address
    // 0xBBADBEEF, so that the first use faults; it never throws.
    char& operator[](int i) { return reinterpret_cast<char&>(m_bytes[i]); }
    char const& operator[](int i) const { return reinterpret_cast<char const&>(m_bytes[i]); }
    // Unchecked as operator[]: byte 0 (the terminator of an empty string) and
    // byte Length() - 1 (invalid for an empty string).
    char& FirstByte() { return (*this)[0]; }
    char const& FirstByte() const { return (*this)[0]; }
    char& LastByte() { return (*this)[Length() - 1]; }
    char const& LastByte() const { return (*this)[Length() - 1]; }

    // The character queries take byte_index in [0, Length() - 1], else reason 5 "byte_index".
    // A byte of the form 10xxxxxx.
    bool IsContinuationByte(int byte_index) const;
    // A byte below 0x80.
    bool IsASCIIByte(int byte_index) const;
    // Index of the first byte of the character holding byte_index (walking back
    // over continuation bytes), or -1 when the walk passes the start of the text.
    int GetCharacterStartIndex(int byte_index) const;
    // Number of bytes of the character holding byte_index, from its lead byte:
    // 1 below 0x80, else the number of leading 1-bits; -1 for five or more, or
    // when there is no lead byte. The continuation bytes are not examined.
    int GetCharacterLength(int byte_index) const;
    // Number of bytes that are not continuation bytes (0 for an empty text).
    int GetCharacterCount() const;
    // The first character (bytes 0 to its length, at least one byte) and the
    // last one (from the start of the character holding the last byte to the
    // end; the last byte alone when it has no lead byte). An empty string
    // throws reason 30 "The string is empty.".
    CQEL_String GetFirstCharacter() const;
    CQEL_String GetLastCharacter() const;

    // --- editing -----------------------------------------------------------------

    // Appends (prepends) the first `bytes` bytes of other, all of it when bytes
    // is negative; bytes > other.Length() throws reason 5 "bytes".
    void Append(CQEL_String const& other, int bytes = -1);
    void Prepend(CQEL_String const& other, int bytes = -1);
    CQEL_String& operator+=(CQEL_String const& other);
    CQEL_String operator+(CQEL_String const& other) const;
    // Inserts other before byte_index, in [0, Length()].
    void Insert(int byte_index, CQEL_String const& other);
    // Removes `bytes` bytes from byte_index (to the end when negative);
    // byte_index in [0, Length()], bytes at most Length() - byte_index.
    void Remove(int byte_index, int bytes);
    // Removes every occurrence of pattern (left to right, not overlapping);
    // returns how many were removed.
    int Remove(CQEL_String const& pattern);
    // Remove repetitions of pattern (of any of patterns) at the front or back,
    // at most max_count of them (all when negative); return how many were
    // removed. RemoveFront(WhiteSpace()) trims leading white space.
    int RemoveFront(CQEL_String const& pattern, int max_count = -1);
    int RemoveBack(CQEL_String const& pattern, int max_count = -1);
    int RemoveFront(CQEL_Array<CQEL_String> const& patterns, int max_count = -1);
    int RemoveBack(CQEL_Array<CQEL_String> const& patterns, int max_count = -1);
    // Removes white space (WhiteSpace()) at both ends.
    void Trim();
    // Replaces every occurrence of from (of any of from) by to, left to right,
    // never inside a replacement; returns the number of replacements.
    int Replace(CQEL_String const& from, CQEL_String const& to);
    int Replace(CQEL_Array<CQEL_String> const& from, CQEL_String const& to);
    // Adds character at the front (back) until the text has `length`
    // characters (not bytes: padded columns line up). length in [0, 1000000000]
    // ("length"); character must be ASCII, else reason 5 "character".
    void PadFront(int length, char character);
    void PadBack(int length, char character);
    // Case, in place and as copies (see the conventions above).
    void ToLower();
    void ToUpper();
    CQEL_String GetLower() const;
    CQEL_String GetUpper() const;
    // Empties the text and keeps the storage.
    void Clear();
    // Releases the storage: a one-byte buffer holding the terminator, minimum allocation 10.
    void Reset();
    // Takes over text written directly into the buffer: the length becomes that
    // of the zero-terminated text in it, if it differs.
    void Compress();
    // Sets the length (0..1000000000, else reason 5 "length") and terminates the
    // text there; added bytes are zero, the text before is kept.
    void CheckSpace(int length);
    // Discards the text and leaves `length` zero bytes (0..1000000000, else
    // reason 5 "length") for writing through GetBuffer(); Compress() afterwards
    // takes the length of what was written.
    void Prepare(int length);

    // --- searching and cutting ----------------------------------------------------

    // Byte index of the first occurrence of pattern starting at or after start
    // (0..Length(), else reason 5 "start"), or -1.
    int Find(CQEL_String const& pattern) const;
    int Find(CQEL_String const& pattern, int start) const;
    // Earliest occurrence of any of patterns at or after start; *which (if not
    // null) receives the index of the pattern found, or -1.
    int Find(CQEL_Array<CQEL_String> const& patterns, int start, int* which) const;
    // Byte index of the last occurrence of pattern beginning at or before start
    // (-1..Length(), else reason 5 "start"), or -1.
    int FindReverse(CQEL_String const& pattern) const;
    int FindReverse(CQEL_String const& pattern, int start) const;
    int FindReverse(CQEL_Array<CQEL_String> const& patterns, int start, int* which) const;
    // Whether pattern occurs at byte_index (0..Length(), else reason 5 "byte_index").
    bool MatchesAtIndex(CQEL_String const& pattern, int byte_index) const;
    // The `bytes` bytes from byte_index (to the end when negative); byte_index
    // in [0, Length()], bytes at most Length() - byte_index.
    CQEL_String Extract(int byte_index, int bytes = -1) const;
    // Cutting at a separator. Each returns a part of the text; with remove, the
    // returned part and the separator are also taken out of this string.
    // - Extract_UptoFirst: the text before the first separator; the whole text
    //   when there is none (remove then empties this string).
    // - Extract_UptoLast: the text before the last separator; empty when there
    //   is none (remove then leaves this string as it is).
    // - Extract_AfterLast: the text after the last separator; the whole text
    //   when there is none (remove then empties this string).
    CQEL_String Extract_UptoFirst(CQEL_String const& separator, bool remove = false);
    CQEL_String Extract_UptoLast(CQEL_String const& separator, bool remove = false);
    CQEL_String Extract_AfterLast(CQEL_String const& separator, bool remove = false);
    // Splits the text at every occurrence of any of separators into *tokens
    // (replacing its contents) and returns their number. Without keep_empty,
    // runs of separators count as one and the ends are trimmed of them (words
    // of a line); with keep_empty every separator ends a token (fields of a
    // record: "a,,b," gives "a", "", "b", ""). An empty text gives no tokens.
    // A null tokens throws reason 0 ("tokens"); an empty separator reason 14
    // ("separators", "Token string is empty").
    int Tokenise(CQEL_Array<CQEL_String> const& separators, CQEL_Array<CQEL_String>* tokens,
                 bool keep_empty = false) const;

    // --- tests and numbers -----------------------------------------------------------

    // The bytes form valid UTF-8 (no overlong forms, no surrogates, nothing
    // above U+10FFFF).
    bool IsValid() const;
    // Every byte is below 0x80 (true for an empty text).
    bool IsASCII() const;
    // Not empty, and every byte an ASCII letter / digit / letter or digit.
    bool IsAlpha() const;
    bool IsNumeric() const;
    bool IsAlphaNumeric() const;
    // A decimal number: an optional sign, digits with at most one decimal point
    // (at least one digit), and an optional exponent (e or E, optional sign,
    // digits); no "inf", "nan" or hexadecimal. With ignore_blanks, spaces and
    // tabs around it are allowed.
    bool IsDecimal(bool ignore_blanks = false) const;
    // An optional sign and digits whose value fits in an int.
    bool IsInt(bool ignore_blanks = false) const;
    // Numbers of upper-case and lower-case letters (see the conventions above).
    int GetNumUpper() const;
    int GetNumLower() const;
    // The value of the text, spaces and tabs around it ignored. A text that is
    // not IsInt(true) (IsDecimal(true)) throws reason 14 with message "The text
    // is not an integer" ("The text is not a decimal number"); a decimal beyond
    // the range of double throws reason 14 "The number is out of range";
    // one below it gives zero.
    int GetInt() const;
    double GetDouble() const;

    // --- comparison --------------------------------------------------------------------

    // Byte-wise; when one text is a prefix of the other, the shorter is the smaller.
    bool operator==(CQEL_String const& other) const;
    bool operator!=(CQEL_String const& other) const { return !(*this == other); }
    bool operator<(CQEL_String const& other) const;
    bool operator>(CQEL_String const& other) const { return other < *this; }
    bool operator<=(CQEL_String const& other) const { return !(other < *this); }
    bool operator>=(CQEL_String const& other) const { return !(*this < other); }
    // Equality with 'A' to 'Z' folded to lower case (no other byte is folded).
    bool operator^=(CQEL_String const& other) const;

    // MD5 digest of the text bytes (without the terminator).
    sMD5CheckSumValue GetCRC() const;

  private:
    // The most bytes a string holds.
    static constexpr int kMaxLength = 1000000000;

    // A single character never becomes a string implicitly.
    explicit CQEL_String(char character);
    explicit CQEL_String(wchar_t character);
    CQEL_String& operator=(char character);
    CQEL_String& operator=(wchar_t character);

    unsigned char* Bytes() { return m_bytes.begin(); }
    unsigned char const* Bytes() const { return m_bytes.begin(); }
    static CQEL_String FromView(std::string_view text);
    // Replaces `removed` bytes at `at` by inserted (which may lie in this string).
    void Splice(int at, int removed, std::string_view inserted);
    void Assign(std::string_view text) { Splice(0, Length(), text); }
    int RemoveRepeated(CQEL_String const* patterns, int count, int max_count, bool atFront);
    int ReplaceAll(CQEL_String const* patterns, int count, CQEL_String const& to);
    void Pad(int length, char character, bool atFront);

    CQEL_Array<unsigned char> m_bytes;
};

}  // namespace QEL::Core
