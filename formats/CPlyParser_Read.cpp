// SPDX-License-Identifier: MIT
// PLY reading.
#include <algorithm>
#include <climits>
#include <cmath>
#include <string_view>
#include <vector>

#include "core/CQEL_Operation.h"
#include "core/CQEL_Output_Events.h"
#include "entities/CPointSet.h"
#include "entities/CPointSet_Attributes.h"
#include "entities/CPointSet_Section.h"
#include "entities/CTriangulation.h"
#include "formats/CMappedInput.h"
#include "formats/CPlyHeader.h"
#include "formats/CPlyParser.h"
#include "formats/CPointSectionAppender.h"
#include "formats/CTriangulationParser_Internal.h"
#include "formats/QEL_TextNumbers.h"
#include "platform/CFaultTranslator.h"
#include "platform/CTask.h"

namespace QEL::Core {

namespace {

// Where one vertex property's values go: row r's value at base + r * stride.
enum class EStore : unsigned char { Double, Float, Int16, Int32 };
struct SField {
    int property = -1;
    unsigned char* base = nullptr;
    std::ptrdiff_t stride = 0;
    EStore store = EStore::Double;
    double divisor = 1.0;  // colours of integer types: to 0..1
};

template <class D>
inline void StoreAs(unsigned char* at, double value) {
    D const v = D(value);
    std::memcpy(at, &v, sizeof v);
}
inline void Store(SField const& f, std::int64_t row, double value) {
    unsigned char* const at = f.base + row * f.stride;
    value /= f.divisor;
    switch (f.store) {
        case EStore::Double:
            return StoreAs<double>(at, value);
        case EStore::Float:
            return StoreAs<float>(at, value);
        case EStore::Int16:
            return StoreAs<std::int16_t>(at,
                                         std::isfinite(value) ? std::clamp(value, -32768.0, 32767.0) : 0.0);
        case EStore::Int32:
            return StoreAs<std::int32_t>(
                at, std::isfinite(value) ? std::clamp(value, double(INT_MIN), double(INT_MAX)) : 0.0);
    }
}

// Property names of the point attributes; for errors and velocities the
// first name present wins.
struct SPlyName {
    std::uint32_t bit;
    int component;
    char const* names[7];
};
constexpr SPlyName kVertexNames[] = {
    {0x001, 0, {"x"}},
    {0x001, 1, {"y"}},
    {0x001, 2, {"z"}},
    {0x002, 0, {"nx", "normal_x"}},
    {0x002, 1, {"ny", "normal_y"}},
    {0x002, 2, {"nz", "normal_z"}},
    {0x020, 0, {"red", "r", "diffuse_red"}},
    {0x020, 1, {"green", "g", "diffuse_green"}},
    {0x020, 2, {"blue", "b", "diffuse_blue"}},
    {0x004, 0, {"u", "s", "texture_u"}},
    {0x004, 1, {"v", "t", "texture_v"}},
    {0x008, 0, {"cpx"}},
    {0x008, 1, {"cpy"}},
    {0x008, 2, {"cpz"}},
    {0x010, 0, {"cnx"}},
    {0x010, 1, {"cny"}},
    {0x010, 2, {"cnz"}},
    {0x040,
     0,
     {"error", "quality", "intensity", "scalar_error", "scalar_quality", "scalar_intensity", "confidence"}},
    {0x080, 0, {"velocity", "scalar_velocity"}},
    {0x200, 0, {"index"}},
    {0x100, 0, {"status"}},
};

double IntegerDivisor(EPlyType type) {
    switch (type) {
        case EPlyType::Int8:
            return 127.0;
        case EPlyType::UInt8:
            return 255.0;
        case EPlyType::Int16:
            return 32767.0;
        case EPlyType::UInt16:
            return 65535.0;
        case EPlyType::Int32:
            return 2147483647.0;
        case EPlyType::UInt32:
            return 4294967295.0;
        default:
            return 1.0;
    }
}

// Converts the column of one property for rows [first, end) of a binary
// element of fixed row size, with the types outside the loop.
template <class T>
void ConvertColumnAs(unsigned char const* rows, std::int64_t rowBytes, std::ptrdiff_t offset, bool swap,
                     SField const& f, std::int64_t first, std::int64_t end) {
    unsigned char const* p = rows + first * rowBytes + offset;
    unsigned char* out = f.base + first * f.stride;
    if (f.store == EStore::Double && f.divisor == 1.0) {
        for (std::int64_t r = first; r < end; ++r, p += rowBytes, out += f.stride)
            StoreAs<double>(out, double(PlyLoad<T>(p, swap)));
    } else if (f.store == EStore::Float && f.divisor == 1.0) {
        for (std::int64_t r = first; r < end; ++r, p += rowBytes, out += f.stride)
            StoreAs<float>(out, double(PlyLoad<T>(p, swap)));
    } else {
        for (std::int64_t r = first; r < end; ++r, p += rowBytes)
            Store(f, r, double(PlyLoad<T>(p, swap)));
    }
}
void ConvertColumn(unsigned char const* rows, std::int64_t rowBytes, std::ptrdiff_t offset, EPlyType type,
                   bool swap, SField const& f, std::int64_t first, std::int64_t end) {
    switch (type) {
        case EPlyType::Int8:
            return ConvertColumnAs<std::int8_t>(rows, rowBytes, offset, swap, f, first, end);
        case EPlyType::UInt8:
            return ConvertColumnAs<std::uint8_t>(rows, rowBytes, offset, swap, f, first, end);
        case EPlyType::Int16:
            return ConvertColumnAs<std::int16_t>(rows, rowBytes, offset, swap, f, first, end);
        case EPlyType::UInt16:
            return ConvertColumnAs<std::uint16_t>(rows, rowBytes, offset, swap, f, first, end);
        case EPlyType::Int32:
            return ConvertColumnAs<std::int32_t>(rows, rowBytes, offset, swap, f, first, end);
        case EPlyType::UInt32:
            return ConvertColumnAs<std::uint32_t>(rows, rowBytes, offset, swap, f, first, end);
        case EPlyType::Float32:
            return ConvertColumnAs<float>(rows, rowBytes, offset, swap, f, first, end);
        case EPlyType::Float64:
            return ConvertColumnAs<double>(rows, rowBytes, offset, swap, f, first, end);
    }
}

// The body of a PLY file, element by element in file order.
class CPlyBody {
  public:
    CPlyBody(CQEL_Operation const& op, CQEL_String const& path, SPlyHeader const& header,
             unsigned char const* data, std::int64_t size)
        : m_op(op),
          m_path(path),
          m_header(header),
          m_at(data + header.dataStart),
          m_end(data + size),
          m_swap(header.format == EPlyFormat::BinaryBig) {}

