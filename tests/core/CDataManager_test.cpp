// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <type_traits>
#include <vector>

#include "core/CCollection.h"
#include "core/CCollection_Internal.h"
#include "core/CCollection_Internal_InBuilt.h"
#include "core/CDataManager.h"
#include "core/CQEL_Exception.h"
#include "core/CQEL_Point3_Updatable.h"
#include "core/CTransform4.h"

using namespace QEL::Core;

namespace {

void ExpectReason(std::function<void()> const& call, EQELExceptionReason reason, char const* text) {
    try {
        call();
        ADD_FAILURE() << "no exception";
    } catch (CQEL_Exception const& e) {
        EXPECT_EQ(e.GetExceptionReason(), reason);
        EXPECT_NE(std::strstr(e.what(), text), nullptr) << e.what();
    }
}

// A collection whose allocation shape a test can force, as a collection that
// arrived with front slack would have.
class CShapedCollection : public CCollection<double> {
  public:
    using CCollection<double>::CCollection;
    void Shape(int count, int allocate, int offset) { AllocateExplicit(count, allocate, offset); }
};

}  // namespace

TEST(DataManager, Coupling_RefusesThirtyThirdCollectionAndIgnoresRepeats) {
    CDataManager manager;
    std::vector<std::unique_ptr<CCollection<int>>> collections;
    for (int i = 0; i < 32; ++i)
        collections.push_back(std::make_unique<CCollection<int>>(&manager, i % 2 == 0));
    EXPECT_EQ(manager.GetNumCollections(), 32);
    EXPECT_EQ(manager.GetActiveCollections(), 0x55555555u);
    ExpectReason([&] { CCollection<int> extra(&manager, true); }, QEL_INVALID_OPERATION,
                 "Collection group is full");
    EXPECT_EQ(manager.GetNumCollections(), 32);

    manager.CheckSpace(3);
    collections[0]->Set(1, 42);
    manager.CoupleCollection(collections[0].get());  // no re-allocation, no second entry
    EXPECT_EQ(manager.GetNumCollections(), 32);
    EXPECT_EQ(collections[0]->Get(1), 42);

    // Uncoupling moves the bits of the later collections down by one.
    collections.erase(collections.begin() + 1);
    EXPECT_EQ(manager.GetNumCollections(), 31);
    EXPECT_EQ(manager.GetActiveCollections(), 0x2AAAAAABu);
    EXPECT_EQ(manager.GetCollection(1), collections[1].get());
}

TEST(DataManager, Activation_TakesCountAllocationAndFrontSlackOfActiveCollections) {
    CDataManager manager;
    manager.CheckSpace(5);  // nothing active: only recorded
    CShapedCollection first(&manager, true);
    EXPECT_EQ(first.Count(), 5);
    first.Shape(5, 9, 2);
    CCollection<short> second(&manager, false);
    second.SetDefaultValue(7);
    EXPECT_EQ(second.Count(), 0);
    EXPECT_EQ(manager.GetActiveCollections(), 1u);

    second.SetActive(true);
    EXPECT_EQ(second.Count(), 5);
    EXPECT_EQ(second.GetAsArray().GetNumAllocated(), 9);
    EXPECT_EQ(second.GetAsArray().GetMemoryOffset(), 2);
    EXPECT_EQ(second.Get(4), 7);
    EXPECT_EQ(manager.GetActiveCollections(), 3u);
    EXPECT_EQ(manager.GetApproxSize(), 9 * 8 + 9 * 2);

    second.SetActive(false);
    EXPECT_EQ(second.GetAsArray().GetNumAllocated(), 0);
    EXPECT_EQ(manager.GetActiveCollections(), 1u);

    // Only collections coupled to this manager can be allocated by it.
    CDataManager other;
    CCollection<double> stranger(&other, true);
    ExpectReason([&] { manager.AllocateCollection(&stranger); }, QEL_INVALID_OPERATION,
                 "Collection to be allocated must belong to the current data manager");
}

TEST(DataManager, Remove_NeedsAnActiveCollectionWhileCheckSpaceOnlyRecords) {
    CDataManager manager;
    CCollection<double> values(&manager, false);
    manager.CheckSpace(7);
    manager.Insert(7);
    EXPECT_EQ(manager.GetNumElements(), 8);
    EXPECT_EQ(values.Count(), 0);
    ExpectReason([&] { manager.Remove(0); }, QEL_INVALID_OPERATION,
                 "Data manager must contain at least one active collection");
    EXPECT_EQ(manager.GetNumElements(), 8);

    values.SetActive(true);  // made in step with the recorded count
    EXPECT_EQ(values.Count(), 8);
    ExpectReason([&] { manager.Remove(8); }, QEL_PARAMETER_OUT_OF_RANGE, "index");
    ExpectReason([&] { manager.Insert(-1); }, QEL_PARAMETER_OUT_OF_RANGE, "index");
    ExpectReason([&] { manager.CheckSpace(-1); }, QEL_INDEX_OUT_OF_RANGE, "CDataManager::CheckSpace");
    ExpectReason([&] { manager.CopyElement(0, 8); }, QEL_PARAMETER_OUT_OF_RANGE, "from");
    EXPECT_EQ(manager.GetNumElements(), 8);
    EXPECT_EQ(values.Count(), 8);
    ExpectReason([&] { values.Set(8, 1.0); }, QEL_PARAMETER_OUT_OF_RANGE, "CCollection<double>::Set");
}

