// SPDX-License-Identifier: MIT
// The append plan against a model: long random sequences of appends, inserts,
// removals, activations, fill and flag changes on a manager whose collections
// have the element sizes of a point-set section, compared with plain vectors
// after every step.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "core/CCollection.h"
#include "core/CCollection_Internal.h"
#include "core/CDataManager.h"

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
struct SOdd {  // 12 bytes: no group of its own size
    float a = 0, b = 0, c = 0;
    bool operator==(SOdd const&) const = default;
};

template <class T>
T MakeValue(std::uint64_t v) {
    if constexpr (std::is_same_v<T, SPoint3>)
        return {double(v), -double(v), 0.5 * double(v)};
    else if constexpr (std::is_same_v<T, SPoint2>)
        return {double(v), 2.0 * double(v)};
    else if constexpr (std::is_same_v<T, SOdd>)
        return {float(v), 1.0f, -float(v)};
    else if constexpr (std::is_same_v<T, void*>)
        return reinterpret_cast<void*>(std::uintptr_t(v * 8));
    else if constexpr (std::is_same_v<T, std::string>)
        return "element " + std::to_string(v);
    else
        return T(v % 30000);
}

enum class EOp { Resize, Insert, Erase, CopyElement, Reverse };

// Flags that collections raise; two collections may share a pair, as the
// collections of one entity do.
struct SFlags {
    bool modified = false, resized = false;
};

struct ITracked {
    virtual ~ITracked() = default;
    virtual ICollection const& Collection() const = 0;
    virtual void SetActive(bool active, int count) = 0;
    virtual void Put(int i, std::uint64_t v) = 0;
    virtual void SetFill(std::uint64_t v) = 0;
    // Null for a collection class that raises none.
    virtual void SetFlags(SFlags* flags) = 0;
    virtual SFlags* Flags() const = 0;
    // The model's side of a manager operation.
    virtual void Model(EOp op, int a, int b = 0) = 0;
    virtual bool Matches() const = 0;
    virtual int Allocated() const = 0;
    virtual int Offset() const = 0;
};

// A collection beside its model, a plain vector holding what it should hold.
template <class T, template <class> class C>
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
    void SetFlags(SFlags* f) override {
        if constexpr (requires { collection.SetDataModifiedFlag(nullptr); }) {
            flags = f;
            collection.SetDataModifiedFlag(&f->modified);
            collection.SetCheckSpaceFlag(&f->resized);
        }
    }
    SFlags* Flags() const override { return flags; }
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

    C<T> collection;
    std::vector<T> model;
    SFlags* flags = nullptr;
};

template <class T>
using Internal = CCollection_Internal<T>;
template <class T>
using Plain = CCollection<T>;

}  // namespace

TEST(AppendPlan, RandomSequences_AgreeWithVectorModel) {
    std::mt19937_64 random(0x5EC7105);
    CDataManager manager;
    // The element sizes of a point-set section, one size without a group of
    // its own, an owning type (which no plan can serve while it is active)
    // and a collection class that raises no flags.
    std::vector<std::unique_ptr<ITracked>> tracked;
    auto track = [&]<class T, template <class> class C = Internal>() {
        tracked.push_back(std::make_unique<STracked<T, C>>(manager, tracked.size() + 1));
    };
    track.operator()<SPoint3>();
    track.operator()<SPoint3>();
    track.operator()<SPoint2>();
    track.operator()<double>();
    track.operator()<double, Plain>();
    track.operator()<short>();
    track.operator()<int>();
    track.operator()<void*>();
    track.operator()<std::string>();
    track.operator()<unsigned char>();
    track.operator()<SOdd>();
    track.operator()<SPoint3, Plain>();
    std::vector<SFlags> flags(tracked.size() + 1);  // the last pair is shared
    for (std::size_t i = 0; i < tracked.size(); ++i)
        tracked[i]->SetFlags(&flags[i]);
    tracked[0]->SetActive(true, 0);

    auto models = [&](EOp op, int a, int b = 0) {
        for (auto& t : tracked)
            t->Model(op, a, b);
    };
    auto pick = [&](int n) { return int(random() % std::uint64_t(n)); };
    // After a change of size, every active collection's flags are raised.
    auto expectRaised = [&](int step) {
        for (std::size_t i = 0; i < tracked.size(); ++i) {
            SFlags const* f = tracked[i]->Flags();
            bool const raised = !f || !tracked[i]->Collection().IsActive() || (f->modified && f->resized);
            EXPECT_TRUE(raised) << "collection " << i << " at step " << step;
        }
    };

    std::uint64_t next = 1000;
    for (int step = 0; step < 6000; ++step) {
        for (SFlags& f : flags)
            f = {};
        int const count = manager.GetNumElements();
        int const action = pick(100);
        if (action < 30) {  // a run of appends, mostly filled, as a reader makes
            int const run = pick(3) == 0 ? 1 + pick(150) : 1;
            bool const fill = pick(3) != 0;
            for (int n = count + 1; n <= count + run; ++n) {
                manager.CheckSpace(n);
                models(EOp::Resize, n);
                for (auto& t : tracked)
                    if (fill && t->Collection().IsActive()) t->Put(n - 1, next++);
            }
            expectRaised(step);
        } else if (action < 45) {
            int const at = pick(count + 1);
            manager.Insert(at);
            models(EOp::Insert, at);
            expectRaised(step);
        } else if (action < 62 && count > 0 && manager.GetActiveCollections() != 0) {
            int const at = pick(count);
            manager.Remove(at);
            models(EOp::Erase, at);
            expectRaised(step);
        } else if (action < 70) {  // grow or shrink in bulk
            int const n = pick(3 * count / 2 + 20);
            manager.CheckSpace(n);
            models(EOp::Resize, n);
        } else if (action < 78) {
            auto& t = tracked[std::size_t(pick(int(tracked.size())))];
            t->SetActive(!t->Collection().IsActive(), count);
        } else if (action < 82 && count > 0) {
            int const to = pick(count), from = pick(count);
            manager.CopyElement(to, from);
            models(EOp::CopyElement, to, from);
        } else if (action < 85) {
            manager.Reverse();
            models(EOp::Reverse, 0);
        } else if (action < 88) {
            manager.Compact();
        } else if (action < 92) {
            manager.PreAllocate(count + pick(200));
        } else if (action < 95) {  // appends that follow take the new fill value
            tracked[std::size_t(pick(int(tracked.size())))]->SetFill(next++);
        } else if (action < 98) {  // appends that follow raise the new flags
            tracked[std::size_t(pick(int(tracked.size())))]->SetFlags(
                &flags[std::size_t(pick(int(flags.size())))]);
        } else {
            manager.Reset();
            models(EOp::Resize, 0);
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

// A class derived from a collection may do more on growth than copy its fill
// value: the plan must not bypass it.
TEST(AppendPlan, KeepsOverriddenCheckSpaceCalled) {
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
    EXPECT_EQ(values.Count(), 10);
}
