// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "core/CImportData.h"
#include "test_helpers/LineNumbers.h"

using namespace QEL::Core;
using ::testing::HasSubstr;

TEST(ImportData, ChunkRunningPastTheRecordThrowsReason23) {
    CImportData data;
    data.GetStream().Put("POINTS  ", 8);
    data.GetStream().PutValue<std::uint32_t>(48);
    data.GetStream().Put(std::string(24, 'x').data(), 24);
    SQELChunk chunk;
    EXPECT_THAT(Thrown([&] { data.NextChunk(chunk); }, QEL_FILE_READ_ERROR),
                HasSubstr("claims 48 bytes but only 24 remain"));
    CImportData cut;
    cut.GetStream().Put("NAME", 4);
    Thrown([&] { cut.NextChunk(chunk); }, QEL_FILE_READ_ERROR);
}