TEST(DataManager, InternalCollections_RaiseTheirFlagsOnChange) {
    CDataManager manager;
    CCollection_Internal<int> ints(&manager, true);
    CCollection<double> plain(&manager, true);
    bool modified = false, resized = false;
    ints.SetDataModifiedFlag(&modified);
    ints.SetCheckSpaceFlag(&resized);
    // Each change, and the flags it must raise.
    auto expectFlags = [&](bool m, bool r, char const* step, std::function<void()> const& change) {
        change();
        EXPECT_EQ(modified, m) << step;
        EXPECT_EQ(resized, r) << step;
        modified = resized = false;
    };
    expectFlags(true, true, "growth", [&] { manager.CheckSpace(4); });
    expectFlags(false, false, "same size", [&] { manager.CheckSpace(4); });
    expectFlags(true, false, "Set", [&] { ints.Set(1, 5); });
    expectFlags(false, false, "reads", [&] { (void)ints.Get(1), (void)ints.GetAsArray(); });
    expectFlags(true, false, "Edit", [&] { ints.Edit(2) = 3; });
    expectFlags(true, false, "CopyElement", [&] { manager.CopyElement(0, 1); });
    expectFlags(true, false, "Reverse", [&] { manager.Reverse(); });
    expectFlags(false, false, "Compact, PreAllocate", [&] { manager.Compact(), manager.PreAllocate(100); });
    expectFlags(true, true, "Insert", [&] { manager.Insert(2); });
    expectFlags(true, true, "Remove", [&] { manager.Remove(0); });
    expectFlags(false, false, "another collection", [&] { plain.SetActive(false); });
    expectFlags(true, true, "deactivation", [&] { ints.SetActive(false); });
    expectFlags(true, true, "activation", [&] { ints.SetActive(true); });
    EXPECT_EQ(ints.Count(), 4);
    expectFlags(true, true, "Reset", [&] { manager.Reset(); });
}

namespace {

// An updatable element: its own changes set the flag it is attached to.
struct SUpdatable {
    double value = 0;
    bool* flag = nullptr;
    void AttachToFlag(bool* f) { flag = f; }
    void Scale(double s) {
        value *= s;
        if (flag) *flag = true;
    }
};

}  // namespace

TEST(DataManager, InBuiltCollection_AttachesElementsToItsFlag) {
    CDataManager manager;
    CCollection_Internal_InBuilt<SUpdatable> points(&manager, true);
    manager.CheckSpace(3);
    bool modified = false, other = false;
    points.SetDataModifiedFlag(&modified);  // attaches the existing elements
    manager.CheckSpace(20);                 // and the grown ones, across reallocation
    manager.Insert(0);
    modified = false;
    for (SUpdatable const& p : points.GetAll())
        EXPECT_EQ(p.flag, &modified);

    CDataManager source;
    CCollection_Internal_InBuilt<SUpdatable> theirs(&source, true);
    theirs.SetDataModifiedFlag(&other);
    source.CheckSpace(2);
    manager.CopyElement(5, 1, source);
    EXPECT_EQ(points.Get(5).flag, &modified);
    manager.Copy(source);
    EXPECT_EQ(points.Get(1).flag, &modified);

    modified = false;
    std::span<SUpdatable const> all = points.GetAll();
    const_cast<SUpdatable&>(all[1]).Scale(2.0);  // a change the collection does not see
    EXPECT_TRUE(modified);
    modified = false;
    points.SetModified();
    EXPECT_TRUE(modified);
    EXPECT_FALSE(points.CollectElementChanges());
}

TEST(DataManager, InBuiltCollection_GathersMarksOfSelfMarkingPoints) {
    using QEL::Elements::CQEL_Point3_Updatable;
    CDataManager manager;
    CCollection_Internal_InBuilt<CQEL_Point3_Updatable<double>> points(&manager, true);
    bool modified = false;
    points.SetDataModifiedFlag(&modified);
    manager.CheckSpace(50);
    std::span<CQEL_Point3_Updatable<double>> kept = points.EditAll();
    modified = false;
    EXPECT_FALSE(points.CollectElementChanges());

    // Later, through the kept span: a transform and a setter mark their points.
    QEL::Elements::CTransform4<double> shift;
    kept[17].Transform(shift.CreateTranslation(1.0, 2.0, 3.0));
    kept[42].set_y(1.0);
    kept[43].RawSetY(1.0);  // unmarked by design
    EXPECT_FALSE(modified);
    EXPECT_TRUE(points.CollectElementChanges());
    EXPECT_TRUE(modified);
    EXPECT_EQ(points.Get(17).z, 3.0);
    EXPECT_FALSE(points.Get(17).IsModified());
    EXPECT_FALSE(points.CollectElementChanges());
}

