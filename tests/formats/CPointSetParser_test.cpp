// SPDX-License-Identifier: MIT
// The plain point formats: every writer against its reader, exact layouts,
// and damaged files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "test_helpers/FileFolderTest.h"
#include "test_helpers/PointSetFixtures.h"
#include "core/CQEL_Exception.h"
#include "core/CQEL_Output_Events.h"
#include "formats/CPointSetParser.h"
#include "test_helpers/ChannelLog.h"
#include "test_helpers/ReasonOf.h"

using namespace QEL::Core;
using namespace QEL::Test;
using ::testing::HasSubstr;

namespace {

using PointFiles = QEL::Test::CFileFolderTest;

SPointFileOptions Exact() {
    SPointFileOptions options;
    options.significantDigits = 17;
    return options;
}

}  // namespace

TEST_F(PointFiles, ASC_RoundTripKeepsSectionsEmptyOnesIncludedAndTheirColumns) {
    CPointSet set = MakeSet(5, 20, CPtsData::def, 10);
    set.get_Sec(2).DecrementNumPts(20);  // empty sections, between others and at the end
    set.get_Sec(4).DecrementNumPts(20);
    set.get_Sec(0).AddMetaData(CPtsData::nms | CPtsData::cuv | CPtsData::err);
    set.get_Sec(1).AddMetaData(CPtsData::err);
    std::mt19937 random(11);
    for (int s = 0; s < 2; ++s)
        FillSection(set.get_Sec(s), random);
    ASSERT_TRUE(CPointSetParser::WriteASCFile(Path("a.asc"), set, false, Exact()));
    std::string const text = Read("a.asc");
    EXPECT_EQ(text.rfind("scan x y z i j k u v e\n", 0), 0u);
    EXPECT_THAT(text, HasSubstr("\nscan x y z e\n"));
    EXPECT_THAT(text, HasSubstr("\nscan x y z\nscan x y z\n"));
    EXPECT_EQ(text.substr(text.size() - 11), "scan x y z\n");

    CPointSet back;
    ASSERT_TRUE(CPointSetParser::ReadASCFile(Path("a.asc"), &back));
    ExpectSameSets(back, set);
    EXPECT_EQ(m_texts.back(), "  a total of 60 points were read from the file");
}

TEST_F(PointFiles, ASC_HeaderNamesNormalsAndErrorsAndPrefersAssociatedNormals) {
    CPointSet set = MakeSet(1, 1, CPtsData::def | CPtsData::nms | CPtsData::err, 12);
    set.get_Sec(0).set_Pts(0, CPoint3<double>(1, 2, 3));
    set.get_Sec(0).set_Nms(0, CVector3<double>(0, 0, 1));
    set.get_Sec(0).set_Err(0, 0.25);
    ASSERT_TRUE(CPointSetParser::WriteASCFile(Path("n.asc"), set, false));
    EXPECT_EQ(Read("n.asc"), "scan x y z i j k e\n1 2 3 0 0 1 0.25\n");

    set.get_Sec(0).AddMetaData(CPtsData::cnm);
    set.get_Sec(0).set_CNm(0, CVector3<double>(1, 0, 0));
    ASSERT_TRUE(CPointSetParser::WriteASCFile(Path("n.asc"), set, true));  // appended
    EXPECT_EQ(Read("n.asc"), "scan x y z i j k e\n1 2 3 0 0 1 0.25\nscan x y z i j k e\n1 2 3 1 0 0 0.25\n");
}