    // Reads element e: vertex properties into fields (by property), the
    // list property faceList (or -1) as polygons into corners as fans
    // checked against vertices; everything else is skipped.
    void Element(int e, std::vector<SField> const& fields, int faceList, std::int64_t vertices,
                 std::vector<int>* corners) {
        SPlyElement const& element = m_header.elements[std::size_t(e)];
        m_element = &element;
        if (m_header.format != EPlyFormat::Ascii && !element.HasLists()) {
            FixedRows(element, fields);
            return;
        }
        std::vector<SField const*> byProperty(element.properties.size(), nullptr);
        for (SField const& f : fields)
            byProperty[std::size_t(f.property)] = &f;
        std::vector<std::int64_t> polygon;
        for (m_row = 0; m_row < element.count; ++m_row) {
            for (std::size_t p = 0; p < element.properties.size(); ++p) {
                SPlyProperty const& property = element.properties[p];
                if (!property.isList) {
                    double const value = Value(property.type);
                    if (byProperty[p]) Store(*byProperty[p], m_row, value);
                    continue;
                }
                double const n = Value(property.countType);
                std::int64_t const least =
                    m_header.format == EPlyFormat::Ascii ? 2 : PlyTypeSize(property.type);
                if (!(n >= 0) || n * double(least) > double(m_end - m_at) + 1)
                    Damaged(CQEL_String::FromFormat("a list of %g items, more than the file holds", n));
                std::int64_t const count = std::int64_t(n);
                if (int(p) != faceList) {
                    for (std::int64_t i = 0; i < count; ++i)
                        Value(property.type);
                    continue;
                }
                polygon.clear();
                for (std::int64_t i = 0; i < count; ++i) {
                    double const v = Value(property.type);
                    if (!(v >= 0 && v < double(vertices)) || v != std::floor(v))
                        Damaged(CQEL_String::FromFormat(
                            "corner %lld refers to vertex %g, but there are %lld vertices", (long long)i, v,
                            (long long)vertices));
                    polygon.push_back(std::int64_t(v));
                }
                if (count < 3) {
                    ++m_shortPolygons;
                    continue;
                }
                for (std::int64_t i = 1; i + 1 < count; ++i) {
                    corners->push_back(int(polygon[0]));
                    corners->push_back(int(polygon[std::size_t(i)]));
                    corners->push_back(int(polygon[std::size_t(i + 1)]));
                }
            }
        }
    }

