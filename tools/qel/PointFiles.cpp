// SPDX-License-Identifier: MIT
#include "PointFiles.h"

#include <cctype>
#include <stdexcept>

using namespace QEL::Core;

namespace QEL::Tool {

namespace {

std::string KnownExtensions() {
    std::string known = ".qel";
    int count = 0;
    SPointFormat const* formats = GetPointFormats(count);
    for (int i = 0; i < count; ++i)
        known += std::string(", ") + formats[i].extension;
    return known;
}

SPointFormat const& FormatOf(std::string const& path) {
    SPointFormat const* format = FindPointFormat(CQEL_String::FromUTF8(path.c_str()));
    if (!format) throw std::runtime_error(path + ": unknown file type (known: " + KnownExtensions() + ")");
    return *format;
}

}  // namespace

bool IsContainer(std::string const& path) {
    if (path.size() < 4) return false;
    std::string extension = path.substr(path.size() - 4);
    for (char& c : extension)
        c = char(std::tolower(static_cast<unsigned char>(c)));
    return extension == ".qel";
}

std::vector<std::unique_ptr<CPointSet>> ReadPointSets(std::string const& path, std::string const& key) {
    std::vector<std::unique_ptr<CPointSet>> sets;
    CQEL_String const file = CQEL_String::FromUTF8(path.c_str());
    if (IsContainer(path)) {
        CQELParser parser;
        if (!parser.Import(file, CQEL_String::FromUTF8(key.c_str())))
            throw std::runtime_error(key.empty() ? path + " is enciphered: give its key with --key"
                                                 : "the key does not open " + path);
        while (parser.GetNumObjects() > 0) {
            std::unique_ptr<ISerialisable> object(parser.DetachObject(0));
            if (auto* set = dynamic_cast<CPointSet*>(object.get())) {
                object.release();
                sets.emplace_back(set);
            }
        }
        return sets;
    }
    auto set = std::make_unique<CPointSet>();
    if (!FormatOf(path).read(file, set.get())) throw std::runtime_error("cannot open " + path);
    sets.push_back(std::move(set));
    return sets;
}

void WritePointSets(std::string const& path, std::vector<CPointSet const*> const& sets,
                    std::string const& key, bool append, int significantDigits) {
    CQEL_String const file = CQEL_String::FromUTF8(path.c_str());
    if (IsContainer(path)) {
        if (append) throw std::runtime_error("--append applies to the point formats, not to .qel containers");
        CQEL_Array<ISerialisable const*> objects;
        for (CPointSet const* set : sets) {
            // The container holds no empty records: say why rather than "Array is empty".
            if (set->GetNumSec() == 0 && set->GetUserMetaData().IsEmpty())
                throw std::runtime_error("a point set without sections cannot be written to " + path);
            objects.PushBack(set, 1);
        }
        CQELParser parser;
        parser.Export(file, objects, CQEL_String::FromUTF8(key.c_str()));
        return;
    }
    if (!key.empty()) throw std::runtime_error("--key applies to .qel containers only");
    SPointFormat const& format = FormatOf(path);
    SPointFileOptions options;
    options.significantDigits = significantDigits;
    for (std::size_t i = 0; i < sets.size(); ++i)
        if (!format.write(file, *sets[i], append || i > 0, options))
            throw std::runtime_error("cannot write " + path);
}

// In bit order, named as the attribute table names them.
std::string AttributeNames(CPtsData flags) {
    std::string names;
    for (int position = 0; position < CPtsData::kCount; ++position)
        for (SPointAttribute const& attribute : kPointAttributes)
            if (attribute.bit == 1u << position && flags.Contains(CPtsData(attribute.bit))) {
                if (!names.empty()) names += ' ';
                names += attribute.name;
            }
    return names;
}

}  // namespace QEL::Tool