TEST_F(PointFiles, ASC_ReaderToleratesCaseUnknownColumnsAndStrayLines) {
    Write("t.asc",
          "1 2 3\n"            // data before any header: a section of its own
          "\n# comment\nok\n"  // blank, comment and short lines are skipped
          "SCAN X ? Z E W\n"   // "?" and "W" are read and ignored
          "4 99 6 0.5 77\n"
          "7 99 9\n"  // fewer values than columns: the rest read as 0
          "scan\n"    // every header starts a section: this one stays empty
          "Scan i j k x y z\n"
          "0 0 1 10 11 12\r\n");
    CPointSet set;
    ASSERT_TRUE(CPointSetParser::ReadASCFile(Path("t.asc"), &set));
    ASSERT_EQ(SectionSizes(set), (std::vector<int>{1, 2, 0, 1}));
    CPointSet_Section const& second = set.get_Sec(1);
    EXPECT_TRUE(second.HasMetaData(CPtsData::err));
    EXPECT_EQ(CPoint3<double>(second.get_Pts(0)), CPoint3<double>(4, 0, 6));
    EXPECT_EQ(second.get_Err(0), 0.5);
    EXPECT_EQ(second.get_Err(1), 0.0);
    CPointSet_Section const& third = set.get_Sec(3);
    EXPECT_TRUE(third.HasMetaData(CPtsData::nms));
    EXPECT_EQ(CPoint3<double>(third.get_Pts(0)), CPoint3<double>(10, 11, 12));
    EXPECT_EQ(third.get_Nms(0), CVector3<double>(0, 0, 1));
    EXPECT_EQ(m_warnings.size(), 2u);  // one short line, one unknown column
}

TEST_F(PointFiles, DAT_WritesStreamDefaultsAndReadsBackAsOneSection) {
    CPointSet set = MakeSet(3, 4, CPtsData::def | CPtsData::nms, 13);
    set.get_Sec(0).set_Pts(0, CPoint3<double>(1234.56789, -0.000123456789, 1e7));
    ASSERT_TRUE(CPointSetParser::WriteDATFile(Path("d.dat"), set, false));
    EXPECT_EQ(Read("d.dat").substr(0, 26), "1234.57 -0.000123457 1e+07");

    CPointSet back;
    ASSERT_TRUE(CPointSetParser::ReadDATFile(Path("d.dat"), &back));
    ASSERT_EQ(SectionSizes(back), std::vector<int>{12});
    EXPECT_FALSE(back.get_Sec(0).HasMetaData(CPtsData::nms));
    for (int i = 0; i < 12; ++i) {
        CPoint3<double> const a = back.get_Pts(i), b = set.get_Pts(i);
        EXPECT_NEAR(a.x, b.x, std::abs(b.x) * 1e-5);
    }
    EXPECT_THAT(m_texts, ::testing::Contains(HasSubstr("Time to import took = ")));

    // Exact with 17 digits; a second read adds to the last section.
    ASSERT_TRUE(CPointSetParser::WriteDATFile(Path("d.dat"), set, false, Exact()));
    CPointSet twice;
    ASSERT_TRUE(CPointSetParser::ReadDATFile(Path("d.dat"), &twice));
    ASSERT_TRUE(CPointSetParser::ReadDATFile(Path("d.dat"), &twice));
    ASSERT_EQ(SectionSizes(twice), std::vector<int>{24});
    for (int i = 0; i < 24; ++i)
        EXPECT_EQ(CPoint3<double>(twice.get_Pts(i)), CPoint3<double>(set.get_Pts(i % 12)));
}

TEST_F(PointFiles, BIN_MarksSectionsAndAppendStartsANewOne) {
    CPointSet set = MakeSet(2, 5, CPtsData::def, 14);
    ASSERT_TRUE(CPointSetParser::WriteBINFile(Path("b.bin"), set, false));
    std::string const once = Read("b.bin");
    ASSERT_EQ(once.size(), 10u * 12 + 12);
    EXPECT_EQ(once.substr(60, 12), std::string(12, '\xFF'));
    float first[3];
    std::memcpy(first, once.data(), 12);
    EXPECT_EQ(first[0], float(set.get_Pts(0).x));

    ASSERT_TRUE(CPointSetParser::WriteBINFile(Path("a.bin"), set, true));
    EXPECT_EQ(Read("a.bin").size(), 10u * 12 + 24);
    ASSERT_TRUE(CPointSetParser::WriteBINFile(Path("a.bin"), set, true));

    CPointSet back;
    ASSERT_TRUE(CPointSetParser::ReadBINFile(Path("a.bin"), &back));
    ASSERT_EQ(back.GetNumSec(), 4);
    for (int i = 0; i < 20; ++i) {
        CPoint3<double> const p = set.get_Pts(i % 10);
        EXPECT_EQ(CPoint3<double>(back.get_Pts(i)), CPoint3<double>(float(p.x), float(p.y), float(p.z)));
    }
}

