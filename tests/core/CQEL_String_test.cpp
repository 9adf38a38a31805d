// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "core/CQEL_Exception.h"
#include "core/CQEL_MD5.h"
#include "core/CQEL_String.h"
#include "test_helpers/LineNumbers.h"

using namespace QEL::Core;

namespace {

CQEL_String S(char const* text) {
    return CQEL_String::FromASCII(text);
}
std::string Str(CQEL_String const& s) {
    return std::string(s.View());
}

CQEL_Array<CQEL_String> List(std::initializer_list<char const*> texts) {
    CQEL_Array<CQEL_String> list;
    for (char const* text : texts)
        list.PushBack(S(text));
    return list;
}
std::vector<std::string> Strs(CQEL_Array<CQEL_String> const& list) {
    std::vector<std::string> out;
    for (CQEL_String const& s : list)
        out.push_back(Str(s));
    return out;
}

CQEL_Exception Caught(auto&& call) {
    try {
        call();
    } catch (CQEL_Exception const& e) {
        return e;
    }
    ADD_FAILURE() << "no CQEL_Exception";
    return CQEL_Exception(QEL_UNHANDLED, CQEL_String());
}

// The exception text with the line number of its location replaced by '#'.
std::string TextOf(CQEL_Exception const& e) {
    return WithoutLineNumbers(std::string(e.what()));
}

std::string OutOfRange(char const* param, char const* operation) {
    return std::string("Param name - ") + param + " Location - QEL::Core::CQEL_String::" + operation +
           " @ line # ->  Message - Parameter out of range Geometry Exception: Parameter out of range!";
}

// "a", euro sign (3 bytes), "b".
char const* const kEuroText =
    "a\xE2\x82\xAC"
    "b";

}  // namespace

// --- construction and conversion ------------------------------------------------------

TEST(String, SingleCharactersNeverBecomeStringsImplicitly) {
    static_assert(!std::is_constructible_v<CQEL_String, char>);
    static_assert(!std::is_constructible_v<CQEL_String, wchar_t>);
    static_assert(!std::is_convertible_v<char, CQEL_String>);
    static_assert(!std::is_assignable_v<CQEL_String&, char>);
    static_assert(!std::is_assignable_v<CQEL_String&, wchar_t>);
    EXPECT_EQ(Str(CQEL_String::FromASCII('x')), "x");
    EXPECT_TRUE(CQEL_String::FromASCII('\0').IsEmpty());
    EXPECT_EQ(Str(CQEL_String::FromWideString(L'\u00E9')), "\xC3\xA9");
    EXPECT_EQ(Str(CQEL_String::FromByteString('\xE9')), "\xC3\xA9");
    CQEL_String s = S("abc");
    s.SetFromUTF8('q');
    EXPECT_EQ(Str(s), "q");
}

TEST(String, SettingFromBytes_CopiesExactlyAndChecksItsArguments) {
    CQEL_String s;
    s.SetFromASCII("a\0b", 3);  // the count is taken literally
    EXPECT_EQ(s.Length(), 3);
    EXPECT_EQ(std::memcmp(s.GetArray(), "a\0b", 4), 0);
    s.SetFromASCII(nullptr);
    EXPECT_TRUE(s.IsEmpty());
    s.SetFromASCII(nullptr, 0);
    EXPECT_STREQ(s.GetArray(), "");

    EXPECT_EQ(TextOf(Caught([&] { s.SetFromASCII("abc", -1); })), OutOfRange("bytes", "SetFromASCII"));
    auto const null = Caught([&] { s.SetFromUTF8(nullptr, 2); });
    EXPECT_EQ(null.GetExceptionReason(), QEL_NULL_PARAMETER);
    EXPECT_EQ(TextOf(null),
              "Param name - text Location - QEL::Core::CQEL_String::SetFromASCII @ line # ->  Message - "
              "Null Pointer Memory Exception: Null parameter assignment!");
    EXPECT_EQ(Caught([] { CQEL_String(nullptr, 1, EStringEncoding::UTF8); }).GetExceptionReason(),
              QEL_NULL_PARAMETER);
    EXPECT_EQ(TextOf(Caught([] { CQEL_String(nullptr, -1, EStringEncoding::UTF8); })),
              OutOfRange("count", "CQEL_String"));

    // Setting from a part of itself.
    s = S("hello world");
    s.SetFromASCII(s.GetArray() + 6);
    EXPECT_EQ(Str(s), "world");
    s.SetFromASCII(s.GetArray() + 1, 3);
    EXPECT_EQ(Str(s), "orl");
}

