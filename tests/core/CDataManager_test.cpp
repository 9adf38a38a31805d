// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>
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

struct SPoint3 {  // 24 bytes, like a position or a normal
    double x = 0, y = 0, z = 0;
    bool operator==(SPoint3 const&) const = default;
};
struct SPoint2 {  // 16 bytes, like a parameter pair
    double u = 0, v = 0;
    bool operator==(SPoint2 const&) const = default;
};

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

    // Growth into the back slack and then past it keeps both in step.
    for (int n = 6; n <= 12; ++n) {
        manager.CheckSpace(n);
        EXPECT_EQ(second.GetAsArray().GetNumAllocated(), first.GetAsArray().GetNumAllocated());
        EXPECT_EQ(second.GetAsArray().GetMemoryOffset(), first.GetAsArray().GetMemoryOffset());
    }
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
    auto expectFlags = [&](bool m, bool r, char const* step) {
        EXPECT_EQ(modified, m) << step;
        EXPECT_EQ(resized, r) << step;
        modified = resized = false;
    };

    manager.CheckSpace(4);
    expectFlags(true, true, "growth");
    manager.CheckSpace(4);
    expectFlags(false, false, "same size");
    ints.Set(1, 5);
    expectFlags(true, false, "Set");
    (void)ints.Get(1);
    (void)ints.GetAsArray();
    expectFlags(false, false, "reads");
    ints.Edit(2) = 3;
    expectFlags(true, false, "Edit");
    manager.CopyElement(0, 1);
    expectFlags(true, false, "CopyElement");
    manager.Reverse();
    expectFlags(true, false, "Reverse");
    manager.Compact();
    manager.PreAllocate(100);
    expectFlags(false, false, "Compact, PreAllocate");
    manager.Insert(2);
    expectFlags(true, true, "Insert");
    manager.Remove(0);
    expectFlags(true, true, "Remove");
    plain.SetActive(false);
    expectFlags(false, false, "another collection");
    ints.SetActive(false);
    expectFlags(true, true, "deactivation");
    ints.SetActive(true);
    expectFlags(true, true, "activation");
    EXPECT_EQ(ints.Count(), 4);
    manager.Reset();
    expectFlags(true, true, "Reset");
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

    // A copy of a manager is a second handle on the same collections.
    CDataManager view(target);
    EXPECT_EQ(view.GetCollection(0), &tValues);
    EXPECT_EQ(view.GetNumElements(), 3);
    EXPECT_EQ(view.GetActiveCollections(), 1u);
}

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

    // A copy shares the collections; it may outlive them and the original.
    auto original = std::make_unique<CDataManager>();
    auto shared = std::make_unique<CCollection<double>>(original.get(), true);
    auto copy = std::make_unique<CDataManager>(*original);
    CDataManager reassigned;
    CCollection<int> own(&reassigned, true);
    reassigned = *original;  // lets go of its own collection first
    EXPECT_EQ(own.GetDataManager(), nullptr);
    EXPECT_EQ(reassigned.GetCollection(0), shared.get());
    shared.reset();
    original.reset();
    copy.reset();
    own.SetActive(false);
    EXPECT_THROW(own.SetActive(true), CQEL_Exception) << "no manager to allocate it in step";
    EXPECT_FALSE(own.IsActive());
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

// --- lockstep against a model -------------------------------------------------------

namespace {

template <class T>
T MakeValue(std::uint64_t v) {
    if constexpr (std::is_same_v<T, SPoint3>)
        return {double(v), -double(v), 0.5 * double(v)};
    else if constexpr (std::is_same_v<T, SPoint2>)
        return {double(v), 2.0 * double(v)};
    else if constexpr (std::is_same_v<T, void*>)
        return reinterpret_cast<void*>(std::uintptr_t(v * 8));
    else if constexpr (std::is_same_v<T, std::string>)
        return "element " + std::to_string(v);
    else
        return T(v % 30000);
}

enum class EOp { Resize, Insert, Erase, CopyElement, Reverse };

struct ITracked {
    virtual ~ITracked() = default;
    virtual ICollection const& Collection() const = 0;
    virtual void SetActive(bool active, int count) = 0;
    virtual void Put(int i, std::uint64_t v) = 0;
    virtual void SetFill(std::uint64_t v) = 0;
    // The model's side of a manager operation.
    virtual void Model(EOp op, int a, int b = 0) = 0;
    virtual bool Matches() const = 0;
    virtual int Allocated() const = 0;
    virtual int Offset() const = 0;
};

// A collection beside its model, a plain vector holding what it should hold.
template <class T>
struct STracked : ITracked {
    STracked(CDataManager& manager, std::uint64_t fill) : collection(&manager, false) {
        collection.SetDefaultValue(MakeValue<T>(fill));
    }
    ICollection const& Collection() const override { return collection; }
    void SetActive(bool active, int count) override {
        collection.SetActive(active);
        model.assign(active ? std::size_t(count) : 0u, collection.GetDefaultValue());
    }
    void Put(int i, std::uint64_t v) override {
        collection.Set(i, MakeValue<T>(v));
        model[std::size_t(i)] = MakeValue<T>(v);
    }
    void SetFill(std::uint64_t v) override { collection.SetDefaultValue(MakeValue<T>(v)); }
    void Model(EOp op, int a, int b) override {
        if (!collection.IsActive()) return;
        T const fill = collection.GetDefaultValue();
        switch (op) {
            case EOp::Resize:
                model.resize(std::size_t(a), fill);
                break;
            case EOp::Insert:
                model.insert(model.begin() + a, fill);
                break;
            case EOp::Erase:
                model.erase(model.begin() + a);
                break;
            case EOp::CopyElement:
                model[std::size_t(a)] = model[std::size_t(b)];
                break;
            case EOp::Reverse:
                std::reverse(model.begin(), model.end());
                break;
        }
    }
    bool Matches() const override {
        if (collection.Count() != int(model.size())) return false;
        for (int i = 0; i < collection.Count(); ++i)
            if (!(collection.Get(i) == model[std::size_t(i)])) return false;
        return true;
    }
    int Allocated() const override { return collection.GetAsArray().GetNumAllocated(); }
    int Offset() const override { return collection.GetAsArray().GetMemoryOffset(); }

