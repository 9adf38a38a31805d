// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <deque>
#include <limits>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "core/CQEL_Array.h"
#include "core/CQEL_Exception.h"
#include "core/CQEL_Output_Events.h"
#include "core/CQEL_String.h"
#include "test_helpers/LineNumbers.h"
#include "platform/CQEL_Stream.h"

using namespace QEL::Core;

namespace {

// The exception text with the line number of its location replaced by '#'.
std::string TextOf(CQEL_Exception const& e) {
    return WithoutLineNumbers(std::string(e.what() ? e.what() : ""));
}

template <class F>
CQEL_Exception Caught(F&& call) {
    try {
        call();
    } catch (CQEL_Exception const& e) {
        return e;
    }
    ADD_FAILURE() << "no CQEL_Exception";
    return CQEL_Exception(QEL_UNHANDLED, CQEL_String());
}

// Constructor 2 of the exception for an operation of CQEL_Array<double>.
std::string Text2(char const* param, char const* operation, char const* message, char const* reason) {
    return std::string("Param name - ") + param + " Location - QEL::Core::CQEL_Array<double>::" + operation +
           " @ line # ->  Message - " + message + " " + reason;
}

constexpr char const* kParameterOutOfRange = "Geometry Exception: Parameter out of range!";
constexpr char const* kIndexOutOfRange = "Geometry Exception: Index out of range!";
constexpr char const* kNullParameter = "Memory Exception: Null parameter assignment!";
constexpr char const* kInvalidParameter = "Geometry Exception: Invalid parameter!";

std::vector<double> Values(CQEL_Array<double> const& a) {
    return std::vector<double>(a.begin(), a.end());
}

// count elements 10, 11, ... placed `offset` slots into `allocated` slots.
CQEL_Array<double> Laid(int count, int allocated, int offset) {
    CQEL_Array<double> a;
    a.AllocateExplicit(count, allocated, offset);
    for (int i = 0; i < count; ++i)
        a[i] = 10 + i;
    return a;
}

struct SLayout {
    int count, allocated, offset;
    bool operator==(SLayout const&) const = default;
};
std::ostream& operator<<(std::ostream& out, SLayout const& l) {
    return out << "{count " << l.count << ", allocated " << l.allocated << ", offset " << l.offset << "}";
}
template <class T>
SLayout LayoutOf(CQEL_Array<T> const& a) {
    return {a.Count(), a.GetNumAllocated(), a.GetMemoryOffset()};
}

}  // namespace

// --- growth, shrinking and slack --------------------------------------------------

TEST(Array, PushBack_GrowsByHalfFromOneSlot) {
    CQEL_Array<double> a;
    EXPECT_EQ(LayoutOf(a), (SLayout{0, 0, 0}));
    EXPECT_EQ(a.begin(), nullptr);
    std::vector<int> allocations;
    for (int i = 0; i < 14; ++i) {
        a.PushBack(i);
        if (allocations.empty() || allocations.back() != a.GetNumAllocated())
            allocations.push_back(a.GetNumAllocated());
        EXPECT_EQ(a.GetMemoryOffset(), 0);
    }
    EXPECT_EQ(allocations, (std::vector<int>{1, 2, 3, 4, 6, 9, 13, 19}));
    for (int i = 0; i < 14; ++i)
        EXPECT_EQ(a[i], i);
    // Several at once: at least the new count.
    CQEL_Array<double> b;
    b.PushBack(1.0, 5);
    EXPECT_EQ(LayoutOf(b), (SLayout{5, 5, 0}));
    b.PushBack(2.0, 20);
    EXPECT_EQ(LayoutOf(b), (SLayout{25, 25, 0}));
}

TEST(Array, Remove_ShrinksOnlyBelowAThirdAndNeverBelowTen) {
    auto a = Laid(30, 30, 0);
    a.PopBack(28);  // 2 < 30 / 3: shrinks to max(trunc(2 * 1.5), 10)
    EXPECT_EQ(LayoutOf(a), (SLayout{2, 10, 0}));
    EXPECT_EQ(Values(a), (std::vector<double>{10, 11}));

    auto front = Laid(30, 30, 0);
    front.PopFront(28);
    EXPECT_EQ(LayoutOf(front), (SLayout{2, 10, 0}));
    EXPECT_EQ(Values(front), (std::vector<double>{38, 39}));

    auto edge = Laid(30, 30, 0);
    edge.PopBack(20);  // 10 is not below 30 / 3
    EXPECT_EQ(LayoutOf(edge), (SLayout{10, 30, 0}));
    edge.PopBack(1);  // 9 is: max(trunc(9 * 1.5), 10) = 13
    EXPECT_EQ(LayoutOf(edge), (SLayout{9, 13, 0}));

    auto small = Laid(10, 10, 0);  // 10 slots is the minimum: never shrinks
    small.PopBack(9);
    EXPECT_EQ(LayoutOf(small), (SLayout{1, 10, 0}));
    small.PopBack(0);
    EXPECT_EQ(LayoutOf(small), (SLayout{1, 10, 0}));
}