TEST(String, Encodings_ConvertToUTF8AndBack) {
    unsigned char const latin1[] = {'c', 0xE9, 'd', 0xFF};
    CQEL_String const fromLatin1(latin1, 4, EStringEncoding::Latin1);
    EXPECT_EQ(Str(fromLatin1),
              "c\xC3\xA9"
              "d\xC3\xBF");
    EXPECT_EQ(fromLatin1.GetByteString(), std::string(reinterpret_cast<char const*>(latin1), 4));
    EXPECT_EQ(Str(CQEL_String::FromByteString("\xE9t\xE9")), "\xC3\xA9t\xC3\xA9");
    EXPECT_EQ(Str(CQEL_String(latin1, 4, EStringEncoding::ASCII)),
              std::string(reinterpret_cast<char const*>(latin1), 4));
    // Beyond Latin-1 and invalid bytes: one substitution each.
    EXPECT_EQ(S("x\xE2\x82\xACy\xFF").GetByteString(), "x?y?");

    // A surrogate pair, a lone high surrogate, an odd last byte.
    unsigned char const utf16[] = {'A', 0, 0x3D, 0xD8, 0x00, 0xDE, 0x00, 0xD8, 'B', 0, 'C'};
    EXPECT_EQ(Str(CQEL_String(utf16, 11, EStringEncoding::UTF16LE)), "A\xF0\x9F\x98\x80?B?");

    std::wstring const wide = L"\u00E9t\u00E9 \u20AC \U0001F600";
    CQEL_String const fromWide = CQEL_String::FromWideString(wide.c_str());
    EXPECT_EQ(Str(fromWide), "\xC3\xA9t\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80");
    EXPECT_EQ(fromWide.GetWideString(), wide);
    EXPECT_EQ(S("a\xFF"
                "b")
                  .GetWideString(),
              L"a?b");
    if constexpr (sizeof(wchar_t) == 4) {
        wchar_t const invalid[] = {L'a', wchar_t(0xD800), wchar_t(0x110000), L'b'};
        EXPECT_EQ(Str(CQEL_String::FromWideString(invalid, 4)), "a??b");
    }
    EXPECT_EQ(Str(CQEL_String::FromWideString(L"abc", 2)), "ab");
}

TEST(String, Format_NarrowAndWide) {
    EXPECT_EQ(Str(CQEL_String::FromFormat("%d-%s-%.2f", 5, "x", 1.5)), "5-x-1.50");
    EXPECT_EQ(Str(CQEL_String::FromFormat(L"%ls %d", L"\u00E9", 3)), "\xC3\xA9 3");
    CQEL_String const longWide = CQEL_String::FromFormat(L"%0600d", 7);  // more than a first buffer
    EXPECT_EQ(longWide.Length(), 600);
    EXPECT_EQ(longWide.LastByte(), '7');
    CQEL_String s;
    s.SetFromFormat("%s", std::string(5000, 'z').c_str());
    EXPECT_EQ(s.Length(), 5000);
}

TEST(String, ASCIIForm_SubstitutesWholeCharactersAndInvalidBytes) {
    CQEL_String const text =
        S("Gr\xC3\xBC\xC3\x9F"
          "e \xE2\x82\xAC!");
    EXPECT_EQ(Str(text.GetASCII()), "Gr??e ?!");
    EXPECT_EQ(Str(text.GetASCII(S("<>"))), "Gr<><>e <>!");
    EXPECT_EQ(Str(S("a\xFF\xFE"
                    "b\xE2\x82")
                      .GetASCII()),
              "a??b??");
    CQEL_String inPlace = text;
    inPlace.ToASCII(S(""));
    EXPECT_EQ(Str(inPlace), "Gre !");
    EXPECT_TRUE(inPlace.IsASCII());
}

TEST(String, ProcessWideValues) {
    EXPECT_EQ(&CQEL_String::Empty(), &CQEL_String::Empty());
    EXPECT_TRUE(CQEL_String::Empty().IsEmpty());
    EXPECT_EQ(Str(CQEL_String::DefaultSubstitution()), "?");
    EXPECT_EQ(Strs(CQEL_String::WhiteSpace()),
              (std::vector<std::string>{" ", "\t", "\n", "\r", "\v", "\f", "\xC2\xA0"}));
}

TEST(String, Move_LeavesAnEmptyUsableString) {
    CQEL_String a = S("some text");
    CQEL_String b(std::move(a));
    EXPECT_EQ(Str(b), "some text");
    EXPECT_TRUE(a.IsEmpty());  // NOLINT(bugprone-use-after-move): the contract
    EXPECT_STREQ(a.GetArray(), "");
    a += S("again");
    EXPECT_EQ(Str(a), "again");
    CQEL_String c = S("x");
    c = std::move(b);
    EXPECT_EQ(Str(c), "some text");
    EXPECT_TRUE(b.IsEmpty());  // NOLINT(bugprone-use-after-move)
    b.Insert(0, S("y"));
    EXPECT_EQ(Str(b), "y");
    CQEL_String d;
    d = std::move(c);
    c.Compress();
    EXPECT_EQ(c.Length(), 0);
    EXPECT_EQ(c.GetCRC(), CQEL_String().GetCRC());
}

