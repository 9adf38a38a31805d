// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "core/CCache_Flag.h"
#include "test_helpers/ReasonOf.h"
#include "core/CCollection_CachedData.h"
#include "core/CCollection_Internal.h"
#include "core/CDataManager.h"
#include "core/CQEL_Exception.h"

using namespace QEL::Core;

namespace {

struct CCounter : ICachedObject {
    void InvalidateCache(CCache_Flag& flag) override {
        ++invalidations;
        last = &flag;
    }
    void Destroy(CCache_Flag const&) override { ++destructions; }
    int invalidations = 0, destructions = 0;
    CCache_Flag* last = nullptr;
};

}  // namespace

TEST(CacheFlag, Validate_ReportsOneChangeOnceAndRaisesTheEventOnce) {
    CCache_Flag flag;
    CCounter counter;
    EXPECT_TRUE(flag.RegisterObject(&counter));
    EXPECT_FALSE(flag.RegisterObject(&counter));
    EXPECT_EQ(flag.GetNumObjects(), 1);

    EXPECT_FALSE(flag.Validate());
    flag.SetModified();
    flag.SetModified();
    EXPECT_EQ(counter.invalidations, 0);  // setting the flag only records
    EXPECT_TRUE(flag.Validate());
    EXPECT_FALSE(flag.Validate());
    EXPECT_EQ(counter.invalidations, 1);
    EXPECT_EQ(counter.last, &flag);

    flag.Reset();  // invalidates whether or not anything changed
    EXPECT_EQ(counter.invalidations, 2);
    EXPECT_FALSE(flag.IsModified());

    // The flag pointer is what collections set.
    CDataManager manager;
    CCollection_Internal<double> values(&manager, true);
    values.SetDataModifiedFlag(flag.GetFlag());
    manager.CheckSpace(3);
    EXPECT_TRUE(flag.Validate());
    EXPECT_EQ(counter.invalidations, 3);

    EXPECT_TRUE(flag.UnregisterObject(&counter));
    EXPECT_FALSE(flag.UnregisterObject(&counter));
    flag.Reset();
    EXPECT_EQ(counter.invalidations, 3);

    EXPECT_EQ(ReasonOf([&] { flag.RegisterObject(nullptr); }), QEL_NULL_PARAMETER);
    EXPECT_EQ(ReasonOf([&] { flag.RegisterObject(&flag); }), QEL_INVALID_PARAMETER);
}

TEST(CacheFlag, Lifetime_FlagsAndObjectsMayDieInEitherOrder) {
    auto flag = std::make_unique<CCache_Flag>();
    CCache_Flag other;
    CCounter counter;
    flag->RegisterObject(&counter);
    other.RegisterObject(&counter);
    ASSERT_EQ(counter.GetNumFlags(), 2);
    flag.reset();  // tells its objects, which let go of it
    EXPECT_EQ(counter.destructions, 1);
    EXPECT_EQ(counter.GetNumFlags(), 1);
    EXPECT_EQ(counter.GetFlag(0), &other);

    {
        CCounter shortLived;
        other.RegisterObject(&shortLived);
        EXPECT_EQ(other.GetNumObjects(), 2);
    }  // unregisters itself
    EXPECT_EQ(other.GetNumObjects(), 1);
    other.Reset();
    EXPECT_EQ(counter.invalidations, 1);
}

TEST(CacheFlag, Chaining_PassesInvalidationOnAndStopsAtCycles) {
    CCache_Flag vertices, triangles, derived;
    CCounter counter;
    vertices.RegisterObject(&derived);
    triangles.RegisterObject(&derived);
    derived.RegisterObject(&counter);
    vertices.SetModified();
    EXPECT_TRUE(vertices.Validate());
    EXPECT_EQ(counter.invalidations, 1);
    EXPECT_EQ(counter.last, &derived);
    triangles.Reset();
    EXPECT_EQ(counter.invalidations, 2);

    derived.RegisterObject(&vertices);  // vertices -> derived -> vertices
    vertices.Reset();
    EXPECT_EQ(counter.invalidations, 3);
}

namespace {

// Twice the values of a source collection of the same manager.
class CDoubled : public CCollection_CachedData<double> {
  public:
    CDoubled(CDataManager* manager, CCollection<double> const& source)
        : CCollection_CachedData<double>(manager, true), m_source(source) {}
    int recomputations = 0;

  protected:
    void Recompute(std::span<double> values) override {
        ++recomputations;
        for (std::size_t i = 0; i < values.size(); ++i)
            values[i] = 2.0 * m_source.Get(int(i));
    }

  private:
    CCollection<double> const& m_source;
};

}  // namespace

TEST(CacheFlag, CachedData_RecomputesOnlyAfterItsSourcesOrStructureChange) {
    CDataManager manager;
    CCache_Flag flag;
    CCollection_Internal<double> source(&manager, true);
    source.SetDataModifiedFlag(flag.GetFlag());
    CDoubled doubled(&manager, source);
    doubled.DependOn(flag);
    manager.CheckSpace(4);
    for (int i = 0; i < 4; ++i)
        source.Set(i, i + 1.0);

    EXPECT_EQ(doubled.Get(3), 8.0);
    EXPECT_EQ(doubled.Get(0), 2.0);
    EXPECT_EQ(doubled.recomputations, 1);

    source.Set(0, 10.0);
    EXPECT_EQ(doubled.Get(0), 20.0);
    EXPECT_EQ(doubled.recomputations, 2);

    manager.Insert(1);  // the new element holds no computed value yet
    EXPECT_EQ(doubled.GetAsArray().Count(), 5);
    EXPECT_EQ(doubled.Get(1), 0.0);
    EXPECT_EQ(doubled.Get(2), 4.0);
    EXPECT_EQ(doubled.recomputations, 3);

    manager.Compact();  // moves, changes nothing
    (void)doubled.GetAll();
    EXPECT_EQ(doubled.recomputations, 3);
    doubled.Invalidate();
    (void)doubled[0];
    EXPECT_EQ(doubled.recomputations, 4);

    EXPECT_TRUE(doubled.StopDependingOn(flag));
    source.Set(0, 1.0);
    EXPECT_EQ(doubled.Get(0), 20.0);  // no longer follows the source
}