TEST(Array, PopFront_AdvancesOffsetWithoutMovingElements) {
    CQEL_Array<double> a;
    a.PreAllocate(8);
    for (int i = 0; i < 5; ++i)
        a.PushBack(i);
    double const* second = &a[1];
    a.PopFront(1);
    EXPECT_EQ(LayoutOf(a), (SLayout{4, 8, 1}));
    EXPECT_EQ(&a[0], second);
    a.PopFront(2);
    EXPECT_EQ(LayoutOf(a), (SLayout{2, 8, 3}));
    EXPECT_EQ(Values(a), (std::vector<double>{3, 4}));
    a.Clear();  // storage kept, offset back to 0
    EXPECT_EQ(LayoutOf(a), (SLayout{0, 8, 0}));
    a.PushBack(7);
    EXPECT_EQ(&a[0] + 1, second);
}

TEST(Array, FrontUsesBackSlack_BackUsesFrontSlackOnlyAboveAThird) {
    // The front takes back slack whenever there is enough.
    auto a = Laid(5, 9, 0);
    a.PushFront(1, 3);
    EXPECT_EQ(LayoutOf(a), (SLayout{8, 9, 0}));
    EXPECT_EQ(Values(a), (std::vector<double>{1, 1, 1, 10, 11, 12, 13, 14}));
    a.PushFront(2, 2);  // neither slack suffices
    EXPECT_EQ(LayoutOf(a), (SLayout{10, 13, 0}));

    // Front slack of 3 is not above 9 / 3: the back reallocates.
    auto b = Laid(6, 9, 3);
    b.PushBack(1);
    EXPECT_EQ(LayoutOf(b), (SLayout{7, 13, 0}));
    // Front slack of 4 is: the elements move to the start.
    auto c = Laid(5, 9, 4);
    c.PushBack(1);
    EXPECT_EQ(LayoutOf(c), (SLayout{6, 9, 0}));
    EXPECT_EQ(Values(c), (std::vector<double>{10, 11, 12, 13, 14, 1}));
    // ... but only when a slot stays free.
    auto d = Laid(5, 9, 4);
    d.PushBack(1, 4);
    EXPECT_EQ(LayoutOf(d), (SLayout{9, 13, 0}));
    // Front slack first serves the front.
    auto e = Laid(5, 9, 4);
    e.PushFront(1, 4);
    EXPECT_EQ(LayoutOf(e), (SLayout{9, 9, 0}));
}

TEST(Array, PushBackOfFirstElement_DuringCompactionIsNotFollowed) {
    // Compaction moves 10..14 from slot 4 to slot 0; a reference to element 0
    // is not corrected and reads what then lies at slot 4: 14.
    auto a = Laid(5, 9, 4);
    a.PushBack(a[0]);
    EXPECT_EQ(Values(a), (std::vector<double>{10, 11, 12, 13, 14, 14}));
    // Any other element is followed.
    auto b = Laid(5, 9, 4);
    b.PushBack(b[1]);
    EXPECT_EQ(Values(b), (std::vector<double>{10, 11, 12, 13, 14, 11}));
    // With the front slack larger than the count, slot 6 is not overwritten
    // and still holds the first element.
    auto c = Laid(3, 9, 6);
    c.PushBack(c[0]);
    EXPECT_EQ(Values(c), (std::vector<double>{10, 11, 12, 10}));
    // Reallocation and the front read the value before anything moves.
    auto d = Laid(9, 9, 0);
    d.PushBack(d[0]);
    EXPECT_EQ(d[9], 10);
    auto e = Laid(5, 9, 0);
    e.PushFront(e[0]);
    e.PushFront(e[3]);
    EXPECT_EQ(Values(e), (std::vector<double>{12, 10, 10, 11, 12, 13, 14}));
}

