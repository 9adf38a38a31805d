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

CQEL_Exception Caught(auto&& call) {
    try {
        call();
    } catch (CQEL_Exception const& e) {
        return e;
    }
    ADD_FAILURE() << "no CQEL_Exception";
    return CQEL_Exception(QEL_UNHANDLED, CQEL_String());
}

std::string TextOf(CQEL_Exception const& e) {
    return WithoutLineNumbers(std::string(e.what()));
}

}  // namespace

TEST(PtrArray, OwnsItsItems_UntilDetached) {
    {
        CQEL_Ptr_Array<Item> items;
        for (int i = 0; i < 5; ++i)
            items.Add(new Item(i));
        items.InsertAt(0, new Item(-1));
        EXPECT_EQ(items.Count(), 6);
        EXPECT_EQ(Item::s_live, 6);
        EXPECT_EQ(items.Front().value, -1);
        EXPECT_EQ(items.Back().value, 4);
        EXPECT_EQ(items.At(3).value, 2);
        EXPECT_EQ(items.Find(items[3]), 3);
        EXPECT_EQ(items.Find(nullptr), -1);

        items.Delete(0);
        EXPECT_EQ(Item::s_live, 5);
        Item* detached = items.Detach(0);
        EXPECT_EQ(detached->value, 0);
        EXPECT_EQ(items.Count(), 4);
        EXPECT_EQ(Item::s_live, 5);  // the caller owns it now
        delete detached;
        items.Reverse();
        EXPECT_EQ(items.Front().value, 4);
    }
    EXPECT_EQ(Item::s_live, 0);
}

TEST(PtrArray, Copies_AreDeepAndFailedCopiesLeakNothing) {
    CQEL_Ptr_Array<Item> items;
    for (int i = 0; i < 4; ++i)
        items.Add(new Item(i));
    {
        CQEL_Ptr_Array<Item> copy(items);
        EXPECT_NE(copy[0], items[0]);
        EXPECT_EQ(copy.At(2).value, 2);
        CQEL_Ptr_Array<Item> assigned;
        assigned.Add(new Item(9));
        assigned = copy;
        EXPECT_EQ(assigned.Count(), 4);
        CQEL_Ptr_Array<Item> moved(std::move(assigned));
        EXPECT_EQ(moved.Count(), 4);
        EXPECT_EQ(assigned.Count(), 0);
        EXPECT_EQ(Item::s_live, 12);
    }
    EXPECT_EQ(Item::s_live, 4);

    Item::s_copiesBeforeFailure = 2;  // the third copy throws
    EXPECT_THROW(CQEL_Ptr_Array<Item>{items}, std::runtime_error);
    EXPECT_EQ(Item::s_live, 4);
    CQEL_Ptr_Array<Item> target;
    target.Add(new Item(7));
    Item::s_copiesBeforeFailure = 1;
    EXPECT_THROW(target = items, std::runtime_error);
    Item::s_copiesBeforeFailure = -1;
    EXPECT_EQ(target.Count(), 1);  // left as it was
    EXPECT_EQ(Item::s_live, 5);
}

TEST(PtrArray, Misuse_ReportsItsOwnLocationAndDeletesRefusedItems) {
    CQEL_Ptr_Array<Item> items;
    items.Add(new Item(1));

    auto const null = Caught([&] { items.Add(nullptr); });
    EXPECT_EQ(null.GetExceptionReason(), QEL_NULL_PARAMETER);
    EXPECT_EQ(
        TextOf(null),
        "Param name - item Location - QEL::Core::CQEL_Ptr_Array<PtrArrayTest::Item>::InsertAt @ line # ->  "
        "Message - Null Pointer Memory Exception: Null parameter assignment!");
    auto const insert = Caught([&] { items.InsertAt(3, new Item(2)); });
    EXPECT_EQ(insert.GetExceptionReason(), QEL_PARAMETER_OUT_OF_RANGE);
    EXPECT_NE(TextOf(insert).find("Param name - insert_at_index Location - "
                                  "QEL::Core::CQEL_Ptr_Array<PtrArrayTest::Item>::InsertAt"),
              std::string::npos);
    EXPECT_EQ(Item::s_live, 1);  // the refused item was deleted

    for (auto [operation, call] :
         std::initializer_list<std::pair<char const*, void (*)(CQEL_Ptr_Array<Item>&)>>{
             {"At", [](CQEL_Ptr_Array<Item>& a) { a.At(1); }},
             {"At", [](CQEL_Ptr_Array<Item>& a) { a.At(-1); }},
             {"Detach", [](CQEL_Ptr_Array<Item>& a) { a.Detach(1); }},
             {"Detach", [](CQEL_Ptr_Array<Item>& a) { a.Delete(-1); }}}) {
        auto const e = Caught([&] { call(items); });
        EXPECT_EQ(e.GetExceptionReason(), QEL_PARAMETER_OUT_OF_RANGE);
        EXPECT_EQ(
            TextOf(e),
            std::string("Param name - index Location - QEL::Core::CQEL_Ptr_Array<PtrArrayTest::Item>::") +
                operation +
                " @ line # ->  Message - Parameter out of range Geometry Exception: Parameter out "
                "of range!");
    }
    EXPECT_EQ(items.Count(), 1);

    CQEL_Ptr_Array<Item> empty;
    EXPECT_EQ(Caught([&] { empty.Front(); }).GetExceptionReason(), QEL_NULL_PARAMETER);
    EXPECT_NE(TextOf(Caught([&] { empty.Back(); })).find("CQEL_Ptr_Array<PtrArrayTest::Item>::Back"),
              std::string::npos);
    EXPECT_EQ(&empty[0], reinterpret_cast<Item* const*>(std::uintptr_t(0xBBADBEEF)));
}