TEST_F(PointFiles, BIN_EveryMarkerStartsASectionAndPointsBeforeTheFirstJoinTheLast) {
    auto record = [](float x) {
        return std::string(reinterpret_cast<char const*>(std::array{x, x, x}.data()), 12);
    };
    std::string const marker(12, '\xFF');
    // Runs parted by doubled markers, a trailing marker; no leading marker.
    Write("runs.bin", record(1) + record(2) + marker + marker + record(3) + marker);
    CPointSet set(1, 4, CPtsData::def);
    ASSERT_TRUE(CPointSetParser::ReadBINFile(Path("runs.bin"), &set));
    ASSERT_EQ(SectionSizes(set), (std::vector<int>{6, 0, 1, 0}));  // the first run joined the last section
    EXPECT_EQ(set.get_Sec(0).get_Pts(5).x, 2.0);
    // A leading marker starts a new section even when the set has some.
    Write("lead.bin", marker + record(4));
    ASSERT_TRUE(CPointSetParser::ReadBINFile(Path("lead.bin"), &set));
    ASSERT_EQ(set.GetNumSec(), 5);
    EXPECT_EQ(set.get_Sec(4).get_Pts(0).x, 4.0);
    Write("markers.bin", marker + marker);
    ASSERT_TRUE(CPointSetParser::ReadBINFile(Path("markers.bin"), &set));
    EXPECT_EQ(set.GetNumSec(), 7);

    // Empty sections, written and read back, with and without append.
    CPointSet gaps = MakeSet(4, 3, CPtsData::def, 15);
    gaps.get_Sec(1).DecrementNumPts(3);
    gaps.get_Sec(3).DecrementNumPts(3);
    for (bool append : {false, true}) {
        std::remove(Path("gaps.bin").GetArray());
        ASSERT_TRUE(CPointSetParser::WriteBINFile(Path("gaps.bin"), gaps, append));
        CPointSet back;
        ASSERT_TRUE(CPointSetParser::ReadBINFile(Path("gaps.bin"), &back));
        EXPECT_EQ(SectionSizes(back), (std::vector<int>{3, 0, 3, 0})) << append;
    }

    // Files large enough to be read in parts side by side (8 MiB and more
    // per part): runs that cross a part's border or its blocks, a border
    // that falls between two markers, and every point in its place.
    constexpr int kRecords = 1500000;  // 18 MB, two parts or more
    for (std::vector<int> const& markers :
         {std::vector<int>{749999, 750000, 1050001}, std::vector<int>{1000000}, std::vector<int>{}}) {
        std::string text(std::size_t(kRecords) * 12, '\xFF');
        std::vector<int> expected(1, 0);
        for (int r = 0, point = 0; r < kRecords; ++r) {
            if (std::find(markers.begin(), markers.end(), r) != markers.end()) {
                expected.push_back(0);
                continue;
            }
            std::array const xyz{float(point), -float(point), 0.5f};
            std::memcpy(text.data() + std::size_t(r) * 12, xyz.data(), 12);
            ++point, ++expected.back();
        }
        Write("big.bin", text);
        CPointSet back;
        ASSERT_TRUE(CPointSetParser::ReadBINFile(Path("big.bin"), &back));
        ASSERT_EQ(SectionSizes(back), expected);
        int point = 0;
        for (int s = 0; s < back.GetNumSec(); ++s) {
            for (CPoint3<double> const p : back.get_Sec(s).GetPtsArray()) {
                if (p != CPoint3<double>(point, -point, 0.5))
                    FAIL() << "point " << point << " of section " << s;
                ++point;
            }
        }
    }
}

