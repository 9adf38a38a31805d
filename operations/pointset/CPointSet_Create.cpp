// SPDX-License-Identifier: MIT
#include "operations/pointset/CPointSet_Create.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "core/CQEL_Operation.h"
#include "core/CTransform4.h"
#include "operations/pointset/CPointSet_Analyse.h"
#include "operations/pointset/CPointSet_Merge.h"
#include "operations/pointset/CPointSet_Modify.h"
#include "operations/pointset/CProfileIntersection.h"

namespace QEL::Core {

using V3 = CVector3<double>;

namespace {

using Frame = CTransform4<double>;

// The frame at origin whose z axis is direction (non-zero): the core's from-to
// rotation that turns z onto direction, then the move to origin. Local
// coordinates go to world with Map.
Frame AlongZ(V3 const& origin, V3 const& direction) {
    Frame frame;
    frame.CreateRotation(V3(0.0, 0.0, 1.0), direction);
    frame.SetTranslation(origin);
    return frame;
}

V3 Map(Frame const& frame, double x, double y, double z) {
    return V3(frame.Apply(CPoint3<double>(x, y, z)));
}

double const kPi = std::atan(1.0) * 4.0;
double const kMaxPoints = 2147483647.0;

// max(ceil(2 pi r / spacing), 1): the points of a ring of radius r.
int RingCount(double r, double spacing) {
    double const m = std::ceil(2.0 * kPi * r / spacing);
    return m < 1.0 ? 1 : int(m);
}

// Refuses work whose point count would not fit the set's signed 32-bit count.
void CheckBudget(CQEL_Operation const& op, double points, char const* param,
                 std::source_location where = std::source_location::current()) {
    if (!(points <= kMaxPoints))
        op.Throw(QEL_INVALID_PARAMETER, param,
                 "Spacing too small for the size: the point set would exceed 2147483647 points", where);
}

void CheckDirection(CQEL_Operation const& op, V3 const& v, char const* param,
                    std::source_location where = std::source_location::current()) {
    op.Check(v.IsFinite() && v.Mag() > 0.0, QEL_INVALID_PARAMETER, param,
             "Vectors must not have zero magnitude.", where);
}

// A new section of count points with positions only, filled by point(j) for
// j = 0 .. count - 1 before it joins the target, then appended after the last.
template <class PointAt>
void AppendSection(CPointSet& target, int count, PointAt point) {
    auto section = std::make_unique<CPointSet_Section>(count, CPtsData::def);
    std::span<CPointSet_Section::Point> const points = section->EditPts();
    for (int j = 0; j < count; ++j) {
        V3 const p = point(j);
        points[j].RawSet(CPoint3<double>(p.x, p.y, p.z));
    }
    CPointSet_Modify(target).AddSection_After(target.GetNumSec() - 1, section.release());
}

// Ring of count points of radius r at height z in frame, starting on the frame's x axis.
// The angles j dphi advance by a rotation (two products per point) and are
// taken afresh from sin and cos every 32 points, which keeps the rounding of
// the recurrence far below 1e-12 of the radius.
void AppendRing(CPointSet& target, Frame const& frame, double r, double z, int count) {
    double const dphi = 2.0 * kPi / count;
    double const cd = std::cos(dphi), sd = std::sin(dphi);
    double c = 1.0, s = 0.0;
    AppendSection(target, count, [&](int j) {
        if (j % 32 == 0) {
            c = std::cos(j * dphi);
            s = std::sin(j * dphi);
        } else {
            double const next = c * cd - s * sd;
            s = s * cd + c * sd;
            c = next;
        }
        return Map(frame, r * c, r * s, z);
    });
}

// The disc of Circle in frame at height z.
void AppendDisc(CPointSet& target, Frame const& frame, double z, double spacing, double radius) {
    int const n = int(std::ceil(radius / spacing));
    for (int i = 0; i <= n; ++i) {
        double const ri = i * radius / n;
        AppendRing(target, frame, ri, z, RingCount(ri, spacing));
    }
}

double DiscPoints(double spacing, double radius) {
    // Rings of 2 pi r_i / s points, r_i = i s: about pi (r / s)^2 plus one per ring.
    double const n = std::ceil(radius / spacing);
    return kPi * (n + 1.0) * (n + 2.0) + 2.0 * (n + 1.0);
}

// The source, or a copy of it when it is the target (which is about to be reset).
CPointSet const& Detached(CPointSet const& source, CPointSet const& target, std::optional<CPointSet>& copy) {
    if (&source != &target) return source;
    copy.emplace(source);
    return *copy;
}

// Shared by ProfileIntersections and the GridOffset family; the caller has checked spacing.
void Profiles(CQEL_Operation const& op, CPointSet& target, CPointSet const& source, V3 const& direction,
              V3 const& second, double spacing) {
    CheckDirection(op, direction, "direction");
    CheckDirection(op, second, "secondVector");
    V3 const d = direction.GetNormalised();
    V3 const across = second - d * Dot(second, d);
    op.Check(across.Mag() > 1e-12 * second.Mag(), QEL_INVALID_PARAMETER, "secondVector",
             "Vectors must not be parallel.");
    op.Check(source.GetNumPts() > 0, QEL_INVALID_POINTSET, "source", "Point set cannot be empty.");
    V3 const e = across.GetNormalised();

    SFarthestPoint const farthest = CPointSet_Analyse(source).ComputeFarthestPointAlongDirection(d);
    double nearest = farthest.distance;
    for (int s = 0; s < source.GetNumSec(); ++s)
        for (auto const& p : source.get_Sec(s).GetPtsArray())
            nearest = std::min(nearest, Dot(V3(p), d));
    double const planes = std::floor((farthest.distance - nearest) / spacing) + 1.0;
    op.CheckRange(planes, 1.0, 1000000.0, "num_profiles");

    target.Reset();
    V3 const top(farthest.point);
    CQEL_Array<SProfileHit> hits;
    std::vector<std::pair<double, int>> order;
    for (int k = 0; k < int(planes); ++k) {
        hits.CheckSpace(0);
        CProfileIntersection const plane(CPoint3<double>(top - d * (k * spacing)), d);
        if (plane.Intersect(source, hits) == 0) continue;
        order.clear();
        for (int i = 0; i < hits.Count(); ++i)
            order.emplace_back(Dot(V3(hits[i].point), e), i);
        std::stable_sort(order.begin(), order.end(),
                         [](auto const& a, auto const& b) { return a.first < b.first; });
        CheckBudget(op, double(target.GetNumPts()) + hits.Count(), "spacing");
        AppendSection(target, hits.Count(), [&](int j) { return V3(hits[order[j].second].point); });
    }
}

// One algorithm for the six signed axes: profiles across the next axis,
// ordered along the one after, moved by offset along the signed axis.
void GridOffset(CQEL_Operation const& op, CPointSet& target, CPointSet const& source, int axis, double sign,
                double spacing, double offset) {
    op.CheckRange(spacing, 1e-6, 1e9, "spacing");
    op.CheckRange(offset, -1e9, 1e9, "offset");
    op.Check(source.GetNumPts() > 0, QEL_INVALID_POINTSET, "source", "Point set cannot be empty.");
    V3 const axes[3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    std::optional<CPointSet> copy;
    Profiles(op, target, Detached(source, target, copy), axes[(axis + 1) % 3], axes[(axis + 2) % 3], spacing);
    Frame shift;
    shift.CreateTranslation(axes[axis] * (sign * offset));
    for (int s = 0; s < target.GetNumSec(); ++s)
        target.get_Sec(s).Transform(CEntityTransform(shift));
}

}  // namespace

// --- analytic shapes -----------------------------------------------------------------

void CPointSet_Create::Sphere(CPoint3<double> const& centre, double spacing, double radius) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Create::Sphere");
    op.Run([&] {
        op.CheckRange(spacing, 1e-6, 1e9, "spacing");
        op.CheckRange(radius, 2.0 * spacing, 1e9, "radius");
        double const ratio = radius / spacing;
        CheckBudget(op, 4.0 * kPi * ratio * ratio + 2.0 * kPi * ratio + 2.0, "spacing");
        int const n = int(std::ceil(kPi * radius / spacing));
        double const dtheta = kPi / n;
        m_target.Reset();
        m_target.m_sections.PreAllocate(n + 1);
        Frame frame;
        frame.CreateTranslation(V3(centre));
        for (int i = 0; i <= n; ++i) {
            double const theta = i * dtheta;
            double const rr = radius * std::sin(theta);
            AppendRing(m_target, frame, rr, radius * std::cos(theta), RingCount(rr, spacing));
        }
    });
}

void CPointSet_Create::Circle(CPoint3<double> const& centre, CVector3<double> const& normal, double spacing,
                              double radius) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Create::Circle");
    op.Run([&] {
        op.CheckRange(spacing, 1e-6, radius / 2.0, "spacing");
        op.CheckRange(radius, 2.0 * spacing, 1e9, "radius");
        CheckDirection(op, V3(normal), "normal");
        CheckBudget(op, DiscPoints(spacing, radius), "spacing");
        m_target.Reset();
        m_target.m_sections.PreAllocate(int(std::ceil(radius / spacing)) + 1);
        AppendDisc(m_target, AlongZ(V3(centre), V3(normal)), 0.0, spacing, radius);
    });
}

