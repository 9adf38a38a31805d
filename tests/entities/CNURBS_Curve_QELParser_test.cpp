// SPDX-License-Identifier: MIT
// The NURBS curve's record in the native container: identical round trips
// in a file shared with point sets and meshes, and damaged records.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "core/CExportData.h"
#include "core/CImportData.h"
#include "core/CQEL_Exception.h"
#include "core/CQEL_Stream.h"
#include "entities/CNURBS_Curve.h"
#include "entities/CPointSet.h"
#include "entities/CTriangulation.h"
#include "formats/CQELParser.h"

using namespace QEL::Core;
using ::testing::HasSubstr;

namespace {

CNURBS_Curve RationalCurve() {
    CNURBS_Curve curve;
    curve.CheckSpace(6, 3);
    for (int i = 0; i < 6; ++i)
        curve.set_CtrlPts(i, CCtrlPoint(i * 0.5, -i, i * i, 0.5 + 0.25 * i));
    curve.EditKnotVector().set_Knots(4, 0.2);
    curve.SetClosed(true);
    curve.SetCurrentMaxDeviation(0.001);
    curve.SetName(CQEL_String::FromUTF8("Bögen"));
    unsigned char const user[] = {1, 2, 3};
    curve.SetUserMetaData(CQEL_Array<unsigned char>(3, user));
    return curve;
}

void ExpectIdentical(CNURBS_Curve const& a, CNURBS_Curve const& b) {
    EXPECT_EQ(a.GetOrder(), b.GetOrder());
    EXPECT_EQ(a.GetKnotVector().GetKnots(), b.GetKnotVector().GetKnots());
    ASSERT_EQ(a.GetCtrlPts().Count(), b.GetCtrlPts().Count());
    for (int i = 0; i < a.GetCtrlPts().Count(); ++i)
        EXPECT_EQ(a.GetCtrlPts()[i], b.GetCtrlPts()[i]);
    EXPECT_EQ(a.IsClosed(), b.IsClosed());
    EXPECT_EQ(a.IsPeriodic(), b.IsPeriodic());
    EXPECT_EQ(a.GetCurrentMaxDeviation(), b.GetCurrentMaxDeviation());
    EXPECT_EQ(a.GetName(), b.GetName());
    EXPECT_EQ(a.GetUserMetaData(), b.GetUserMetaData());
}

std::vector<unsigned char> RecordBytes(CNURBS_Curve const& curve) {
    CExportData data;
    EXPECT_TRUE(curve.Serialise(&data));
    std::vector<unsigned char> bytes;
    data.ForEachRun(
        [&](unsigned char const* run, std::int64_t n) { bytes.insert(bytes.end(), run, run + n); });
    return bytes;
}

std::pair<int, std::string> ReadError(std::vector<unsigned char> const& bytes) {
    CImportData data;
    data.GetStream().Put(bytes.data(), std::int64_t(bytes.size()));
    CNURBS_Curve curve = RationalCurve();
    try {
        curve.Deserialise(&data);
    } catch (CQEL_Exception const& e) {
        EXPECT_EQ(curve.GetOrder(), -1);
        EXPECT_EQ(curve.GetNumKnots(), 0);
        return {e.GetExceptionReason(), e.what()};
    }
    return {-1, ""};
}

}  // namespace

