// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <type_traits>
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

std::string Text2(char const* param, char const* operation, char const* message, char const* reason) {
    return std::string("Param name - ") + param + " Location - QEL::Core::CQEL_String::" + operation +
           " @ line # ->  Message - " + message + " " + reason;
}
std::string OutOfRange(char const* param, char const* operation) {
    return Text2(param, operation, "Parameter out of range", "Geometry Exception: Parameter out of range!");
}

}  // namespace

// --- construction and conversion --------------------------------------------------------------

TEST(String, Construction_CopiesBytesAndChecksItsArguments) {
    static_assert(!std::is_constructible_v<CQEL_String, char> &&
                  !std::is_constructible_v<CQEL_String, wchar_t>);
    static_assert(!std::is_assignable_v<CQEL_String&, char> && !std::is_assignable_v<CQEL_String&, wchar_t>);
    EXPECT_EQ(Str(CQEL_String::FromASCII('x')), "x");
    EXPECT_TRUE(CQEL_String::FromASCII('\0').IsEmpty());

    CQEL_String s;
    s.SetFromASCII("a\0b", 3);  // the count is taken literally
    EXPECT_EQ(s.Length(), 3);
    EXPECT_EQ(std::memcmp(s.GetArray(), "a\0b", 4), 0);
    s.SetFromASCII(nullptr);
    EXPECT_STREQ(s.GetArray(), "");
    s = S("hello world");
    s.SetFromASCII(s.GetArray() + 6);  // from a part of itself
    s.SetFromASCII(s.GetArray() + 1, 3);
    EXPECT_EQ(Str(s), "orl");

    EXPECT_EQ(Thrown([&] { s.SetFromASCII("abc", -1); }), OutOfRange("bytes", "SetFromASCII"));
    EXPECT_EQ(Thrown([&] { s.SetFromUTF8(nullptr, 2); }, QEL_NULL_PARAMETER),
              Text2("text", "SetFromASCII", "Null Pointer", "Memory Exception: Null parameter assignment!"));
    Thrown([] { CQEL_String(nullptr, 1, EStringEncoding::UTF8); }, QEL_NULL_PARAMETER);
    EXPECT_EQ(Thrown([] { CQEL_String(nullptr, -1, EStringEncoding::UTF8); }),
              OutOfRange("count", "CQEL_String"));
    EXPECT_EQ(Str(s), "orl");

    EXPECT_EQ(Str(CQEL_String::FromFormat(L"%ls %d", L"\u00E9", 3)), "\xC3\xA9 3");
    EXPECT_EQ(CQEL_String::FromFormat(L"%0600d", 7).Length(), 600);  // beyond a first buffer

    CQEL_String moved = S("text");
    CQEL_String target(std::move(moved));
    EXPECT_STREQ(moved.GetArray(), "");  // NOLINT(bugprone-use-after-move): empty by contract
    moved += S("again");
    target = std::move(moved);
    EXPECT_EQ(Str(target), "again");
    EXPECT_TRUE(moved.IsEmpty());  // NOLINT(bugprone-use-after-move)
}