// --- bytes and characters -----------------------------------------------------------------

TEST(String, EmptyString_RefusesEveryByteIndex) {
    CQEL_String const empty;
    EXPECT_EQ(empty.Length(), 0);
    EXPECT_EQ(empty.GetCharacterCount(), 0);
    EXPECT_EQ(empty.FirstByte(), '\0');
    EXPECT_EQ(&empty.LastByte(), reinterpret_cast<char const*>(std::uintptr_t(0xBBADBEEF)));
    EXPECT_EQ(TextOf(Caught([&] { empty.IsContinuationByte(0); })),
              OutOfRange("byte_index", "IsContinuationByte"));
    EXPECT_EQ(TextOf(Caught([&] { empty.IsASCIIByte(0); })), OutOfRange("byte_index", "IsASCIIByte"));
    EXPECT_EQ(TextOf(Caught([&] { empty.GetCharacterStartIndex(0); })),
              OutOfRange("byte_index", "GetCharacterStartIndex"));
    EXPECT_EQ(TextOf(Caught([&] { empty.GetCharacterLength(0); })),
              OutOfRange("byte_index", "GetCharacterLength"));
    auto const first = Caught([&] { empty.GetFirstCharacter(); });
    EXPECT_EQ(first.GetExceptionReason(), QEL_INVALID_OPERATION);
    EXPECT_EQ(TextOf(first),
              "Param name -  Location - QEL::Core::CQEL_String::GetFirstCharacter @ line # ->  "
              "Message - The string is empty. General Exception: Invalid Operation!");
    EXPECT_EQ(Caught([&] { empty.GetLastCharacter(); }).GetExceptionReason(), QEL_INVALID_OPERATION);

    CQEL_String const abc = S("abc");
    EXPECT_EQ(TextOf(Caught([&] { abc.IsContinuationByte(3); })),
              OutOfRange("byte_index", "IsContinuationByte"));
    EXPECT_EQ(TextOf(Caught([&] { abc.GetCharacterLength(-1); })),
              OutOfRange("byte_index", "GetCharacterLength"));
}

TEST(String, ByteAccess_IsUncheckedWithTheTerminatorInside) {
    CQEL_String s = S("abc");
    EXPECT_EQ(s[3], '\0');
    auto* const invalid = reinterpret_cast<char*>(std::uintptr_t(0xBBADBEEF));
    EXPECT_EQ(&s[4], invalid);
    EXPECT_EQ(&s[-1], invalid);
    s.FirstByte() = 'x';
    s.LastByte() = 'z';
    EXPECT_EQ(Str(s), "xbz");
}

TEST(String, CharacterQueries_FollowTheLeadByte) {
    CQEL_String const euro = S(kEuroText);
    EXPECT_EQ(euro.Length(), 5);
    EXPECT_EQ(euro.GetCharacterCount(), 3);
    for (int i = 1; i <= 3; ++i) {
        EXPECT_EQ(euro.GetCharacterLength(i), 3) << i;
        EXPECT_EQ(euro.GetCharacterStartIndex(i), 1) << i;
        EXPECT_FALSE(euro.IsASCIIByte(i));
    }
    EXPECT_FALSE(euro.IsContinuationByte(1));
    EXPECT_TRUE(euro.IsContinuationByte(2));
    EXPECT_TRUE(euro.IsContinuationByte(3));
    EXPECT_FALSE(euro.IsContinuationByte(4));
    EXPECT_EQ(euro.GetCharacterLength(0), 1);
    EXPECT_EQ(euro.GetCharacterLength(4), 1);
    EXPECT_TRUE(euro.IsASCIIByte(0));

    CQEL_String const emoji = S("\xF0\x9F\x98\x80");
    EXPECT_EQ(emoji.GetCharacterLength(2), 4);
    EXPECT_EQ(emoji.GetCharacterCount(), 1);
    // Five or more leading 1-bits; no lead byte at all.
    EXPECT_EQ(S("\xF8\x80").GetCharacterLength(1), -1);
    EXPECT_EQ(S("\xFF").GetCharacterLength(0), -1);
    CQEL_String const orphan =
        S("\x80\x80"
          "a");
    EXPECT_EQ(orphan.GetCharacterStartIndex(1), -1);
    EXPECT_EQ(orphan.GetCharacterLength(1), -1);
    EXPECT_EQ(orphan.GetCharacterCount(), 1);

    CQEL_String const mixed =
        S("\xE2\x82\xAC"
          "ab\xC3\xA9");
    EXPECT_EQ(Str(mixed.GetFirstCharacter()), "\xE2\x82\xAC");
    EXPECT_EQ(Str(mixed.GetLastCharacter()), "\xC3\xA9");
    EXPECT_EQ(Str(orphan.GetFirstCharacter()), "\x80");
    EXPECT_EQ(Str(S("\x80").GetLastCharacter()), "\x80");
    EXPECT_EQ(Str(S("\xE2\x82").GetFirstCharacter()), "\xE2\x82");  // cut short by the end
}

