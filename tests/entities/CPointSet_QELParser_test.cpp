// SPDX-License-Identifier: MIT
// The point set's record in the native container.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "test_helpers/PointSetFixtures.h"
#include "core/CExportData.h"
#include "core/CImportData.h"
#include "core/CQEL_Exception.h"
#include "entities/CPointSet_QELParser.h"
#include "formats/CQELParser.h"
#include "core/CQEL_Stream.h"

using namespace QEL::Core;
using namespace QEL::Test;
using ::testing::HasSubstr;

namespace {

std::vector<std::string> ChunkTags(CExportData const& data) {
    CImportData in;
    data.ForEachRun([&](unsigned char const* run, std::int64_t n) { in.GetStream().Put(run, n); });
    std::vector<std::string> tags;
    SQELChunk chunk;
    while (in.NextChunk(chunk)) {
        tags.emplace_back(chunk.tag);
        in.SkipChunk(chunk);
    }
    return tags;
}

// Exports the sets into a container and imports it again (the container knows the point set out of the box).
std::vector<std::unique_ptr<CPointSet>> ThroughContainer(std::vector<CPointSet const*> const& sets,
                                                         char const* key) {
    CQELParser parser;
    parser.SetKeyDerivationIterations(CQELParser::kMinIterations);
    CQEL_Array<ISerialisable const*> objects;
    for (CPointSet const* set : sets)
        objects.PushBack(set, 1);
    CQEL_Stream stream;
    EXPECT_TRUE(parser.Export(stream, objects, CQEL_String::FromASCII(key)));
    EXPECT_TRUE(parser.Import(stream, CQEL_String::FromASCII(key)));
    std::vector<std::unique_ptr<CPointSet>> back;
    while (parser.GetNumObjects() > 0) {
        ISerialisable* object = parser.DetachObject(0);
        back.emplace_back(dynamic_cast<CPointSet*>(object));
        EXPECT_NE(back.back(), nullptr);
    }
    return back;
}

std::pair<int, std::string> ReadError(CImportData& data) {
    CPointSet set;
    try {
        set.Deserialise(&data);
    } catch (CQEL_Exception const& e) {
        EXPECT_EQ(set.GetNumSec(), 0);
        return {e.GetExceptionReason(), e.what()};
    }
    ADD_FAILURE() << "no exception";
    return {-1, ""};
}

}  // namespace

TEST(PointSetRecord, RoundTripKeepsEveryAttributeNameAndUserData) {
    CPointSet full = MakeSet(3, 17, AllStored(), 1);
    full.SetName(CQEL_String::FromUTF8("scan ünd Zeilen"));
    unsigned char const user[] = {1, 2, 3, 0, 255};
    full.SetUserMetaData(CQEL_Array<unsigned char>(5, user));
    CPointSet mixed = MakeSet(2, 5, CPtsData::def | CPtsData::err, 2);
    mixed.get_Sec(1).AddMetaData(CPtsData::ind);  // sections may differ in attributes
    CPointSet const bare = MakeSet(1, 4, CPtsData::def, 3);
    CPointSet withEmptySection = MakeSet(2, 0, CPtsData::def | CPtsData::nms, 4);

    for (char const* key : {"", "point key"}) {
        SCOPED_TRACE(key);
        auto const back = ThroughContainer({&full, &mixed, &bare, &withEmptySection}, key);
        ASSERT_EQ(back.size(), 4u);
        ExpectSameSets(*back[0], full);
        EXPECT_STREQ(back[0]->GetName().GetArray(), "scan ünd Zeilen");
        EXPECT_EQ(back[0]->GetUserMetaData(), full.GetUserMetaData());
        ExpectSameSets(*back[1], mixed);
        ExpectSameSets(*back[2], bare);
        ExpectSameSets(*back[3], withEmptySection);
    }

    // A set without sections has no record to write: its export fails whole.
    CPointSet const empty;
    CQEL_Array<ISerialisable const*> objects;
    objects.PushBack(&bare, 1);
    objects.PushBack(&empty, 1);
    CQEL_Stream stream;
    try {
        CQELParser().Export(stream, objects, CQEL_String());
        ADD_FAILURE() << "no exception";
    } catch (CQEL_Exception const& e) {
        EXPECT_EQ(e.GetExceptionReason(), QEL_NULL_PARAMETER);
        EXPECT_THAT(e.what(), HasSubstr("Array is empty"));
    }
}

