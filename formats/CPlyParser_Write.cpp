// SPDX-License-Identifier: MIT
// PLY writing.
#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "core/CQEL_Operation.h"
#include "entities/CPointSet.h"
#include "entities/CPointSet_Attributes.h"
#include "entities/CPointSet_Section.h"
#include "entities/CTriangulation.h"
#include "formats/COutputFile.h"
#include "formats/CPlyHeader.h"
#include "formats/CPlyParser.h"
#include "formats/CTriangulationParser_Internal.h"
#include "formats/QEL_TextNumbers.h"

namespace QEL::Core {

namespace {

// The property names written for each attribute (read back by the same names).
struct SWriteNames {
    std::uint32_t bit;
    char const* names[3];
};
constexpr SWriteNames kWriteNames[] = {
    {0x001, {"x", "y", "z"}},
    {0x002, {"nx", "ny", "nz"}},
    {0x008, {"cpx", "cpy", "cpz"}},
    {0x010, {"cnx", "cny", "cnz"}},
    {0x004, {"u", "v"}},
    {0x020, {"red", "green", "blue"}},
    {0x040, {"error"}},
    {0x200, {"index"}},
    {0x080, {"velocity"}},
    {0x100, {"status"}},
};

struct SColumn {
    SPointAttribute const* attribute;
    char const* name;
    EPlyType type;
};

// Rows of values, encoded as the file's format wants them.
class CPlyRowWriter {
  public:
    CPlyRowWriter(COutputFile& file, SPlyOptions const& options) : m_file(file), m_options(options) {}

    void Value(double value, EPlyType type) {
        if (m_options.ascii) {
            if (!m_first) m_text.push_back(' ');
            m_first = false;
            char buffer[32];
            char* const end = PlyTypeIsFloat(type)
                                  ? Text::PrintDouble(buffer, value, m_options.significantDigits)
                                  : std::to_chars(buffer, buffer + 32, std::int64_t(value)).ptr;
            m_text.append(buffer, end);
            return;
        }
        switch (type) {
            case EPlyType::Int8:
                return Put(std::int8_t(value));
            case EPlyType::UInt8:
                return Put(std::uint8_t(value));
            case EPlyType::Int16:
                return Put(std::int16_t(value));
            case EPlyType::UInt16:
                return Put(std::uint16_t(value));
            case EPlyType::Int32:
                return Put(std::int32_t(value));
            case EPlyType::UInt32:
                return Put(std::uint32_t(value));
            case EPlyType::Float32:
                return Put(float(value));
            case EPlyType::Float64:
                return Put(value);
        }
    }
    void EndRow() {
        if (m_options.ascii) {
            m_text.push_back('\n');
            m_first = true;
        }
        if (m_text.size() > (std::size_t(1) << 16)) Flush();
    }
    void Flush() {
        m_file.Write(m_text);
        m_text.clear();
    }

  private:
    template <class T>
    void Put(T value) {
        char bytes[sizeof(T)];
        std::memcpy(bytes, &value, sizeof(T));  // little-endian, as the host
        m_text.append(bytes, sizeof(T));
    }

