// SPDX-License-Identifier: MIT
// CPointSet_Cache: the derived values of a point set, computed on first use
// after a change and kept until the next one.
//
// The cache subscribes to the set's cache flag; the set raises the flag on
// every change of points or attributes, and each query validates the flag
// first, which discards stale values. One pass over the points then computes
// the centre of mass, the bounding corners and the statistics of the error
// values together.
#pragma once

#include "core/CCache_Flag.h"
#include "core/ICachedObject.h"
#include "core/CPoint3.h"
#include "core/QEL_Export.h"
#include "entities/SErrorStats.h"

namespace QEL::Core {

using Elements::CPoint3;

class CPointSet_Base;

class QEL_API CPointSet_Cache : public ICachedObject {
  public:
    // Binds the cache to set (which must outlive it) and subscribes to its
    // flag; the registration ends with the cache.
    explicit CPointSet_Cache(CPointSet_Base const& set);
    CPointSet_Cache(CPointSet_Cache const&) = delete;
    CPointSet_Cache& operator=(CPointSet_Cache const&) = delete;
    ~CPointSet_Cache() override;

    CPoint3<double> const& GetCenMass();
    CPoint3<double> const& GetMin();
    CPoint3<double> const& GetMax();
    SErrorStats const& GetErrorStats();

    // Discards the values (the flag's invalidation event lands here).
    void InvalidateCache(CCache_Flag& flag) override;

  private:
    void Update();

    CPointSet_Base const& m_set;
    bool m_valid = false;
    CPoint3<double> m_cenMass;
    CPoint3<double> m_min;
    CPoint3<double> m_max;
    SErrorStats m_errorStats;
};

}  // namespace QEL::Core
