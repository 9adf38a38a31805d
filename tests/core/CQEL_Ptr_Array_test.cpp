// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

#include "core/CQEL_Exception.h"
#include "core/CQEL_Ptr_Array.h"
#include "core/CQEL_String.h"
#include "test_helpers/LineNumbers.h"

using namespace QEL::Core;

namespace PtrArrayTest {

// Counts live items; copying throws once the countdown reaches zero.
struct Item {
    static inline int s_live = 0;
    static inline int s_copiesBeforeFailure = -1;
    int value;

    explicit Item(int v) : value(v) { ++s_live; }
    Item(Item const& other) : value(other.value) {
        if (s_copiesBeforeFailure == 0) throw std::runtime_error("copy failed");
        if (s_copiesBeforeFailure > 0) --s_copiesBeforeFailure;
        ++s_live;
    }
    ~Item() { --s_live; }
};

}  // namespace PtrArrayTest

namespace {

using PtrArrayTest::Item;

std::string Located(char const* operation) {
    return std::string(" Location - QEL::Core::CQEL_Ptr_Array<PtrArrayTest::Item>::") + operation +
           " @ line # -> ";
}

}  // namespace

TEST(PtrArray, OwnsItsItems_UntilDetached_AndCopiesDeeply) {
    {
        CQEL_Ptr_Array<Item> items;
        for (int i = 0; i < 4; ++i)
            items.Add(new Item(i));
        items.InsertAt(0, new Item(-1));
        EXPECT_EQ(items.At(3).value, 2);
        EXPECT_EQ(items.Find(items[3]), 3);
        items.Delete(0);
        Item* detached = items.Detach(0);  // the caller owns it now
        EXPECT_EQ(Item::s_live, 4);
        delete detached;

        CQEL_Ptr_Array<Item> copy(items);
        EXPECT_NE(copy[0], items[0]);
        EXPECT_EQ(copy.Back().value, 3);
        CQEL_Ptr_Array<Item> moved(std::move(copy));
        EXPECT_EQ(Item::s_live, 6);
    }
    EXPECT_EQ(Item::s_live, 0);
}

TEST(PtrArray, FailedCopies_LeakNothingAndLeaveTheTarget) {
    CQEL_Ptr_Array<Item> items, target;
    for (int i = 0; i < 4; ++i)
        items.Add(new Item(i));
    target.Add(new Item(7));
    Item::s_copiesBeforeFailure = 2;  // the third copy throws
    EXPECT_THROW(CQEL_Ptr_Array<Item>{items}, std::runtime_error);
    Item::s_copiesBeforeFailure = 1;
    EXPECT_THROW(target = items, std::runtime_error);
    Item::s_copiesBeforeFailure = -1;
    EXPECT_EQ(target.Front().value, 7);
    EXPECT_EQ(Item::s_live, 5);
}

TEST(PtrArray, Misuse_ReportsItsOwnLocationAndDeletesRefusedItems) {
    CQEL_Ptr_Array<Item> items;
    items.Add(new Item(1));
    std::string const outOfRange =
        " Message - Parameter out of range Geometry Exception: Parameter out of range!";
    EXPECT_EQ(Thrown([&] { items.Add(nullptr); }, QEL_NULL_PARAMETER),
              "Param name - item" + Located("InsertAt") +
                  " Message - Null Pointer Memory Exception: Null parameter assignment!");
    EXPECT_EQ(Thrown([&] { items.InsertAt(3, new Item(2)); }, QEL_PARAMETER_OUT_OF_RANGE),
              "Param name - insert_at_index" + Located("InsertAt") + outOfRange);
    EXPECT_EQ(Item::s_live, 1);  // the refused item was deleted
    EXPECT_EQ(Thrown([&] { items.At(1); }, QEL_PARAMETER_OUT_OF_RANGE),
              "Param name - index" + Located("At") + outOfRange);
    EXPECT_EQ(Thrown([&] { items.Delete(-1); }, QEL_PARAMETER_OUT_OF_RANGE),
              "Param name - index" + Located("Detach") + outOfRange);
    EXPECT_EQ(items.Count(), 1);

    CQEL_Ptr_Array<Item> empty;
    EXPECT_EQ(Thrown([&] { empty.Back(); }, QEL_NULL_PARAMETER),
              "Param name - " + Located("Back") +
                  " Message - Array is empty Memory Exception: Null parameter assignment!");
    EXPECT_EQ(&empty[0], reinterpret_cast<Item* const*>(std::uintptr_t(0xBBADBEEF)));
}
