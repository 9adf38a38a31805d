// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <deque>
#include <functional>
#include <limits>
#include <new>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "core/CQEL_Array.h"
#include "core/CQEL_Exception.h"
#include "core/CQEL_String.h"
#include "core/CQEL_Stream.h"
#include "test_helpers/LineNumbers.h"

using namespace QEL::Core;

namespace {

std::string Located(char const* operation) {
    return std::string("QEL::Core::CQEL_Array<double>::") + operation + " @ line # -> ";
}
// Constructor 2: parameter, location, message, standard text.
std::string Text2(char const* param, char const* operation, char const* message, char const* reason) {
    return std::string("Param name - ") + param + " Location - " + Located(operation) + " Message - " +
           message + " " + reason;
}
constexpr char const* kParameter = "Geometry Exception: Parameter out of range!";
std::string Range(char const* param, char const* operation) {
    return Text2(param, operation, "Parameter out of range", kParameter);
}
constexpr char const* kIndex = "Geometry Exception: Index out of range!";
constexpr char const* kNull = "Memory Exception: Null parameter assignment!";
constexpr char const* kInvalid = "Geometry Exception: Invalid parameter!";

std::vector<double> Values(CQEL_Array<double> const& a) {
    return {a.begin(), a.end()};
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
    return out << "{" << l.count << ", " << l.allocated << ", " << l.offset << "}";
}
template <class T>
SLayout LayoutOf(CQEL_Array<T> const& a) {
    return {a.Count(), a.GetNumAllocated(), a.GetMemoryOffset()};
}

}  // namespace

// --- growth, shrinking and slack ---------------------------------------------------------
// The growth and shrinking rules themselves are checked after every step of
// the random sequences at the end; the cases here are the ones a model does not reach.

TEST(Array, PushBackOfFirstElement_DuringCompactionIsNotFollowed) {
    // Compaction moves 10..14 from slot 4 to slot 0; a reference to element 0
    // is not corrected and reads what then lies at slot 4.
    auto a = Laid(5, 9, 4);
    a.PushBack(a[0]);
    EXPECT_EQ(Values(a), (std::vector<double>{10, 11, 12, 13, 14, 14}));
    auto b = Laid(5, 9, 4);  // any other element is followed
    b.PushBack(b[1]);
    EXPECT_EQ(b[5], 11);
    auto c = Laid(3, 9, 6);  // slot 6 is not overwritten: still the first element
    c.PushBack(c[0]);
    EXPECT_EQ(c[3], 10);
    auto d = Laid(9, 9, 0);  // reallocation and the front read the value first
    d.PushBack(d[0]);
    EXPECT_EQ(d[9], 10);
    auto e = Laid(5, 9, 0);
    e.PushFront(e[0]);
    e.PushFront(e[3]);
    EXPECT_EQ(Values(e), (std::vector<double>{12, 10, 10, 11, 12, 13, 14}));
}

TEST(Array, PreAllocateAndCompact_FollowTheSlackRules) {
    auto a = Laid(3, 9, 5);
    a.PreAllocate(4);  // fits
    EXPECT_EQ(LayoutOf(a), (SLayout{3, 9, 5}));
    a.PreAllocate(6);  // front slack above a third and 6 < 9: moved to the start
    EXPECT_EQ(LayoutOf(a), (SLayout{3, 9, 0}));
    a.PreAllocate(12);
    EXPECT_EQ(LayoutOf(a), (SLayout{3, 12, 0}));
    a.Compact();
    EXPECT_EQ(LayoutOf(a), (SLayout{3, 3, 0}));
    EXPECT_EQ(Values(a), (std::vector<double>{10, 11, 12}));
    a.PopFront(1);
    a.Clear();  // storage kept, offset back to 0
    EXPECT_EQ(LayoutOf(a), (SLayout{0, 3, 0}));
    auto b = Laid(3, 9, 3);  // not above a third: new storage of exactly 7
    b.PreAllocate(7);
    EXPECT_EQ(LayoutOf(b), (SLayout{3, 7, 0}));
    EXPECT_TRUE(Laid(20, 30, 0).RequiresAllocation(9));    // would shrink
    EXPECT_FALSE(Laid(2, 10, 0).CanPerformDownSizing(1));  // not above the minimum
    EXPECT_FALSE(Laid(2, 30, 10).CanPerformOffset(5));     // not above a third
}