TEST(Array, PreAllocateAndCompact_FollowTheirRules) {
    auto a = Laid(3, 9, 5);
    a.PreAllocate(4);  // fits from the first element to the end
    EXPECT_EQ(LayoutOf(a), (SLayout{3, 9, 5}));
    a.PreAllocate(6);  // front slack above a third and 6 < 9: moved to the start
    EXPECT_EQ(LayoutOf(a), (SLayout{3, 9, 0}));
    a.PreAllocate(12);
    EXPECT_EQ(LayoutOf(a), (SLayout{3, 12, 0}));
    a.PreAllocate(-5);
    EXPECT_EQ(LayoutOf(a), (SLayout{3, 12, 0}));
    a.Compact();
    EXPECT_EQ(LayoutOf(a), (SLayout{3, 3, 0}));
    EXPECT_EQ(Values(a), (std::vector<double>{10, 11, 12}));
    a.Clear();
    a.Compact();
    EXPECT_EQ(LayoutOf(a), (SLayout{0, 0, 0}));

    auto b = Laid(3, 9, 3);  // 3 is not above 9 / 3: new storage of exactly 7
    b.PreAllocate(7);
    EXPECT_EQ(LayoutOf(b), (SLayout{3, 7, 0}));

    auto c = Laid(2, 30, 0);
    EXPECT_TRUE(c.RequiresAllocation(31));
    EXPECT_FALSE(c.RequiresAllocation(30));
    EXPECT_TRUE(c.CanPerformDownSizing(1));
    EXPECT_FALSE(c.CanPerformDownSizing(2));               // not below the count
    EXPECT_FALSE(Laid(2, 10, 0).CanPerformDownSizing(1));  // not above the minimum
    auto d = Laid(20, 30, 0);
    EXPECT_TRUE(d.CanPerformDownSizing(9));
    EXPECT_FALSE(d.CanPerformDownSizing(10));
    EXPECT_TRUE(d.RequiresAllocation(9));
    auto e = Laid(2, 30, 11);
    EXPECT_TRUE(e.CanPerformOffset(29));
    EXPECT_FALSE(e.CanPerformOffset(30));
    EXPECT_FALSE(Laid(2, 30, 10).CanPerformOffset(5));
}

TEST(Array, Reset_ReleasesStorageAndAllocateExplicitPlacesElements) {
    auto a = Laid(3, 9, 2);
    a.Reset();
    EXPECT_EQ(LayoutOf(a), (SLayout{0, 0, 0}));
    EXPECT_EQ(a.begin(), nullptr);
    a.SetDefaultValue(4.5);
    a.AllocateExplicit(2, 6, 3);
    EXPECT_EQ(LayoutOf(a), (SLayout{2, 6, 3}));
    EXPECT_EQ(Values(a), (std::vector<double>{4.5, 4.5}));
    a.AllocateExplicit(0, 0, 0);
    EXPECT_EQ(LayoutOf(a), (SLayout{0, 0, 0}));
}

// --- values -----------------------------------------------------------------------------

TEST(Array, DefaultValue_FillsNewElementsOnly) {
    CQEL_Array<int> a(2);
    EXPECT_EQ(a[0], 0);
    EXPECT_EQ(a.GetDefaultValue(), 0);
    a.SetDefaultValue(7);
    a.SetDefaultValue(8);
    a.CheckSpace(4);
    EXPECT_EQ(a.New(), 8);
    a.PushBack(1);
    a.PushFront(2, 2);
    EXPECT_EQ(std::vector<int>(a.begin(), a.end()), (std::vector<int>{2, 2, 0, 0, 8, 8, 8, 1}));
    a.ClearDefaultValue();
    EXPECT_EQ(a.New(), 0);
    CQEL_Array<int> copy(a);  // the default value is not copied
    EXPECT_EQ(copy.GetDefaultValue(), 0);
    EXPECT_EQ(copy.Count(), 9);
}