    COutputFile& m_file;
    SPlyOptions const& m_options;
    std::string m_text;
    bool m_first = true;
};

std::string HeaderStart(SPlyOptions const& options) {
    return std::string("ply\nformat ") + (options.ascii ? "ascii" : "binary_little_endian") +
           " 1.0\ncomment written by QEL\n";
}

void CheckOptions(CQEL_Operation const& op, SPlyOptions const& options) {
    op.CheckRange(options.significantDigits, 1, 17, "significantDigits");
}

}  // namespace

bool CPlyParser::WritePointSet(CQEL_String const& path, CPointSet const& source, SPlyOptions const& options) {
    static CQEL_Operation const op("QEL::Core::CPlyParser::WritePointSet");
    return op.Run([&] {
        CheckOptions(op, options);
        std::uint32_t bits = CPtsData::def.GetBits();
        for (int s = 0; s < source.GetNumSec(); ++s)
            bits |= source.get_Sec(s).GetMetaDataFlags().GetBits();
        EPlyType const real = options.floatValues ? EPlyType::Float32 : EPlyType::Float64;
        std::vector<SColumn> columns;
        for (SPointAttribute const& a : kPointAttributes) {
            if (!(bits & a.bit)) continue;
            for (SWriteNames const& w : kWriteNames) {
                if (w.bit != a.bit) continue;
                EPlyType const type = a.bit == CPtsData::col.GetBits()   ? EPlyType::UInt8
                                      : a.bit == CPtsData::ind.GetBits() ? EPlyType::Int32
                                      : a.bit == CPtsData::sta.GetBits() ? EPlyType::Int16
                                                                         : real;
                for (char const* name : w.names)
                    if (name) columns.push_back({&a, name, type});
            }
        }
        COutputFile file;
        if (!file.Open(path.GetArray(), false)) return false;
        std::string header = HeaderStart(options);
        header += "element vertex " + std::to_string(source.GetNumPts()) + "\n";
        for (SColumn const& c : columns)
            header += std::string("property ") + PlyTypeName(c.type) + " " + c.name + "\n";
        header += "end_header\n";
        file.Write(header);

        CPlyRowWriter rows(file, options);
        for (int s = 0; s < source.GetNumSec(); ++s) {
            CPointSet_Section const& section = source.get_Sec(s);
            CPtsData const present = section.GetMetaDataFlags();
            for (int i = 0; i < section.GetNumPts(); ++i) {
                SPointAttribute const* last = nullptr;
                double values[3] = {};
                int component = 0;
                for (SColumn const& c : columns) {
                    if (c.attribute != last) {
                        last = c.attribute;
                        component = 0;
                        SPointAttribute const& a = *c.attribute;
                        std::fill(values, values + 3, a.fill);
                        if (present.Contains(PointAttributeFlag(a)))
                            VisitPointElement(a.element, [&]<EPointElement E>() {
                                if constexpr (E != EPointElement::Pointer)
                                    ToComponents<E>(PointAttributeCollection<E>(section, a)[i], values);
                            });
                    }
                    double value = values[component++];
                    if (c.type == EPlyType::UInt8)
                        value =
                            std::isfinite(value) ? std::clamp(std::round(value * 255.0), 0.0, 255.0) : 0.0;
                    rows.Value(value, c.type);
                }
                rows.EndRow();
            }
        }
        rows.Flush();
        file.Commit();
        return true;
    });
}

bool CPlyParser::WriteTriangulation(CQEL_String const& path, CTriangulation const& source,
                                    SPlyOptions const& options) {
    static CQEL_Operation const op("QEL::Core::CPlyParser::WriteTriangulation");
    return op.Run([&] {
        CheckOptions(op, options);
        COutputFile file;
        if (!file.Open(path.GetArray(), false)) return false;
        EPlyType const real = options.floatValues ? EPlyType::Float32 : EPlyType::Float64;
        TriangleFiles::STriangleView const view(source);
        int const vertices = source.GetNumPts();
        std::string header = HeaderStart(options);
        header += "element vertex " + std::to_string(vertices) + "\n";
        for (char const* name : {"x", "y", "z"})
            header += std::string("property ") + PlyTypeName(real) + " " + name + "\n";
        header += "element face " + std::to_string(view.Triangles()) + "\n";
        header += "property list uchar int vertex_indices\nend_header\n";
        file.Write(header);
        CPlyRowWriter rows(file, options);
        for (int v = 0; v < vertices; ++v) {
            CTriangulation_Vertex const& vertex = view.Vertex(v);
            rows.Value(vertex.get_x(), real);
            rows.Value(vertex.get_y(), real);
            rows.Value(vertex.get_z(), real);
            rows.EndRow();
        }
        for (int t = 0; t < view.Triangles(); ++t) {
            rows.Value(3, EPlyType::UInt8);
            for (int k = 0; k < 3; ++k)
                rows.Value(std::max(view.Corner(t, k), 0), EPlyType::Int32);
            rows.EndRow();
        }
        rows.Flush();
        file.Commit();
        return true;
    });
}

}  // namespace QEL::Core
