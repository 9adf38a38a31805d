// SPDX-License-Identifier: MIT
#include <cstdio>
#include <stdexcept>
#include <string>

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

// Every record of a container with its type, size and digest status.
void ShowContainer(std::string const& path, CQEL_String const& key) {
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
    int damaged = 0;
    for (int i = 0; i < records.Count(); ++i) {
        SQELRecordInfo const& r = records[i];
        std::printf("  record %d: %s (%s, %s)\n", i, r.typeName.GetArray(), r.className.GetArray(),
                    r.classIdentifier.GetArray());
        std::printf("    %u bytes at offset %u, fields %d and %d, owner %d, md5 %s: %s%s\n", r.storedBytes,
                    r.offset, r.indexField1, r.indexField2, r.owner, r.digest.ToHex().c_str(), StatusText(r),
                    r.hasCreator ? "" : " (no reader in this build: skipped on import)");
        if (r.status != SQELRecordInfo::EStatus::Intact) ++damaged;
    }
    if (damaged) throw std::runtime_error(std::to_string(damaged) + " damaged record(s) in " + path);
}

}  // namespace

void AddInfoCommand(CLI::App& app) {
    auto* info = app.add_subcommand("info", "Describe a file: the records of a .qel container");
    static std::string file, key;  // parse fills them before the callback runs
    info->add_option("FILE", file, "The file to describe")->required();
    info->add_option("--key", key, "The key of an enciphered .qel file");
    info->callback([] { ShowContainer(file, CQEL_String::FromUTF8(key.c_str())); });
}

}  // namespace QEL::Tool