TEST(String, Encodings_ConvertToUTF8AndBack) {
    unsigned char const latin1[] = {'c', 0xE9, 'x', 0xFF};
    CQEL_String const fromLatin1(latin1, 4, EStringEncoding::Latin1);
    EXPECT_EQ(Str(fromLatin1), "c\xC3\xA9x\xC3\xBF");
    EXPECT_EQ(fromLatin1.GetByteString(), std::string(reinterpret_cast<char const*>(latin1), 4));
    EXPECT_EQ(S("x\xE2\x82\xACy\xFF").GetByteString(), "x?y?");  // beyond Latin-1, invalid

    // A surrogate pair, a lone high surrogate, an odd last byte.
    unsigned char const utf16[] = {'A', 0, 0x3D, 0xD8, 0x00, 0xDE, 0x00, 0xD8, 'B', 0, 'C'};
    EXPECT_EQ(Str(CQEL_String(utf16, 11, EStringEncoding::UTF16LE)), "A\xF0\x9F\x98\x80?B?");

    std::wstring const wide = L"\u00E9t\u00E9 \u20AC \U0001F600";
    CQEL_String const fromWide = CQEL_String::FromWideString(wide.c_str());
    EXPECT_EQ(Str(fromWide), "\xC3\xA9t\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80");
    EXPECT_EQ(fromWide.GetWideString(), wide);
    EXPECT_EQ(S("a\xFFz").GetWideString(), L"a?z");
    if constexpr (sizeof(wchar_t) == 4) {
        wchar_t const invalid[] = {L'a', wchar_t(0xD800), wchar_t(0x110000), L'b'};
        EXPECT_EQ(Str(CQEL_String::FromWideString(invalid, 4)), "a??b");
    }

    CQEL_String const text = S("Gr\xC3\xBC\xC3\x9Fs \xE2\x82\xAC!");
    EXPECT_EQ(Str(text.GetASCII()), "Gr??s ?!");  // whole characters
    EXPECT_EQ(Str(text.GetASCII(S("<>"))), "Gr<><>s <>!");
    EXPECT_EQ(Str(S("a\xFF\xFEz\xE2\x82").GetASCII()), "a??z??");  // invalid bytes one by one
}

// --- bytes and characters --------------------------------------------------------------------------

TEST(String, EmptyString_RefusesEveryByteIndex) {
    CQEL_String const empty;
    EXPECT_EQ(empty.GetCharacterCount(), 0);
    EXPECT_EQ(empty.FirstByte(), '\0');
    EXPECT_EQ(&empty.LastByte(), reinterpret_cast<char const*>(std::uintptr_t(0xBBADBEEF)));
    EXPECT_EQ(Thrown([&] { empty.IsContinuationByte(0); }), OutOfRange("byte_index", "IsContinuationByte"));
    EXPECT_EQ(Thrown([&] { empty.IsASCIIByte(0); }), OutOfRange("byte_index", "IsASCIIByte"));
    EXPECT_EQ(Thrown([&] { empty.GetCharacterStartIndex(0); }),
              OutOfRange("byte_index", "GetCharacterStartIndex"));
    EXPECT_EQ(Thrown([&] { empty.GetCharacterLength(0); }), OutOfRange("byte_index", "GetCharacterLength"));
    EXPECT_EQ(
        Thrown([&] { empty.GetFirstCharacter(); }, QEL_INVALID_OPERATION),
        Text2("", "GetFirstCharacter", "The string is empty.", "General Exception: Invalid Operation!"));

    CQEL_String s = S("abc");  // unchecked bytes, the terminator inside
    EXPECT_EQ(s[3], '\0');
    EXPECT_EQ(&s[4], reinterpret_cast<char*>(std::uintptr_t(0xBBADBEEF)));
    s.LastByte() = 'z';
    EXPECT_EQ(Str(s), "abz");
}

