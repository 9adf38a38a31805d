// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>

#include "core/CQEL_Operation.h"
#include "core/CQEL_String.h"
#include "test_helpers/LineNumbers.h"

using namespace QEL::Core;

namespace {

long g_frameLine, g_spacingLine, g_radiusLine;

enum class EFailure { None, Reason, Inner, BadAlloc, Foreign };

// An exported operation of the usual shape; lines are recorded where they stand.
// clang-format off
double Sphere(double radius, double spacing, EFailure failure = EFailure::None) {
    static CQEL_Operation const op("QEL::Test::Sphere");
    return op.Run([&] { g_frameLine = __LINE__;
        op.CheckRange(spacing, 1e-6, 1e9, "spacing"); g_spacingLine = __LINE__;
        op.CheckRange(radius, 2.0 * spacing, 1e9, "radius"); g_radiusLine = __LINE__;
        switch (failure) {
            case EFailure::Reason: throw QEL_INVALID_POINTSET;
            case EFailure::Inner: throw CQEL_Exception(QEL_FILE_READ_ERROR, CQEL_String::FromASCII("Inner -> "));
            case EFailure::BadAlloc: throw std::bad_alloc();
            case EFailure::Foreign: throw 42;
            case EFailure::None: break;
        }
        return radius / spacing;
    });
}
// clang-format on

std::string Location(long line) {
    return GetQELExceptionLocation("QEL::Test::Sphere", line).GetArray();
}

}  // namespace

TEST(Operation, ChecksReportTheirOwnLinesAndBoundsAreInclusive) {
    EXPECT_DOUBLE_EQ(Sphere(10, 0.5), 20.0);
    auto const spacing = Caught([] { Sphere(10, 0); });
    auto const radius = Caught([] { Sphere(1.9, 1); });
    ASSERT_NE(g_spacingLine, g_radiusLine);
    EXPECT_EQ(spacing.GetExceptionReason(), QEL_PARAMETER_OUT_OF_RANGE);
    EXPECT_EQ(std::string(spacing.what()),
              "Param name - spacing Location - " + Location(g_spacingLine) +
                  " Message - Parameter out of range Geometry Exception: Parameter "
                  "out of range!");
    EXPECT_EQ(std::string(radius.what()),
              "Param name - radius Location - " + Location(g_radiusLine) +
                  " Message - Parameter out of range Geometry Exception: Parameter "
                  "out of range!");
    // Bounds are inclusive; NaN fails.
    EXPECT_NO_THROW(Sphere(2, 1));
    EXPECT_NO_THROW(Sphere(1e9, 1e-6));
    EXPECT_THROW(Sphere(2, std::nan("")), CQEL_Exception);
    EXPECT_THROW(Sphere(1e9 * 1.0000001, 1), CQEL_Exception);
}

TEST(Operation, FrameConvertsWhatEscapesAtItsOwnLine) {
    auto const reason = Caught([] { Sphere(10, 1, EFailure::Reason); });
    EXPECT_EQ(reason.GetExceptionReason(), QEL_INVALID_POINTSET);
    EXPECT_EQ(std::string(reason.what()), Location(g_frameLine) + "Geometry Exception: Invalid pointset!");

    auto const inner = Caught([] { Sphere(10, 1, EFailure::Inner); });
    EXPECT_EQ(inner.GetExceptionReason(), QEL_FILE_READ_ERROR);
    EXPECT_STREQ(inner.what(), "Inner -> File Exception: File read error!");

    auto const memory = Caught([] { Sphere(10, 1, EFailure::BadAlloc); });
    EXPECT_EQ(memory.GetExceptionReason(), QEL_STD_EXCEPTION);
    EXPECT_EQ(std::string(memory.what()), Location(g_frameLine) + std::bad_alloc().what());

    auto const foreign = Caught([] { Sphere(10, 1, EFailure::Foreign); });
    EXPECT_EQ(foreign.GetExceptionReason(), QEL_UNHANDLED);
    EXPECT_EQ(std::string(foreign.what()), Location(g_frameLine) + "General Exception: Unhandled Exception!");
}

TEST(Operation, CountsCallsPerName) {
    long const before = CQEL_Operation::GetCallCount("QEL::Test::Sphere");
    Sphere(10, 1);
    EXPECT_THROW(Sphere(10, 0), CQEL_Exception);
    EXPECT_EQ(CQEL_Operation::GetCallCount("QEL::Test::Sphere"), before + 2);
    EXPECT_EQ(CQEL_Operation::GetCallCount("QEL::Test::NeverRun"), 0);

    long seen = -1;
    CQEL_Operation::ForEachCallCount(
        [](char const* name, long count, void* user) {
            if (std::string(name) == "QEL::Test::Sphere") *static_cast<long*>(user) = count;
        },
        &seen);
    EXPECT_EQ(seen, before + 2);
}