void CPointSet_Create::Cylinder(CPoint3<double> const& start, CPoint3<double> const& end, double spacing,
                                double radius) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Create::Cylinder");
    op.Run([&] {
        op.CheckRange(spacing, 1e-6, radius / 2.0, "spacing");
        op.CheckRange(radius, 2.0 * spacing, 1e9, "radius");
        V3 const axis = V3(end) - V3(start);
        double const height = axis.Mag();
        op.CheckRange(height, spacing, 1e9, "height");
        double const circles = std::ceil(height / spacing);
        op.CheckRange(circles, 2.0, 1000000000.0, "num_circles");
        CheckBudget(op, 2.0 * DiscPoints(spacing, radius) + circles * RingCount(radius, spacing), "spacing");
        int const n = int(circles);
        double const dz = height / n;
        Frame const frame = AlongZ(V3(start), axis);

        // First disc, then the wall and the second disc, each built apart and merged in.
        m_target.Reset();
        AppendDisc(m_target, frame, 0.0, spacing, radius);
        CPointSet wall;
        int const m = RingCount(radius, spacing);
        for (int i = 0; i <= n - 2; ++i)
            AppendRing(wall, frame, radius, (i + 1) * dz, m);
        CPointSet_Merge(m_target).Basic(wall);
        CPointSet cap;
        AppendDisc(cap, frame, height, spacing, radius);
        CPointSet_Merge(m_target).Basic(cap);
    });
}