    CCollection_Internal<T> collection;
    std::vector<T> model;
};

template <class... T>
std::vector<std::unique_ptr<ITracked>> Track(CDataManager& manager) {
    std::vector<std::unique_ptr<ITracked>> tracked;
    (tracked.push_back(std::make_unique<STracked<T>>(manager, tracked.size() + 1)), ...);
    return tracked;
}

}  // namespace

TEST(DataManager, Lockstep_RandomSequencesAgreeWithVectorModel) {
    std::mt19937_64 random(0x5EC7105);
    CDataManager manager;
    // The element sizes of a point-set section, plus an owning type.
    auto tracked = Track<SPoint3, SPoint3, SPoint2, double, double, short, int, void*, std::string,
                         unsigned char, SPoint3>(manager);
    tracked[0]->SetActive(true, 0);
    auto models = [&](auto change) {
        for (auto& t : tracked)
            change(*t);
    };
    auto pick = [&](int n) { return int(random() % std::uint64_t(n)); };

    std::uint64_t next = 1000;
    for (int step = 0; step < 6000; ++step) {
        int const count = manager.GetNumElements();
        int const action = pick(100);
        if (action < 35) {  // append, and mostly fill, as a reader does
            manager.CheckSpace(count + 1);
            models([&](ITracked& t) { t.Model(EOp::Resize, count + 1); });
            for (auto& t : tracked)
                if (t->Collection().IsActive() && action < 25) t->Put(count, next++);
        } else if (action < 50) {
            int const at = pick(count + 1);
            manager.Insert(at);
            models([&](ITracked& t) { t.Model(EOp::Insert, at); });
        } else if (action < 70 && count > 0 && manager.GetActiveCollections() != 0) {
            int const at = pick(count);
            manager.Remove(at);
            models([&](ITracked& t) { t.Model(EOp::Erase, at); });
        } else if (action < 78) {  // grow or shrink in bulk
            int const n = pick(3 * count / 2 + 20);
            manager.CheckSpace(n);
            models([&](ITracked& t) { t.Model(EOp::Resize, n); });
        } else if (action < 86) {
            auto& t = tracked[std::size_t(pick(int(tracked.size())))];
            t->SetActive(!t->Collection().IsActive(), count);
        } else if (action < 90 && count > 0) {
            int const to = pick(count), from = pick(count);
            manager.CopyElement(to, from);
            models([&](ITracked& t) { t.Model(EOp::CopyElement, to, from); });
        } else if (action < 93) {
            manager.Reverse();
            models([&](ITracked& t) { t.Model(EOp::Reverse, 0); });
        } else if (action < 96) {
            manager.Compact();
        } else if (action < 98) {
            manager.PreAllocate(count + pick(50));
        } else if (action < 99) {  // appends that follow take the new fill value
            tracked[std::size_t(pick(int(tracked.size())))]->SetFill(next++);
        } else {
            manager.Reset();
            models([&](ITracked& t) { t.Model(EOp::Resize, 0); });
        }

        unsigned expectedMask = 0;
        for (std::size_t i = 0; i < tracked.size(); ++i) {
            ITracked const& t = *tracked[i];
            ASSERT_TRUE(t.Matches()) << "collection " << i << " at step " << step;
            if (!t.Collection().IsActive()) {
                ASSERT_EQ(t.Allocated(), 0) << step;
                continue;
            }
            expectedMask |= 1u << i;
            ASSERT_EQ(t.Collection().Count(), manager.GetNumElements()) << step;
            ASSERT_EQ(t.Allocated(), manager.GetNumAllocated()) << "collection " << i << " at step " << step;
            ASSERT_EQ(t.Offset(), manager.GetMemoryOffset()) << "collection " << i << " at step " << step;
        }
        ASSERT_EQ(manager.GetActiveCollections(), expectedMask) << step;
    }
}

// One-by-one appends go through the manager's append plan, which must follow
// changes of flags and fill values and must not bypass a collection that does
// more than copy its fill value on growth.
TEST(DataManager, AppendPlan_FollowsFlagsAndFillsAndKeepsOverridesCalled) {
    struct SCounting final : CCollection_Internal<int> {
        using CCollection_Internal<int>::CCollection_Internal;
        int calls = 0;

      protected:
        void CheckSpace(int n) override {
            ++calls;
            CCollection_Internal<int>::CheckSpace(n);
        }
    };
    CDataManager manager;
    CCollection_Internal<double> values(&manager, true);
    SCounting counting(&manager, true);
    manager.PreAllocate(100);
    for (int i = 0; i < 10; ++i)
        manager.CheckSpace(i + 1);
    EXPECT_EQ(counting.calls, 10);

    counting.SetActive(false);
    bool first = false, second = false, resized = false;
    values.SetDataModifiedFlag(&first);
    values.SetCheckSpaceFlag(&resized);
    manager.CheckSpace(11);
    EXPECT_TRUE(first && resized);
    values.SetDefaultValue(2.5);
    manager.CheckSpace(12);
    EXPECT_EQ(values.Get(10), 0.0);
    EXPECT_EQ(values.Get(11), 2.5);
    values.SetDataModifiedFlag(&second);
    manager.CheckSpace(13);
    EXPECT_TRUE(second);
}