TEST_F(PointFiles, BIN_CutAtEveryLengthReadsWholeRecordsOrThrows23) {
    CPointSet const set = MakeSet(2, 3, CPtsData::def, 15);
    ASSERT_TRUE(CPointSetParser::WriteBINFile(Path("b.bin"), set, false));
    std::string const whole = Read("b.bin");
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        Write("cut.bin", whole.substr(0, length));
        CPointSet back;
        if (length % 12 == 0) {
            EXPECT_TRUE(CPointSetParser::ReadBINFile(Path("cut.bin"), &back));
            EXPECT_EQ(back.GetNumPts(), int(length / 12) - (length > 36 ? 1 : 0));
        } else {
            EXPECT_EQ(ReasonOf([&] { CPointSetParser::ReadBINFile(Path("cut.bin"), &back); }),
                      QEL_FILE_READ_ERROR)
                << length;
        }
    }
}

TEST_F(PointFiles, CUT_WritesFeedFromVelocityOrTheFixedFeed) {
    CPointSet set(1, 2, CPtsData::def | CPtsData::vel);
    set.get_Sec(0).set_Pts(0, CPoint3<double>(1, 2, 3));
    set.get_Sec(0).set_Vel(0, 10.0);
    set.get_Sec(0).set_Pts(1, CPoint3<double>(4, 5, 6));
    set.get_Sec(0).set_Vel(1, 0.5);
    ASSERT_TRUE(CPointSetParser::WriteCUTFile(Path("c.cut"), set, false));
    EXPECT_EQ(Read("c.cut"), "1 2 3 600\n4 5 6 30\n");
    set.get_Sec(0).RemoveMetaData(CPtsData::vel);
    ASSERT_TRUE(CPointSetParser::WriteCUTFile(Path("c.cut"), set, true));
    EXPECT_EQ(Read("c.cut"), "1 2 3 600\n4 5 6 30\n1 2 3 1250\n4 5 6 1250\n");

    CPointSet back = MakeSet(2, 1, CPtsData::def, 16);
    ASSERT_TRUE(CPointSetParser::ReadCUTFile(Path("c.cut"), &back));
    ASSERT_EQ(SectionSizes(back), (std::vector<int>{5, 1}));  // moves join the first section
    EXPECT_EQ(back.get_Sec(0).get_Vel(1), 10.0);
    EXPECT_EQ(back.get_Sec(0).get_Vel(4), 1250.0 / 60.0);
    EXPECT_EQ(m_texts[m_texts.size() - 2], "  a total of 4 points were read from the file");
    EXPECT_EQ(m_texts.back(), "  a total of 4 moves were read from the file");
}

TEST_F(PointFiles, UnopenableFilesGiveFalseAndBadArgumentsThrow) {
    CPointSet set = MakeSet(1, 2, CPtsData::def, 17);
    CQEL_String const missing = Path("none/x.dat");
    int count = 0;
    SPointFormat const* formats = GetPointFormats(count);
    ASSERT_EQ(count, 10);
    for (int i = 0; i < count; ++i) {
        SCOPED_TRACE(formats[i].extension);
        EXPECT_FALSE(formats[i].read(missing, &set));
        EXPECT_FALSE(formats[i].write(missing, set, false, {}));
        if (std::string(".ply.obj.off.pts").find(formats[i].extension) == std::string::npos) {
            // (the formats with a count or element header refuse append: their own tests)
            EXPECT_FALSE(formats[i].write(missing, set, true, {}));
        }
        EXPECT_EQ(ReasonOf([&] { formats[i].read(Path("x"), nullptr); }), QEL_NULL_PARAMETER);
        SPointFileOptions wrong;
        wrong.significantDigits = 18;
        EXPECT_EQ(ReasonOf([&] { formats[i].write(Path("x"), set, false, wrong); }),
                  QEL_PARAMETER_OUT_OF_RANGE);
        EXPECT_FALSE(std::filesystem::exists(m_dir / "x"));
    }
    EXPECT_EQ(FindPointFormat(CQEL_String::FromASCII("/a.b/SCAN.ASC")), &formats[0]);
    EXPECT_EQ(FindPointFormat(CQEL_String::FromASCII("/a.dat/scan")), nullptr);
    EXPECT_EQ(FindPointFormat(CQEL_String::FromASCII("x.qel")), nullptr);
}