TEST(DataManager, CopyAndSet_CopyCorrespondingCollectionsOrRefuseMismatchedTypes) {
    CDataManager target, source;
    CCollection<double> tValues(&target, true);
    CCollection<int> tIndices(&target, true);
    CCollection<short> tStatus(&target, true);
    CCollection<double> sValues(&source, true);
    CCollection<int> sIndices(&source, false);
    tIndices.SetDefaultValue(-1);
    target.CheckSpace(2);
    tStatus.Set(0, 9);
    source.CheckSpace(3);
    for (int i = 0; i < 3; ++i)
        sValues.Set(i, 0.5 * i);

    target.Set(source, ~0u);  // active set unchanged; shorts have no active counterpart
    EXPECT_EQ(target.GetActiveCollections(), 7u);
    EXPECT_EQ(tValues.Get(2), 1.0);
    EXPECT_EQ(tIndices.Get(2), -1);
    EXPECT_EQ(tStatus.Get(0), 9);
    EXPECT_EQ(tStatus.Count(), 3);

    target.Copy(source);  // takes source's active set: the shorts are beyond its list
    EXPECT_EQ(target.GetActiveCollections(), 1u);
    EXPECT_EQ(tValues.GetAsArray(), sValues.GetAsArray());

    CDataManager mismatched;
    CCollection<float> mFloats(&mismatched, true);
    mismatched.CheckSpace(1);
    ExpectReason([&] { target.Copy(mismatched); }, QEL_INVALID_PARAMETER, "source");
    ExpectReason([&] { target.CopyElement(0, 0, mismatched); }, QEL_INVALID_PARAMETER, "source");
    EXPECT_EQ(target.GetNumElements(), 3);
    EXPECT_EQ(tValues.Get(1), 0.5);
}

// A copied manager would be a second owner of the same collections' counts.
static_assert(!std::is_copy_constructible_v<CDataManager> && !std::is_copy_assignable_v<CDataManager>);

TEST(DataManager, Lifetime_CollectionsAndManagerMayDieInEitherOrder) {
    auto manager = std::make_unique<CDataManager>();
    auto early = std::make_unique<CCollection<double>>(manager.get(), true);
    CCollection<int> late(manager.get(), true);
    manager->CheckSpace(4);
    early.reset();  // uncouples: late moves to position 0
    EXPECT_EQ(manager->GetNumCollections(), 1);
    EXPECT_EQ(manager->GetActiveCollections(), 1u);
    manager->Insert(0);
    EXPECT_EQ(late.Count(), 5);
    manager.reset();
    EXPECT_EQ(late.GetDataManager(), nullptr);
    late.SetActive(false);  // still lets go of its storage
    EXPECT_EQ(late.Count(), 0);
    EXPECT_THROW(late.SetActive(true), CQEL_Exception) << "no manager to allocate it in step";
    EXPECT_FALSE(late.IsActive());
}

namespace {

// An element whose copies fail on demand, to break an operation half-way.
int g_copiesBeforeFailure = -1;
struct SFragile {
    int value = 0;
    SFragile() = default;
    explicit SFragile(int v) : value(v) {}
    SFragile(SFragile const& other) : value(other.value) { Tick(); }
    SFragile& operator=(SFragile const& other) {
        Tick();
        value = other.value;
        return *this;
    }
    SFragile(SFragile&&) noexcept = default;
    SFragile& operator=(SFragile&&) noexcept = default;
    static void Tick() {
        if (g_copiesBeforeFailure == 0) throw std::runtime_error("copy failed");
        if (g_copiesBeforeFailure > 0) --g_copiesBeforeFailure;
    }
};

}  // namespace

TEST(DataManager, FailedChange_LeavesCollectionsInStepAndValuesInPlace) {
    CDataManager manager;
    CCollection<double> values(&manager, true);
    CCollection<SFragile> fragile(&manager, true);
    CCollection<int> indices(&manager, true);
    fragile.SetDefaultValue(SFragile(-1));
    manager.CheckSpace(6);  // six slots: the next growth reallocates
    for (int i = 0; i < 6; ++i) {
        values.Set(i, i);
        fragile.Set(i, SFragile(i));
        indices.Set(i, 10 * i);
    }
    ASSERT_EQ(manager.GetNumAllocated(), 6);

    // values has already grown when fragile fails to make its new element.
    g_copiesBeforeFailure = 0;
    EXPECT_THROW(manager.CheckSpace(7), std::runtime_error);
    EXPECT_THROW(manager.Insert(2), std::runtime_error);
    g_copiesBeforeFailure = -1;
    EXPECT_EQ(manager.GetNumElements(), 6);
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(values.Get(i), i);
        EXPECT_EQ(fragile.Get(i).value, i);
        EXPECT_EQ(indices.Get(i), 10 * i);
    }
    EXPECT_EQ(values.GetAsArray().GetNumAllocated(), fragile.GetAsArray().GetNumAllocated());
    EXPECT_EQ(indices.GetAsArray().GetNumAllocated(), fragile.GetAsArray().GetNumAllocated());
    manager.Insert(2);  // and it works again
    EXPECT_EQ(fragile.Get(2).value, -1);
    EXPECT_EQ(values.Get(3), 2.0);
}
