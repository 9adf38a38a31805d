// SPDX-License-Identifier: MIT
// CNURBS_Curve_Base: the storage of a NURBS curve: closed and periodic
// flags, the current max deviation (the fitting tolerance), the weighted
// control points P[0] .. P[n-1] and the knot vector (n = knots - order).
//
// A new curve has order -1, no knots, no control points, both flags false
// and the current max deviation equal to the class default (0.05, shared by
// all curves, GetDefaultMaxDeviation / SetDefaultMaxDeviation).
//
// Change tracking: the control points and the knot vector are bound to the
// curve's modified flags, so that any change through their marking setters,
// the set_ accessors, CheckSpace or the flag setters invalidates whatever the
// curve's cache derived from them. Four flags: control points, knots, shape
// (flags and deviation), and the curve flag that stands for all three and
// on which derived data register (GetCacheFlag).
#pragma once

#include "core/CCache_Flag.h"
#include "core/CQEL_Array.h"
#include "core/QEL_Export.h"
#include "entities/CCtrlPoint.h"
#include "entities/CNURBS_KnotVector.h"

namespace QEL::Core {

class QEL_API CNURBS_Curve_Base {
  public:
    CNURBS_Curve_Base();
    // Flags, deviation, control points and knots of other; flags of its own.
    CNURBS_Curve_Base(CNURBS_Curve_Base const& other);
    CNURBS_Curve_Base& operator=(CNURBS_Curve_Base const& other);
    virtual ~CNURBS_Curve_Base();

    static double GetDefaultMaxDeviation();
    // The default for curves made from now on.
    static void SetDefaultMaxDeviation(double deviation);

    bool IsClosed() const { return m_closed; }
    void SetClosed(bool closed);
    bool IsPeriodic() const { return m_periodic; }
    void SetPeriodic(bool periodic);
    double GetCurrentMaxDeviation() const { return m_maxDeviation; }
    void SetCurrentMaxDeviation(double deviation);

    int GetNumCtrl() const { return m_knotVector.GetNumCtrl(); }
    int GetOrder() const { return m_knotVector.GetOrder(); }
    int GetDegree() const { return m_knotVector.GetDegree(); }
    int GetNumKnots() const { return m_knotVector.GetNumKnots(); }
    int GetNumKnotSpans() const { return m_knotVector.GetNumKnotSpans(); }
    // Number of control points minus 1.
    int GetUpperIndex() const { return m_ctrlPts.Count() - 1; }
    double GetStartU() const { return m_knotVector.GetStart(); }
    double GetEndU() const { return m_knotVector.GetEnd(); }
    double GetRangeU() const { return m_knotVector.GetRange(); }
    // Allocated control points times 40 bytes.
    long long GetApproxSize() const { return 40LL * m_ctrlPts.GetNumAllocated(); }

    // P[i], bound to the curve (its marking setters invalidate the cache); i
    // outside 0 .. n-1 throws reason 4 ("ctrl_pt_index").
    CCtrlPoint& get_CtrlPts(int i);
    CCtrlPoint const& get_CtrlPts(int i) const;
    // P[i] = point (marks); i checked as above.
    void set_CtrlPts(int i, CCtrlPoint const& point);
    CQEL_Array<CCtrlPoint> const& GetCtrlPts() const { return m_ctrlPts; }
    CNURBS_KnotVector const& GetKnotVector() const { return m_knotVector; }
    // The knot vector for writing; its changes mark the curve.
    CNURBS_KnotVector& EditKnotVector() { return m_knotVector; }
    // After writing control points through ref_ or RawSet (no mark of their own).
    void MarkCtrlPtsModified() { m_ctrlPtsFlag.SetModified(); }

    // Shapes the curve for num_ctrl_pts control points of degree degree:
    // degree outside 1 .. 1000000000 throws reason 5 ("degree"), num_ctrl_pts
    // outside degree+1 .. 1000000000 reason 5 ("num_ctrl_pts"). An order still
    // unset while knots are present is warned about ("Member functions
    // modified illegally") and overwritten. The order becomes degree + 1;
    // when the knot count is not num_ctrl_pts + order the knots become the
    // clamped uniform vector on [0, 1], else they are kept. New control
    // points are the default one.
    void CheckSpace(int num_ctrl_pts, int degree);
    // A curve without knots throws reason 10 ("This is an invalid curve").
    void Validate() const;
    // The current max deviation for a non-rational curve; otherwise that
    // times wmin / (1 + Pmax), with wmin the smallest weight and Pmax the
    // largest Cartesian magnitude of the control points.
    double CalculateTolerance() const;
    // Every weight exactly 1 (true without control points).
    bool IsNonRational() const;

    // Order -1, no knots or points, flags false; the deviation is kept.
    void Init();

    // The flag that stands for every change of the curve.
    CCache_Flag& GetCacheFlag() const { return m_cacheFlag; }
    // Validates the source flags, so that registered derived data learn of changes.
    void ValidateCaches() const;

  protected:
    void CopyBase(CNURBS_Curve_Base const& other);
    void BindElements();

  private:
    void LinkFlags();

    bool m_closed = false;
    bool m_periodic = false;
    double m_maxDeviation;
    CQEL_Array<CCtrlPoint> m_ctrlPts;
    CNURBS_KnotVector m_knotVector;
    mutable CCache_Flag m_ctrlPtsFlag, m_knotsFlag, m_shapeFlag, m_cacheFlag;
};

}  // namespace QEL::Core