TEST(Array, EditingOperations_KeepOrderAndCopeWithSelfReference) {
    auto a = Laid(5, 5, 0);  // 10..14
    a.Insert(0, a[4]);
    a.Insert(6, a[0]);
    EXPECT_EQ(Values(a), (std::vector<double>{14, 10, 11, 12, 13, 14, 14}));
    a.Remove(1, 3);
    EXPECT_EQ(Values(a), (std::vector<double>{14, 13, 14, 14}));
    a.Remove(4, 0);
    a.Insert(2, a);
    EXPECT_EQ(Values(a), (std::vector<double>{14, 13, 14, 13, 14, 14, 14, 14}));
    a += a;
    EXPECT_EQ(a.Count(), 16);
    auto b = Laid(4, 4, 0);
    b.Copy(3, b.begin() + 1);
    EXPECT_EQ(Values(b), (std::vector<double>{11, 12, 13}));
    EXPECT_EQ(Values(b.Extract(1, 2)), (std::vector<double>{12, 13}));
    EXPECT_EQ(b.Extract(3, 0).Count(), 0);
    EXPECT_EQ(Values(b + Laid(1, 1, 0)), (std::vector<double>{11, 12, 13, 10}));
    b.Swap(0, 2);
    EXPECT_EQ(Values(b), (std::vector<double>{13, 12, 11}));
    b.Reverse();
    EXPECT_EQ(Values(b), (std::vector<double>{11, 12, 13}));
    b.Set(b[2]);
    EXPECT_EQ(Values(b), (std::vector<double>{13, 13, 13}));
    EXPECT_EQ(b.GetBackAndPop(), 13);
    EXPECT_EQ(b.GetFrontAndPop(), 13);
    EXPECT_EQ(b.Count(), 1);
    EXPECT_EQ(b.GetIndex(b[0]), 0);

    auto c = Laid(6, 6, 0);
    c.Reverse();
    c.SortUsing(+[](double const& x, double const& y) { return x < y; });
    EXPECT_EQ(Values(c), (std::vector<double>{10, 11, 12, 13, 14, 15}));
    c.SortUsing(+[](double const& x, double const& y) { return x < y ? 1 : x > y ? -1 : 0; });
    EXPECT_EQ(Values(c), (std::vector<double>{15, 14, 13, 12, 11, 10}));
}

TEST(Array, Equality_ComparesBytesNotValues) {
    CQEL_Array<double> zero, negativeZero, nan1, nan2;
    zero.PushBack(0.0);
    negativeZero.PushBack(-0.0);
    nan1.PushBack(std::numeric_limits<double>::quiet_NaN());
    nan2.PushBack(std::numeric_limits<double>::quiet_NaN());
    EXPECT_FALSE(zero == negativeZero);
    EXPECT_TRUE(nan1 == nan2);
    EXPECT_TRUE(CQEL_Array<double>() == CQEL_Array<double>());
    EXPECT_TRUE(Laid(3, 9, 4) == Laid(3, 3, 0));  // layout does not matter
    EXPECT_FALSE(Laid(3, 3, 0) == Laid(2, 2, 0));
}

TEST(Array, IndexOutsideTheElements_YieldsTheInvalidAddress) {
    auto a = Laid(3, 9, 2);
    auto* const invalid = reinterpret_cast<double const*>(std::uintptr_t(0xBBADBEEF));
    EXPECT_EQ(&a[3], invalid);
    EXPECT_EQ(&a[-1], invalid);
    EXPECT_EQ(&static_cast<CQEL_Array<double> const&>(a)[3], invalid);
    EXPECT_EQ(&CQEL_Array<double>()[0], invalid);
    EXPECT_EQ(&a[2], a.begin() + 2);
}

// --- messages ----------------------------------------------------------------------------