// --- comparison ---------------------------------------------------------------------------

TEST(String, Comparison_IsBytewiseAndCaseFoldsOnlyASCII) {
    EXPECT_TRUE(S("ABC") ^= S("abc"));
    EXPECT_TRUE(S("a-Z 1") ^= S("A-z 1"));
    EXPECT_FALSE(S("\xC3\x84") ^= S("\xC3\xA4"));  // A and a with diaeresis
    EXPECT_FALSE(S("abc") ^= S("abcd"));
    EXPECT_FALSE(S("[") ^= S("{"));  // 0x5B + 32 is 0x7B, but '[' is not a letter

    EXPECT_TRUE(S("ab") < S("abc"));
    EXPECT_FALSE(S("abc") < S("ab"));
    EXPECT_FALSE(S("abc") < S("abc"));
    EXPECT_TRUE(S("abc") <= S("abc"));
    EXPECT_TRUE(S("abd") > S("abc"));
    EXPECT_TRUE(S("abc") >= S("ab"));
    EXPECT_TRUE(S("z") < S("\xC3\xA9"));  // bytes compare unsigned
    EXPECT_TRUE(S("") < S("a"));
    EXPECT_TRUE(CQEL_String() == S(""));
    EXPECT_FALSE(S("abc") == S("abd"));
    EXPECT_TRUE(S("abc") != S("ab"));
    EXPECT_FALSE(CQEL_String::FromASCII("a\0b", 3) == CQEL_String::FromASCII("a\0c", 3));
}

// --- editing --------------------------------------------------------------------------------

TEST(String, LengthChecks_AndDirectWriting) {
    CQEL_String s = S("abc");
    EXPECT_EQ(TextOf(Caught([&] { s.CheckSpace(1000000001); })), OutOfRange("length", "CheckSpace"));
    EXPECT_EQ(TextOf(Caught([&] { s.CheckSpace(-1); })), OutOfRange("length", "CheckSpace"));
    EXPECT_EQ(TextOf(Caught([&] { s.Prepare(-1); })), OutOfRange("length", "Prepare"));
    EXPECT_EQ(Str(s), "abc");
    s.CheckSpace(5);
    EXPECT_EQ(s.Length(), 5);
    EXPECT_EQ(std::memcmp(s.GetArray(), "abc\0\0\0", 6), 0);
    s.Compress();
    EXPECT_EQ(Str(s), "abc");
    s.CheckSpace(0);
    EXPECT_TRUE(s.IsEmpty());
    EXPECT_STREQ(s.GetArray(), "");

    s = S("old text");
    s.Prepare(10);
    EXPECT_EQ(s.Length(), 10);
    std::memcpy(s.GetBuffer(), "hi", 2);
    s.Compress();
    EXPECT_EQ(Str(s), "hi");
    s.Clear();
    EXPECT_TRUE(s.IsEmpty());
    s = S("x");
    s.Reset();
    EXPECT_STREQ(s.GetArray(), "");
}

TEST(String, AppendPrependInsertRemove_CountBytes) {
    CQEL_String s = S("core");
    s.Append(S("xyz"), 2);
    s.Prepend(S("QEL::"));
    EXPECT_EQ(Str(s), "QEL::corexy");
    s.Append(s, 3);  // from itself
    s.Insert(3, s);
    EXPECT_EQ(Str(s), "QELQEL::corexyQEL::corexyQEL");
    s = S("abcdef");
    s.Remove(1, 2);
    EXPECT_EQ(Str(s), "adef");
    s.Remove(2, -1);
    EXPECT_EQ(Str(s), "ad");
    s.Remove(2, 0);
    EXPECT_EQ(TextOf(Caught([&] { s.Append(S("xyz"), 4); })), OutOfRange("bytes", "Append"));
    EXPECT_EQ(TextOf(Caught([&] { s.Prepend(S("xyz"), 4); })), OutOfRange("bytes", "Prepend"));
    EXPECT_EQ(TextOf(Caught([&] { s.Insert(3, S("x")); })), OutOfRange("byte_index", "Insert"));
    EXPECT_EQ(TextOf(Caught([&] { s.Remove(-1, 1); })), OutOfRange("byte_index", "Remove"));
    EXPECT_EQ(TextOf(Caught([&] { s.Remove(1, 2); })), OutOfRange("bytes", "Remove"));
    EXPECT_EQ(Str(s), "ad");
    EXPECT_EQ(Str(S("a") + S("b") + CQEL_String()), "ab");
}

