// SPDX-License-Identifier: MIT
#include "operations/pointset/CPointSet_Analyse.h"

#include <Eigen/Dense>

#include "core/CQEL_Operation.h"

namespace QEL::Core {

using V3 = CVector3<double>;

SFarthestPoint CPointSet_Analyse::ComputeFarthestPointAlongDirection(
    CVector3<double> const& direction) const {
    static CQEL_Operation const op("QEL::Core::CPointSet_Analyse::ComputeFarthestPointAlongDirection");
    return op.Run([&] {
        V3 const d(direction);
        op.Check(d.Mag() >= 1e-12 && d.IsFinite(), QEL_INVALID_PARAMETER, "direction",
                 "Vectors must not have zero magnitude.");
        op.Check(m_set.GetNumPts() > 0, QEL_INVALID_POINTSET, "", "Point set cannot be empty.");
        V3 const unit = d.GetNormalised();
        SFarthestPoint best;
        int global = 0;
        for (int s = 0; s < m_set.GetNumSec(); ++s) {
            for (auto const& p : m_set.get_Sec(s).GetPtsArray()) {
                double const along = p.x * unit.x + p.y * unit.y + p.z * unit.z;
                if (best.index < 0 || along > best.distance) {
                    best.index = global;
                    best.point = CPoint3<double>(p.x, p.y, p.z);
                    best.distance = along;
                }
                ++global;
            }
        }
        return best;
    });
}

SPrincipalAxes CPointSet_Analyse::ComputePrincipalAxes() const {
    static CQEL_Operation const op("QEL::Core::CPointSet_Analyse::ComputePrincipalAxes");
    return op.Run([&] {
        op.Check(m_set.GetNumPts() > 0, QEL_INVALID_POINTSET, "", "Point set cannot be empty.");
        // First pass: the centre; second pass: the covariance about it.
        Eigen::Vector3d centre = Eigen::Vector3d::Zero();
        for (int s = 0; s < m_set.GetNumSec(); ++s)
            for (auto const& p : m_set.get_Sec(s).GetPtsArray())
                centre += Eigen::Vector3d(p.x, p.y, p.z);
        double const n = double(m_set.GetNumPts());
        centre /= n;
        Eigen::Matrix3d covariance = Eigen::Matrix3d::Zero();
        for (int s = 0; s < m_set.GetNumSec(); ++s) {
            for (auto const& p : m_set.get_Sec(s).GetPtsArray()) {
                Eigen::Vector3d const d = Eigen::Vector3d(p.x, p.y, p.z) - centre;
                covariance.noalias() += d * d.transpose();
            }
        }
        covariance /= n;
        Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> solver(covariance);
        op.Check(solver.info() == Eigen::Success, QEL_OPERATION_FAILED, "", "Eigen decomposition failed");
        // Eigen sorts increasingly; we report by decreasing variance.
        SPrincipalAxes result;
        result.centre = CPoint3<double>(centre.x(), centre.y(), centre.z());
        Eigen::Vector3d axes[3];
        for (int k = 0; k < 3; ++k) {
            axes[k] = solver.eigenvectors().col(2 - k).normalized();
            result.variances[k] = std::max(solver.eigenvalues()(2 - k), 0.0);
        }
        axes[2] = axes[0].cross(axes[1]);  // right-handed
        for (int k = 0; k < 3; ++k)
            result.axes[k] = CVector3<double>(axes[k].x(), axes[k].y(), axes[k].z());
        return result;
    });
}

}  // namespace QEL::Core