TEST(Array, Misuse_ReportsReasonParameterAndLocation) {
    CQEL_Array<double> empty;
    for (auto [operation, call] : std::vector<std::pair<char const*, void (*)(CQEL_Array<double>&)>>{
             {"GetArray", [](CQEL_Array<double>& a) { a.GetArray(); }},
             {"Front", [](CQEL_Array<double>& a) { a.Front(); }},
             {"Back", [](CQEL_Array<double>& a) { a.Back(); }},
             {"Back", [](CQEL_Array<double>& a) { a.GetBackAndPop(); }},
             {"Front", [](CQEL_Array<double>& a) { a.GetFrontAndPop(); }}}) {
        auto const e = Caught([&] { call(empty); });
        EXPECT_EQ(e.GetExceptionReason(), QEL_NULL_PARAMETER);
        EXPECT_EQ(TextOf(e), Text2("", operation, "Array is empty", kNullParameter));
    }
    EXPECT_EQ(TextOf(Caught([&] { std::as_const(empty).Front(); })),
              Text2("", "Front", "Array is empty", kNullParameter));

    auto a = Laid(3, 9, 2);
    auto const before = LayoutOf(a);
    auto const swap = Caught([&] { a.Swap(-1, -1); });
    EXPECT_EQ(swap.GetExceptionReason(), QEL_PARAMETER_OUT_OF_RANGE);
    EXPECT_EQ(TextOf(swap), Text2("index1", "Swap", "Parameter out of range", kParameterOutOfRange));
    EXPECT_EQ(TextOf(Caught([&] { a.Swap(0, 3); })),
              Text2("index2", "Swap", "Parameter out of range", kParameterOutOfRange));

    auto const space = Caught([&] { a.CheckSpace(-1); });
    EXPECT_EQ(space.GetExceptionReason(), QEL_INDEX_OUT_OF_RANGE);
    EXPECT_EQ(TextOf(space),
              std::string("QEL::Core::CQEL_Array<double>::CheckSpace @ line # -> ") + kIndexOutOfRange);

    double const outside = 1;
    EXPECT_EQ(TextOf(Caught([&] { a.GetIndex(outside); })),
              Text2("index", "GetIndex", "Parameter out of range", kParameterOutOfRange));
    EXPECT_EQ(TextOf(Caught([&] { a.Insert(4, 1.0); })),
              Text2("insert_at_index", "Insert", "Parameter out of range", kParameterOutOfRange));
    EXPECT_EQ(TextOf(Caught([&] { a.Insert(-1, a); })),
              Text2("insert_at_index", "Insert", "Parameter out of range", kParameterOutOfRange));
    for (auto [index, n] : {std::pair{-1, 1}, {2, 2}, {0, -1}}) {
        auto const e = Caught([&] { a.Remove(index, n); });
        EXPECT_EQ(e.GetExceptionReason(), QEL_INDEX_OUT_OF_RANGE);
        EXPECT_EQ(TextOf(e), Text2("", "Remove", "Indices are invalid to perform removal", kIndexOutOfRange));
    }
    EXPECT_EQ(TextOf(Caught([&] { a.Extract(2, 2); })),
              Text2("", "Extract", "Indices are invalid to perform extraction", kIndexOutOfRange));
    EXPECT_EQ(TextOf(Caught([&] { a.Extract(0, -1); })),
              std::string("QEL::Core::CQEL_Array<double>::CheckSpace @ line # -> ") + kIndexOutOfRange);
    EXPECT_EQ(TextOf(Caught([&] { a.PopBack(4); })), Text2("num_elements_to_remove", "RemoveElements_Back",
                                                           "Parameter out of range", kParameterOutOfRange));
    EXPECT_EQ(TextOf(Caught([&] { a.PopFront(-1); })), Text2("num_elements_to_remove", "RemoveElements_Front",
                                                             "Parameter out of range", kParameterOutOfRange));
    EXPECT_EQ(TextOf(Caught([&] { a.PushBack(1.0, -1); })),
              Text2("", "AddElements_Back", "Number of elements to add is negative", kParameterOutOfRange));
    EXPECT_EQ(TextOf(Caught([&] { a.PushFront(1.0, -2); })),
              Text2("", "AddElements_Front", "Number of elements to add is negative", kParameterOutOfRange));
    EXPECT_EQ(TextOf(Caught([&] { a.Copy(2, nullptr); })),
              Text2("values", "Copy", "Null Pointer", kNullParameter));
    EXPECT_EQ(LayoutOf(a), before);  // every check comes before any change
    EXPECT_EQ(Values(a), (std::vector<double>{10, 11, 12}));

    auto const negative = Caught([&] { a.AllocateExplicit(1, 5, -1); });
    EXPECT_EQ(negative.GetExceptionReason(), QEL_INVALID_PARAMETER);
    EXPECT_EQ(TextOf(negative),
              Text2("", "AllocateExplicit", "One of the input parameter is less than 0.", kInvalidParameter));
    EXPECT_EQ(
        TextOf(Caught([&] { a.AllocateExplicit(5, 9, 5); })),
        Text2("new_num_allocate", "AllocateExplicit",
              "Sum of new number of elements and offset is greater than new number of elements to allocate.",
              kInvalidParameter));
    EXPECT_EQ(LayoutOf(a), before);

    CQEL_Array<int> ints;
    EXPECT_NE(
        std::string(Caught([&] { ints.Back(); }).what()).find("QEL::Core::CQEL_Array<int>::Back @ line"),
        std::string::npos);
}