TEST(String, RemoveAndReplace_ScanLeftToRightWithoutOverlap) {
    CQEL_String s = S("aaaaa");
    EXPECT_EQ(s.Replace(S("aa"), S("b")), 2);
    EXPECT_EQ(Str(s), "bba");
    s = S("aaa");
    EXPECT_EQ(s.Replace(S("a"), S("aa")), 3);  // never inside a replacement
    EXPECT_EQ(Str(s), "aaaaaa");
    EXPECT_EQ(s.Replace(S(""), S("x")), 0);
    s = S("abcab");
    EXPECT_EQ(s.Replace(List({"ab", "abc"}), S("X")), 2);  // the longest at a position wins
    EXPECT_EQ(Str(s), "XX");
    s = S("a.b..c");
    EXPECT_EQ(s.Remove(S(".")), 3);
    EXPECT_EQ(Str(s), "abc");
    EXPECT_EQ(s.Replace(s, S("<$>")), 1);
    EXPECT_EQ(Str(s), "<$>");

    s = S("ababx");
    EXPECT_EQ(s.RemoveFront(S("ab"), 1), 1);
    EXPECT_EQ(s.RemoveFront(S("ab")), 1);
    EXPECT_EQ(Str(s), "x");
    s = S("x--+--");
    EXPECT_EQ(s.RemoveBack(S("--")), 1);
    EXPECT_EQ(s.RemoveBack(List({"-", "+"})), 3);
    EXPECT_EQ(Str(s), "x");
    s = S(" \t\xC2\xA0 x y\r\n ");
    s.Trim();
    EXPECT_EQ(Str(s), "x y");
    s = S(" \n ");
    s.Trim();
    EXPECT_TRUE(s.IsEmpty());
    s = S("\xC2\xA0\xC2\xA0z");
    EXPECT_EQ(s.RemoveFront(CQEL_String::WhiteSpace(), 1), 1);
    EXPECT_EQ(Str(s), "\xC2\xA0z");
}

TEST(String, Padding_CountsCharactersNotBytes) {
    CQEL_String s = S("42");
    s.PadFront(5, '0');
    EXPECT_EQ(Str(s), "00042");
    s.PadFront(3, '0');
    EXPECT_EQ(Str(s), "00042");
    CQEL_String e = S("\xC3\xA9");
    e.PadBack(3, '.');
    EXPECT_EQ(Str(e), "\xC3\xA9..");
    EXPECT_EQ(TextOf(Caught([&] { s.PadBack(-1, ' '); })), OutOfRange("length", "PadBack"));
    EXPECT_EQ(TextOf(Caught([&] { s.PadFront(9, '\xE9'); })), OutOfRange("character", "PadFront"));
}

TEST(String, Case_FoldsASCIIAndLatin1Letters) {
    CQEL_String const upper = S("\xC3\x80\xC3\x89\xC3\x8E Abc \xC3\x97\xC3\xB7 \xC3\x9F\xC3\xBF");
    EXPECT_EQ(Str(upper.GetLower()), "\xC3\xA0\xC3\xA9\xC3\xAE abc \xC3\x97\xC3\xB7 \xC3\x9F\xC3\xBF");
    EXPECT_EQ(Str(upper.GetLower().GetUpper()),
              "\xC3\x80\xC3\x89\xC3\x8E ABC \xC3\x97\xC3\xB7 \xC3\x9F\xC3\xBF");
    EXPECT_EQ(upper.GetNumUpper(), 4);  // A-grave, E-acute, I-circumflex, A
    EXPECT_EQ(upper.GetNumLower(), 4);  // b, c, sharp s, y-diaeresis
    CQEL_String euro = S(kEuroText);    // other characters are left alone
    euro.ToUpper();
    EXPECT_EQ(Str(euro),
              "A\xE2\x82\xAC"
              "B");
}

// --- searching and cutting -------------------------------------------------------------------