// --- values ------------------------------------------------------------------------------

TEST(Array, Values_DefaultsSelfReferenceAndBytewiseEquality) {
    CQEL_Array<double> a(2);
    a.SetDefaultValue(8);
    EXPECT_EQ(a.New(), 8);
    a.PushFront(2);
    EXPECT_EQ(Values(a), (std::vector<double>{2, 0, 0, 8}));
    EXPECT_EQ(CQEL_Array<double>(a).GetDefaultValue(), 0);  // not copied

    auto b = Laid(3, 3, 0);  // 10..12
    b.Insert(1, b);
    b += b;
    b.Copy(3, b.begin() + 2);
    b.Set(b[1]);
    EXPECT_EQ(Values(b), (std::vector<double>{12, 12, 12}));

    CQEL_Array<double> zero(1), negativeZero(1, std::vector<double>{-0.0}.data());
    EXPECT_FALSE(zero == negativeZero);  // bytes, not values
    EXPECT_TRUE(Laid(3, 9, 4) == Laid(3, 3, 0));
    auto* const invalid = reinterpret_cast<double const*>(std::uintptr_t(0xBBADBEEF));
    EXPECT_EQ(&b[3], invalid);
    EXPECT_EQ(&b[-1], invalid);
}

// Growth from nothing may take zeroed storage instead of writing the fill
// value; every fill value that is not zero bytes, and every derived array
// with its own construction, must still be written.
TEST(Array, GrowthFromNothing_GivesTheFillValueWithOrWithoutZeroedStorage) {
    constexpr int kBig = 1 << 20;  // beyond the allocator's mapping threshold
    for (int n : {100, kBig}) {
        CQEL_Array<double> a;
        a.PushBack(7.0, n);  // leaves dirty memory behind for the next round
        a.PopBack(n);
        a.CheckSpace(n);
        EXPECT_EQ(std::count(a.begin(), a.end(), 0.0), n);

        CQEL_Array<double> negative;
        negative.SetDefaultValue(-0.0);
        negative.CheckSpace(n);
        EXPECT_TRUE(std::all_of(negative.begin(), negative.end(), [](double v) { return std::signbit(v); }));

        CQEL_Array<double> exact;
        exact.AllocateExplicit(n, n + 4, 2);
        EXPECT_EQ(std::count(exact.begin(), exact.end(), 0.0), n);
    }

    struct SCounting final : CQEL_Array<int> {
        int created = 0;
        void CreateElements(int* destination, int n, int const* source) override {
            created += n;
            CQEL_Array<int>::CreateElements(destination, n, source);
        }
    } counting;
    counting.CheckSpace(kBig);
    EXPECT_EQ(counting.created, kBig);
}

// --- messages ---------------------------------------------------------------------------------