    std::int64_t ShortPolygons() const { return m_shortPolygons; }

  private:
    double Value(EPlyType type) {
        if (m_header.format == EPlyFormat::Ascii) {
            double value = 0.0;
            char const* p = reinterpret_cast<char const*>(m_at);
            if (Text::ScanDoublesAt(p, reinterpret_cast<char const*>(m_end), &value, 1) != 1)
                Damaged(m_at == m_end ? "the file ends" : "a value that is not a number");
            m_at = reinterpret_cast<unsigned char const*>(p);
            return value;
        }
        int const bytes = PlyTypeSize(type);
        if (m_end - m_at < bytes) Damaged("the file ends");
        double const value = PlyLoadDouble(m_at, type, m_swap);
        m_at += bytes;
        return value;
    }

    // Binary rows of one size: converted column by column, in parts side by
    // side for large elements (first touching the fresh storage is much of
    // the cost, and several threads do that faster than one).
    void FixedRows(SPlyElement const& element, std::vector<SField> const& fields) {
        std::int64_t const rowBytes = element.RowBytes();
        std::int64_t const bytes = rowBytes * element.count;
        if (m_end - m_at < bytes) {
            m_row = (m_end - m_at) / std::max<std::int64_t>(rowBytes, 1);
            Damaged("the file ends");
        }
        std::vector<std::ptrdiff_t> offsets(element.properties.size());
        for (std::size_t p = 1; p < offsets.size(); ++p)
            offsets[p] = offsets[p - 1] + PlyTypeSize(element.properties[p - 1].type);
        unsigned char const* const rows = m_at;
        std::int64_t const count = element.count;
        if (!fields.empty()) {
            int const parts = PartsFor(bytes, std::int64_t(4) << 20);
            RunInParts(parts, [&](int part) {
                std::int64_t const begin = count * part / parts, end = count * (part + 1) / parts;
                constexpr std::int64_t kBlock = 4096;  // rows: a block's columns stay in cache
                for (std::int64_t first = begin; first < end; first += kBlock)
                    for (SField const& f : fields)
                        ConvertColumn(rows, rowBytes, offsets[std::size_t(f.property)],
                                      element.properties[std::size_t(f.property)].type, m_swap, f, first,
                                      std::min(end, first + kBlock));
            });
        }
        m_at += bytes;
    }

    [[noreturn]] void Damaged(CQEL_String const& what) const {
        m_op.Throw(QEL_FILE_READ_ERROR, "path",
                   CQEL_String::FromFormat("%s: PLY element \"%s\", row %lld: %s", m_path.GetArray(),
                                           m_element->name.c_str(), (long long)m_row, what.GetArray()));
    }
    [[noreturn]] void Damaged(char const* what) const { Damaged(CQEL_String::FromASCII(what)); }