TEST(String, Find_ForwardAndReverse) {
    CQEL_String const s = S("hello hello");
    EXPECT_EQ(s.Find(S("lo")), 3);
    EXPECT_EQ(s.Find(S("lo"), 4), 9);
    EXPECT_EQ(s.Find(S("lo"), 11), -1);
    EXPECT_EQ(s.Find(S("")), -1);
    EXPECT_EQ(s.Find(S("hello hello!")), -1);
    EXPECT_EQ(s.FindReverse(S("lo")), 9);
    EXPECT_EQ(s.FindReverse(S("lo"), 8), 3);
    EXPECT_EQ(s.FindReverse(S("lo"), 2), -1);
    EXPECT_EQ(s.FindReverse(S("h"), -1), -1);
    EXPECT_EQ(TextOf(Caught([&] { s.Find(S("lo"), 12); })), OutOfRange("start", "Find"));
    EXPECT_EQ(TextOf(Caught([&] { s.FindReverse(S("lo"), -2); })), OutOfRange("start", "FindReverse"));

    int which = 7;
    EXPECT_EQ(s.Find(List({"ll", "hel", "he"}), 0, &which), 0);
    EXPECT_EQ(which, 1);
    EXPECT_EQ(s.Find(List({"ll", "o h"}), 3, &which), 4);
    EXPECT_EQ(which, 1);
    EXPECT_EQ(s.Find(List({"x", ""}), 0, &which), -1);
    EXPECT_EQ(which, -1);
    EXPECT_EQ(s.FindReverse(List({"he", "l"}), 11, &which), 9);
    EXPECT_EQ(which, 1);
    EXPECT_EQ(s.FindReverse(List({"he", "hel"}), 6, &which), 6);
    EXPECT_EQ(which, 1);
    EXPECT_EQ(s.Find(List({"o"}), 5, nullptr), 10);

    EXPECT_TRUE(s.MatchesAtIndex(S("lo h"), 3));
    EXPECT_FALSE(s.MatchesAtIndex(S("lo"), 10));
    EXPECT_FALSE(s.MatchesAtIndex(S(""), 0));
    EXPECT_EQ(TextOf(Caught([&] { s.MatchesAtIndex(S("x"), 12); })),
              OutOfRange("byte_index", "MatchesAtIndex"));
}

TEST(String, ExtractAndCutAtSeparators) {
    CQEL_String const s = S("hello world");
    EXPECT_EQ(Str(s.Extract(6, 3)), "wor");
    EXPECT_EQ(Str(s.Extract(6)), "world");
    EXPECT_EQ(Str(s.Extract(11)), "");
    EXPECT_EQ(TextOf(Caught([&] { s.Extract(6, 6); })), OutOfRange("bytes", "Extract"));
    EXPECT_EQ(TextOf(Caught([&] { s.Extract(12, 0); })), OutOfRange("byte_index", "Extract"));

    CQEL_String csv = S("a,b,c");
    EXPECT_EQ(Str(csv.Extract_UptoFirst(S(","))), "a");
    EXPECT_EQ(Str(csv), "a,b,c");
    EXPECT_EQ(Str(csv.Extract_UptoLast(S(","))), "a,b");
    EXPECT_EQ(Str(csv.Extract_AfterLast(S(","))), "c");
    EXPECT_EQ(Str(csv.Extract_UptoFirst(S(","), true)), "a");
    EXPECT_EQ(Str(csv), "b,c");
    EXPECT_EQ(Str(csv.Extract_UptoFirst(S(","), true)), "b");
    EXPECT_EQ(Str(csv.Extract_UptoFirst(S(","), true)), "c");  // no separator: the whole rest
    EXPECT_TRUE(csv.IsEmpty());

    CQEL_String path = S("dir/file.tar.gz");
    EXPECT_EQ(Str(path.Extract_AfterLast(S("."), true)), "gz");
    EXPECT_EQ(Str(path), "dir/file.tar");
    EXPECT_EQ(Str(path.Extract_UptoLast(S("/"), true)), "dir");
    EXPECT_EQ(Str(path), "file.tar");
    EXPECT_EQ(Str(path.Extract_UptoLast(S("/"), true)), "");  // none: nothing before it
    EXPECT_EQ(Str(path), "file.tar");
    EXPECT_EQ(Str(path.Extract_AfterLast(S("/"))), "file.tar");  // none: all of it after
    EXPECT_EQ(Str(path.Extract_AfterLast(S("/"), true)), "file.tar");
    EXPECT_TRUE(path.IsEmpty());
}

