// SPDX-License-Identifier: MIT
// The building blocks of the text point formats: number scanning against
// sscanf, line reading, and writing that never destroys the file it replaces.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "core/CQEL_Exception.h"
#include "formats/COutputFile.h"
#include "formats/CTextLineReader.h"
#include "formats/CTextLineScanner.h"
#include "formats/QEL_TextNumbers.h"

using namespace QEL::Core;

namespace {

std::filesystem::path TempDir() {
    auto dir = std::filesystem::temp_directory_path() / ("qel_text_test_" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir);
    return dir;
}

std::string ReadAll(std::filesystem::path const& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}
void WriteAll(std::filesystem::path const& path, std::string const& text) {
    std::ofstream(path, std::ios::binary) << text;
}

// The text of the read error that `read` throws; empty, and a failure, when it throws none.
std::string ReadError(std::function<void()> const& read) {
    try {
        read();
    } catch (CQEL_Exception const& e) {
        EXPECT_EQ(e.GetExceptionReason(), QEL_FILE_READ_ERROR);
        return e.what();
    }
    ADD_FAILURE() << "no exception";
    return {};
}

// sscanf's reading of the same line, as the oracle.
int Sscanf(std::string const& line, double* v) {
    return std::sscanf(line.c_str(), "%lf %lf %lf %lf %lf %lf %lf %lf %lf", v, v + 1, v + 2, v + 3, v + 4,
                       v + 5, v + 6, v + 7, v + 8);
}

}  // namespace

TEST(TextNumbers, ScanDoublesAgreesWithSscanf) {
    std::vector<std::string> lines{
        "1 2 3", "  -1.5e3\t+2.25  .5 ", "1.5-2.5+3", "4 5 x 6", "1e 2",
        "1e+",   "inf -INFINITY nan",    "+-1",       "- 1",     "12345678901234567890.5"};
    lines.insert(lines.end(), {"9 8 7 6 5 4 3 2 1 0", "", "   ", "scan x y z", "7,8", "3.", ".e5", "-.5E-2",
                               "1e308", "2.2250738585072011e-308"});
    std::mt19937 random(42);
    std::uniform_real_distribution<double> value(-1e6, 1e6);
    for (int i = 0; i < 200; ++i) {
        char buffer[128];
        std::snprintf(buffer, sizeof buffer, "%.17g %.9g %g", value(random), value(random), value(random));
        lines.push_back(buffer);
    }
    // Around the limits of the short-decimal path: 15 to 19 digits, 2^53,
    // decimal exponents near +-22, negative zero.
    std::uniform_int_distribution<int> exponent(-30, 30);
    for (int i = 0; i < 400; ++i) {
        char buffer[160];
        double const v = value(random) * std::pow(10.0, exponent(random));
        std::snprintf(buffer, sizeof buffer, "%.15g %.16e %.19g %.3e -%.0f", v, v, v, v, std::fabs(v));
        lines.push_back(buffer);
    }
    lines.insert(lines.end(), {"9007199254740992 9007199254740993 9999999999999999999 10000000000000000000",
                               "1e22 1e23 1.5e-22 1.5e-23 123456789012345678e-22", "-0 -0.0e5 0.000",
                               "0.1 0.2 0.30000000000000004 1e-320 1e400 -1e400"});
    for (std::string const& line : lines) {
        SCOPED_TRACE(line);
        double expected[9] = {}, got[9] = {};
        int const n = Sscanf(line, expected);
        int const m = Text::ScanDoubles(line, got, 9);
        ASSERT_EQ(m, std::max(n, 0));
        for (int k = 0; k < m; ++k) {
            if (std::isnan(expected[k]))
                EXPECT_TRUE(std::isnan(got[k]));
            else
                EXPECT_TRUE(got[k] == expected[k] && std::signbit(got[k]) == std::signbit(expected[k]))
                    << k << ": " << got[k] << " != " << expected[k];
        }
    }
}

TEST(TextNumbers, PrintDoubleMatchesPrintfG) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> value(-1e7, 1e7);
    for (double v : {0.0, -0.0, 1.0, 1e6, 1e-5, 123456.5, 1234567.0, 0.1}) {
        char expected[64], got[32];
        std::snprintf(expected, sizeof expected, "%g", v);
        *Text::PrintDouble(got, v, 6) = 0;
        EXPECT_STREQ(got, expected);
    }
    for (int i = 0; i < 100; ++i) {
        double const v = value(random);
        char expected[64], got[32];
        std::snprintf(expected, sizeof expected, "%.17g", v);
        *Text::PrintDouble(got, v, 17) = 0;
        EXPECT_STREQ(got, expected);
        EXPECT_EQ(std::strtod(got, nullptr), v);
    }
}

