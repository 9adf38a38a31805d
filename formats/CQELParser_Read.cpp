// SPDX-License-Identifier: MIT
// CQELParser: reading a container.
#include <openssl/crypto.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <exception>
#include <iterator>
#include <memory>
#include <vector>

#include "core/CImportData.h"
#include "core/CQEL_Operation.h"
#include "core/CQEL_Output_Events.h"
#include "formats/CProgressText.h"
#include "formats/CQELCipher.h"
#include "formats/CQELParser.h"
#include "formats/CQELSources.h"
#include "formats/CQEL_ObjectCreators.h"
#include "formats/CRecordDigest.h"
#include "formats/IObjectCreator.h"
#include "formats/QEL_ContainerLayout.h"
#include "platform/CFaultTranslator.h"
#include "core/CQEL_Stream.h"
#include "platform/CTask.h"

namespace QEL::Core {

using namespace QELLayout;

struct CQELParser::SReader {
    // The operation that failures are reported as: Import, or Inspect.
    CQEL_Operation const* op = &ImportOp();
    IQELSource* in = nullptr;
    std::int64_t size = 0;
    std::uint32_t count = 0;
    std::uint32_t indexOffset = 0;
    std::unique_ptr<CQELCipher> cipher;
    // Room for the first large deciphered record, made while the key is derived.
    CQEL_Stream spare;
    CQEL_Ptr_Array<ISerialisable> objects;
};

// --- reading ------------------------------------------------------------------

namespace {

// One element index block as read, with its record's place checked.
struct SIndexEntry {
    Block block{};
    SQELRecordInfo info;
};

SIndexEntry ReadIndexEntry(IQELSource const& in, std::uint32_t indexOffset, std::int64_t size, int index) {
    SIndexEntry entry;
    in.Read(std::int64_t(indexOffset) + std::int64_t(index) * CQELParser::kBlockBytes, entry.block.data(),
            CQELParser::kBlockBytes);
    SQELRecordInfo& info = entry.info;
    info.classIdentifier = GetText(entry.block, kIdentifierAt);
    info.className = GetText(entry.block, kClassNameAt);
    info.typeName = GetText(entry.block, kTypeNameAt);
    info.indexField1 = std::int32_t(GetU32(entry.block, kField1At));
    info.indexField2 = std::int32_t(GetU32(entry.block, kField2At));
    info.owner = std::int32_t(GetU32(entry.block, kOwnerAt));
    info.offset = GetU32(entry.block, kOffsetAt);
    info.storedBytes = GetU32(entry.block, kLengthAt);
    info.digest = GetDigest(entry.block);
    info.hasCreator = FindObjectCreator(info.classIdentifier.View()) != nullptr;
    // Records lie between the header and the index.
    std::int64_t const end = std::int64_t(info.offset) + std::int64_t(info.storedBytes);
    if (info.offset < std::uint32_t(CQELParser::kBlockBytes) || end > std::int64_t(indexOffset) || end > size)
        info.status = SQELRecordInfo::EStatus::Outside;
    return entry;
}

// A record's stored length if it can hold a record at all, else 0.
std::int64_t UsableBytes(SQELRecordInfo const& info, bool enciphered) {
    std::int64_t const minimum = enciphered ? CQELCipher::kRecordOverhead + 1 : 1;
    return info.status == SQELRecordInfo::EStatus::Intact && std::int64_t(info.storedBytes) >= minimum
               ? std::int64_t(info.storedBytes)
               : 0;
}

}  // namespace

bool CQELParser::OpenForReading(SReader& reader, CQEL_String const& encryptionKey) {
    CQEL_Operation const& op = *reader.op;
    ValidateKey(op, encryptionKey);
    IQELSource const& in = *reader.in;
    reader.size = in.Size();
    if (reader.size < kBlockBytes)
        op.Throw(QEL_FILE_READ_ERROR, "stream",
                 CQEL_String::FromFormat("The file has %lld bytes, fewer than the %d bytes of a QEL header",
                                         (long long)reader.size, kBlockBytes));
    Block header{};
    in.Read(0, header.data(), kBlockBytes);
    if (std::memcmp(header.data(), kMagic, sizeof kMagic) != 0)
        op.Throw(QEL_FILE_READ_ERROR, "stream", "The file does not start with the QEL magic \"SessionQEL\"");
    std::int32_t const version = std::int32_t(GetU32(header, kVersionAt));
    if (version != kVersion)
        op.Throw(
            QEL_UNSUPPORTED_FORMAT, "stream",
            CQEL_String::FromFormat("QEL format version %d is not supported (this library reads version %d)",
                                    version, kVersion));
    std::int32_t const count = std::int32_t(GetU32(header, kCountAt));
    std::uint32_t const indexOffset = GetU32(header, kIndexOffsetAt);
    if (count == -1 && indexOffset == UINT32_MAX)
        op.Throw(QEL_FILE_READ_ERROR, "stream", "The file was never completed: its header has no index");
    if (count < 0)
        op.Throw(QEL_FILE_READ_ERROR, "stream",
                 CQEL_String::FromFormat("The header gives a negative number of records (%d)", count));
    if (indexOffset < std::uint32_t(kBlockBytes) || std::int64_t(indexOffset) > reader.size ||
        std::int64_t(count) * kBlockBytes > reader.size - std::int64_t(indexOffset))
        op.Throw(
            QEL_FILE_READ_ERROR, "stream",
            CQEL_String::FromFormat("The index of %d blocks at offset %u does not fit in the file of %lld "
                                    "bytes",
                                    count, indexOffset, (long long)reader.size));
    reader.count = std::uint32_t(count);
    reader.indexOffset = indexOffset;

    unsigned char wrapped[CQELCipher::kKeyCheckBytes];
    std::memcpy(wrapped, header.data() + kKeyCheckAt, sizeof wrapped);
    std::uint32_t const scheme = GetU32(header, kSchemeAt);
    if (scheme == kSchemeNone) {
        if (std::any_of(std::begin(wrapped), std::end(wrapped), [](unsigned char c) { return c != 0; }))
            op.Throw(QEL_FILE_READ_ERROR, "stream",
                     "The key check block of a file without encipherment is not zero");
        if (!encryptionKey.IsEmpty())
            CQEL_Output_Events::Warning(
                CQEL_String::FromASCII("The QEL file is not enciphered; the key given for it is ignored"));
        return true;
    }
    if (scheme != kSchemeAesGcm)
        op.Throw(QEL_UNSUPPORTED_FORMAT, "stream",
                 CQEL_String::FromFormat("Cipher scheme %u is not supported", scheme));
    std::uint32_t const iterations = GetU32(header, kIterationsAt);
    if (iterations < std::uint32_t(kMinIterations) || iterations > std::uint32_t(kMaxIterations))
        op.Throw(QEL_FILE_READ_ERROR, "stream",
                 CQEL_String::FromFormat("The key derivation count %u lies outside [%d, %d]", iterations,
                                         kMinIterations, kMaxIterations));
    if (encryptionKey.IsEmpty()) return false;
    unsigned char salt[CQELCipher::kSaltBytes];
    std::memcpy(salt, header.data() + kSaltAt, sizeof salt);
    {
        // While the key is derived, room is made for the first large record
        // (its length is checked against the file already).
        CTask derivation(
            [&] { reader.cipher = std::make_unique<CQELCipher>(encryptionKey.View(), salt, iterations); });
        for (int i = 0; i < count; ++i) {
            SIndexEntry const entry = ReadIndexEntry(in, indexOffset, reader.size, i);
            std::int64_t const bytes = entry.info.hasCreator ? UsableBytes(entry.info, true) : 0;
            if (bytes >= kParallelBytes) {
                reader.spare.Reserve(bytes - CQELCipher::kRecordOverhead);
                break;
            }
            if (bytes > 0) break;
        }
        derivation.Join();
    }
    SKeyBuffer const key(encryptionKey);
    SKeyBuffer unwrapped(CQEL_String::Empty());
    if (!reader.cipher->UnwrapKeyCheck(wrapped, unwrapped.bytes) ||
        CRYPTO_memcmp(unwrapped.bytes, key.bytes, sizeof key.bytes) != 0) {
        reader.cipher.reset();
        return false;
    }
    return true;
}

namespace {

CQEL_String RecordName(int index, SQELRecordInfo const& info) {
    return CQEL_String::FromFormat("Record %d (%s, class %s)", index, info.typeName.GetArray(),
                                   info.classIdentifier.GetArray());
}

CQEL_String DigestProblem(int index, SQELRecordInfo const& info, sMD5CheckSumValue const& digest) {
    return RecordName(index, info) +
           CQEL_String::FromFormat(": its MD5 digest %s differs from the index's %s", digest.ToHex().c_str(),
                                   info.digest.ToHex().c_str());
}

// Puts record index's plain bytes into data: a view of the source where the
// record is stored plain in memory, else a copy, deciphered and authenticated
// in an enciphered file (into spare when it has room), and feeds the plain
// bytes to digest as they become plain; the caller finishes the digest.
// Returns the record's status and, unless intact, a message saying what is wrong.
SQELRecordInfo::EStatus LoadRecord(IQELSource const& in, CQELCipher const* cipher, int index,
                                   SIndexEntry const& entry, CImportData& data, CQEL_Stream& spare,
                                   CQEL_String& problem, CRecordDigest& digest) {
    SQELRecordInfo const& info = entry.info;
    if (info.status == SQELRecordInfo::EStatus::Outside) {
        problem =
            RecordName(index, info) +
            CQEL_String::FromFormat(": its %u bytes at offset %u lie outside the record area of the file",
                                    info.storedBytes, info.offset);
        return info.status;
    }
    std::int64_t const stored = UsableBytes(info, cipher != nullptr);
    if (stored == 0) {
        problem =
            RecordName(index, info) +
            CQEL_String::FromFormat(": a stored length of %u bytes cannot hold a record", info.storedBytes);
        return SQELRecordInfo::EStatus::Damaged;
    }
    CQEL_Stream& plain = data.GetStream();
    plain.Reset();
    data.SetIndex(info.classIdentifier, info.className, info.typeName, info.indexField1, info.indexField2,
                  info.owner, index);
    auto feed = [&digest](unsigned char const* run, std::int64_t n) { digest.Feed(run, n); };
    if (!cipher) {
        in.AttachView(plain, info.offset, stored);
        plain.ForEachRun(feed);
        return SQELRecordInfo::EStatus::Intact;
    }
    std::int64_t const cipherBytes = stored - CQELCipher::kRecordOverhead;
    // The room made ready while the key was derived goes to the first record.
    plain = std::move(spare);
    spare.Reset();
    unsigned char nonce[CQELCipher::kNonceBytes];
    unsigned char tag[CQELCipher::kTagBytes];
    in.Read(info.offset, nonce, sizeof nonce);
    in.Read(info.offset + CQELCipher::kNonceBytes + cipherBytes, tag, sizeof tag);
    std::vector<unsigned char> const aad = RecordAAD(std::uint32_t(index), entry.block);
    CQELCipher::CRecord open(*cipher, false, nonce, aad.data(), int(aad.size()));
    // Deciphered straight into the record's storage; each piece goes to the
    // digest as soon as it is plain.
    constexpr std::int64_t kPiece = std::int64_t(1) << 18;
    std::int64_t at = info.offset + CQELCipher::kNonceBytes;
    plain.Produce(cipherBytes, [&](unsigned char* run, std::int64_t n) {
        in.ForEachRun(at, n, [&](unsigned char const* source, std::int64_t m) {
            for (std::int64_t done = 0; done < m; done += kPiece) {
                std::int64_t const piece = std::min(kPiece, m - done);
                open.Update(source + done, run, piece);
                digest.Feed(run, piece);
                run += piece;
            }
        });
        at += n;
    });
    if (!open.Open(tag)) {
        digest.Cancel();  // before the pieces it reads go
        plain.Reset();
        problem =
            RecordName(index, info) +
            CQEL_String::FromASCII(": fails authentication (the record or its index block was altered)");
        return SQELRecordInfo::EStatus::Damaged;
    }
    plain.SeekGetPosition(0);
    return SQELRecordInfo::EStatus::Intact;
}

}  // namespace

void CQELParser::ReadObject(SReader& reader, int index) {
    CQEL_Operation const& op = *reader.op;
    SIndexEntry const entry = ReadIndexEntry(*reader.in, reader.indexOffset, reader.size, index);
    if (!entry.info.hasCreator) return;  // no creator: skipped
    CImportData data;
    CQEL_String problem;
    // The digest is checked while the record is deciphered and the creator
    // reads it; whatever the creator made is dropped when the digest then
    // fails. (Declared after the data it reads, it stops first on any exit.)
    CRecordDigest digest(entry.info.storedBytes >= kParallelBytes);
    if (LoadRecord(*reader.in, reader.cipher.get(), index, entry, data, reader.spare, problem, digest) !=
        SQELRecordInfo::EStatus::Intact)
        op.Throw(QEL_FILE_READ_ERROR, "stream", problem);
    std::unique_ptr<ISerialisable> object;
    std::exception_ptr failure;
    try {
        IObjectCreator* const creator = FindObjectCreator(data.GetClassIdentifier().View());
        if (!creator) return;  // unregistered meanwhile
        object.reset(creator->CreateObject(&data));
    } catch (...) {
        failure = std::current_exception();
    }
    sMD5CheckSumValue const sum = digest.Finish();
    if (!(sum == entry.info.digest))
        op.Throw(QEL_FILE_READ_ERROR, "stream", DigestProblem(index, entry.info, sum));
    if (failure) std::rethrow_exception(failure);
    if (!object)
        op.Throw(QEL_FILE_READ_ERROR, "stream",
                 CQEL_String::FromFormat("Record %d (%s) could not be read by its creator", index,
                                         data.GetTypeName().GetArray()));
    reader.objects.Add(object.release());
}

bool CQELParser::ReadContainer(SReader& reader, CQEL_String const& encryptionKey) {
    ClearObjects();
    if (!OpenForReading(reader, encryptionKey)) return false;
    CProgressText progress("reading QEL records", reader.count);
    for (int i = 0; i < int(reader.count); ++i) {
        ReadObject(reader, i);
        progress.Report(i + 1);
    }
    m_objects.Swap(reader.objects);
    return true;
}

bool CQELParser::Import(CQEL_Stream& stream, CQEL_String const& encryptionKey) {
    CQEL_Operation const& op = ImportOp();
    return op.Run([&] {
        ClearObjects();
        CStreamSource source(stream);
        SReader reader;
        reader.in = &source;
        return ReadContainer(reader, encryptionKey);
    });
}

bool CQELParser::Import(CQEL_String const& path, CQEL_String const& encryptionKey) {
    CQEL_Operation const& op = ImportOp();
    return op.Run([&] {
        ClearObjects();
        // A mapped file that another process cuts short faults when read:
        // on this thread too that becomes an exception, not the end of the host.
        CFaultTranslationScope const faults;
        CFileSource source(path);
        SReader reader;
        reader.in = &source;
        return ReadContainer(reader, encryptionKey);
    });
}

bool CQELParser::Inspect(CQEL_Stream& stream, CQEL_String const& encryptionKey,
                         CQEL_Array<SQELRecordInfo>& records) {
    static CQEL_Operation const op("QEL::Core::CQELParser::Inspect");
    return op.Run([&] {
        records.Reset();
        CStreamSource source(stream);
        SReader reader;
        reader.op = &op;
        reader.in = &source;
        if (!OpenForReading(reader, encryptionKey)) return false;
        CImportData data;
        for (int i = 0; i < int(reader.count); ++i) {
            SIndexEntry entry = ReadIndexEntry(source, reader.indexOffset, reader.size, i);
            CQEL_String problem;
            CRecordDigest digest(false);
            entry.info.status =
                LoadRecord(source, reader.cipher.get(), i, entry, data, reader.spare, problem, digest);
            if (entry.info.status == SQELRecordInfo::EStatus::Intact &&
                !(digest.Finish() == entry.info.digest))
                entry.info.status = SQELRecordInfo::EStatus::Damaged;
            data.GetStream().Reset();
            records.PushBack(entry.info, 1);
        }
        return true;
    });
}

bool CQELParser::IsEnciphered(CQEL_Stream& stream) {
    if (stream.SizeInBytes() < kBlockBytes) return false;
    Block header{};
    std::int64_t const position = stream.TellGetPosition();
    stream.SeekGetPosition(0);
    stream.Get(header.data(), kBlockBytes);
    stream.SeekGetPosition(position);
    return std::memcmp(header.data(), kMagic, sizeof kMagic) == 0 && GetU32(header, kSchemeAt) != kSchemeNone;
}

}  // namespace QEL::Core