TEST(Array, CountBeyondInt_IsAnAllocationFailure) {
    CQEL_Array<char> a;
    a.PushBack('x');
    EXPECT_THROW(a.PushBack('y', std::numeric_limits<int>::max()), std::bad_alloc);
    EXPECT_EQ(LayoutOf(a), (SLayout{1, 1, 0}));
}

TEST(Array, DebugOut_WritesTheCountToTheDebugChannel) {
    static std::string seen;
    auto const handler = [](CQEL_Output_Events::EChannel, CQEL_String const& message, void*) {
        seen = message.GetArray();
    };
    CQEL_Output_Events::Attach(CQEL_Output_Events::EChannel::Debug, handler);
    Laid(3, 3, 0).DebugOut();
    CQEL_Output_Events::Detach(CQEL_Output_Events::EChannel::Debug, handler);
    EXPECT_EQ(seen, "Number of elements in array: 3");
}

// --- serialisation and digest ------------------------------------------------------------

TEST(Array, ExportImport_RoundTripsCountAndRawBytes) {
    auto const a = Laid(5, 9, 3);
    CQEL_Stream stream;
    EXPECT_TRUE(a.Export(stream));
    EXPECT_TRUE(CQEL_Array<double>().Export(stream));
    EXPECT_EQ(stream.SizeInBytes(), 4 + 5 * 8 + 4);
    EXPECT_EQ(stream.GetValue<std::int32_t>(), 5);
    EXPECT_EQ(stream.GetValue<double>(), 10.0);
    stream.SeekGetPosition(0);

    CQEL_Array<double> b = Laid(2, 2, 0), c = Laid(7, 7, 0);
    EXPECT_TRUE(b.Import(stream));
    EXPECT_TRUE(c.Import(stream));
    EXPECT_TRUE(b == a);
    EXPECT_EQ(c.Count(), 0);
    EXPECT_TRUE(stream.EOS());
}

TEST(Array, Import_RefusesCountsBeforeAllocating) {
    auto streamWithCount = [](std::int32_t count, int doubles) {
        auto stream = std::make_unique<CQEL_Stream>();
        stream->PutValue(count);
        for (int i = 0; i < doubles; ++i)
            stream->PutValue(double(i));
        return stream;
    };
    auto a = Laid(3, 9, 2);
    auto const before = LayoutOf(a);

    auto const huge = Caught([&] { a.Import(*streamWithCount(1000000000, 0)); });
    EXPECT_EQ(huge.GetExceptionReason(), QEL_FILE_READ_ERROR);
    EXPECT_EQ(TextOf(huge),
              "QEL::Core::CQEL_Array<double>::Import @ line # -> File Exception: File read error!");
    // Below the limit but more than the stream holds: refused before 8 GB are allocated.
    EXPECT_EQ(Caught([&] { a.Import(*streamWithCount(999999999, 2)); }).GetExceptionReason(),
              QEL_FILE_READ_ERROR);
    EXPECT_EQ(Caught([&] { a.Import(*streamWithCount(3, 2)); }).GetExceptionReason(), QEL_FILE_READ_ERROR);
    auto const negative = Caught([&] { a.Import(*streamWithCount(-1, 0)); });
    EXPECT_EQ(negative.GetExceptionReason(), QEL_INDEX_OUT_OF_RANGE);
    EXPECT_NE(std::string(negative.what()).find("CQEL_Array<double>::CheckSpace"), std::string::npos);
    CQEL_Stream truncated;
    truncated.PutValue<std::int16_t>(1);
    EXPECT_EQ(Caught([&] { a.Import(truncated); }).GetExceptionReason(), QEL_FILE_READ_ERROR);
    EXPECT_EQ(LayoutOf(a), before);
    EXPECT_EQ(Values(a), (std::vector<double>{10, 11, 12}));

    EXPECT_TRUE(a.Import(*streamWithCount(2, 2)));
    EXPECT_EQ(Values(a), (std::vector<double>{0, 1}));
}