TEST(Array, Misuse_ReportsReasonParameterAndLocation) {
    CQEL_Array<double> empty;
    std::string const emptyText = " Message - Array is empty " + std::string(kNull);
    EXPECT_EQ(Thrown([&] { empty.GetArray(); }, QEL_NULL_PARAMETER),
              "Param name -  Location - " + Located("GetArray") + emptyText);
    EXPECT_EQ(Thrown([&] { empty.Front(); }, QEL_NULL_PARAMETER),
              "Param name -  Location - " + Located("Front") + emptyText);
    EXPECT_EQ(Thrown([&] { empty.GetBackAndPop(); }, QEL_NULL_PARAMETER),
              "Param name -  Location - " + Located("Back") + emptyText);

    auto a = Laid(3, 9, 2);
    double const outside = 1;
    struct SCase {
        std::function<void()> call;
        EQELExceptionReason reason;
        std::string text;
    };
    std::vector<SCase> const cases{
        {[&] { a.Swap(-1, -1); }, QEL_PARAMETER_OUT_OF_RANGE, Range("index1", "Swap")},
        {[&] { a.Swap(0, 3); }, QEL_PARAMETER_OUT_OF_RANGE, Range("index2", "Swap")},
        {[&] { a.CheckSpace(-1); }, QEL_INDEX_OUT_OF_RANGE, Located("CheckSpace") + kIndex},
        {[&] { a.GetIndex(outside); }, QEL_PARAMETER_OUT_OF_RANGE, Range("index", "GetIndex")},
        {[&] { a.Insert(4, 1.0); }, QEL_PARAMETER_OUT_OF_RANGE, Range("insert_at_index", "Insert")},
        {[&] { a.Insert(-1, a); }, QEL_PARAMETER_OUT_OF_RANGE, Range("insert_at_index", "Insert")},
        {[&] { a.Remove(2, 2); }, QEL_INDEX_OUT_OF_RANGE,
         Text2("", "Remove", "Indices are invalid to perform removal", kIndex)},
        {[&] { a.Remove(0, -1); }, QEL_INDEX_OUT_OF_RANGE,
         Text2("", "Remove", "Indices are invalid to perform removal", kIndex)},
        {[&] { a.Extract(-1, 1); }, QEL_INDEX_OUT_OF_RANGE,
         Text2("", "Extract", "Indices are invalid to perform extraction", kIndex)},
        {[&] { a.Extract(0, -1); }, QEL_INDEX_OUT_OF_RANGE, Located("CheckSpace") + kIndex},
        {[&] { a.PopBack(4); }, QEL_PARAMETER_OUT_OF_RANGE,
         Range("num_elements_to_remove", "RemoveElements_Back")},
        {[&] { a.PopFront(-1); }, QEL_PARAMETER_OUT_OF_RANGE,
         Range("num_elements_to_remove", "RemoveElements_Front")},
        {[&] { a.PushBack(1.0, -1); }, QEL_PARAMETER_OUT_OF_RANGE,
         Text2("", "AddElements_Back", "Number of elements to add is negative", kParameter)},
        {[&] { a.PushFront(1.0, -2); }, QEL_PARAMETER_OUT_OF_RANGE,
         Text2("", "AddElements_Front", "Number of elements to add is negative", kParameter)},
        {[&] { a.Copy(2, nullptr); }, QEL_NULL_PARAMETER, Text2("values", "Copy", "Null Pointer", kNull)},
        {[&] { a.AllocateExplicit(1, 5, -1); }, QEL_INVALID_PARAMETER,
         Text2("", "AllocateExplicit", "One of the input parameter is less than 0.", kInvalid)},
        {[&] { a.AllocateExplicit(5, 9, 5); }, QEL_INVALID_PARAMETER,
         Text2("new_num_allocate", "AllocateExplicit",
               "Sum of new number of elements and offset is greater than new number of elements to allocate.",
               kInvalid)},
    };
    for (SCase const& c : cases)
        EXPECT_EQ(Thrown(c.call, c.reason), c.text);
    EXPECT_EQ(LayoutOf(a), (SLayout{3, 9, 2}));  // every check comes before any change
    EXPECT_EQ(Values(a), (std::vector<double>{10, 11, 12}));

    CQEL_Array<int> ints;
    EXPECT_EQ(
        Thrown([&] { ints.Back(); }, QEL_NULL_PARAMETER).find("Location - QEL::Core::CQEL_Array<int>::Back"),
        std::size_t(14));
    CQEL_Array<char> chars(1);  // more elements than an int counts
    EXPECT_THROW(chars.PushBack('y', std::numeric_limits<int>::max()), std::bad_alloc);
    EXPECT_EQ(LayoutOf(chars), (SLayout{1, 1, 0}));
}

// --- serialisation and digest -------------------------------------------------------------------

