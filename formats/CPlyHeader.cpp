// SPDX-License-Identifier: MIT
// PLY headers: parsing and the size check.
#include "formats/CPlyHeader.h"

#include <charconv>
#include <climits>

#include "core/CQEL_Operation.h"
#include "core/CQEL_String.h"
#include "formats/QEL_TextNumbers.h"

namespace QEL::Core {

namespace {

// A header longer than this is damage, not a header: the search for its end stops here.
constexpr std::int64_t kMaxHeaderBytes = std::int64_t(1) << 20;

struct STypeName {
    char const* name;
    EPlyType type;
};
constexpr STypeName kTypeNames[] = {
    {"char", EPlyType::Int8},       {"uchar", EPlyType::UInt8},    {"short", EPlyType::Int16},
    {"ushort", EPlyType::UInt16},   {"int", EPlyType::Int32},      {"uint", EPlyType::UInt32},
    {"float", EPlyType::Float32},   {"double", EPlyType::Float64}, {"int8", EPlyType::Int8},
    {"uint8", EPlyType::UInt8},     {"int16", EPlyType::Int16},    {"uint16", EPlyType::UInt16},
    {"int32", EPlyType::Int32},     {"uint32", EPlyType::UInt32},  {"float32", EPlyType::Float32},
    {"float64", EPlyType::Float64},
};

bool ParseType(std::string_view word, EPlyType& type) {
    for (STypeName const& t : kTypeNames)
        if (word == t.name) {
            type = t.type;
            return true;
        }
    return false;
}

// The words of a header line.
std::vector<std::string_view> Words(std::string_view line) {
    std::vector<std::string_view> words;
    for (std::string_view rest = line;;) {
        std::string_view const word = Text::FirstWord(rest, &rest);
        if (word.empty()) return words;
        words.push_back(word);
    }
}

}  // namespace

char const* PlyTypeName(EPlyType type) {
    return kTypeNames[int(type)].name;
}

bool SPlyElement::HasLists() const {
    for (SPlyProperty const& p : properties)
        if (p.isList) return true;
    return false;
}

std::int64_t SPlyElement::RowBytes() const {
    std::int64_t bytes = 0;
    for (SPlyProperty const& p : properties)
        bytes += PlyTypeSize(p.isList ? p.countType : p.type);
    return bytes;
}

int SPlyElement::Find(std::string_view wanted) const {
    for (std::size_t i = 0; i < properties.size(); ++i)
        if (properties[i].name == wanted) return int(i);
    return -1;
}

int SPlyHeader::Find(std::string_view wanted) const {
    for (std::size_t i = 0; i < elements.size(); ++i)
        if (elements[i].name == wanted) return int(i);
    return -1;
}

SPlyHeader SPlyHeader::Parse(CQEL_Operation const& op, CQEL_String const& path, unsigned char const* data,
                             std::int64_t size) {
    auto fail = [&](std::int64_t line, char const* what, std::string_view detail = {}) {
        op.Throw(QEL_FILE_READ_ERROR, "path",
                 CQEL_String::FromFormat("%s: PLY header line %lld: %s%.*s", path.GetArray(), (long long)line,
                                         what, int(detail.size()), detail.data()));
    };
    std::string_view const text(reinterpret_cast<char const*>(data),
                                std::size_t(std::min(size, kMaxHeaderBytes)));
    SPlyHeader header;
    bool sawFormat = false, sawEnd = false;
    std::size_t at = 0;
    for (std::int64_t number = 1; !sawEnd; ++number) {
        std::size_t const end = text.find('\n', at);
        if (end == std::string_view::npos) {
            if (number == 1 && text.substr(0, 3) != "ply")
                op.Throw(QEL_FILE_READ_ERROR, "path",
                         CQEL_String::FromFormat("%s: not a PLY file (no \"ply\" line)", path.GetArray()));
            fail(number, "the header has no \"end_header\" line",
                 size > kMaxHeaderBytes ? " in its first MiB" : "");
        }
        std::string_view line = text.substr(at, end - at);
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        at = end + 1;
        std::vector<std::string_view> const words = Words(line);
        if (number == 1) {
            if (words.size() != 1 || words[0] != "ply")
                op.Throw(QEL_FILE_READ_ERROR, "path",
                         CQEL_String::FromFormat("%s: not a PLY file (no \"ply\" line)", path.GetArray()));
            continue;
        }
        if (words.empty()) continue;
        std::string_view const key = words[0];
        if (key == "comment" || key == "obj_info") {
            std::string_view rest;
            Text::FirstWord(line, &rest);
            while (!rest.empty() && Text::IsSpace(rest.front()))
                rest.remove_prefix(1);
            header.comments.emplace_back(rest);
        } else if (key == "format") {
            if (words.size() != 3) fail(number, "\"format\" needs a format and a version");
            if (words[1] == "ascii")
                header.format = EPlyFormat::Ascii;
            else if (words[1] == "binary_little_endian")
                header.format = EPlyFormat::BinaryLittle;
            else if (words[1] == "binary_big_endian")
                header.format = EPlyFormat::BinaryBig;
            else
                fail(number, "unknown format ", words[1]);
            if (words[2] != "1.0" && words[2] != "1")
                op.Throw(QEL_UNSUPPORTED_FORMAT, "path",
                         CQEL_String::FromFormat("%s: PLY version %.*s (only 1.0 is read)", path.GetArray(),
                                                 int(words[2].size()), words[2].data()));
            sawFormat = true;
        } else if (key == "element") {
            if (words.size() != 3) fail(number, "\"element\" needs a name and a count");
            std::int64_t count = -1;
            auto const r = std::from_chars(words[2].data(), words[2].data() + words[2].size(), count);
            if (r.ec != std::errc() || r.ptr != words[2].data() + words[2].size() || count < 0 ||
                count > INT_MAX)
                fail(number, "bad element count ", words[2]);
            header.elements.push_back({std::string(words[1]), count, {}});
        } else if (key == "property") {
            if (header.elements.empty()) fail(number, "a property before any element");
            SPlyProperty property;
            bool good = false;
            if (words.size() == 3) {
                good = ParseType(words[1], property.type);
            } else if (words.size() == 5 && words[1] == "list") {
                property.isList = true;
                good = ParseType(words[2], property.countType) && ParseType(words[3], property.type) &&
                       !PlyTypeIsFloat(property.countType);
            }
            if (!good) fail(number, "bad property: ", line);
            property.name = std::string(words.back());
            header.elements.back().properties.push_back(std::move(property));
        } else if (key == "end_header") {
            sawEnd = true;
        } else {
            fail(number, "unknown keyword ", key);
        }
    }
    if (!sawFormat) fail(1, "no \"format\" line");
    header.dataStart = std::int64_t(at);

    // The least each element's rows take: a binary row its fixed bytes, a
    // text row at least two characters a value (a digit and a separator).
    std::int64_t const available = size - header.dataStart;
    std::int64_t needed = 0;
    for (SPlyElement const& e : header.elements) {
        std::int64_t const row =
            header.format == EPlyFormat::Ascii ? 2 * std::int64_t(e.properties.size()) : e.RowBytes();
        needed += e.count * row;
        // The last text value needs no separator after it.
        if (needed > available + (header.format == EPlyFormat::Ascii ? 1 : 0))
            op.Throw(
                QEL_FILE_READ_ERROR, "path",
                CQEL_String::FromFormat("%s: the header announces %lld %s rows, which take at least %lld "
                                        "bytes with those before them, but %lld bytes follow the header",
                                        path.GetArray(), (long long)e.count, e.name.c_str(),
                                        (long long)needed, (long long)available));
    }
    return header;
}

}  // namespace QEL::Core
