// SPDX-License-Identifier: MIT
// A record type of the fuzz targets: chunks walked one by one, so that the
// chunk reading of CImportData is fuzzed beside the library's own records.
#pragma once

#include <vector>

#include "qel.h"

namespace QEL::Fuzz {

class CFuzzBlob : public QEL::Core::ISerialisable {
  public:
    static constexpr char kClassIdentifier[] = "F0220000-0000-4000-8000-000000000001";

    bool Serialise(QEL::Core::CExportData* data) const override {
        data->SetClassIdentifier(QEL::Core::CQEL_String::FromASCII(kClassIdentifier));
        data->SetClassName(QEL::Core::CQEL_String::FromASCII("class QEL::Fuzz::CFuzzBlob"));
        data->SetTypeName(QEL::Core::CQEL_String::FromASCII("QEL_FuzzBlob"));
        data->PutChunk("BYTES", bytes.data(), std::int64_t(bytes.size()));
        data->PutChunk("MORE", bytes.data(), std::int64_t(bytes.size() / 2));
        return true;
    }
    bool Deserialise(QEL::Core::CImportData* data) override {
        QEL::Core::SQELChunk chunk;
        while (data->NextChunk(chunk)) {
            if (chunk.Is("BYTES")) {
                bytes.resize(std::size_t(chunk.bytes));
                data->GetStream().Get(bytes.data(), chunk.bytes);
            } else {
                data->SkipChunk(chunk);
            }
        }
        return true;
    }

    std::vector<unsigned char> bytes;
};

}  // namespace QEL::Fuzz