TEST(Array, ExportImport_RoundTripAndRefuseCountsBeforeAllocating) {
    auto const a = Laid(5, 9, 3);
    CQEL_Stream stream;
    EXPECT_TRUE(a.Export(stream));
    EXPECT_TRUE(CQEL_Array<double>().Export(stream));
    EXPECT_EQ(stream.SizeInBytes(), 4 + 5 * 8 + 4);
    EXPECT_EQ(stream.GetValue<std::int32_t>(), 5);
    stream.SeekGetPosition(0);
    CQEL_Array<double> b = Laid(2, 2, 0), c = Laid(7, 7, 0);
    EXPECT_TRUE(b.Import(stream) && c.Import(stream));
    EXPECT_TRUE(b == a);
    EXPECT_EQ(c.Count(), 0);

    auto import = [&b](std::int32_t count, int doubles) {
        CQEL_Stream s;
        s.PutValue(count);
        for (int i = 0; i < doubles; ++i)
            s.PutValue(double(i));
        b.Import(s);
    };
    EXPECT_EQ(Thrown([&] { import(1000000000, 0); }, QEL_FILE_READ_ERROR),
              Located("Import") + "File Exception: File read error!");
    // Below the limit but more than the stream holds: refused before 8 GB are allocated.
    Thrown([&] { import(999999999, 2); }, QEL_FILE_READ_ERROR);
    Thrown([&] { import(3, 2); }, QEL_FILE_READ_ERROR);
    EXPECT_EQ(Thrown([&] { import(-1, 0); }, QEL_INDEX_OUT_OF_RANGE), Located("CheckSpace") + kIndex);
    CQEL_Stream truncated;
    truncated.PutValue<std::int16_t>(1);
    Thrown([&] { b.Import(truncated); }, QEL_FILE_READ_ERROR);
    EXPECT_TRUE(b == a);  // unchanged
}

TEST(Array, GetCRC_IsTheMD5OfTheElementsInUse) {
    EXPECT_EQ(CQEL_Array<char>().GetCRC().ToHex(), "d41d8cd98f00b204e9800998ecf8427e");
    CQEL_Array<std::int32_t> words(1);
    words[0] = 0x64636261;  // "abcd" in little-endian bytes
    EXPECT_EQ(words.GetCRC().ToHex(), "e2fc714c4727ee9395f324cd2e7f331f");
    EXPECT_EQ(Laid(4, 9, 5).GetCRC(), Laid(4, 4, 0).GetCRC());
}

// --- random sequences against a model -----------------------------------------------------------