TEST(TextLineReader, SplitsLinesOfEveryEndingAndRefusesHugeLines) {
    auto const path = TempDir() / "lines.txt";
    std::string const longLine(3 * (1 << 18), 'a');  // longer than one read, shorter than the limit
    WriteAll(path, "one\r\ntwo\n\nthree\r\n" + longLine + "\nlast");
    CTextLineReader reader;
    ASSERT_TRUE(reader.Open(path.c_str()));
    std::vector<std::string> lines;
    std::string_view line;
    while (reader.NextLine(line))
        lines.emplace_back(line);
    EXPECT_EQ(lines, (std::vector<std::string>{"one", "two", "", "three", longLine, "last"}));
    EXPECT_EQ(reader.Consumed(), reader.FileSize());

    WriteAll(path, "x\n" + std::string(CTextLineReader::kMaxLineBytes + 10, 'b'));
    CTextLineReader huge;
    ASSERT_TRUE(huge.Open(path.c_str()));
    ASSERT_TRUE(huge.NextLine(line));
    EXPECT_NE(ReadError([&] { huge.NextLine(line); }).find("Line 2 is longer"), std::string::npos);
    CTextLineReader missing;
    EXPECT_FALSE(missing.Open((TempDir() / "absent.txt").c_str()));
    EXPECT_FALSE(missing.Open(TempDir().c_str()));  // a folder
    std::filesystem::remove_all(TempDir());
}

// The scanner cuts blocks into parts scanned side by side; what it hands out
// must be what reading line by line and scanning each line gives, also for
// lines that straddle block and part borders.
TEST(TextLineScanner, AgreesWithTheLineReaderAcrossBlocksAndPartsAndRefusesHugeLines) {
    auto const path = TempDir() / "scan.txt";
    {
        std::mt19937 random(5);
        std::ofstream out(path, std::ios::binary);
        char const* const kinds[] = {"1 2 3", "scan x y z", "", "  -4.5e-3\t7 8 9 10 11 12 13 14 15 16",
                                     "text",  "5 6"};
        std::int64_t written = 0;
        for (int i = 0; written < 3 * CTextLineReader::kBlockBytes; ++i) {
            std::string line = kinds[random() % 6];
            if (i % 50000 == 7) line += " " + std::string(300000, '7');  // a long line now and then
            line += random() % 4 == 0 ? "\r\n" : "\n";
            out << line;
            written += std::int64_t(line.size());
        }
        out << "1 2 3 4";  // no line end
    }
    struct SLine {
        std::string text;
        std::vector<double> values;
        bool operator==(SLine const&) const = default;
    };
    std::vector<SLine> expected, got;
    CTextLineReader reader;
    ASSERT_TRUE(reader.Open(path.c_str()));
    std::string_view line;
    while (reader.NextLine(line)) {
        double values[3];
        int const n = Text::ScanDoubles(line, values, 3);
        expected.push_back({std::string(line), std::vector<double>(values, values + n)});
    }
    CTextLineScanner scanner(3);
    ASSERT_TRUE(scanner.Open(path.c_str()));
    scanner.ForEachLine([&](std::string_view text, double const* values, int n) {
        got.push_back({std::string(text), std::vector<double>(values, values + n)});
    });
    ASSERT_EQ(got.size(), expected.size());
    for (std::size_t i = 0; i < got.size(); ++i)
        ASSERT_TRUE(got[i] == expected[i]) << "line " << i + 1;
    EXPECT_EQ(scanner.Consumed(), scanner.FileSize());

    // Too long inside a block, and longer than a whole block.
    for (std::int64_t length : {CTextLineReader::kMaxLineBytes + 1, CTextLineReader::kBlockBytes + 10}) {
        WriteAll(path, "1 2 3\n4 5 6\n" + std::string(std::size_t(length), '8') + "\n7 8 9\n");
        CTextLineScanner huge(3);
        ASSERT_TRUE(huge.Open(path.c_str()));
        int visited = 0;
        std::string const text =
            ReadError([&] { huge.ForEachLine([&](std::string_view, double const*, int) { ++visited; }); });
        EXPECT_NE(text.find("Line 3 is longer"), std::string::npos) << text;
        EXPECT_EQ(visited, 2);
    }
    std::filesystem::remove_all(TempDir());
}

TEST(OutputFile, KeepsTheOldFileUnlessCommitted) {
    auto const path = TempDir() / "out.txt";
    WriteAll(path, "old");
    // Writes `text` to the file opened to replace or to append; what the file holds once closed.
    auto write = [&](bool append, std::string const& text, bool commit) {
        {
            COutputFile file;
            EXPECT_TRUE(file.Open(path.string(), append));
            file.Write(text);
            if (commit) file.Commit();
        }  // closed: an uncommitted file is cut back here
        return ReadAll(path);
    };
    EXPECT_EQ(write(false, "new", false), "old");
    EXPECT_EQ(write(true, std::string(3 << 20, 'z'), false), "old");  // past the buffer, then cut back
    EXPECT_EQ(write(true, "+more", true), "old+more");
    EXPECT_EQ(write(false, "new", true), "new");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(TempDir()), {}), 1);  // no leftovers
    COutputFile nowhere;
    EXPECT_FALSE(nowhere.Open((TempDir() / "no" / "such.txt").string(), false));
    std::filesystem::remove_all(TempDir());
}