void CPointSet_Create::Cone(CPoint3<double> const& baseCentre, CPoint3<double> const& apex, double spacing,
                            double radius) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Create::Cone");
    op.Run([&] {
        op.CheckRange(spacing, 1e-6, radius / 2.0, "spacing");
        op.CheckRange(radius, 2.0 * spacing, 1e9, "radius");
        V3 const axis = V3(apex) - V3(baseCentre);
        double const height = axis.Mag();
        op.CheckRange(height, spacing, 1e9, "height");
        double const rings = std::ceil(height / spacing);
        op.CheckRange(rings, 2.0, 1000000000.0, "num_circles");
        CheckBudget(op, DiscPoints(spacing, radius) + rings * (RingCount(radius, spacing) + 1.0), "spacing");
        int const n = int(rings);
        double const dz = height / n;
        Frame const frame = AlongZ(V3(baseCentre), axis);

        m_target.Reset();
        for (int i = 0; i < n; ++i) {
            double const ri = radius - (radius / n) * i;
            AppendRing(m_target, frame, ri, i * dz, RingCount(ri, spacing));
        }
        CPointSet base;
        AppendDisc(base, frame, 0.0, spacing, radius);
        CPointSet_Merge(m_target).Basic(base);
    });
}

void CPointSet_Create::Torus(CPoint3<double> const& centre, CVector3<double> const& axis, double spacing,
                             double minorRadius, double majorRadius) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Create::Torus");
    op.Run([&] {
        op.CheckRange(spacing, 1e-6, minorRadius / 2.0, "spacing");
        op.CheckRange(minorRadius, 2.0 * spacing, 1e9, "minor_radius");
        op.CheckRange(majorRadius, minorRadius, 1e9, "major_radius");
        CheckDirection(op, V3(axis), "axis");
        int const tube = RingCount(minorRadius, spacing);
        int const copies = RingCount(majorRadius, spacing);
        CheckBudget(op, double(tube) * copies, "spacing");
        Frame const frame = AlongZ(V3(centre), V3(axis));

        // The tube circle in the xz plane at the major radius, then copies
        // turned about the axis, each appended as a new section after the last.
        m_target.Reset();
        m_target.m_sections.PreAllocate(copies);
        std::vector<V3> circle(tube);
        for (int j = 0; j < tube; ++j) {
            double const a = j * 2.0 * kPi / tube;
            circle[j] = {majorRadius + minorRadius * std::cos(a), 0.0, minorRadius * std::sin(a)};
        }
        for (int k = 0; k < copies; ++k) {
            double const phi = k * 2.0 * kPi / copies;
            double const c = std::cos(phi), s = std::sin(phi);
            AppendSection(m_target, tube, [&](int j) {
                V3 const& p = circle[j];
                return Map(frame, p.x * c - p.y * s, p.x * s + p.y * c, p.z);
            });
        }
    });
}

