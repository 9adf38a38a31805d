// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <vector>

#include "core/CQEL_Exception.h"
#include "core/CQEL_String.h"
#include "core/CQEL_Stream.h"
#include "test_helpers/ReasonOf.h"

using namespace QEL::Core;

namespace {

std::vector<unsigned char> Pattern(std::size_t n, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<unsigned char> bytes(n);
    for (auto& b : bytes)
        b = static_cast<unsigned char>(random());
    return bytes;
}

std::filesystem::path TempDir() {
    auto dir = std::filesystem::temp_directory_path() / ("qel_stream_test_" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir);
    return dir;
}

}  // namespace

TEST(Stream, BytesCrossChunkBoundariesIntact) {
    CQEL_Stream stream;
    auto const bytes = Pattern(300000, 1);  // spans several chunks
    for (std::size_t at = 0; at < bytes.size(); at += 4093)
        stream.Put(bytes.data() + at, std::int64_t(std::min<std::size_t>(4093, bytes.size() - at)));
    EXPECT_EQ(stream.SizeInBytes(), 300000);
    EXPECT_EQ(stream.TellPutPosition(), 300000);
    std::vector<unsigned char> back(bytes.size());
    stream.Get(back.data(), std::int64_t(back.size()));
    EXPECT_EQ(back, bytes);
    EXPECT_TRUE(stream.EOS());
}

TEST(Stream, PositionsAreIndependentAndPutPastEndFillsZeros) {
    CQEL_Stream stream;
    stream.PutValue<std::int32_t>(-1);
    stream.PutValue<double>(2.5);
    stream.SeekPutPosition(0);
    stream.PutValue<std::int32_t>(7);  // patch, as a header is patched
    EXPECT_EQ(stream.SizeInBytes(), 12);
    EXPECT_EQ(stream.GetValue<std::int32_t>(), 7);
    EXPECT_EQ(stream.GetValue<double>(), 2.5);

    stream.SeekPutPosition(20000);
    stream.PutValue<std::uint8_t>(9);
    EXPECT_EQ(stream.SizeInBytes(), 20001);
    stream.SeekGetPosition(12);
    std::vector<unsigned char> gap(19988);
    stream.Get(gap.data(), std::int64_t(gap.size()));
    EXPECT_EQ(std::count(gap.begin(), gap.end(), 0), std::ptrdiff_t(gap.size()));
    EXPECT_EQ(stream.GetValue<std::uint8_t>(), 9);
}

TEST(Stream, ReadingPastTheEndThrowsReadErrorAndKeepsPosition) {
    CQEL_Stream stream;
    stream.PutValue<std::int32_t>(1);
    stream.SeekGetPosition(2);
    EXPECT_EQ(ReasonOf([&] { stream.GetValue<std::int32_t>(); }), QEL_FILE_READ_ERROR);
    EXPECT_EQ(stream.TellGetPosition(), 2);
    EXPECT_THROW(stream.SeekGetPosition(5), CQEL_Exception);
    EXPECT_THROW(stream.SeekGetPosition(-1), CQEL_Exception);
}

TEST(Stream, GetLineSplitsOnNewlinesAndDropsCarriageReturns) {
    CQEL_Stream stream;
    std::string const text = "scan x y z\r\n1 2 3\n\nlast";
    stream.Put(text.data(), std::int64_t(text.size()));
    CQEL_String line;
    std::vector<std::string> lines;
    while (stream.GetLine(line))
        lines.emplace_back(line.GetArray());
    EXPECT_EQ(lines, (std::vector<std::string>{"scan x y z", "1 2 3", "", "last"}));
}

// A view of a part of another stream reads its bytes where they lie, across
// the other stream's chunks, and becomes a copy of its own at the first Put.
TEST(Stream, ViewOfAnotherStreamReadsItsBytesAndIsCopiedInByAPut) {
    CQEL_Stream source;
    auto bytes = Pattern(70000, 3);  // chunks end at 4096, 12288, 28672 and 61440
    bytes[12290] = '\n';
    source.Put(bytes.data(), std::int64_t(bytes.size()));
    std::int64_t const from = 4000, length = 60000;

    CQEL_Stream view;
    view.PutValue<int>(5);
    view.AttachView(source, from, length);
    EXPECT_EQ(view.SizeInBytes(), length);
    EXPECT_EQ(view.TellGetPosition(), 0);
    std::vector<unsigned char> back(std::size_t(length - 100));
    view.SeekGetPosition(100);
    view.Get(back.data(), std::int64_t(back.size()));
    EXPECT_TRUE(std::equal(back.begin(), back.end(), bytes.begin() + from + 100));
    std::int64_t runs = 0, seen = 0;
    view.ForEachRun(8000, 30000, [&](unsigned char const* run, std::int64_t n) {
        EXPECT_EQ(run[0], bytes[std::size_t(from + 8000 + seen)]);
        ++runs, seen += n;
    });
    EXPECT_EQ(seen, 22000);
    EXPECT_EQ(runs, 3);  // bytes 12000 to 34000 of the source lie in three of its chunks
    // A line that starts in one chunk of the source and ends in the next.
    view.SeekGetPosition(12000 - from);
    CQEL_String line;
    ASSERT_TRUE(view.GetLine(line));
    EXPECT_EQ(view.TellGetPosition(), 12291 - from);

    view.SeekPutPosition(0);
    view.PutValue<unsigned char>(0xAB);
    EXPECT_EQ(view.SizeInBytes(), length);
    view.SeekGetPosition(0);
    EXPECT_EQ(view.GetValue<unsigned char>(), 0xAB);
    EXPECT_EQ(view.GetValue<unsigned char>(), bytes[std::size_t(from + 1)]);
    source.SeekGetPosition(from);
    EXPECT_EQ(source.GetValue<unsigned char>(), bytes[std::size_t(from)]);  // the source is untouched

    EXPECT_THROW(view.AttachView(source, 20000, 50001), CQEL_Exception);
    EXPECT_THROW(view.AttachView(source, -1, 10), CQEL_Exception);
}

TEST(Stream, FileRoundTripAndFailedWriteKeepsTarget) {
    auto const dir = TempDir();
    auto const path = (dir / "data.bin").string();
    CQEL_Stream out;
    auto const bytes = Pattern(1 << 20, 2);
    out.Put(bytes.data(), std::int64_t(bytes.size()));
    out.WriteToFile(CQEL_String::FromASCII(path.c_str()));

    CQEL_Stream in;
    in.ReadFromFile(CQEL_String::FromASCII(path.c_str()));
    EXPECT_EQ(in.SizeInBytes(), std::int64_t(bytes.size()));
    std::vector<unsigned char> back(bytes.size());
    in.Get(back.data(), std::int64_t(back.size()));
    EXPECT_EQ(back, bytes);

    // A directory cannot be replaced by a file: the write fails, the directory stays, no temporary is left.
    auto const blocked = dir / "blocked";
    std::filesystem::create_directories(blocked / "inside");
    EXPECT_EQ(ReasonOf([&] { out.WriteToFile(CQEL_String::FromASCII(blocked.c_str())); }),
              QEL_FILE_WRITE_ERROR);
    EXPECT_TRUE(std::filesystem::is_directory(blocked / "inside"));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir), std::filesystem::directory_iterator()),
              2);

    EXPECT_EQ(ReasonOf([&] { in.ReadFromFile(CQEL_String::FromASCII((dir / "missing").c_str())); }),
              QEL_FILE_NOT_FOUND);
    std::filesystem::remove_all(dir);
}
