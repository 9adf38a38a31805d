// SPDX-License-Identifier: MIT
// CQELParser: writing a container.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "core/CExportData.h"
#include "core/CQEL_MD5.h"
#include "core/CQEL_Operation.h"
#include "formats/CPipedWriter.h"
#include "formats/CQELCipher.h"
#include "formats/CQELParser.h"
#include "formats/CQELSinks.h"
#include "formats/QEL_ContainerLayout.h"
#include "platform/CTask.h"

namespace QEL::Core {

using namespace QELLayout;

struct CQELParser::SWriter {
    SWriter(IQELSink& target, CQEL_String const& encryptionKey) : sink(target), key(encryptionKey) {}
    IQELSink& sink;
    CQEL_String const& key;
    Block header{};
    bool headerWritten = false;
    std::int64_t position = 0;  // bytes handed to the sink
    // The key is derived on a thread of its own while the first record is
    // serialised and digested.
    std::unique_ptr<CTask> derivation;
    std::unique_ptr<CQELCipher> cipher;
    std::vector<Block> blocks;
};

namespace {

void CheckExportArguments(CQEL_Array<ISerialisable const*> const& objects, CQEL_String const& encryptionKey) {
    CQEL_Operation const& op = ExportOp();
    ValidateKey(op, encryptionKey);
    for (ISerialisable const* object : objects)
        op.Check(object != nullptr, QEL_NULL_PARAMETER, "objects", "Null Pointer");
}

}  // namespace

bool CQELParser::Export(CQEL_Stream& stream, CQEL_Array<ISerialisable const*> const& objects,
                        CQEL_String const& encryptionKey) {
    CQEL_Operation const& op = ExportOp();
    return op.Run([&] {
        CheckExportArguments(objects, encryptionKey);
        CStreamSink sink(stream);
        SWriter writer(sink, encryptionKey);
        WriteContainer(writer, objects);
        return true;
    });
}

bool CQELParser::Export(CQEL_String const& path, CQEL_Array<ISerialisable const*> const& objects,
                        CQEL_String const& encryptionKey) {
    CQEL_Operation const& op = ExportOp();
    return op.Run([&] {
        CheckExportArguments(objects, encryptionKey);
        CFileSink sink(path);
        SWriter writer(sink, encryptionKey);
        WriteContainer(writer, objects);
        sink.Commit();
        return true;
    });
}

void CQELParser::WriteContainer(SWriter& writer, CQEL_Array<ISerialisable const*> const& objects) {
    CQEL_Operation const& op = ExportOp();
    // Header, with the count and index offset filled in at the end.
    Block& header = writer.header;
    std::memcpy(header.data(), kMagic, sizeof kMagic);
    PutU32(header, kVersionAt, std::uint32_t(kVersion));
    PutU32(header, kCountAt, std::uint32_t(-1));
    PutU32(header, kIndexOffsetAt, std::uint32_t(-1));
    if (!writer.key.IsEmpty()) {
        unsigned char salt[CQELCipher::kSaltBytes];
        CQELCipher::RandomSalt(salt);
        PutU32(header, kSchemeAt, kSchemeAesGcm);
        PutU32(header, kIterationsAt, std::uint32_t(m_iterations));
        std::memcpy(header.data() + kSaltAt, salt, sizeof salt);
        std::uint32_t const iterations = std::uint32_t(m_iterations);
        writer.derivation = std::make_unique<CTask>([&writer, iterations, salt = std::to_array(salt)] {
            unsigned char copy[CQELCipher::kSaltBytes];
            std::memcpy(copy, salt.data(), sizeof copy);
            writer.cipher = std::make_unique<CQELCipher>(writer.key.View(), copy, iterations);
        });
    }

    for (ISerialisable const* object : objects)
        WriteObject(writer, *object, 0);
    WriteHeader(writer);

    std::int64_t const indexOffset = writer.position;
    std::int64_t const end = indexOffset + std::int64_t(writer.blocks.size()) * kBlockBytes;
    if (end > kMaxFileBytes)
        op.Throw(QEL_FILE_WRITE_ERROR, "objects",
                 CQEL_String::FromFormat("The container would take %lld bytes, more than the 4 GiB - 1 its "
                                         "offsets can address",
                                         (long long)end));
    for (Block const& block : writer.blocks)
        writer.sink.Append(block.data(), kBlockBytes);
    writer.position = end;
    PutU32(header, kCountAt, std::uint32_t(writer.blocks.size()));
    PutU32(header, kIndexOffsetAt, std::uint32_t(indexOffset));
    writer.sink.PutHeader(header);
}

void CQELParser::WriteHeader(SWriter& writer) {
    if (writer.headerWritten) return;
    if (writer.derivation) {
        writer.derivation->Join();
        writer.derivation.reset();
        SKeyBuffer const key(writer.key);
        unsigned char wrapped[CQELCipher::kKeyCheckBytes];
        writer.cipher->WrapKeyCheck(key.bytes, wrapped);
        std::memcpy(writer.header.data() + kKeyCheckAt, wrapped, sizeof wrapped);
    }
    writer.sink.Append(writer.header.data(), kBlockBytes);
    writer.position = kBlockBytes;
    writer.headerWritten = true;
}

void CQELParser::WriteObject(SWriter& writer, ISerialisable const& object, std::int32_t owner) {
    CExportData data;
    if (!object.Serialise(&data))
        ExportOp().Throw(
            QEL_OPERATION_FAILED, "objects",
            CQEL_String::FromFormat("Object %d could not serialise itself", int(writer.blocks.size())));
    WriteBlock(writer, data, owner);
}

void CQELParser::WriteBlock(SWriter& writer, CExportData& data, std::int32_t owner) {
    CQEL_Operation const& op = ExportOp();
    std::int64_t const plainBytes = data.SizeInBytes();
    int const number = int(writer.blocks.size());
    if (plainBytes == 0)
        op.Throw(
            QEL_NULL_PARAMETER, "data",
            CQEL_String::FromFormat("Record %d (%s): Array is empty", number, data.GetTypeName().GetArray()));
    bool const enciphered = !writer.key.IsEmpty();
    std::int64_t const offset = writer.headerWritten ? writer.position : kBlockBytes;
    std::int64_t const stored = plainBytes + (enciphered ? CQELCipher::kRecordOverhead : 0);
    if (offset + stored > kMaxFileBytes)
        op.Throw(
            QEL_FILE_WRITE_ERROR, "data",
            CQEL_String::FromFormat("Record %d (%s) of %lld bytes would end beyond the 4 GiB - 1 that the "
                                    "container's offsets can address",
                                    number, data.GetTypeName().GetArray(), (long long)stored));

    Block block{};
    PutText(block, kIdentifierAt, data.GetClassIdentifier());
    PutU32(block, kField1At, std::uint32_t(data.GetIndexField1()));
    PutU32(block, kOwnerAt, std::uint32_t(owner));
    PutU32(block, kOffsetAt, std::uint32_t(offset));
    PutU32(block, kLengthAt, std::uint32_t(stored));
    PutU32(block, kField2At, std::uint32_t(data.GetIndexField2()));
    PutText(block, kClassNameAt, data.GetClassName());
    PutText(block, kTypeNameAt, data.GetTypeName());

    bool const parallel = plainBytes >= kParallelBytes;
    CQEL_MD5 md5;
    if (!enciphered) {
        // The plain bytes are digested here while the writer thread stores them.
        WriteHeader(writer);
        CPipedWriter pipe(writer.sink, parallel);
        data.ForEachRun([&](unsigned char const* run, std::int64_t bytes) {
            md5.Update(run, std::size_t(bytes));
            pipe.Append(run, bytes);
        });
        pipe.Finish();
        PutDigest(block, md5.Finish());
    } else {
        // The digest is part of the authenticated index block, so it comes
        // first (the first time while the key is derived), then sealing
        // overlaps writing.
        data.ForEachRun(
            [&](unsigned char const* run, std::int64_t bytes) { md5.Update(run, std::size_t(bytes)); });
        PutDigest(block, md5.Finish());
        WriteHeader(writer);
        std::vector<unsigned char> const aad = RecordAAD(std::uint32_t(number), block);
        unsigned char nonce[CQELCipher::kNonceBytes];
        CQELCipher::RandomNonce(nonce);
        CQELCipher::CRecord seal(*writer.cipher, true, nonce, aad.data(), int(aad.size()));
        CPipedWriter pipe(writer.sink, parallel);
        pipe.Append(nonce, sizeof nonce);
        data.ForEachRun([&](unsigned char const* run, std::int64_t bytes) {
            while (bytes > 0) {
                std::int64_t room = bytes;
                unsigned char* const to = pipe.Room(room);
                seal.Update(run, to, room);
                pipe.Commit(room);
                run += room;
                bytes -= room;
            }
        });
        unsigned char tag[CQELCipher::kTagBytes];
        seal.Seal(tag);
        pipe.Append(tag, sizeof tag);
        pipe.Finish();
    }
    writer.position = offset + stored;
    writer.blocks.push_back(block);
}

}  // namespace QEL::Core