void CPointSet_Create::Cuboid(CPoint3<double> const& corner, CPoint3<double> const& opposite,
                              double spacing) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Create::Cuboid");
    op.Run([&] {
        op.CheckRange(spacing, 1e-6, 1e9, "spacing");
        double const w = opposite.x - corner.x, h = opposite.y - corner.y, d = opposite.z - corner.z;
        op.CheckRange(std::fabs(w), spacing, 1e9, "fabs(width)");
        op.CheckRange(std::fabs(h), spacing, 1e9, "fabs(height)");
        op.CheckRange(std::fabs(d), spacing, 1e9, "fabs(depth)");
        auto count = [&](double edge) { return std::max(std::ceil(std::fabs(edge) / spacing), 1.0); };
        double const cx = count(w), cy = count(h), cz = count(d);
        CheckBudget(op, 2.0 * (cx + 1.0) * (cy + 1.0) + (cz - 1.0) * 2.0 * (cx + cy), "spacing");
        int const nx = int(cx), ny = int(cy), nz = int(cz);
        V3 const origin(corner);

        m_target.Reset();
        auto face = [&](double z) {
            for (int j = 0; j <= ny; ++j)
                AppendSection(m_target, nx + 1,
                              [&](int i) { return origin + V3(i * w / nx, j * h / ny, z); });
        };
        face(0.0);
        // Walls: once around the box at each interior level, corners once each.
        int const perimeter = 2 * (nx + ny);
        for (int k = 1; k < nz; ++k) {
            double const z = k * d / nz;
            AppendSection(m_target, perimeter, [&](int q) {
                if (q < nx) return origin + V3(q * w / nx, 0.0, z);
                q -= nx;
                if (q < ny) return origin + V3(w, q * h / ny, z);
                q -= ny;
                if (q < nx) return origin + V3(w - q * w / nx, h, z);
                q -= nx;
                return origin + V3(0.0, h - q * h / ny, z);
            });
        }
        face(d);
    });
}

// --- circles, arcs, curves -------------------------------------------------------------