TEST(String, CharacterQueries_FollowTheLeadByte) {
    CQEL_String const euro = S("a\xE2\x82\xACz");
    EXPECT_EQ(euro.GetCharacterCount(), 3);
    for (int i = 1; i <= 3; ++i) {
        EXPECT_EQ(euro.GetCharacterLength(i), 3) << i;
        EXPECT_EQ(euro.GetCharacterStartIndex(i), 1) << i;
        EXPECT_EQ(euro.IsContinuationByte(i), i > 1) << i;
        EXPECT_FALSE(euro.IsASCIIByte(i));
    }
    EXPECT_EQ(euro.GetCharacterLength(4), 1);
    EXPECT_EQ(S("\xF0\x9F\x98\x80").GetCharacterLength(2), 4);
    EXPECT_EQ(S("\xF8\x80").GetCharacterLength(1), -1);  // five leading 1-bits
    EXPECT_EQ(S("\xFF").GetCharacterLength(0), -1);
    CQEL_String const orphan = S("\x80\x80z");  // no lead byte
    EXPECT_EQ(orphan.GetCharacterStartIndex(1), -1);
    EXPECT_EQ(orphan.GetCharacterLength(1), -1);
    EXPECT_EQ(orphan.GetCharacterCount(), 1);

    CQEL_String const mixed = S("\xE2\x82\xACxy\xC3\xA9");
    EXPECT_EQ(Str(mixed.GetFirstCharacter()), "\xE2\x82\xAC");
    EXPECT_EQ(Str(mixed.GetLastCharacter()), "\xC3\xA9");
    EXPECT_EQ(Str(orphan.GetFirstCharacter()), "\x80");
    EXPECT_EQ(Str(S("\xE2\x82").GetFirstCharacter()), "\xE2\x82");  // cut short by the end
}

TEST(String, Comparison_IsBytewiseAndCaseFoldsOnlyASCII) {
    EXPECT_TRUE(S("ABC") ^= S("abc"));
    EXPECT_FALSE(S("\xC3\x84") ^= S("\xC3\xA4"));  // A and a with diaeresis
    EXPECT_FALSE(S("[") ^= S("{"));                // 0x5B + 32, but not a letter
    EXPECT_FALSE(S("abc") ^= S("abcd"));
    EXPECT_TRUE(S("abd") > S("abc") && S("abc") >= S("ab"));
    EXPECT_TRUE(S("z") < S("\xC3\xA9"));  // bytes compare unsigned
    EXPECT_TRUE(CQEL_String::FromASCII("a\0b", 3) != CQEL_String::FromASCII("a\0c", 3));
}

// --- editing ----------------------------------------------------------------------------------------

TEST(String, Lengths_CheckedAndDirectWritingTakenOver) {
    CQEL_String s = S("abc");
    EXPECT_EQ(Thrown([&] { s.CheckSpace(1000000001); }), OutOfRange("length", "CheckSpace"));
    EXPECT_EQ(Thrown([&] { s.Prepare(-1); }), OutOfRange("length", "Prepare"));
    s.CheckSpace(5);
    EXPECT_EQ(std::memcmp(s.GetArray(), "abc\0\0\0", 6), 0);
    s.Compress();
    EXPECT_EQ(Str(s), "abc");
    s.Prepare(10);
    std::memcpy(s.GetBuffer(), "hi", 2);
    s.Compress();
    EXPECT_EQ(Str(s), "hi");
}

