// SPDX-License-Identifier: MIT
#include <cstdio>
#include <stdexcept>
#include <string>

#include "CurveFiles.h"
#include "MeshFiles.h"
#include "PointFiles.h"
#include "QelCommands.h"
#include "qel.h"

using namespace QEL::Core;

namespace QEL::Tool {

namespace {

char const* StatusText(SQELRecordInfo const& record) {
    switch (record.status) {
        case SQELRecordInfo::EStatus::Intact:
            return "intact";
        case SQELRecordInfo::EStatus::Damaged:
            return "DAMAGED";
        case SQELRecordInfo::EStatus::Outside:
            return "OUTSIDE THE FILE";
    }
    return "?";
}

// Every record of a container with its type, size and digest status; false if any is damaged.
bool ShowContainer(std::string const& path, CQEL_String const& key) {
    CQEL_Stream stream;
    stream.ReadFromFile(CQEL_String::FromUTF8(path.c_str()));
    CQELParser parser;
    CQEL_Array<SQELRecordInfo> records;
    bool const enciphered = CQELParser::IsEnciphered(stream);
    if (!parser.Inspect(stream, key, records))
        throw std::runtime_error(key.IsEmpty() ? path + " is enciphered: give its key with --key"
                                               : "the key does not open " + path);
    std::printf("%s: QEL container, %s, %lld bytes, %d record%s\n", path.c_str(),
                enciphered ? "enciphered" : "not enciphered", (long long)stream.SizeInBytes(),
                records.Count(), records.Count() == 1 ? "" : "s");
    bool intact = true;
    for (int i = 0; i < records.Count(); ++i) {
        SQELRecordInfo const& r = records[i];
        std::printf("  record %d: %s (%s, %s)\n", i, r.typeName.GetArray(), r.className.GetArray(),
                    r.classIdentifier.GetArray());
        std::printf("    %u bytes at offset %u, fields %d and %d, owner %d, md5 %s: %s%s\n", r.storedBytes,
                    r.offset, r.indexField1, r.indexField2, r.owner, r.digest.ToHex().c_str(), StatusText(r),
                    r.hasCreator ? "" : " (no reader in this build: skipped on import)");
        intact = intact && r.status == SQELRecordInfo::EStatus::Intact;
    }
    return intact;
}

void ShowPointSet(CPointSet const& set, std::string const& title) {
    std::printf("%s: %d section%s, %d points", title.c_str(), set.GetNumSec(),
                set.GetNumSec() == 1 ? "" : "s", set.GetNumPts());
    if (!set.GetName().IsEmpty()) std::printf(", name \"%s\"", set.GetName().GetArray());
    std::printf("\n  attributes of every section: %s\n", AttributeNames(set.GetMetaDataFlags()).c_str());
    if (set.GetNumPts() > 0) {
        CPoint3<double> const lo = set.GetMin(), hi = set.GetMax();
        std::printf("  bounding box: (%g, %g, %g) to (%g, %g, %g)\n", lo.x, lo.y, lo.z, hi.x, hi.y, hi.z);
    }
    for (int s = 0; s < set.GetNumSec() && s < 8; ++s)
        std::printf("  section %d: %d point%s, %s\n", s, set.get_Sec(s).GetNumPts(),
                    set.get_Sec(s).GetNumPts() == 1 ? "" : "s",
                    AttributeNames(set.get_Sec(s).GetMetaDataFlags()).c_str());
    if (set.GetNumSec() > 8) std::printf("  ... %d more sections\n", set.GetNumSec() - 8);
}

}  // namespace

void AddInfoCommand(CLI::App& app) {
    auto* info = app.add_subcommand("info",
                                    "Describe a file: records of a .qel container, sections, points, "
                                    "attributes and bounding box of point "
                                    "sets, topology and shape of meshes");
    static std::string file, key;  // parse fills them before the callback runs
    info->add_option("FILE", file, "The file to describe (.qel, .asc, .dat, .bin, .cut, .stl, .tri, .raw)")
        ->required();
    info->add_option("--key", key, "The key of an enciphered .qel file");
    info->callback([] {
        if (IsMeshFile(file)) {
            ShowMeshes(file, key);
            return;
        }
        bool intact = true;
        if (IsContainer(file)) intact = ShowContainer(file, CQEL_String::FromUTF8(key.c_str()));
        if (!intact) throw std::runtime_error("damaged records in " + file);
        auto const sets = ReadPointSets(file, key);
        for (std::size_t i = 0; i < sets.size(); ++i)
            ShowPointSet(*sets[i], sets.size() == 1 ? "point set" : "point set " + std::to_string(i));
        if (IsContainer(file)) ShowMeshes(file, key);
        if (IsContainer(file)) ShowCurves(file, key);
    });
}

}  // namespace QEL::Tool