void CPointSet_Create::PitchCircleDiameter(CPoint3<double> const& centre, CVector3<double> const& axis,
                                           CVector3<double> const& refDir, double radius, int numPts,
                                           double angle) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Create::PitchCircleDiameter");
    op.Run([&] {
        op.CheckRange(radius, 0.0, 1e9, "radius");
        op.CheckRange(numPts, 2, 1000000000, "num_pts");
        V3 const a(axis), r(refDir);
        op.CheckRange(a.Mag(), 1e-6, 1e9, "axis.Mag()");
        op.CheckRange(r.Mag(), 1e-6, 1e9, "refDir.Mag()");
        V3 const k = a.GetNormalised();
        double const cosine = Dot(k, r.GetNormalised());
        op.Check(cosine >= -0.99 && cosine <= 0.99, QEL_INVALID_PARAMETER, "refDir",
                 "PCD axis and reference are parallel");
        op.CheckRange(angle, -2.0 * kPi, 2.0 * kPi, "angle");
        double const step = angle == 0.0 ? 2.0 * kPi / numPts : angle;
        // The first point in the reference direction, the others turned about the axis.
        V3 const u = (r - k * Dot(r, k)).GetNormalised();
        V3 const v = Cross(k, u);
        V3 const c(centre);
        m_target.Reset();
        AppendSection(m_target, numPts, [&](int j) {
            double const phi = j * step;
            return c + (u * std::cos(phi) + v * std::sin(phi)) * radius;
        });
    });
}

void CPointSet_Create::Arc(CPoint3<double> const& first, CPoint3<double> const& middle,
                           CPoint3<double> const& last, CVector3<double> const& normal) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Create::Arc");
    op.Run([&] {
        V3 p1(first), p2(middle), p3(last);
        V3 const n(normal);
        if (n.IsFinite() && n.Mag() > 0.0) {
            // Onto the plane through the first point with the given normal.
            V3 const unit = n.GetNormalised();
            p2 = p2 - unit * Dot(p2 - p1, unit);
            p3 = p3 - unit * Dot(p3 - p1, unit);
        }
        // Circumcentre of the triangle p1 p2 p3.
        V3 const a = p1 - p3, b = p2 - p3;
        V3 const axb = Cross(a, b);
        double const cross = axb.Mag();
        op.Check(cross > 1e-12 * a.Mag() * b.Mag() && cross > 0.0, QEL_INVALID_PARAMETER, "points",
                 "Arc points are collinear");
        V3 const centre = p3 + Cross(b * Dot(a, a) - a * Dot(b, b), axb) * (1.0 / (2.0 * cross * cross));
        double const radius = (p1 - centre).Mag();
        // Turning from p1 through p2 to p3 is counter-clockwise about this axis.
        V3 const axis = (Cross(p2 - p1, p3 - p2)).GetNormalised();
        V3 const u = (p1 - centre).GetNormalised();
        V3 const w = p3 - centre;
        double sweep = std::atan2(Dot(Cross(u, w), axis), Dot(u, w));
        if (sweep <= 0.0) sweep += 2.0 * kPi;
        int const numPts = int(std::ceil(sweep / (kPi / 180.0))) + 1;
        CPointSet_Create(m_target).PitchCircleDiameter(CPoint3<double>(centre), axis, p1 - centre, radius,
                                                       numPts, sweep / (numPts - 1));
    });
}

void CPointSet_Create::Arc(CPointSet const& arcPts, CVector3<double> const& normal) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Create::Arc");
    op.Run([&] {
        op.CheckRange(arcPts.GetNumPts(), 3, 1000000000, "arcPts.GetNumPts()");
        CPointSet_Section const& section = arcPts.get_Sec(0);
        int const n = section.GetNumPts();
        op.Check(n >= 3, QEL_INVALID_POINTSET, "arcPts", "The first section must hold at least 3 points");
        // Copies: arcPts may be the target.
        CPoint3<double> const p1 = section.get_Pts(0), p2 = section.get_Pts(n / 2),
                              p3 = section.get_Pts(n - 1);
        Arc(p1, p2, p3, normal);
    });
}