TEST(PointSetRecord, WritesTagsNamesAndCountsInTheIndex) {
    CPointSet const bare = MakeSet(2, 3, CPtsData::def, 5);
    CExportData data;
    ASSERT_TRUE(bare.Serialise(&data));
    EXPECT_STREQ(data.GetClassIdentifier().GetArray(), "C23E1C5E-1C72-4e3f-A39C-64FFEE58A73A");
    EXPECT_STREQ(data.GetClassName().GetArray(), "class QEL::Core::CPointSet");
    EXPECT_STREQ(data.GetTypeName().GetArray(), "QEL_PointSet");
    EXPECT_EQ(data.GetIndexField1(), 2);
    EXPECT_EQ(data.GetIndexField2(), 6);
    EXPECT_EQ(ChunkTags(data), (std::vector<std::string>{"NAME    ", "POINTS  ", "NAME    ", "POINTS  "}));

    CPointSet full = MakeSet(1, 2, CPtsData(0x7FF), 6);  // the attributes whose tags are fixed below
    unsigned char const user[] = {9};
    full.SetUserMetaData(CQEL_Array<unsigned char>(1, user));
    CExportData all;
    ASSERT_TRUE(full.Serialise(&all));
    EXPECT_EQ(ChunkTags(all), (std::vector<std::string>{"NAME    ", "POINTS  ", "NORMALS ", "CPOINTS ",
                                                        "CNORMALS", "UVS     ", "COLOURS ", "ERRORS  ",
                                                        "INDICES ", "VELS    ", "STATUSES", "METADATA"}));
    // Positions as three doubles per point, right after the tag and count.
    std::vector<unsigned char> bytes(std::size_t(all.SizeInBytes()));
    all.ForEachRun([&, at = std::size_t(0)](unsigned char const* run, std::int64_t n) mutable {
        std::memcpy(bytes.data() + at, run, std::size_t(n));
        at += std::size_t(n);
    });
    std::size_t const points = 12 + std::size_t(full.GetName().Length());
    std::uint32_t count;
    std::memcpy(&count, bytes.data() + points + 8, 4);
    EXPECT_EQ(count, 48u);
    double x;
    std::memcpy(&x, bytes.data() + points + 12 + 24, 8);
    EXPECT_EQ(x, full.get_Pts(1).x);
}

TEST(PointSetRecord, MisfittingChunksThrowReason23) {
    auto record = [](std::vector<std::pair<char const*, std::vector<unsigned char>>> const& chunks) {
        auto data = std::make_unique<CImportData>();
        CExportData out;
        for (auto const& [tag, bytes] : chunks)
            out.PutChunk(tag, bytes.data(), std::int64_t(bytes.size()));
        out.ForEachRun([&](unsigned char const* run, std::int64_t n) { data->GetStream().Put(run, n); });
        data->GetStream().SeekGetPosition(0);
        return data;
    };
    std::vector<unsigned char> const twoPoints(48, 0), oneNormal(24, 0);
    auto early = record({{"NAME", {}}, {"NORMALS", oneNormal}});
    auto [reason, text] = ReadError(*early);
    EXPECT_EQ(reason, QEL_FILE_READ_ERROR);
    EXPECT_THAT(text, HasSubstr("before any \"POINTS\""));

    auto mismatch = record({{"POINTS", twoPoints}, {"NORMALS", oneNormal}});
    std::tie(reason, text) = ReadError(*mismatch);
    EXPECT_EQ(reason, QEL_FILE_READ_ERROR);
    EXPECT_THAT(text, HasSubstr("holds 24 bytes, not 48"));

    auto ragged = record({{"POINTS", std::vector<unsigned char>(25, 0)}});
    EXPECT_EQ(ReadError(*ragged).first, QEL_FILE_READ_ERROR);

    // Unknown chunks are skipped.
    auto extra =
        record({{"POINTS", twoPoints}, {"FUTURE", {1, 2, 3}}, {"ERRORS", std::vector<unsigned char>(16)}});
    CPointSet set;
    ASSERT_TRUE(set.Deserialise(extra.get()));
    EXPECT_EQ(set.GetNumPts(), 2);
    EXPECT_TRUE(set.get_Sec(0).HasMetaData(CPtsData::err));
}