namespace {

// An element that notices use after destruction and counts live instances.
struct STracked {
    static inline int s_live = 0;
    unsigned state = 0x5EED;
    std::string text;
    explicit STracked(int v = -1) : text(v < 0 ? "" : "tracked value number " + std::to_string(v)) {
        ++s_live;
    }
    STracked(STracked const& o) : text((Check(o), o.text)) { ++s_live; }
    STracked& operator=(STracked const& o) { return Check(*this), Check(o), text = o.text, *this; }
    ~STracked() { Check(*this), state = 0xDEAD, --s_live; }
    static void Check(STracked const& t) {
        if (t.state != 0x5EED) ADD_FAILURE() << "use of a destroyed element";
    }
    bool operator==(STracked const& o) const { return text == o.text; }
};

template <class T>
T Make(int v) {
    if constexpr (std::is_same_v<T, std::string>)
        return "a string long enough to live on the heap, number " + std::to_string(v);
    else
        return T(v);
}

// The growth and shrinking rules, as the layout expected after one operation.
SLayout AfterAdd(SLayout l, int n, bool atBack) {
    int const backSlack = l.allocated - l.count - l.offset;
    if (atBack ? backSlack >= n : l.offset >= n)
        return {l.count + n, l.allocated, atBack ? l.offset : l.offset - n};
    if (atBack ? l.count + n < l.allocated && l.offset > l.allocated / 3 : backSlack >= n)
        return {l.count + n, l.allocated, 0};
    return {l.count + n, std::max(int(l.allocated * 1.5), l.count + n), 0};
}
SLayout AfterRemove(SLayout l, int n, bool atBack) {
    int const remaining = l.count - n;
    if (n > 0 && l.allocated > 10 && remaining < l.allocated / 3)
        return {remaining, std::max(int(remaining * 1.5), 10), 0};
    return {remaining, l.allocated, atBack ? l.offset : l.offset + n};
}

template <class T>
void RunAgainstDeque(unsigned seed, int steps) {
    std::mt19937 random(seed);
    auto pick = [&random](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(random); };
    CQEL_Array<T> a;
    std::deque<T> model;
    for (int step = 0, next = 0; step < steps; ++step, ++next) {
        int const count = int(model.size());
        SLayout const before = LayoutOf(a);
        std::optional<SLayout> expected = before;
        // Phases of growing to about 500 and draining to about 5, so that every rule is met.
        int const op = count < ((step / 1000) % 2 ? 5 : 500) ? pick(0, 8) : pick(3, 13);
        int const k = count ? pick(0, count - 1) : 0;
        int const n = pick(0, std::min(count, 4));
        if (op <= 1) {
            a.PushBack(Make<T>(next), n + 1);
            model.insert(model.end(), n + 1, Make<T>(next));
            expected = AfterAdd(before, n + 1, true);
        } else if (op == 2) {
            a.PushFront(Make<T>(next), n + 1);
            model.insert(model.begin(), n + 1, Make<T>(next));
            expected = AfterAdd(before, n + 1, false);
        } else if (op == 3 && count) {  // an element of the array itself
            bool const compacts = before.allocated == before.count + before.offset &&
                                  before.count + 1 < before.allocated && before.offset > before.allocated / 3;
            bool const atBack = pick(0, 1);
            // The first element is not followed during compaction at the back.
            T const value = atBack && k == 0 && compacts && before.offset < count
                                ? model[std::size_t(before.offset)]
                                : model[k];
            atBack ? a.PushBack(a[k]) : a.PushFront(a[k]);
            atBack ? model.push_back(value) : model.push_front(value);
            expected = AfterAdd(before, 1, atBack);
        } else if (op == 4) {
            CQEL_Array<T> run;  // 0 to 3 elements
            run.PushBack(Make<T>(next), n % 4);
            a.Insert(k, run);
            if (run.Count()) model.insert(model.begin() + k, std::size_t(run.Count()), Make<T>(next));
            expected.reset();
        } else if (op == 5) {
            int const size = pick(0, count + 5);
            a.CheckSpace(size);
            model.resize(std::size_t(size));
            expected.reset();
        } else if (op == 6) {
            a.PreAllocate(pick(0, 2 * count + 5));
            expected.reset();
        } else if (op == 7 && count) {
            int const removed = std::min(n, count - k);
            a.Remove(k, removed);
            model.erase(model.begin() + k, model.begin() + k + removed);
            expected.reset();
        } else if (op == 8 && count) {
            a.Swap(k, count - 1);
            std::swap(model[k], model.back());
        } else if (op == 12) {
            // Storage replaced by other means than growth at the back: what
            // the array knew of its block's room must not outlive it.
            a.Compact();
            expected = SLayout{count, count, 0};
        } else if (op == 13) {
            a = CQEL_Array<T>(a);
            expected.reset();
        } else if (op >= 9) {
            int const removed = pick(0, std::min(count, 40));
            bool const atBack = op == 9;
            atBack ? a.PopBack(removed) : a.PopFront(removed);
            model.erase(atBack ? model.end() - removed : model.begin(),
                        atBack ? model.end() : model.begin() + removed);
            expected = AfterRemove(before, removed, atBack);
        }
        SLayout const now = LayoutOf(a);
        if (expected) {
            ASSERT_EQ(now, *expected) << "step " << step << " operation " << op << " from " << before;
        }
        ASSERT_TRUE(now.offset >= 0 && now.offset + now.count <= now.allocated) << step;
        ASSERT_EQ(now.count, int(model.size())) << step;
        for (int i = 0; i < now.count; ++i)
            ASSERT_TRUE(a[i] == model[std::size_t(i)])
                << "step " << step << " operation " << op << " index " << i;
    }
}

}  // namespace

TEST(Array, RandomOperations_MatchADequeAndTheGrowthRules) {
    RunAgainstDeque<double>(20240611u, 20000);
    RunAgainstDeque<double>(7u, 20000);
}

TEST(Array, RandomOperations_OnOwningElementsNeitherLeakNorReuseDestroyed) {
    RunAgainstDeque<std::string>(99u, 8000);
    RunAgainstDeque<STracked>(12345u, 8000);
    {
        CQEL_Array<STracked> a;
        a.SetDefaultValue(STracked(1));
        a.AllocateExplicit(3, 10, 2);
        EXPECT_EQ((a + a)[5].text, "tracked value number 1");
    }
    EXPECT_EQ(STracked::s_live, 0);
}