void CPointSet_Create::Sinusoid(CPoint3<double> const& origin, CVector3<double> const& direction,
                                CVector3<double> const& displacement, double length, double amplitude,
                                int numSteps, double angularSpan, double phase) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Create::Sinusoid");
    op.Run([&] {
        V3 const dir(direction), disp(displacement);
        op.CheckRange(dir.Mag(), 1e-6, 1e9, "direction.Mag()");
        op.CheckRange(disp.Mag(), 1e-6, 1e9, "displacement.Mag()");
        V3 const d = dir.GetNormalised();
        V3 const across = Cross(d, Cross(disp, d));  // disp without its part along d
        op.Check(across.Mag() > 1e-12 * disp.Mag(), QEL_INVALID_PARAMETER, "displacement",
                 "Vectors must not be parallel.");
        op.CheckRange(length, 1e-6, 1e9, "length");
        op.CheckRange(amplitude, -1e9, 1e9, "amplitude");
        op.CheckRange(numSteps, 1, 1000000000, "num_steps");
        op.CheckRange(angularSpan, -1e9, 1e9, "angular_span");
        op.CheckRange(phase, -1e9, 1e9, "phase");
        V3 const e = across.GetNormalised();
        V3 const o(origin);
        m_target.Reset();
        AppendSection(m_target, numSteps + 1, [&](int i) {
            double const t = double(i) / numSteps;
            return o + d * (t * length) + e * (amplitude * std::sin(t * angularSpan + phase));
        });
    });
}

// --- grids -------------------------------------------------------------------------------

void CPointSet_Create::InterpolatedGrid(CPoint3<double> const& origin, CVector3<double> const& primary,
                                        CVector3<double> const& secondary, int numPrimary, int numSecondary) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Create::InterpolatedGrid");
    op.Run([&] {
        op.CheckRange(numPrimary, 2, 1000000000, "num_pts_primary_axis");
        op.CheckRange(numSecondary, 2, 1000000000, "num_pts_secondary_axis");
        V3 const p(primary), s(secondary);
        CheckDirection(op, p, "primary");
        CheckDirection(op, s, "secondary");
        op.Check((Cross(p, s)).Mag() > 1e-12 * p.Mag() * s.Mag(), QEL_INVALID_PARAMETER, "secondary",
                 "Vectors must not be parallel.");
        CheckBudget(op, double(numPrimary) * numSecondary, "num_pts_primary_axis");
        V3 const o(origin);
        m_target.Reset();
        m_target.m_sections.PreAllocate(numSecondary);
        for (int j = 0; j < numSecondary; ++j) {
            V3 const row = o + s * (double(j) / (numSecondary - 1));
            AppendSection(m_target, numPrimary,
                          [&](int i) { return row + p * (double(i) / (numPrimary - 1)); });
        }
    });
}

void CPointSet_Create::GridFromFourPoints(CPoint3<double> const& p1, CPoint3<double> const& p2,
                                          CPoint3<double> const& p3, CPoint3<double> const& p4,
                                          int numPrimary, int numSecondary, bool orderByPrincipalAxes) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Create::GridFromFourPoints");
    op.Run([&] {
        op.CheckRange(numPrimary, 2, 1000000000, "num_pts_primary_axis");
        op.CheckRange(numSecondary, 2, 1000000000, "num_pts_secondary_axis");
        CheckBudget(op, double(numPrimary) * numSecondary, "num_pts_primary_axis");
        V3 q[4] = {V3(p1), V3(p2), V3(p3), V3(p4)};
        if (orderByPrincipalAxes) {
            // Counter-clockwise about the third principal axis, from the corner
            // lowest along the first two.
            CPoint3<double> const corners[4] = {p1, p2, p3, p4};
            SPrincipalAxes const axes = CPointSet_Analyse(CPointSet(4, corners)).ComputePrincipalAxes();
            V3 const c(axes.centre), e0(axes.axes[0]), e1(axes.axes[1]);
            struct SCorner {
                V3 p;
                double a, b;
            } sorted[4];
            for (int i = 0; i < 4; ++i)
                sorted[i] = {q[i], Dot(q[i] - c, e0), Dot(q[i] - c, e1)};
            std::sort(sorted, sorted + 4, [](SCorner const& x, SCorner const& y) {
                return std::atan2(x.b, x.a) < std::atan2(y.b, y.a);
            });
            int start = 0;
            for (int i = 1; i < 4; ++i)
                if (sorted[i].a + sorted[i].b < sorted[start].a + sorted[start].b) start = i;
            for (int i = 0; i < 4; ++i)
                q[i] = sorted[(start + i) % 4].p;
        }
        m_target.Reset();
        m_target.m_sections.PreAllocate(numSecondary);
        for (int j = 0; j < numSecondary; ++j) {
            double const v = double(j) / (numSecondary - 1);
            V3 const left = q[0] * (1.0 - v) + q[3] * v, right = q[1] * (1.0 - v) + q[2] * v;
            AppendSection(m_target, numPrimary, [&](int i) {
                double const u = double(i) / (numPrimary - 1);
                return left * (1.0 - u) + right * u;
            });
        }
    });
}