TEST(String, Editing_CountsBytesAndCopesWithItself) {
    CQEL_String s = S("core");
    s.Append(S("xyz"), 2);
    s.Prepend(S("QEL::"));
    s.Append(s, 3);
    s.Insert(3, s);
    EXPECT_EQ(Str(s), "QELQEL::corexyQEL::corexyQEL");
    s = S("abcdef");
    s.Remove(1, 2);
    s.Remove(2, -1);
    EXPECT_EQ(Str(s), "ad");
    EXPECT_EQ(Thrown([&] { s.Append(S("xyz"), 4); }), OutOfRange("bytes", "Append"));
    EXPECT_EQ(Thrown([&] { s.Insert(3, S("x")); }), OutOfRange("byte_index", "Insert"));
    EXPECT_EQ(Thrown([&] { s.Remove(1, 2); }), OutOfRange("bytes", "Remove"));

    s = S("aaa");
    EXPECT_EQ(s.Replace(S("a"), S("aa")), 3);  // never inside a replacement
    s = S("abcab");
    EXPECT_EQ(s.Replace(List({"ab", "abc"}), S("X")), 2);  // the longest at a position wins
    EXPECT_EQ(Str(s), "XX");
    s = S("a.b..c");
    EXPECT_EQ(s.Remove(S(".")), 3);
    EXPECT_EQ(s.Replace(s, S("<$>")), 1);
    EXPECT_EQ(Str(s), "<$>");

    s = S("ababx-+-");
    EXPECT_EQ(s.RemoveFront(S("ab"), 1), 1);
    EXPECT_EQ(s.RemoveFront(S("ab")), 1);
    EXPECT_EQ(s.RemoveBack(List({"-", "+"})), 3);
    EXPECT_EQ(Str(s), "x");
    s = S(" \t\xC2\xA0 x y\r\n ");
    s.Trim();
    EXPECT_EQ(Str(s), "x y");

    s = S("42");
    s.PadFront(5, '0');
    EXPECT_EQ(Str(s), "00042");
    CQEL_String e = S("\xC3\xA9");
    e.PadBack(3, '.');  // characters, not bytes
    EXPECT_EQ(Str(e), "\xC3\xA9..");
    EXPECT_EQ(Thrown([&] { s.PadBack(-1, ' '); }), OutOfRange("length", "PadBack"));
    EXPECT_EQ(Thrown([&] { s.PadFront(9, '\xE9'); }), OutOfRange("character", "PadFront"));

    CQEL_String const upper = S("\xC3\x80\xC3\x89 Abc \xC3\x97\xC3\xB7 \xC3\x9F\xC3\xBF \xE2\x82\xAC");
    EXPECT_EQ(Str(upper.GetLower()), "\xC3\xA0\xC3\xA9 abc \xC3\x97\xC3\xB7 \xC3\x9F\xC3\xBF \xE2\x82\xAC");
    EXPECT_EQ(Str(upper.GetLower().GetUpper()),
              "\xC3\x80\xC3\x89 ABC \xC3\x97\xC3\xB7 \xC3\x9F\xC3\xBF \xE2\x82\xAC");
    EXPECT_EQ(upper.GetNumUpper(), 3);  // A-grave, E-acute, A
    EXPECT_EQ(upper.GetNumLower(), 4);  // b, c, sharp s, y-diaeresis
}

// --- searching and cutting ---------------------------------------------------------------------------

TEST(String, Find_ForwardReverseAndAmongPatterns) {
    CQEL_String const s = S("hello hello");
    EXPECT_EQ(s.FindReverse(S("h"), -1), -1);
    EXPECT_EQ(Thrown([&] { s.Find(S("lo"), 12); }), OutOfRange("start", "Find"));
    EXPECT_EQ(Thrown([&] { s.FindReverse(S("lo"), -2); }), OutOfRange("start", "FindReverse"));
    int which = 7;
    EXPECT_EQ(s.Find(List({"ll", "hel", "he"}), 0, &which), 0);
    EXPECT_EQ(which, 1);
    EXPECT_EQ(s.FindReverse(List({"he", "l"}), 11, &which), 9);
    EXPECT_EQ(which, 1);
    EXPECT_TRUE(s.MatchesAtIndex(S("lo h"), 3));
    EXPECT_FALSE(s.MatchesAtIndex(S("lo"), 10));
    EXPECT_EQ(Thrown([&] { s.MatchesAtIndex(S("x"), 12); }), OutOfRange("byte_index", "MatchesAtIndex"));
}