TEST(NURBSCurveRecord, RoundTripIsIdenticalInAFileWithPointSetsAndMeshes) {
    CNURBS_Curve const curve = RationalCurve();
    CNURBS_Curve const empty;
    CPointSet const points(2, 3, CPtsData::def);
    CTriangulation mesh;
    CQEL_Array<ISerialisable const*> objects;
    for (ISerialisable const* o :
         {static_cast<ISerialisable const*>(&points), static_cast<ISerialisable const*>(&curve),
          static_cast<ISerialisable const*>(&mesh), static_cast<ISerialisable const*>(&empty)})
        objects.PushBack(o);
    CQELParser parser;
    CQEL_Stream stream;
    ASSERT_TRUE(parser.Export(stream, objects, CQEL_String()));
    ASSERT_TRUE(parser.Import(stream, CQEL_String()));
    ASSERT_EQ(parser.GetNumObjects(), 4);
    EXPECT_NE(dynamic_cast<CPointSet const*>(parser.GetObject(0)), nullptr);
    EXPECT_NE(dynamic_cast<CTriangulation const*>(parser.GetObject(2)), nullptr);
    ExpectIdentical(curve, dynamic_cast<CNURBS_Curve const&>(*parser.GetObject(1)));
    ExpectIdentical(empty, dynamic_cast<CNURBS_Curve const&>(*parser.GetObject(3)));
    EXPECT_EQ(RecordBytes(dynamic_cast<CNURBS_Curve const&>(*parser.GetObject(1))), RecordBytes(curve));

    CExportData data;
    curve.Serialise(&data);
    EXPECT_EQ(data.GetTypeName(), CQEL_String::FromASCII("QEL_NURBSCurve"));
    EXPECT_EQ(data.GetIndexField1(), 6);
    EXPECT_EQ(data.GetIndexField2(), 4);
}

TEST(NURBSCurveRecord, DamagedRecordsThrowReason23AndLeaveTheCurveNew) {
    CNURBS_Curve curve = RationalCurve();
    curve.SetUserMetaData(CQEL_Array<unsigned char>());  // the last chunk is then a required one
    std::vector<unsigned char> const good = RecordBytes(curve);
    ASSERT_EQ(ReadError(good).first, -1);
    for (std::size_t n = 0; n < good.size(); ++n)
        ASSERT_EQ(ReadError(std::vector<unsigned char>(good.begin(), good.begin() + long(n))).first,
                  QEL_FILE_READ_ERROR)
            << "cut at " << n;

    auto const chunkAt = [&](char const* tag) {
        for (std::size_t at = 0; at + 12 <= good.size();) {
            std::uint32_t count = 0;
            std::memcpy(&count, &good[at + 8], 4);
            if (std::memcmp(&good[at], tag, 8) == 0) return at + 12;
            at += 12 + count;
        }
        ADD_FAILURE() << tag;
        return std::size_t(0);
    };
    std::size_t const head = chunkAt("NURBHEAD"), knots = chunkAt("KNOTS   "), pts = chunkAt("CTRLPTS ");
    struct SDamage {
        std::size_t at;
        std::int32_t value;
        char const* says;
    };
    SDamage const damages[] = {
        {head, 1, "order 1"},
        {head, 51, "order 51"},
        {head, INT_MAX, "order"},
        {head + 4, 11, "11 knots"},
        {head + 8, 7, "7 control"},
        {head + 8, INT_MAX, "control points"},
        {head + 12, 4, "unknown flags"},
    };
    for (SDamage const& damage : damages) {
        std::vector<unsigned char> bad = good;
        std::memcpy(&bad[damage.at], &damage.value, 4);
        auto const [reason, message] = ReadError(bad);
        EXPECT_EQ(reason, QEL_FILE_READ_ERROR) << damage.says;
        EXPECT_THAT(message, HasSubstr(damage.says));
    }
    // Lying counts that still agree with each other: the chunks no longer fit.
    std::vector<unsigned char> bad = good;
    std::int32_t const more[3] = {4, 11, 7};
    std::memcpy(&bad[head], more, 12);
    EXPECT_THAT(ReadError(bad).second, HasSubstr("\"KNOTS\" holds 80 bytes, not 88"));
    // Values: a decreasing knot, a NaN knot, an infinite weight.
    double const values[3] = {0.1, std::nan(""), HUGE_VAL};
    std::size_t const where[3] = {knots + 5 * 8, knots + 8, pts + 3 * 8};
    char const* const says[3] = {"knot 5", "knot 1", "control point 0"};
    for (int i = 0; i < 3; ++i) {
        bad = good;
        std::memcpy(&bad[where[i]], &values[i], 8);
        EXPECT_THAT(ReadError(bad).second, HasSubstr(says[i]));
    }
    // A chunk twice.
    bad = good;
    bad.insert(bad.end(), good.begin() + long(knots - 12), good.begin() + long(pts - 12));
    EXPECT_THAT(ReadError(bad).second, HasSubstr("appears twice"));
}
