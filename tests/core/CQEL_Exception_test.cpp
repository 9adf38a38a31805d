// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <type_traits>

#include "core/CQEL_Exception.h"
#include "core/CQEL_String.h"

using namespace QEL::Core;

namespace {

std::string Reason(int code) {
    return CQEL_Exception::GetReason(EQELExceptionReason(code)).GetArray();
}
CQEL_String S(char const* text) {
    return CQEL_String::FromASCII(text);
}

}  // namespace

TEST(Exception, ReasonTextsFollowTheirFamilies) {
    EXPECT_EQ(Reason(0), "Memory Exception: Null parameter assignment!");
    EXPECT_EQ(Reason(3), "Memory Exception: DeAllocation failure!");
    EXPECT_EQ(Reason(4), "Geometry Exception: Index out of range!");
    EXPECT_EQ(Reason(5), "Geometry Exception: Parameter out of range!");
    EXPECT_EQ(Reason(15), "Geometry Exception: Invalid pointset!");
    EXPECT_EQ(Reason(16), "Maths Exception: Division by zero!");
    EXPECT_EQ(Reason(18), "Maths Exception: Floating point exception!");
    EXPECT_EQ(Reason(19), "File Exception: Unsupported format!");
    EXPECT_EQ(Reason(23), "File Exception: File read error!");
    EXPECT_EQ(Reason(26), "File Exception: Access error!");
    EXPECT_EQ(Reason(29), "General Exception: STD internal exception!");
    EXPECT_EQ(Reason(33), "General Exception: Input Request Cancelled!");
    EXPECT_EQ(Reason(34), "Low level Exception: Access Violation!");
    EXPECT_EQ(Reason(42), "Low level Exception: Invalid Handle!");
    EXPECT_EQ(Reason(51), "Topology Exception: Invalid Connectivity!");
    EXPECT_EQ(Reason(54), "Topology Exception: Non-manifold vertex!");
}

TEST(Exception, CodesWithoutTextOfTheirOwnReadUnhandled) {
    EXPECT_EQ(Reason(17), "Maths Exception: Unhandled Exception!");
    EXPECT_EQ(Reason(27), "Invalid encryption key Exception: Unhandled Exception!");
    EXPECT_EQ(Reason(28), "Registry Exception: Unhandled Exception!");
    EXPECT_EQ(Reason(32), "General Exception: Unhandled Exception!");
    for (int reserved = 43; reserved <= 50; ++reserved)
        EXPECT_EQ(Reason(reserved), "General Exception: Unhandled Exception!");
    EXPECT_EQ(Reason(55), "General Exception: Unhandled Exception!");
    EXPECT_EQ(Reason(-1), "General Exception: Unhandled Exception!");
}

TEST(Exception, LocationLeftAlignsTheLineInFiveColumns) {
    EXPECT_STREQ(GetQELExceptionLocation("Name", 7).GetArray(), "Name @ line 7     -> ");
    EXPECT_STREQ(GetQELExceptionLocation("QEL::Core::CPointSet_Create::Sphere", 321).GetArray(),
                 "QEL::Core::CPointSet_Create::Sphere @ line 321   -> ");
    EXPECT_STREQ(GetQELExceptionLocation("N", 1234567).GetArray(), "N @ line 1234567 -> ");
}

TEST(Exception, ConstructorsComposeTheirTexts) {
    CQEL_String const location = GetQELExceptionLocation("QEL::Core::CPointSet_Create::Sphere", 372);
    CQEL_Exception const bare(QEL_UNHANDLED, location);
    EXPECT_STREQ(
        bare.what(),
        "QEL::Core::CPointSet_Create::Sphere @ line 372   -> General Exception: Unhandled Exception!");
    EXPECT_EQ(bare.GetExceptionReason(), QEL_UNHANDLED);

    CQEL_Exception const range(QEL_PARAMETER_OUT_OF_RANGE, S("spacing"), S("Parameter out of range"),
                               GetQELExceptionLocation("QEL::Core::CPointSet_Create::Sphere", 321));
    EXPECT_STREQ(
        range.what(),
        "Param name - spacing Location - QEL::Core::CPointSet_Create::Sphere @ line 321   ->  Message - "
        "Parameter out of range Geometry Exception: Parameter out of range!");

    CQEL_Exception const unnamed(QEL_INDEX_OUT_OF_RANGE, CQEL_String(), S("Index is not valid"), S("L -> "));
    EXPECT_STREQ(unnamed.what(),
                 "Param name -  Location - L ->  Message - Index is not valid Geometry Exception: Index out "
                 "of range!");

    CQEL_Exception const foreign(S("std::bad_alloc"), S("Op @ line 9     -> "));
    EXPECT_EQ(foreign.GetExceptionReason(), QEL_STD_EXCEPTION);
    EXPECT_STREQ(foreign.what(), "Op @ line 9     -> std::bad_alloc");
}

TEST(Exception, CopiesOwnTheirTextAndAssignmentSharesIt) {
    static_assert(std::is_base_of_v<std::exception, CQEL_Exception>);  // catchable as std::exception
    auto source = std::make_unique<CQEL_Exception>(QEL_FILE_READ_ERROR, S("Reader @ line 1     -> "));
    CQEL_Exception const copy(*source);
    EXPECT_NE(copy.what(), source->what());
    source.reset();
    EXPECT_STREQ(copy.what(), "Reader @ line 1     -> File Exception: File read error!");

    CQEL_Exception assigned(QEL_UNHANDLED, S("x"));
    {
        CQEL_Exception const other(QEL_INVALID_OPERATION, S("y"));
        assigned = other;
        EXPECT_EQ(assigned.what(), other.what());  // one shared text
        EXPECT_EQ(assigned.GetExceptionReason(), QEL_INVALID_OPERATION);
    }
    EXPECT_STREQ(assigned.what(), "yGeneral Exception: Invalid Operation!");  // still alive, released once
}
