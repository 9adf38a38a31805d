// SPDX-License-Identifier: MIT
// Fuzzes the NURBS curve's record of the native container: the input is the
// record's bytes as the container hands them to the entity (the container's
// own digests would turn away almost every mutated record). A record that is
// accepted must give a curve that can be evaluated everywhere in its range,
// sampled, searched for closest points and written again.
#include <cstddef>
#include <cstdint>

#include "FuzzTarget.h"
#include "qel.h"

using namespace QEL::Core;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    QEL::Fuzz::ExpectOnlyQELExceptions([&] {
        CImportData record;
        record.GetStream().Put(data, std::int64_t(size));
        CNURBS_Curve curve;
        curve.Deserialise(&record);
        if (curve.GetOrder() > 0) {
            CNURBS_Curve_Analyse const analyse(curve);
            double const start = curve.GetStartU(), end = curve.GetEndU();
            CQEL_Array<CVector3<double>> derivs;
            for (int i = 0; i <= 16; ++i) {
                double const u = i == 16 ? end : start + (end - start) * i / 16.0;
                (void)analyse.ComputePoint(u);
                analyse.ComputeDerivatives(u, curve.GetDegree(), &derivs);
            }
            (void)curve.GetCache().GetMesh();
            (void)curve.GetCache().GetGrevValues();
            SClosestCurvePoint found;
            curve.FindClosestPoint({0.5, -1.0, 2.0}, found);
        }
        CExportData again;
        curve.Serialise(&again);
    });
    return 0;
}