    CQEL_Operation const& m_op;
    CQEL_String const& m_path;
    SPlyHeader const& m_header;
    unsigned char const* m_at;
    unsigned char const* m_end;
    bool m_swap;
    SPlyElement const* m_element = nullptr;
    std::int64_t m_row = 0;
    std::int64_t m_shortPolygons = 0;
};

// A loaded file and its header.
struct SPlyFile {
    CMappedInput input;
    SPlyHeader header;
    int vertex = -1;    // element
    int face = -1;      // element
    int faceList = -1;  // property of the face element
};

// False when path cannot be opened.
bool OpenPly(CQEL_Operation const& op, CQEL_String const& path, SPlyFile& file) {
    if (!file.input.Open(path.GetArray())) return false;
    if (!file.input.Load()) TriangleFiles::ReadFailure(op, path);
    file.header = SPlyHeader::Parse(op, path, file.input.Data(), file.input.Size());
    file.vertex = file.header.Find("vertex");
    file.face = file.header.Find("face");
    if (file.face >= 0) {
        SPlyElement const& face = file.header.elements[std::size_t(file.face)];
        file.faceList = face.Find("vertex_indices");
        if (file.faceList < 0) file.faceList = face.Find("vertex_index");
        if (file.faceList >= 0 && !face.properties[std::size_t(file.faceList)].isList) file.faceList = -1;
        if (file.faceList < 0 && face.count > 0)
            CQEL_Output_Events::Warning(
                CQEL_String::FromASCII("  PLY faces without a \"vertex_indices\" list were ignored"));
    }
    if (file.vertex >= 0) {
        SPlyElement const& vertex = file.header.elements[std::size_t(file.vertex)];
        for (char const* name : {"x", "y", "z"}) {
            int const p = vertex.Find(name);
            if (p < 0 || vertex.properties[std::size_t(p)].isList)
                op.Throw(QEL_FILE_READ_ERROR, "path",
                         CQEL_String::FromFormat("%s: the PLY vertices have no property \"%s\"",
                                                 path.GetArray(), name));
        }
    }
    for (std::size_t e = 0; e < file.header.elements.size(); ++e)
        if (int(e) != file.vertex && int(e) != file.face && file.header.elements[e].count > 0)
            CQEL_Output_Events::Warning(CQEL_String::FromFormat("  PLY element \"%s\" was ignored",
                                                                file.header.elements[e].name.c_str()));
    return true;
}

// Reads every element; vertexFields for the vertex element, faces (when not
// null) from the face element.
void ReadBody(CQEL_Operation const& op, CQEL_String const& path, SPlyFile const& file,
              std::vector<SField> const& vertexFields, std::vector<int>* corners) {
    CFaultTranslationScope const faults;
    CPlyBody body(op, path, file.header, file.input.Data(), file.input.Size());
    std::int64_t const vertices = file.vertex >= 0 ? file.header.elements[std::size_t(file.vertex)].count : 0;
    for (int e = 0; e < int(file.header.elements.size()); ++e) {
        if (e == file.vertex)
            body.Element(e, vertexFields, -1, vertices, nullptr);
        else if (e == file.face && corners)
            body.Element(e, {}, file.faceList, vertices, corners);
        else
            body.Element(e, {}, -1, vertices, nullptr);
    }
    if (body.ShortPolygons() > 0)
        CQEL_Output_Events::Warning(CQEL_String::FromFormat(
            "  %lld PLY faces of fewer than three corners were skipped", (long long)body.ShortPolygons()));
}

template <class T, class M>
unsigned char* MemberBase(T* first, M T::*member) {
    return reinterpret_cast<unsigned char*>(&(first->*member));
}

}  // namespace

bool CPlyParser::ReadPointSet(CQEL_String const& path, CPointSet* target) {
    static CQEL_Operation const op("QEL::Core::CPlyParser::ReadPointSet");
    return op.Run([&] {
        op.Check(target != nullptr, QEL_NULL_PARAMETER, "target", "Null Pointer");
        SPlyFile file;
        if (!OpenPly(op, path, file)) return false;
        if (file.face >= 0 && file.header.elements[std::size_t(file.face)].count > 0)
            CQEL_Output_Events::Warning(
                CQEL_String::FromASCII("  the PLY faces were ignored: the vertices were read as points"));
        std::int64_t const count =
            file.vertex >= 0 ? file.header.elements[std::size_t(file.vertex)].count : 0;
        if (count == 0) {
            ReadBody(op, path, file, {}, nullptr);
            ReportPoints(0);
            return true;
        }
        if (std::int64_t(target->GetNumPts()) + count > kMaxPointsInSet)
            op.Throw(QEL_INVALID_POINTSET, "target",
                     CQEL_String::FromFormat("A point set holds at most %d points", kMaxPointsInSet));
        SPlyElement const& vertex = file.header.elements[std::size_t(file.vertex)];

        // Which properties carry which attribute.
        struct SFound {
            SPlyName const* name;
            int property;
        };
        std::vector<SFound> found;
        std::uint32_t bits = 0;
        for (SPlyName const& n : kVertexNames)
            for (char const* name : n.names) {
                if (!name) break;
                int const p = vertex.Find(name);
                if (p >= 0 && !vertex.properties[std::size_t(p)].isList) {
                    found.push_back({&n, p});
                    bits |= n.bit;
                    break;
                }
            }

        CPointSet_Section& section =
            *target->InsertSectionAtIndex(new CPointSet_Section(), target->GetNumSec());
        try {
            section.CheckSpace(int(count), CPtsData(bits));
            std::vector<SField> fields;
            for (SFound const& f : found) {
                SField field;
                field.property = f.property;
                EPlyType const type = vertex.properties[std::size_t(f.property)].type;
                int const c = f.name->component;
                if (f.name->bit == CPtsData::def.GetBits()) {
                    auto* const points = section.EditPts().data();
                    field.base = c == 0   ? MemberBase(points, &CPointSet_Section::Point::x)
                                 : c == 1 ? MemberBase(points, &CPointSet_Section::Point::y)
                                          : MemberBase(points, &CPointSet_Section::Point::z);
                    field.stride = sizeof *points;
                } else {
                    for (SPointAttribute const& a : kPointAttributes) {
                        if (a.bit != f.name->bit) continue;
                        VisitPointElement(a.element, [&]<EPointElement E>() {
                            if constexpr (E != EPointElement::Position && E != EPointElement::Pointer) {
                                using T = PointElement_t<E>;
                                T* const first = PointAttributeCollection<E>(section, a).EditAll().data();
                                field.stride = sizeof(T);
                                if constexpr (std::is_arithmetic_v<T>) {
                                    field.base = reinterpret_cast<unsigned char*>(first);
                                    field.store = std::is_same_v<T, double>         ? EStore::Double
                                                  : std::is_same_v<T, std::int16_t> ? EStore::Int16
                                                                                    : EStore::Int32;
                                } else if constexpr (kPointComponents<E> == 2) {
                                    field.base = c == 0 ? MemberBase(first, &T::x) : MemberBase(first, &T::y);
                                } else {
                                    field.base = c == 0   ? MemberBase(first, &T::x)
                                                 : c == 1 ? MemberBase(first, &T::y)
                                                          : MemberBase(first, &T::z);
                                }
                            }
                        });
                    }
                    if (f.name->bit == CPtsData::col.GetBits()) field.divisor = IntegerDivisor(type);
                }
                fields.push_back(field);
            }
            ReadBody(op, path, file, fields, nullptr);
        } catch (...) {
            target->DeleteSection(target->GetNumSec() - 1);
            throw;
        }
        ReportPoints(int(count));
        return true;
    });
}

bool CPlyParser::HoldsFaces(CQEL_String const& path) {
    static CQEL_Operation const op("QEL::Core::CPlyParser::HoldsFaces");
    return op.Run([&] {
        CMappedInput input;
        if (!input.Open(path.GetArray())) return false;
        if (!input.Load()) TriangleFiles::ReadFailure(op, path);
        CFaultTranslationScope const faults;
        SPlyHeader const header = SPlyHeader::Parse(op, path, input.Data(), input.Size());
        int const face = header.Find("face");
        return face >= 0 && header.elements[std::size_t(face)].count > 0;
    });
}

bool CPlyParser::ReadTriangulation(CQEL_String const& path, CTriangulation* target,
                                   SAssemblyOptions const& assembly, SAssemblyReport* report) {
    static CQEL_Operation const op("QEL::Core::CPlyParser::ReadTriangulation");
    return op.Run([&] {
        op.Check(target != nullptr, QEL_NULL_PARAMETER, "pTris", "Null Pointer");
        SPlyFile file;
        if (!OpenPly(op, path, file)) return false;
        std::int64_t const count =
            file.vertex >= 0 ? file.header.elements[std::size_t(file.vertex)].count : 0;
        std::vector<float> xyz(std::size_t(count) * 3);
        std::vector<SField> fields;
        if (count > 0) {
            SPlyElement const& vertex = file.header.elements[std::size_t(file.vertex)];
            for (int c = 0; c < 3; ++c)
                fields.push_back({vertex.Find(c == 0   ? "x"
                                              : c == 1 ? "y"
                                                       : "z"),
                                  reinterpret_cast<unsigned char*>(xyz.data() + c), 12, EStore::Float, 1.0});
        }
        std::vector<int> corners;
        if (file.faceList >= 0)
            corners.reserve(std::size_t(file.header.elements[std::size_t(file.face)].count) * 3);
        ReadBody(op, path, file, fields, &corners);
        SAssemblyReport const result = CTriangulation_Merge_Parts(*target).MergeIndexed(
            xyz.data(), int(count), corners.data(), std::int64_t(corners.size() / 3), assembly);
        TriangleFiles::AnnounceCounts(result);
        if (report) *report = result;
        return true;
    });
}

}  // namespace QEL::Core