TEST(String, ExtractAndCutAtSeparators) {
    CQEL_String const s = S("hello world");
    EXPECT_EQ(Str(s.Extract(6)), "world");
    EXPECT_EQ(Thrown([&] { s.Extract(6, 6); }), OutOfRange("bytes", "Extract"));
    EXPECT_EQ(Thrown([&] { s.Extract(12, 0); }), OutOfRange("byte_index", "Extract"));

    CQEL_String csv = S("a,b,c");
    EXPECT_EQ(Str(csv.Extract_UptoLast(S(","))), "a,b");
    EXPECT_EQ(Str(csv.Extract_UptoFirst(S(","), true)), "a");
    EXPECT_EQ(Str(csv), "b,c");
    csv.Extract_UptoFirst(S(","), true);
    EXPECT_EQ(Str(csv.Extract_UptoFirst(S(","), true)), "c");  // no separator: the whole rest
    EXPECT_TRUE(csv.IsEmpty());

    CQEL_String path = S("dir/file.tar.gz");
    EXPECT_EQ(Str(path.Extract_AfterLast(S("."), true)), "gz");
    EXPECT_EQ(Str(path.Extract_UptoLast(S("/"), true)), "dir");
    EXPECT_EQ(Str(path), "file.tar");
    EXPECT_EQ(Str(path.Extract_UptoLast(S("/"), true)), "");           // none: nothing before it
    EXPECT_EQ(Str(path.Extract_AfterLast(S("/"), true)), "file.tar");  // none: all of it after
    EXPECT_TRUE(path.IsEmpty());
}

