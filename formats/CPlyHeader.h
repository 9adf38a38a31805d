// SPDX-License-Identifier: MIT
// The header of a PLY file and the value types of its properties (internal
// to the library): parsed and checked against the file's size, so that no
// count from the file sizes anything before it is known to fit.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace QEL::Core {

class CQEL_Operation;
class CQEL_String;

enum class EPlyFormat { Ascii, BinaryLittle, BinaryBig };
enum class EPlyType : unsigned char { Int8, UInt8, Int16, UInt16, Int32, UInt32, Float32, Float64 };

constexpr int PlyTypeSize(EPlyType type) {
    constexpr int sizes[] = {1, 1, 2, 2, 4, 4, 4, 8};
    return sizes[int(type)];
}
constexpr bool PlyTypeIsFloat(EPlyType type) {
    return type == EPlyType::Float32 || type == EPlyType::Float64;
}

// A value of type at p, swapped from big-endian when swap is set.
template <class T>
inline T PlyLoad(unsigned char const* p, bool swap) {
    if constexpr (sizeof(T) == 1) {
        return T(*p);
    } else {
        unsigned char bytes[sizeof(T)];
        std::memcpy(bytes, p, sizeof(T));
        if (swap)
            for (std::size_t i = 0; i < sizeof(T) / 2; ++i)
                std::swap(bytes[i], bytes[sizeof(T) - 1 - i]);
        T value;
        std::memcpy(&value, bytes, sizeof(T));
        return value;
    }
}
inline double PlyLoadDouble(unsigned char const* p, EPlyType type, bool swap) {
    switch (type) {
        case EPlyType::Int8:
            return double(std::int8_t(*p));
        case EPlyType::UInt8:
            return double(*p);
        case EPlyType::Int16:
            return double(PlyLoad<std::int16_t>(p, swap));
        case EPlyType::UInt16:
            return double(PlyLoad<std::uint16_t>(p, swap));
        case EPlyType::Int32:
            return double(PlyLoad<std::int32_t>(p, swap));
        case EPlyType::UInt32:
            return double(PlyLoad<std::uint32_t>(p, swap));
        case EPlyType::Float32:
            return double(PlyLoad<float>(p, swap));
        case EPlyType::Float64:
            break;
    }
    return PlyLoad<double>(p, swap);
}

struct SPlyProperty {
    std::string name;
    EPlyType type = EPlyType::Float32;  // of the value, or of a list's items
    bool isList = false;
    EPlyType countType = EPlyType::UInt8;  // of a list's count
};

struct SPlyElement {
    std::string name;
    std::int64_t count = 0;
    std::vector<SPlyProperty> properties;

    bool HasLists() const;
    // Bytes of a binary row without lists (with lists: the least a row takes).
    std::int64_t RowBytes() const;
    // The index of the property named name, or -1.
    int Find(std::string_view wanted) const;
};

struct SPlyHeader {
    EPlyFormat format = EPlyFormat::Ascii;
    std::vector<SPlyElement> elements;
    std::int64_t dataStart = 0;  // the byte after "end_header" and its line end
    std::vector<std::string> comments;

    // Parses the header at the start of data and checks that the rows its
    // counts announce can fit in the bytes after it; reason 23 naming what is
    // wrong otherwise (reason 19 for a format version other than 1.0).
    static SPlyHeader Parse(CQEL_Operation const& op, CQEL_String const& path, unsigned char const* data,
                            std::int64_t size);
    // The first element named name, or -1.
    int Find(std::string_view wanted) const;
};

// "float", "uchar", "int32" ... of the header.
char const* PlyTypeName(EPlyType type);

}  // namespace QEL::Core