TEST(String, Tokenise_WordsOrFields) {
    CQEL_Array<CQEL_String> tokens;
    EXPECT_EQ(S("  a b\t\tc  ").Tokenise(List({" ", "\t"}), &tokens), 3);
    EXPECT_EQ(Strs(tokens), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(S("a,,b,").Tokenise(List({","}), &tokens, true), 4);
    EXPECT_EQ(Strs(tokens), (std::vector<std::string>{"a", "", "b", ""}));
    EXPECT_EQ(S("x\r\ny\rz").Tokenise(List({"\r", "\r\n"}), &tokens, true), 3);  // the longest separator
    EXPECT_EQ(Strs(tokens), (std::vector<std::string>{"x", "y", "z"}));
    EXPECT_EQ(S("1\xE2\x82\xAC"
                "2")
                  .Tokenise(List({"\xE2\x82\xAC"}), &tokens),
              2);
    EXPECT_EQ(CQEL_String().Tokenise(List({","}), &tokens, true), 0);
    EXPECT_EQ(S("abc").Tokenise(CQEL_Array<CQEL_String>(), &tokens), 1);
    EXPECT_EQ(Strs(tokens), (std::vector<std::string>{"abc"}));
    CQEL_Array<CQEL_String> both = List({";"});
    EXPECT_EQ(S("p;q").Tokenise(both, &both), 2);  // the output may be the separators
    EXPECT_EQ(Strs(both), (std::vector<std::string>{"p", "q"}));

    auto const null = Caught([] { S("a").Tokenise(List({","}), nullptr); });
    EXPECT_EQ(null.GetExceptionReason(), QEL_NULL_PARAMETER);
    EXPECT_NE(TextOf(null).find("Param name - tokens Location - QEL::Core::CQEL_String::Tokenise"),
              std::string::npos);
    auto const empty = Caught([&] { S("a").Tokenise(List({",", ""}), &tokens); });
    EXPECT_EQ(empty.GetExceptionReason(), QEL_INVALID_PARAMETER);
    EXPECT_EQ(TextOf(empty),
              "Param name - separators Location - QEL::Core::CQEL_String::Tokenise @ line # ->  "
              "Message - Token string is empty Geometry Exception: Invalid parameter!");
    EXPECT_EQ(Strs(tokens), (std::vector<std::string>{"abc"}));  // left as it was
}

// --- tests and numbers -----------------------------------------------------------------------

TEST(String, CharacterClassTests) {
    EXPECT_TRUE(S("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80 a").IsValid());
    EXPECT_TRUE(CQEL_String().IsValid());
    for (char const* invalid :
         {"\xC3", "\xC0\xAF", "\xE0\x80\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\x80",
          "a\xE2\x82"
          "b",
          "\xF8\x88\x80\x80\x80"})
        EXPECT_FALSE(S(invalid).IsValid()) << invalid;
    EXPECT_TRUE(CQEL_String().IsASCII());
    EXPECT_FALSE(S("caf\xC3\xA9").IsASCII());
    EXPECT_TRUE(S("abcXYZ").IsAlpha());
    EXPECT_FALSE(S("ab1").IsAlpha());
    EXPECT_FALSE(S("\xC3\xA9").IsAlpha());
    EXPECT_FALSE(CQEL_String().IsAlpha());
    EXPECT_TRUE(S("0123").IsNumeric());
    EXPECT_FALSE(S("-1").IsNumeric());
    EXPECT_FALSE(CQEL_String().IsNumeric());
    EXPECT_TRUE(S("a1Z9").IsAlphaNumeric());
    EXPECT_FALSE(S("a 1").IsAlphaNumeric());
}

TEST(String, Numbers_ParseStrictlyWithOptionalBlanks) {
    for (char const* yes : {"42", "-7", "+3", "2147483647", "-2147483648", "007"})
        EXPECT_TRUE(S(yes).IsInt()) << yes;
    for (char const* no : {"", "2147483648", "4.0", " 12", "+-1", "-", "1e3", "0x10", "1 2"})
        EXPECT_FALSE(S(no).IsInt()) << no;
    EXPECT_TRUE(S(" \t12 ").IsInt(true));
    EXPECT_FALSE(S("1 2").IsInt(true));
    for (char const* yes : {"1", "-1.5", ".5", "5.", "1e5", "-2.5E-3", "+.5e+2", "0"})
        EXPECT_TRUE(S(yes).IsDecimal()) << yes;
    for (char const* no : {"", ".", "e5", "1e", "1.2.3", "inf", "nan", "0x10", "1,5", "- 1", " 1"})
        EXPECT_FALSE(S(no).IsDecimal()) << no;
    EXPECT_TRUE(S("\t-1.5 ").IsDecimal(true));

    EXPECT_EQ(S(" -12\t").GetInt(), -12);
    EXPECT_EQ(S("+2147483647").GetInt(), 2147483647);
    EXPECT_DOUBLE_EQ(S(" 2.5e3 ").GetDouble(), 2500.0);
    EXPECT_EQ(S("0.1").GetDouble(), 0.1);  // correctly rounded
    EXPECT_EQ(S("+.5").GetDouble(), 0.5);
    EXPECT_EQ(S("5.").GetDouble(), 5.0);
    EXPECT_EQ(S("-0").GetDouble(), 0.0);
    EXPECT_EQ(S("1e-999").GetDouble(), 0.0);
    auto const notInt = Caught([] { S("12a").GetInt(); });
    EXPECT_EQ(notInt.GetExceptionReason(), QEL_INVALID_PARAMETER);
    EXPECT_EQ(TextOf(notInt),
              "Param name -  Location - QEL::Core::CQEL_String::GetInt @ line # ->  Message - The "
              "text is not an integer Geometry Exception: Invalid parameter!");
    EXPECT_EQ(Caught([] { S("9999999999").GetInt(); }).GetExceptionReason(), QEL_INVALID_PARAMETER);
    EXPECT_NE(TextOf(Caught([] { S("abc").GetDouble(); })).find("The text is not a decimal number"),
              std::string::npos);
    EXPECT_NE(TextOf(Caught([] { S("1e999").GetDouble(); })).find("The number is out of range"),
              std::string::npos);
    EXPECT_EQ(Caught([] { S("inf").GetDouble(); }).GetExceptionReason(), QEL_INVALID_PARAMETER);
}

TEST(String, GetCRC_IsTheMD5OfTheTextBytes) {
    EXPECT_EQ(S("abc").GetCRC().ToHex(), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(CQEL_String().GetCRC().ToHex(), "d41d8cd98f00b204e9800998ecf8427e");
    CQEL_String const text = S("caf\xC3\xA9");
    EXPECT_EQ(text.GetCRC(), CQEL_MD5::Compute("caf\xC3\xA9", 5));
    CQEL_String longer = text;
    longer.CheckSpace(8);  // the zero bytes now belong to the text
    EXPECT_NE(longer.GetCRC(), text.GetCRC());
}

// --- against std::string with random texts ---------------------------------------------------------

TEST(String, RandomTexts_SearchReplaceAndSplitAgreeWithAReference) {
    std::mt19937 random(4711);
    auto text = [&random](int maxLength) {
        static char const* const pieces[] = {"a", "b", "ab", "\xC3\xA9", ","};
        std::string out;
        int const n = int(random() % unsigned(maxLength + 1));
        for (int i = 0; i < n; ++i)
            out += pieces[random() % 5];
        return out;
    };
    for (int round = 0; round < 3000; ++round) {
        std::string const t = text(12), p = text(2), q = text(2);
        CQEL_String const s = CQEL_String::FromUTF8(t.c_str());
        CQEL_String const pattern = CQEL_String::FromUTF8(p.c_str());

        auto find = [&](std::size_t at) { return p.empty() || at > t.size() ? -1 : int(t.find(p, at)); };
        int const start = int(random() % (t.size() + 1));
        ASSERT_EQ(s.Find(pattern, start), find(std::size_t(start))) << t << " / " << p;
        ASSERT_EQ(s.FindReverse(pattern, start), p.empty() ? -1 : int(t.rfind(p, std::size_t(start))));

        // Replace: left to right, not overlapping.
        std::string expected;
        int replacements = 0;
        for (std::size_t at = 0;;) {
            std::size_t const hit = p.empty() ? std::string::npos : t.find(p, at);
            if (hit == std::string::npos) {
                expected += t.substr(at);
                break;
            }
            expected += t.substr(at, hit - at) + q;
            at = hit + p.size();
            ++replacements;
        }
        CQEL_String replaced = s;
        ASSERT_EQ(replaced.Replace(pattern, CQEL_String::FromUTF8(q.c_str())), replacements);
        ASSERT_EQ(Str(replaced), expected);

        // Split at ",", fields and words.
        std::vector<std::string> fields, words;
        for (std::size_t at = 0; !t.empty();) {
            std::size_t const comma = t.find(',', at);
            fields.push_back(t.substr(at, comma == std::string::npos ? std::string::npos : comma - at));
            if (!fields.back().empty()) words.push_back(fields.back());
            if (comma == std::string::npos) break;
            at = comma + 1;
        }
        CQEL_Array<CQEL_String> tokens;
        ASSERT_EQ(s.Tokenise(List({","}), &tokens, true), int(fields.size())) << t;
        ASSERT_EQ(Strs(tokens), fields) << t;
        s.Tokenise(List({","}), &tokens);
        ASSERT_EQ(Strs(tokens), words) << t;

        ASSERT_EQ(s < pattern, t < p);
        ASSERT_EQ(s == pattern, t == p);
    }
}

TEST(String, ArraysOfStrings_SurviveReallocationAndQueueUse) {
    CQEL_Array<CQEL_String> list;
    for (int i = 0; i < 1000; ++i)
        list.PushBack(CQEL_String::FromFormat("item %d with a text long enough", i));
    list.PopFront(600);
    list.Insert(10, S("inserted"));
    list.Remove(0, 5);
    list.PushFront(list[3]);
    EXPECT_EQ(list.Count(), 397);
    EXPECT_EQ(Str(list[0]), "item 608 with a text long enough");
    EXPECT_EQ(Str(list[6]), "inserted");
    EXPECT_EQ(Str(list.Back()), "item 999 with a text long enough");
    list.Compact();
    EXPECT_EQ(Str(list[1]), "item 605 with a text long enough");
}