TEST(Array, GetCRC_IsTheMD5OfTheElementBytes) {
    CQEL_Array<char> text(3, "abc");
    EXPECT_EQ(text.GetCRC().ToHex(), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(CQEL_Array<char>().GetCRC().ToHex(), "d41d8cd98f00b204e9800998ecf8427e");
    CQEL_Array<std::int32_t> words;
    words.PushBack(0x64636261);  // "abcd" in little-endian bytes
    EXPECT_EQ(words.GetCRC().ToHex(), "e2fc714c4727ee9395f324cd2e7f331f");
    auto shifted = Laid(4, 9, 5);  // only the elements in use count
    EXPECT_EQ(shifted.GetCRC(), Laid(4, 4, 0).GetCRC());
}

// --- random sequences against a model --------------------------------------------------------

namespace {

// An element that notices use after destruction and counts live instances.
struct STracked {
    static inline int s_live = 0;
    static constexpr unsigned kAlive = 0x5EED5EED, kDead = 0xDEADDEAD;
    unsigned state = kAlive;
    std::string text;

    STracked() { ++s_live; }
    explicit STracked(int v) : text("tracked value number " + std::to_string(v)) { ++s_live; }
    STracked(STracked const& o) : text((Check(o), o.text)) { ++s_live; }
    STracked(STracked&& o) noexcept : text((Check(o), std::move(o.text))) { ++s_live; }
    STracked& operator=(STracked const& o) {
        Check(*this), Check(o);
        text = o.text;
        return *this;
    }
    STracked& operator=(STracked&& o) noexcept {
        Check(*this), Check(o);
        text = std::move(o.text);
        return *this;
    }
    ~STracked() {
        Check(*this);
        state = kDead;
        --s_live;
    }
    static void Check(STracked const& t) {
        if (t.state != kAlive) ADD_FAILURE() << "use of a destroyed element";
    }
    bool operator==(STracked const& o) const { return text == o.text; }
};

template <class T>
T Make(int v);
template <>
double Make<double>(int v) {
    return v;
}
template <>
std::string Make<std::string>(int v) {
    return "a string long enough to live on the heap, number " + std::to_string(v);
}
template <>
STracked Make<STracked>(int v) {
    return STracked(v);
}

// The growth and shrinking rules, as layouts expected after one operation.
SLayout AfterAdd(SLayout l, int n, bool atBack) {
    int const backSlack = l.allocated - l.count - l.offset;
    SLayout const grown{l.count + n, std::max(int(l.allocated * 1.5), l.count + n), 0};
    if (atBack) {
        if (backSlack >= n) return {l.count + n, l.allocated, l.offset};
        if (l.count + n < l.allocated && l.offset > l.allocated / 3) return {l.count + n, l.allocated, 0};
        return grown;
    }
    if (l.offset >= n) return {l.count + n, l.allocated, l.offset - n};
    if (backSlack >= n) return {l.count + n, l.allocated, 0};
    return grown;
}
SLayout AfterRemove(SLayout l, int n, bool atBack) {
    int const remaining = l.count - n;
    if (n > 0 && l.allocated > 10 && remaining < l.allocated / 3)
        return {remaining, std::max(int(remaining * 1.5), 10), 0};
    return {remaining, l.allocated, atBack || n == 0 ? l.offset : l.offset + n};
}

template <class T>
void RunAgainstDeque(unsigned seed, int steps) {
    std::mt19937 random(seed);
    auto pick = [&random](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(random); };
    CQEL_Array<T> a;
    std::deque<T> model;
    int next = 0;
    for (int step = 0; step < steps; ++step) {
        int const count = int(model.size());
        SLayout const before = LayoutOf(a);
        SLayout expected = before;
        bool checkLayout = true;
        // Grow while small, shrink while large, so that every rule is met often.
        int const op = pick(0, count > 400 ? 17 : 13);
        switch (op) {
            case 0:
            case 1: {
                int const n = pick(1, 4);
                a.PushBack(Make<T>(next), n);
                model.insert(model.end(), n, Make<T>(next++));
                expected = AfterAdd(before, n, true);
                break;
            }
            case 2:
            case 3: {
                int const n = pick(1, 4);
                a.PushFront(Make<T>(next), n);
                model.insert(model.begin(), n, Make<T>(next++));
                expected = AfterAdd(before, n, false);
                break;
            }
            case 4:
                if (count > 0) {  // an element of the array itself
                    int const k = pick(0, count - 1);
                    bool const compacts = before.allocated - before.count - before.offset < 1 &&
                                          before.count + 1 < before.allocated &&
                                          before.offset > before.allocated / 3;
                    // The first element is not followed during compaction.
                    T const value = k == 0 && compacts && before.offset < count
                                        ? model[std::size_t(before.offset)]
                                        : model[k];
                    a.PushBack(a[k]);
                    model.push_back(value);
                    expected = AfterAdd(before, 1, true);
                }
                break;
            case 5:
                if (count > 0) {
                    int const k = pick(0, count - 1);
                    T const value = model[k];
                    a.PushFront(a[k]);
                    model.push_front(value);
                    expected = AfterAdd(before, 1, false);
                }
                break;
            case 6: {
                int const index = pick(0, count);
                if (pick(0, 1)) {
                    a.Insert(index, Make<T>(next));
                    model.insert(model.begin() + index, Make<T>(next++));
                } else {  // a run of 0 to 2 elements
                    CQEL_Array<T> run;
                    run.PushBack(Make<T>(next), pick(0, 2));
                    a.Insert(index, run);
                    if (run.Count())  // the deque's insert of nothing self-moves its elements
                        model.insert(model.begin() + index, std::size_t(run.Count()), Make<T>(next));
                    ++next;
                }
                checkLayout = false;
                break;
            }
            case 7:
                if (count > 0) {
                    int const i = pick(0, count - 1), j = pick(0, count - 1);
                    a.Swap(i, j);
                    std::swap(model[i], model[j]);
                }
                break;
            case 8: {
                int const size = pick(0, count + 5);
                a.CheckSpace(size);
                model.resize(std::size_t(size));
                checkLayout = false;
                break;
            }
            case 9:
                a.PreAllocate(pick(0, 2 * count + 5));
                checkLayout = false;
                break;
            case 10:
                if (pick(0, 9) == 0) {
                    a.Compact();
                    expected = {count, count, 0};
                }
                break;
            case 11:
                a.Reverse();
                std::reverse(model.begin(), model.end());
                break;
            case 12:
                if (pick(0, 30) == 0) {
                    a.Clear();
                    model.clear();
                    expected = {0, before.allocated, 0};
                }
                break;
            case 13:
                if (count > 0) {
                    int const index = pick(0, count - 1), n = pick(0, std::min(3, count - index));
                    a.Remove(index, n);
                    model.erase(model.begin() + index, model.begin() + index + n);
                    checkLayout = false;
                }
                break;
            case 14:
            case 15: {
                int const n = pick(0, std::min(count, 40));
                a.PopFront(n);
                model.erase(model.begin(), model.begin() + n);
                expected = AfterRemove(before, n, false);
                break;
            }
            default: {
                int const n = pick(0, std::min(count, 40));
                a.PopBack(n);
                model.erase(model.end() - n, model.end());
                expected = AfterRemove(before, n, true);
                break;
            }
        }
        SLayout const now = LayoutOf(a);
        if (checkLayout) {
            ASSERT_EQ(now, expected) << "step " << step << " operation " << op << " from " << before;
        }
        ASSERT_TRUE(now.offset >= 0 && now.count >= 0 && now.offset + now.count <= now.allocated) << step;
        ASSERT_EQ(now.count, int(model.size())) << "step " << step;
        for (int i = 0; i < now.count; ++i)
            ASSERT_TRUE(a[i] == model[std::size_t(i)])
                << "step " << step << " operation " << op << " index " << i << " count " << count << ": "
                << ::testing::PrintToString(a[i]) << " vs "
                << ::testing::PrintToString(model[std::size_t(i)]);
    }
    auto const extract = a.Extract(a.Count() / 3, a.Count() / 2);
    for (int i = 0; i < extract.Count(); ++i)
        EXPECT_TRUE(extract[i] == model[std::size_t(a.Count() / 3 + i)]);
}

}  // namespace

TEST(Array, RandomOperations_MatchADequeAndTheGrowthRules) {
    RunAgainstDeque<double>(20240611u, 20000);
    RunAgainstDeque<double>(7u, 20000);
}

TEST(Array, RandomOperations_OnOwningElementsNeitherLeakNorReuseDestroyed) {
    RunAgainstDeque<std::string>(99u, 8000);
    RunAgainstDeque<STracked>(12345u, 8000);
    EXPECT_EQ(STracked::s_live, 0);
    {
        CQEL_Array<STracked> a;
        a.SetDefaultValue(STracked(1));
        a.CheckSpace(20);
        a.PopFront(15);
        a.AllocateExplicit(3, 10, 2);
        auto b = a + a;
        b.Insert(1, a);
        EXPECT_EQ(b.Count(), 9);
        EXPECT_EQ(b[8].text, "tracked value number 1");
    }
    EXPECT_EQ(STracked::s_live, 0);
}
