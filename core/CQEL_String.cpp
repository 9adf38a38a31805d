// SPDX-License-Identifier: MIT
#include "core/CQEL_String.h"

#include <fast_float/fast_float.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <functional>

#include "core/CQEL_Operation.h"

namespace QEL::Core {

namespace {

bool IsLetter(unsigned char byte) {
    return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z');
}

bool IsDigit(unsigned char byte) {
    return byte >= '0' && byte <= '9';
}

// Index of the longest of patterns that occurs at pos (the first of equally
// long ones), or -1. Empty patterns never match.
int LongestMatchAt(std::string_view text, std::size_t pos, CQEL_String const* patterns, int count) {
    int best = -1;
    std::size_t bestLength = 0;
    for (int i = 0; i < count; ++i) {
        std::string_view const p = patterns[i].View();
        if (p.size() > bestLength && text.substr(pos, p.size()) == p) {
            best = i;
            bestLength = p.size();
        }
    }
    return best;
}

// Same at the end of text.
int LongestSuffix(std::string_view text, CQEL_String const* patterns, int count) {
    int best = -1;
    std::size_t bestLength = 0;
    for (int i = 0; i < count; ++i) {
        std::string_view const p = patterns[i].View();
        if (p.size() > bestLength && text.ends_with(p)) {
            best = i;
            bestLength = p.size();
        }
    }
    return best;
}

// Earliest (latest when reverse) occurrence of any of patterns beginning at or
// after (at or before) start; ties go to the longest pattern, then the first.
int FindAny(std::string_view text, CQEL_String const* patterns, int count, std::size_t start, bool reverse,
            int* which) {
    std::size_t best = std::string_view::npos, bestLength = 0;
    int bestIndex = -1;
    for (int i = 0; i < count; ++i) {
        std::string_view const p = patterns[i].View();
        if (p.empty()) continue;
        std::size_t const pos = reverse ? text.rfind(p, start) : text.find(p, start);
        if (pos == std::string_view::npos) continue;
        bool const better =
            bestIndex < 0 || (reverse ? pos > best : pos < best) || (pos == best && p.size() > bestLength);
        if (better) best = pos, bestLength = p.size(), bestIndex = i;
    }
    if (which) *which = bestIndex;
    return bestIndex < 0 ? -1 : int(best);
}

std::string_view TrimBlanks(std::string_view text) {
    std::size_t first = 0, last = text.size();
    while (first < last && (text[first] == ' ' || text[first] == '\t'))
        ++first;
    while (last > first && (text[last - 1] == ' ' || text[last - 1] == '\t'))
        --last;
    return text.substr(first, last - first);
}

std::size_t SkipDigits(std::string_view text, std::size_t i) {
    while (i < text.size() && IsDigit(text[i]))
        ++i;
    return i;
}

// [sign] (digits [. digits] | . digits) [(e|E) [sign] digits]
bool IsDecimalSyntax(std::string_view text) {
    std::size_t i = 0;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
    std::size_t const integral = i;
    i = SkipDigits(text, i);
    std::size_t digits = i - integral;
    if (i < text.size() && text[i] == '.') {
        std::size_t const fraction = ++i;
        i = SkipDigits(text, i);
        digits += i - fraction;
    }
    if (digits == 0) return false;
    if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
        ++i;
        if (i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
        std::size_t const exponent = i;
        i = SkipDigits(text, i);
        if (i == exponent) return false;
    }
    return i == text.size();
}

bool ParseInt(std::string_view text, int& value) {
    if (text.empty()) return false;
    if (text[0] == '+') {
        text.remove_prefix(1);
        if (text.empty() || !IsDigit(text[0])) return false;  // no "+-1"
    }
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
}

// Latin-1 supplement letters in UTF-8: 0xC3 followed by 0x80..0x9E (upper
// case, U+00C0..U+00DE) or 0x9F..0xBF (lower case); U+00D7 and U+00F7 are signs.
bool IsLatin1Upper(unsigned char second) {
    return second >= 0x80 && second <= 0x9E && second != 0x97;
}
bool IsLatin1Lower(unsigned char second) {
    return second >= 0x9F && second <= 0xBF && second != 0xB7;
}

void ChangeCase(unsigned char* text, int length, bool toLower) {
    for (int i = 0; i < length; ++i) {
        unsigned char const c = text[i];
        if (toLower && c >= 'A' && c <= 'Z') {
            text[i] = c + 32;
        } else if (!toLower && c >= 'a' && c <= 'z') {
            text[i] = c - 32;
        } else if (c == 0xC3 && i + 1 < length) {
            // ß (U+00DF) and ÿ (U+00FF) have no upper case in this range.
            unsigned char& second = text[i + 1];
            if (toLower && IsLatin1Upper(second))
                second += 0x20, ++i;
            else if (!toLower && IsLatin1Lower(second) && second != 0x9F && second != 0xBF)
                second -= 0x20, ++i;
        }
    }
}

}  // namespace

// --- editing -------------------------------------------------------------------

void CQEL_String::Splice(int at, int removed, std::string_view inserted) {
    // Text that lies in our own buffer would move under our feet: copy it first.
    auto const* source = reinterpret_cast<unsigned char const*>(inserted.data());
    unsigned char const* const first = m_bytes.begin();
    unsigned char const* const last = m_bytes.end();
    if (!inserted.empty() && first && !std::less<>()(source, first) && std::less<>()(source, last)) {
        std::string const copy(inserted);
        Splice(at, removed, copy);
        return;
    }
    int const length = Length();
    int const tail = length - at - removed;
    std::int64_t const wanted = std::int64_t(length) - removed + std::int64_t(inserted.size());
    int const newLength = int(std::min<std::int64_t>(wanted, kMaxLength + std::int64_t(1)));
    int const moveTo = at + int(std::min<std::size_t>(inserted.size(), kMaxLength));
    if (newLength > length) {
        CheckSpace(newLength);  // throws beyond the largest length
        if (tail > 0) std::memmove(Bytes() + moveTo, Bytes() + at + removed, std::size_t(tail));
    } else {
        if (tail > 0 && newLength < length)
            std::memmove(Bytes() + moveTo, Bytes() + at + removed, std::size_t(tail));
        CheckSpace(newLength);
    }
    if (!inserted.empty()) std::memcpy(Bytes() + at, inserted.data(), inserted.size());
}

void CQEL_String::Append(CQEL_String const& other, int bytes) {
    static CQEL_Operation const op("QEL::Core::CQEL_String::Append");
    op.Run([&] {
        op.CheckParameter(bytes <= other.Length(), "bytes");
        Splice(Length(), 0,
               other.View().substr(0, bytes < 0 ? std::size_t(other.Length()) : std::size_t(bytes)));
    });
}

void CQEL_String::Prepend(CQEL_String const& other, int bytes) {
    static CQEL_Operation const op("QEL::Core::CQEL_String::Prepend");
    op.Run([&] {
        op.CheckParameter(bytes <= other.Length(), "bytes");
        Splice(0, 0, other.View().substr(0, bytes < 0 ? std::size_t(other.Length()) : std::size_t(bytes)));
    });
}

CQEL_String& CQEL_String::operator+=(CQEL_String const& other) {
    Splice(Length(), 0, other.View());
    return *this;
}

CQEL_String CQEL_String::operator+(CQEL_String const& other) const {
    CQEL_String sum(*this);
    sum += other;
    return sum;
}

void CQEL_String::Insert(int byte_index, CQEL_String const& other) {
    static CQEL_Operation const op("QEL::Core::CQEL_String::Insert");
    op.Run([&] {
        op.CheckRange(byte_index, 0, Length(), "byte_index");
        Splice(byte_index, 0, other.View());
    });
}

void CQEL_String::Remove(int byte_index, int bytes) {
    static CQEL_Operation const op("QEL::Core::CQEL_String::Remove");
    op.Run([&] {
        op.CheckRange(byte_index, 0, Length(), "byte_index");
        op.CheckParameter(bytes <= Length() - byte_index, "bytes");
        Splice(byte_index, bytes < 0 ? Length() - byte_index : bytes, {});
    });
}

int CQEL_String::Remove(CQEL_String const& pattern) {
    return Replace(pattern, Empty());
}

int CQEL_String::RemoveRepeated(CQEL_String const* patterns, int count, int max_count, bool atFront) {
    std::string_view text = View();
    int removed = 0;
    while (max_count < 0 || removed < max_count) {
        int const found =
            atFront ? LongestMatchAt(text, 0, patterns, count) : LongestSuffix(text, patterns, count);
        if (found < 0) break;
        std::size_t const length = std::size_t(patterns[found].Length());
        text = atFront ? text.substr(length) : text.substr(0, text.size() - length);
        ++removed;
    }
    if (removed) {
        int const from = int(text.data() - GetArray());
        Splice(0, from, {});
        CheckSpace(int(text.size()));
    }
    return removed;
}

int CQEL_String::RemoveFront(CQEL_String const& pattern, int max_count) {
    return RemoveRepeated(&pattern, 1, max_count, true);
}

int CQEL_String::RemoveBack(CQEL_String const& pattern, int max_count) {
    return RemoveRepeated(&pattern, 1, max_count, false);
}

int CQEL_String::RemoveFront(CQEL_Array<CQEL_String> const& patterns, int max_count) {
    return RemoveRepeated(patterns.begin(), patterns.Count(), max_count, true);
}

int CQEL_String::RemoveBack(CQEL_Array<CQEL_String> const& patterns, int max_count) {
    return RemoveRepeated(patterns.begin(), patterns.Count(), max_count, false);
}

void CQEL_String::Trim() {
    RemoveBack(WhiteSpace());
    RemoveFront(WhiteSpace());
}

int CQEL_String::ReplaceAll(CQEL_String const* patterns, int count, CQEL_String const& to) {
    std::string_view const text = View();
    std::string out;
    int replaced = 0;
    std::size_t copied = 0;
    for (std::size_t pos = 0; pos < text.size();) {
        int const found = LongestMatchAt(text, pos, patterns, count);
        if (found < 0) {
            ++pos;
            continue;
        }
        out.append(text.substr(copied, pos - copied));
        out.append(to.View());
        pos += std::size_t(patterns[found].Length());
        copied = pos;
        ++replaced;
    }
    if (replaced) {
        out.append(text.substr(copied));
        Assign(out);
    }
    return replaced;
}

int CQEL_String::Replace(CQEL_String const& from, CQEL_String const& to) {
    return ReplaceAll(&from, 1, to);
}

int CQEL_String::Replace(CQEL_Array<CQEL_String> const& from, CQEL_String const& to) {
    return ReplaceAll(from.begin(), from.Count(), to);
}

void CQEL_String::Pad(int length, char character, bool atFront) {
    int const missing = length - GetCharacterCount();
    if (missing <= 0) return;
    int const old = Length();
    CheckSpace(int(std::min<std::int64_t>(std::int64_t(old) + missing, kMaxLength + std::int64_t(1))));
    if (atFront) {
        std::memmove(Bytes() + missing, Bytes(), std::size_t(old));
        std::memset(Bytes(), character, std::size_t(missing));
    } else {
        std::memset(Bytes() + old, character, std::size_t(missing));
    }
}

void CQEL_String::PadFront(int length, char character) {
    static CQEL_Operation const op("QEL::Core::CQEL_String::PadFront");
    op.Run([&] {
        op.CheckRange(length, 0, kMaxLength, "length");
        op.CheckParameter(static_cast<unsigned char>(character) < 0x80, "character");
        Pad(length, character, true);
    });
}

void CQEL_String::PadBack(int length, char character) {
    static CQEL_Operation const op("QEL::Core::CQEL_String::PadBack");
    op.Run([&] {
        op.CheckRange(length, 0, kMaxLength, "length");
        op.CheckParameter(static_cast<unsigned char>(character) < 0x80, "character");
        Pad(length, character, false);
    });
}

void CQEL_String::ToLower() {
    ChangeCase(Bytes(), Length(), true);
}

void CQEL_String::ToUpper() {
    ChangeCase(Bytes(), Length(), false);
}

CQEL_String CQEL_String::GetLower() const {
    CQEL_String copy(*this);
    copy.ToLower();
    return copy;
}

CQEL_String CQEL_String::GetUpper() const {
    CQEL_String copy(*this);
    copy.ToUpper();
    return copy;
}

void CQEL_String::Clear() {
    m_bytes.Clear();
    m_bytes.CheckSpace(1);
}

void CQEL_String::Reset() {
    m_bytes.Reset();
    m_bytes.CheckSpace(1);
}

void CQEL_String::Compress() {
    if (m_bytes.IsEmpty()) {
        CheckSpace(0);
        return;
    }
    // The terminator at Length() bounds the search.
    int const length = int(std::strlen(GetArray()));
    if (length != Length()) CheckSpace(length);
}

void CQEL_String::CheckSpace(int length) {
    static CQEL_Operation const op("QEL::Core::CQEL_String::CheckSpace");
    op.Run([&] {
        op.CheckRange(length, 0, kMaxLength, "length");
        m_bytes.CheckSpace(length + 1);
        m_bytes.Unsafe_Get(length) = 0;
    });
}

void CQEL_String::Prepare(int length) {
    static CQEL_Operation const op("QEL::Core::CQEL_String::Prepare");
    op.Run([&] {
        op.CheckRange(length, 0, kMaxLength, "length");
        m_bytes.Clear();
        m_bytes.CheckSpace(length + 1);  // new bytes are zero
    });
}

// --- searching and cutting -------------------------------------------------------

int CQEL_String::Find(CQEL_String const& pattern) const {
    if (pattern.IsEmpty()) return -1;
    std::size_t const pos = View().find(pattern.View());
    return pos == std::string_view::npos ? -1 : int(pos);
}

int CQEL_String::Find(CQEL_String const& pattern, int start) const {
    static CQEL_Operation const op("QEL::Core::CQEL_String::Find");
    return op.Run([&] {
        op.CheckRange(start, 0, Length(), "start");
        return FindAny(View(), &pattern, 1, std::size_t(start), false, nullptr);
    });
}

int CQEL_String::Find(CQEL_Array<CQEL_String> const& patterns, int start, int* which) const {
    static CQEL_Operation const op("QEL::Core::CQEL_String::Find");
    return op.Run([&] {
        op.CheckRange(start, 0, Length(), "start");
        return FindAny(View(), patterns.begin(), patterns.Count(), std::size_t(start), false, which);
    });
}

int CQEL_String::FindReverse(CQEL_String const& pattern) const {
    return FindAny(View(), &pattern, 1, std::string_view::npos, true, nullptr);
}

int CQEL_String::FindReverse(CQEL_String const& pattern, int start) const {
    static CQEL_Operation const op("QEL::Core::CQEL_String::FindReverse");
    return op.Run([&] {
        op.CheckRange(start, -1, Length(), "start");
        return start < 0 ? -1 : FindAny(View(), &pattern, 1, std::size_t(start), true, nullptr);
    });
}

int CQEL_String::FindReverse(CQEL_Array<CQEL_String> const& patterns, int start, int* which) const {
    static CQEL_Operation const op("QEL::Core::CQEL_String::FindReverse");
    return op.Run([&] {
        op.CheckRange(start, -1, Length(), "start");
        if (start < 0) {
            if (which) *which = -1;
            return -1;
        }
        return FindAny(View(), patterns.begin(), patterns.Count(), std::size_t(start), true, which);
    });
}

bool CQEL_String::MatchesAtIndex(CQEL_String const& pattern, int byte_index) const {
    static CQEL_Operation const op("QEL::Core::CQEL_String::MatchesAtIndex");
    return op.Run([&] {
        op.CheckRange(byte_index, 0, Length(), "byte_index");
        return !pattern.IsEmpty() && View().substr(std::size_t(byte_index)).starts_with(pattern.View());
    });
}

CQEL_String CQEL_String::Extract(int byte_index, int bytes) const {
    static CQEL_Operation const op("QEL::Core::CQEL_String::Extract");
    return op.Run([&] {
        op.CheckRange(byte_index, 0, Length(), "byte_index");
        op.CheckParameter(bytes <= Length() - byte_index, "bytes");
        return FromView(
            View().substr(std::size_t(byte_index), bytes < 0 ? std::string_view::npos : std::size_t(bytes)));
    });
}

CQEL_String CQEL_String::FromView(std::string_view text) {
    CQEL_String s;
    s.Assign(text);
    return s;
}

CQEL_String CQEL_String::Extract_UptoFirst(CQEL_String const& separator, bool remove) {
    int const pos = Find(separator);
    if (pos < 0) {
        CQEL_String whole(*this);
        if (remove) Clear();
        return whole;
    }
    CQEL_String part = FromView(View().substr(0, std::size_t(pos)));
    if (remove) Splice(0, pos + separator.Length(), {});
    return part;
}

CQEL_String CQEL_String::Extract_UptoLast(CQEL_String const& separator, bool remove) {
    int const pos = FindReverse(separator);
    if (pos < 0) return CQEL_String();
    CQEL_String part = FromView(View().substr(0, std::size_t(pos)));
    if (remove) Splice(0, pos + separator.Length(), {});
    return part;
}

CQEL_String CQEL_String::Extract_AfterLast(CQEL_String const& separator, bool remove) {
    int const pos = FindReverse(separator);
    if (pos < 0) {
        CQEL_String whole(*this);
        if (remove) Clear();
        return whole;
    }
    CQEL_String part = FromView(View().substr(std::size_t(pos + separator.Length())));
    if (remove) CheckSpace(pos);
    return part;
}

int CQEL_String::Tokenise(CQEL_Array<CQEL_String> const& separators, CQEL_Array<CQEL_String>* tokens,
                          bool keep_empty) const {
    static CQEL_Operation const op("QEL::Core::CQEL_String::Tokenise");
    return op.Run([&] {
        op.Check(tokens != nullptr, QEL_NULL_PARAMETER, "tokens", "Null Pointer");
        for (CQEL_String const& separator : separators)
            op.Check(!separator.IsEmpty(), QEL_INVALID_PARAMETER, "separators", "Token string is empty");
        // Built aside, so that tokens may be the separators themselves.
        CQEL_Array<CQEL_String> found;
        std::string_view const text = View();
        auto emit = [&](std::size_t from, std::size_t to) {
            if (to > from || keep_empty) found.PushBack(FromView(text.substr(from, to - from)));
        };
        std::size_t start = 0;
        for (std::size_t pos = 0; pos < text.size();) {
            int const hit = LongestMatchAt(text, pos, separators.begin(), separators.Count());
            if (hit < 0) {
                ++pos;
                continue;
            }
            emit(start, pos);
            pos += std::size_t(separators.begin()[hit].Length());
            start = pos;
        }
        if (!text.empty()) emit(start, text.size());
        tokens->SwapContents(found);
        return tokens->Count();
    });
}

// --- tests and numbers -------------------------------------------------------------

bool CQEL_String::IsASCII() const {
    return std::all_of(View().begin(), View().end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

bool CQEL_String::IsAlpha() const {
    return !IsEmpty() && std::all_of(View().begin(), View().end(), [](char c) { return IsLetter(c); });
}

bool CQEL_String::IsNumeric() const {
    return !IsEmpty() && std::all_of(View().begin(), View().end(), [](char c) { return IsDigit(c); });
}

bool CQEL_String::IsAlphaNumeric() const {
    return !IsEmpty() &&
           std::all_of(View().begin(), View().end(), [](char c) { return IsLetter(c) || IsDigit(c); });
}

bool CQEL_String::IsDecimal(bool ignore_blanks) const {
    return IsDecimalSyntax(ignore_blanks ? TrimBlanks(View()) : View());
}

bool CQEL_String::IsInt(bool ignore_blanks) const {
    int value = 0;
    return ParseInt(ignore_blanks ? TrimBlanks(View()) : View(), value);
}

int CQEL_String::GetNumUpper() const {
    std::string_view const text = View();
    int count = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto const c = static_cast<unsigned char>(text[i]);
        if (c >= 'A' && c <= 'Z')
            ++count;
        else if (c == 0xC3 && i + 1 < text.size() && IsLatin1Upper(static_cast<unsigned char>(text[i + 1])))
            ++count, ++i;
    }
    return count;
}

int CQEL_String::GetNumLower() const {
    std::string_view const text = View();
    int count = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto const c = static_cast<unsigned char>(text[i]);
        if (c >= 'a' && c <= 'z')
            ++count;
        else if (c == 0xC3 && i + 1 < text.size() && IsLatin1Lower(static_cast<unsigned char>(text[i + 1])))
            ++count, ++i;
    }
    return count;
}

int CQEL_String::GetInt() const {
    static CQEL_Operation const op("QEL::Core::CQEL_String::GetInt");
    return op.Run([&] {
        int value = 0;
        op.Check(ParseInt(TrimBlanks(View()), value), QEL_INVALID_PARAMETER, "",
                 "The text is not an integer");
        return value;
    });
}

double CQEL_String::GetDouble() const {
    static CQEL_Operation const op("QEL::Core::CQEL_String::GetDouble");
    return op.Run([&] {
        std::string_view text = TrimBlanks(View());
        op.Check(IsDecimalSyntax(text), QEL_INVALID_PARAMETER, "", "The text is not a decimal number");
        if (text[0] == '+') text.remove_prefix(1);
        double value = 0;
        auto const result = fast_float::from_chars(text.data(), text.data() + text.size(), value);
        op.Check(result.ec == std::errc() && result.ptr == text.data() + text.size(), QEL_INVALID_PARAMETER,
                 "", "The text is not a decimal number");
        op.Check(std::isfinite(value), QEL_INVALID_PARAMETER, "", "The number is out of range");
        return value;
    });
}

// --- comparison ------------------------------------------------------------------------

bool CQEL_String::operator==(CQEL_String const& other) const {
    return View() == other.View();
}

bool CQEL_String::operator<(CQEL_String const& other) const {
    return View() < other.View();  // char_traits<char> compares as unsigned char
}

bool CQEL_String::operator^=(CQEL_String const& other) const {
    std::string_view const a = View(), b = other.View();
    if (a.size() != b.size()) return false;
    auto fold = [](char c) { return c >= 'A' && c <= 'Z' ? char(c + 32) : c; };
    for (std::size_t i = 0; i < a.size(); ++i)
        if (fold(a[i]) != fold(b[i])) return false;
    return true;
}

sMD5CheckSumValue CQEL_String::GetCRC() const {
    return CQEL_MD5::Compute(GetArray(), std::size_t(Length()));
}

}  // namespace QEL::Core