void CPointSet_Create::GridFromFourPoints(CQEL_Array<CPoint3<double>> const& points, int numPrimary,
                                          int numSecondary, bool orderByPrincipalAxes) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Create::GridFromFourPoints");
    op.Run([&] {
        op.Check(points.Count() == 4, QEL_INVALID_PARAMETER, "points", "4 point required");
        GridFromFourPoints(points[0], points[1], points[2], points[3], numPrimary, numSecondary,
                           orderByPrincipalAxes);
    });
}

namespace {

// Height field of rows x cols values read by height(r, c); spacings already checked.
template <class Height>
void HeightField(CQEL_Operation const& op, CPointSet& target, int rows, int cols, Height height, double dx,
                 double dy) {
    CheckBudget(op, double(rows) * cols, "heights");
    double largest = 0.0;
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < cols; ++c) {
            double const v = height(r, c);
            op.Check(std::isfinite(v), QEL_INVALID_PARAMETER, "heights",
                     "Matrix holds a value that is not finite");
            largest = std::max(largest, std::fabs(v));
        }
    // A zero spacing is chosen from the largest height, so that the field keeps its proportions.
    double const automatic = largest > 0.0 ? 10.0 * largest / std::max(std::max(rows, cols) - 1, 1) : 1.0;
    double const sx = dx == 0.0 ? automatic : dx;
    double const sy = dy == 0.0 ? automatic : dy;
    target.Reset();
    for (int c = 0; c < cols; ++c) {
        auto section = std::make_unique<CPointSet_Section>(rows, CPtsData::cpt);
        for (int r = 0; r < rows; ++r) {
            section->set_Pts(r, CPoint3<double>(c * sx, r * sy, height(r, c)));
            section->set_CPt(r, CPoint3<double>(c * sx, r * sy, 0.0));
        }
        CPointSet_Modify(target).AddSection_After(target.GetNumSec() - 1, section.release());
    }
}

}  // namespace

void CPointSet_Create::FromMatrix(CQEL_Matrix const& heights, double dx, double dy) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Create::FromMatrix");
    op.Run([&] {
        op.Check(!heights.IsEmpty(), QEL_INVALID_PARAMETER, "heights", "Matrix must not be empty");
        op.CheckRange(dx, 0.0, 1e9, "dx");
        op.CheckRange(dy, 0.0, 1e9, "dy");
        HeightField(
            op, m_target, heights.GetNumRows(), heights.GetNumCols(),
            [&](int r, int c) { return heights(r, c); }, dx, dy);
    });
}

void CPointSet_Create::FromMatrix(double const* const* rows, int numRows, int numCols, double dx, double dy) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Create::FromMatrix");
    op.Run([&] {
        op.Check(rows != nullptr, QEL_NULL_PARAMETER, "rows", "Null Pointer");
        op.CheckRange(numRows, 1, 1000000000, "num_rows");
        op.CheckRange(numCols, 1, 1000000000, "num_cols");
        for (int r = 0; r < numRows; ++r)
            op.Check(rows[r] != nullptr, QEL_NULL_PARAMETER, "rows", "Null Pointer");
        op.CheckRange(dx, 0.0, 1e9, "dx");
        op.CheckRange(dy, 0.0, 1e9, "dy");
        HeightField(
            op, m_target, numRows, numCols, [&](int r, int c) { return rows[r][c]; }, dx, dy);
    });
}