TEST(String, Tokenise_WordsOrFields) {
    CQEL_Array<CQEL_String> tokens;
    EXPECT_EQ(S("  a b\t\tc  ").Tokenise(List({" ", "\t"}), &tokens), 3);
    EXPECT_EQ(Strs(tokens), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(S("x\r\ny\rz").Tokenise(List({"\r", "\r\n"}), &tokens, true), 3);  // the longest separator
    CQEL_Array<CQEL_String> both = List({";"});
    EXPECT_EQ(S("p;q").Tokenise(both, &both), 2);  // the output may be the separators
    EXPECT_EQ(Strs(both), (std::vector<std::string>{"p", "q"}));

    EXPECT_EQ(Thrown([] { S("a").Tokenise(List({","}), nullptr); }, QEL_NULL_PARAMETER),
              Text2("tokens", "Tokenise", "Null Pointer", "Memory Exception: Null parameter assignment!"));
    CQEL_Array<CQEL_String> const withEmpty = List({",", ""});
    EXPECT_EQ(
        Thrown([&] { S("a").Tokenise(withEmpty, &both); }, QEL_INVALID_PARAMETER),
        Text2("separators", "Tokenise", "Token string is empty", "Geometry Exception: Invalid parameter!"));
    EXPECT_EQ(Strs(both), (std::vector<std::string>{"p", "q"}));  // left as it was
}

// --- tests and numbers ---------------------------------------------------------------------------------

TEST(String, ClassTests_AndStrictNumbers) {
    EXPECT_TRUE(S("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80 a").IsValid());
    for (char const* invalid :
         {"\xC3", "\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\x80", "\xF8\x88\x80\x80\x80"})
        EXPECT_FALSE(S(invalid).IsValid()) << invalid;
    EXPECT_TRUE(CQEL_String().IsASCII() && !S("caf\xC3\xA9").IsASCII());
    EXPECT_TRUE(S("abcXYZ").IsAlpha() && !S("ab1").IsAlpha() && !CQEL_String().IsAlpha());
    EXPECT_TRUE(S("0123").IsNumeric() && !S("-1").IsNumeric());
    EXPECT_TRUE(S("a1Z9").IsAlphaNumeric() && !S("a 1").IsAlphaNumeric());

    for (char const* yes : {"-7", "+3", "2147483647", "-2147483648"})
        EXPECT_TRUE(S(yes).IsInt()) << yes;
    for (char const* no : {"", "2147483648", "4.0", " 12", "+-1", "-"})
        EXPECT_FALSE(S(no).IsInt()) << no;
    EXPECT_TRUE(S(" \t12 ").IsInt(true));
    for (char const* yes : {"1", "-1.5", ".5", "5.", "1e5", "-2.5E-3", "+.5e+2"})
        EXPECT_TRUE(S(yes).IsDecimal()) << yes;
    for (char const* no : {"", ".", "e5", "1e", "1.2.3", "inf", "nan", "0x10", "1,5", " 1"})
        EXPECT_FALSE(S(no).IsDecimal()) << no;
    EXPECT_TRUE(S("\t-1.5 ").IsDecimal(true));

    EXPECT_EQ(S(" -12\t").GetInt(), -12);
    EXPECT_EQ(S(" 2.5e3 ").GetDouble(), 2500.0);
    EXPECT_EQ(S("0.1").GetDouble(), 0.1);  // correctly rounded
    EXPECT_EQ(S("+.5").GetDouble(), 0.5);
    EXPECT_EQ(S("1e-999").GetDouble(), 0.0);
    EXPECT_EQ(Thrown([] { S("12a").GetInt(); }, QEL_INVALID_PARAMETER),
              Text2("", "GetInt", "The text is not an integer", "Geometry Exception: Invalid parameter!"));
    for (auto const& c : {std::pair{"abc", "The text is not a decimal number"},
                          std::pair{"1e999", "The number is out of range"}})
        EXPECT_NE(Thrown([&] { S(c.first).GetDouble(); }, QEL_INVALID_PARAMETER).find(c.second),
                  std::string::npos);
}

TEST(String, GetCRC_IsTheMD5OfTheTextBytes) {
    EXPECT_EQ(S("abc").GetCRC().ToHex(), "900150983cd24fb0d6963f7d28e17f72");
    CQEL_String longer = S("abc");
    longer.CheckSpace(4);  // the zero byte now belongs to the text
    EXPECT_EQ(longer.GetCRC(), CQEL_MD5::Compute("abc", 4));
}

// --- against std::string with random texts ------------------------------------------------------------

TEST(String, RandomTexts_SearchReplaceAndSplitAgreeWithAReference) {
    std::mt19937 random(4711);
    auto text = [&random](int maxPieces) {
        static char const* const pieces[] = {"a", "b", "ab", "\xC3\xA9", ","};
        std::string out;
        for (int n = int(random() % unsigned(maxPieces + 1)); n > 0; --n)
            out += pieces[random() % 5];
        return out;
    };
    for (int round = 0; round < 3000; ++round) {
        std::string const t = text(12), p = text(2), q = text(2);
        CQEL_String const s = CQEL_String::FromUTF8(t.c_str()), pattern = CQEL_String::FromUTF8(p.c_str());
        int const start = int(random() % (t.size() + 1));
        ASSERT_EQ(s.Find(pattern, start), p.empty() ? -1 : int(t.find(p, std::size_t(start))))
            << t << " / " << p;
        ASSERT_EQ(s.FindReverse(pattern, start), p.empty() ? -1 : int(t.rfind(p, std::size_t(start))));
        ASSERT_EQ(s < pattern, t < p);

        std::string expected;  // left to right, not overlapping
        int replacements = 0;
        for (std::size_t at = 0;; ++replacements) {
            std::size_t const hit = p.empty() ? std::string::npos : t.find(p, at);
            expected += t.substr(at, hit == std::string::npos ? hit : hit - at);
            if (hit == std::string::npos) break;
            expected += q;
            at = hit + p.size();
        }
        CQEL_String replaced = s;
        ASSERT_EQ(replaced.Replace(pattern, CQEL_String::FromUTF8(q.c_str())), replacements);
        ASSERT_EQ(Str(replaced), expected);

        std::vector<std::string> fields, words;
        for (std::size_t at = 0; !t.empty();) {
            std::size_t const comma = t.find(',', at);
            fields.push_back(t.substr(at, comma == std::string::npos ? comma : comma - at));
            if (!fields.back().empty()) words.push_back(fields.back());
            if (comma == std::string::npos) break;
            at = comma + 1;
        }
        CQEL_Array<CQEL_String> tokens;
        s.Tokenise(List({","}), &tokens, true);
        ASSERT_EQ(Strs(tokens), fields) << t;
        s.Tokenise(List({","}), &tokens);
        ASSERT_EQ(Strs(tokens), words) << t;
    }
}
