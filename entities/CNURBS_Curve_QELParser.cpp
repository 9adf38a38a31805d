// SPDX-License-Identifier: MIT
#include "entities/CNURBS_Curve_QELParser.h"

#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <memory>

#include "core/CExportData.h"
#include "core/CImportData.h"
#include "core/CQEL_Operation.h"
#include "entities/CNURBS_Curve.h"
#include "entities/NURBS_Basis.h"

namespace QEL::Core {

namespace {

constexpr int kHeadBytes = 24;
constexpr std::uint32_t kClosed = 1u, kPeriodic = 2u;

CQEL_Operation const& ReadOp() {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve_QELParser::Deserialise");
    return op;
}

class CReader {
  public:
    CReader(CNURBS_Curve& curve, CImportData& data) : m_curve(curve), m_data(data) {}
    void Run();

  private:
    [[noreturn]] void Damaged(char const* format, ...) const __attribute__((format(printf, 2, 3)));
    void Collect();
    void Sized(SQELChunk const& chunk, bool present, char const* tag, std::int64_t elements, int bytes) const;

    CNURBS_Curve& m_curve;
    CImportData& m_data;
    SQELChunk m_name, m_head, m_knots, m_pts, m_user;
    bool m_hasName = false, m_hasHead = false, m_hasKnots = false, m_hasPts = false, m_hasUser = false;
};

void CReader::Damaged(char const* format, ...) const {
    va_list arguments;
    va_start(arguments, format);
    CQEL_String detail;
    detail.SetFromFormatV(format, arguments);
    va_end(arguments);
    ReadOp().Throw(QEL_FILE_READ_ERROR, "data",
                   CQEL_String::FromFormat("Record %d (NURBS curve): ", m_data.GetRecordNumber()) + detail);
}

void CReader::Collect() {
    SQELChunk chunk;
    auto const take = [&](SQELChunk& slot, bool& seen, char const* tag) {
        if (seen) Damaged("chunk \"%s\" appears twice", tag);
        slot = chunk, seen = true;
    };
    while (m_data.NextChunk(chunk)) {
        if (chunk.Is("NAME"))
            take(m_name, m_hasName, "NAME");
        else if (chunk.Is("NURBHEAD"))
            take(m_head, m_hasHead, "NURBHEAD");
        else if (chunk.Is("KNOTS"))
            take(m_knots, m_hasKnots, "KNOTS");
        else if (chunk.Is("CTRLPTS"))
            take(m_pts, m_hasPts, "CTRLPTS");
        else if (chunk.Is("METADATA"))
            take(m_user, m_hasUser, "METADATA");
        m_data.SkipChunk(chunk);
    }
}

void CReader::Sized(SQELChunk const& chunk, bool present, char const* tag, std::int64_t elements,
                    int bytes) const {
    if (!present) Damaged("no \"%s\" chunk", tag);
    if (chunk.bytes != elements * bytes)
        Damaged("chunk \"%s\" holds %lld bytes, not %lld", tag, (long long)chunk.bytes,
                (long long)(elements * bytes));
}

void CReader::Run() {
    Collect();
    if (!m_hasHead) Damaged("no \"NURBHEAD\" chunk");
    if (m_head.bytes != kHeadBytes)
        Damaged("chunk \"NURBHEAD\" holds %lld bytes, not %d", (long long)m_head.bytes, kHeadBytes);
    CQEL_Stream& stream = m_data.GetStream();
    std::int32_t counts[3];
    std::uint32_t flags = 0;
    double deviation = 0.0;
    stream.SeekGetPosition(m_head.position);
    stream.Get(counts, 12);
    stream.Get(&flags, 4);
    stream.Get(&deviation, 8);
    int const order = counts[0], numKnots = counts[1], numPts = counts[2];
    bool const unset = order == -1 && numKnots == 0 && numPts == 0;
    if (!unset && (order < 2 || order > NURBS::kMaxOrder || numPts < order || numKnots < 0 ||
                   std::int64_t(numKnots) != std::int64_t(numPts) + order))
        Damaged("chunk \"NURBHEAD\" gives order %d, %d knots and %d control points", order, numKnots, numPts);
    if ((flags & ~(kClosed | kPeriodic)) != 0) Damaged("chunk \"NURBHEAD\" lists unknown flags 0x%x", flags);
    if (!std::isfinite(deviation)) Damaged("chunk \"NURBHEAD\" gives a deviation that is not finite");
    // The chunk sizes bound the counts by the record's size before anything is allocated.
    Sized(m_knots, m_hasKnots || unset, "KNOTS", numKnots, 8);
    Sized(m_pts, m_hasPts || unset, "CTRLPTS", numPts, 32);

    if (!unset) {
        m_curve.CheckSpace(numPts, order - 1);
        CQEL_Array<double>& knots = m_curve.EditKnotVector().EditKnots();
        stream.SeekGetPosition(m_knots.position);
        stream.Get(knots.begin(), std::int64_t(numKnots) * 8);
        for (int i = 0; i < numKnots; ++i)
            if (!std::isfinite(knots[i]) || (i > 0 && !(knots[i] >= knots[i - 1])))
                Damaged("chunk \"KNOTS\": knot %d is not finite or decreases", i);
        stream.SeekGetPosition(m_pts.position);
        for (int i = 0; i < numPts; ++i) {
            double v[4];
            stream.Get(v, 32);
            for (double c : v)
                if (!std::isfinite(c)) Damaged("chunk \"CTRLPTS\": control point %d is not finite", i);
            m_curve.get_CtrlPts(i).RawSet(CPoint3<double>(v[0], v[1], v[2]), v[3]);
        }
        m_curve.MarkCtrlPtsModified();
    }
    m_curve.SetClosed((flags & kClosed) != 0);
    m_curve.SetPeriodic((flags & kPeriodic) != 0);
    m_curve.SetCurrentMaxDeviation(deviation);

    auto const readBytes = [&](SQELChunk const& chunk, char const* tag) {
        if (chunk.bytes > 1000000000)
            Damaged("chunk \"%s\" of %lld bytes is too long", tag, (long long)chunk.bytes);
        CQEL_Array<unsigned char> bytes{static_cast<int>(chunk.bytes)};
        stream.SeekGetPosition(chunk.position);
        if (chunk.bytes > 0) stream.Get(bytes.begin(), chunk.bytes);
        return bytes;
    };
    if (m_hasName) {
        CQEL_Array<unsigned char> const text = readBytes(m_name, "NAME");
        m_curve.SetName(CQEL_String::FromUTF8(reinterpret_cast<char const*>(text.begin()), text.Count()));
    }
    if (m_hasUser) m_curve.SetUserMetaData(readBytes(m_user, "METADATA"));
}

}  // namespace

void CNURBS_Curve_QELParser::Serialise(CNURBS_Curve const& curve, CExportData* data) {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve_QELParser::Serialise");
    op.Run([&] {
        op.Check(data != nullptr, QEL_NULL_PARAMETER, "data", "Null Pointer");
        int const numPts = curve.GetCtrlPts().Count(), numKnots = curve.GetNumKnots();
        int const order = curve.GetOrder();
        data->SetTypeName(CQEL_String::FromASCII(kTypeName));
        data->SetIndexField1(numPts);
        data->SetIndexField2(order);
        CQEL_String const& name = curve.GetName();
        if (!name.IsEmpty()) data->PutChunk("NAME", name.GetArray(), name.Length());
        unsigned char head[kHeadBytes];
        std::int32_t const counts[3] = {order, numKnots, numPts};
        std::uint32_t const flags = (curve.IsClosed() ? kClosed : 0u) | (curve.IsPeriodic() ? kPeriodic : 0u);
        double const deviation = curve.GetCurrentMaxDeviation();
        std::memcpy(head, counts, 12);
        std::memcpy(head + 12, &flags, 4);
        std::memcpy(head + 16, &deviation, 8);
        data->PutChunk("NURBHEAD", head, kHeadBytes);
        data->PutChunk("KNOTS", numKnots > 0 ? curve.GetKnotVector().GetKnots().begin() : nullptr,
                       std::int64_t(numKnots) * 8);
        data->PutChunkHeader("CTRLPTS", std::int64_t(numPts) * 32);
        for (CCtrlPoint const& p : curve.GetCtrlPts()) {
            double const v[4] = {p.get_x(), p.get_y(), p.get_z(), p.get_w()};
            data->GetStream().Put(v, 32);
        }
        CQEL_Array<unsigned char> const& user = curve.GetUserMetaData();
        if (!user.IsEmpty()) data->PutChunkBorrowed("METADATA", user.begin(), user.Count(), 1, 1);
    });
}

void CNURBS_Curve_QELParser::Deserialise(CNURBS_Curve& curve, CImportData* data) {
    CQEL_Operation const& op = ReadOp();
    op.Run([&] {
        op.Check(data != nullptr, QEL_NULL_PARAMETER, "data", "Null Pointer");
        curve.Reset();
        curve.SetName(CQEL_String());
        curve.SetUserMetaData(CQEL_Array<unsigned char>());
        try {
            CReader(curve, *data).Run();
        } catch (...) {
            curve.Reset();
            throw;
        }
    });
}

}  // namespace QEL::Core