void CPointSet_Create::FromArray(CQEL_Array<CPoint3<double>> const& points) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Create::FromArray");
    op.Run([&] {
        m_target.Reset();
        AppendSection(m_target, points.Count(), [&](int j) { return V3(points[j]); });
    });
}

// --- profiles ------------------------------------------------------------------------------

void CPointSet_Create::GridOffsetNegX(CPointSet const& source, double spacing, double offset) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Create::GridOffsetNegX");
    op.Run([&] { GridOffset(op, m_target, source, 0, -1.0, spacing, offset); });
}
void CPointSet_Create::GridOffsetNegY(CPointSet const& source, double spacing, double offset) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Create::GridOffsetNegY");
    op.Run([&] { GridOffset(op, m_target, source, 1, -1.0, spacing, offset); });
}
void CPointSet_Create::GridOffsetNegZ(CPointSet const& source, double spacing, double offset) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Create::GridOffsetNegZ");
    op.Run([&] { GridOffset(op, m_target, source, 2, -1.0, spacing, offset); });
}
void CPointSet_Create::GridOffsetPosX(CPointSet const& source, double spacing, double offset) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Create::GridOffsetPosX");
    op.Run([&] { GridOffset(op, m_target, source, 0, 1.0, spacing, offset); });
}
void CPointSet_Create::GridOffsetPosY(CPointSet const& source, double spacing, double offset) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Create::GridOffsetPosY");
    op.Run([&] { GridOffset(op, m_target, source, 1, 1.0, spacing, offset); });
}
void CPointSet_Create::GridOffsetPosZ(CPointSet const& source, double spacing, double offset) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Create::GridOffsetPosZ");
    op.Run([&] { GridOffset(op, m_target, source, 2, 1.0, spacing, offset); });
}

void CPointSet_Create::ProfileIntersections(CPointSet const& source, CVector3<double> const& direction,
                                            CVector3<double> const& secondVector, double spacing) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Create::ProfileIntersections");
    op.Run([&] {
        op.CheckRange(spacing, 1e-6, 1e9, "spacing");
        std::optional<CPointSet> copy;
        Profiles(op, m_target, Detached(source, m_target, copy), V3(direction), V3(secondVector), spacing);
    });
}

void CPointSet_Create::ProfileOffset(CPointSet const& source, CPlane3d const& plane, double offset) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Create::ProfileOffset");
    op.Run([&] {
        op.CheckRange(offset, -1e9, 1e9, "offset");
        op.Check(source.GetNumPts() > 0, QEL_INVALID_POINTSET, "source", "Point set cannot be empty.");
        CQEL_Array<SProfileHit> hits;
        CProfileIntersection(plane.GetPoint(), plane.GetNormal()).Intersect(source, hits);
        int const n = hits.Count();
        op.Check(offset == 0.0 || n >= 2, QEL_OPERATION_FAILED, "plane",
                 "The plane cuts the point set in fewer than two points");
        // Offset directions from the neighbours (one-sided at the ends); a
        // point repeated in place keeps the direction of the one before.
        V3 const normal(plane.GetNormal());
        std::vector<V3> moved(n);
        V3 side{0.0, 0.0, 0.0};
        for (int i = 0; i < n; ++i) {
            V3 const p(hits[i].point);
            if (offset != 0.0) {
                V3 const tangent =
                    V3(hits[std::min(i + 1, n - 1)].point) - V3(hits[std::max(i - 1, 0)].point);
                V3 const across = Cross(normal, tangent);
                if (across.Mag() > 0.0) side = across.GetNormalised();
            }
            moved[i] = p + side * offset;
        }
        m_target.Reset();
        AppendSection(m_target, n, [&](int j) { return moved[j]; });
    });
}

}  // namespace QEL::Core
