// SPDX-License-Identifier: MIT
#include "formats/CQELParser.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "core/CExportData.h"
#include "core/CImportData.h"
#include "core/CQEL_Operation.h"
#include "core/CQEL_Output_Events.h"
#include "formats/CProgressText.h"
#include "formats/CQELCipher.h"
#include "formats/CQEL_ObjectCreators.h"
#include "platform/CQEL_Stream.h"

namespace QEL::Core {

namespace {

using Block = std::array<unsigned char, CQELParser::kBlockBytes>;

// Header fields.
constexpr char kMagic[11] = "SessionQEL";
constexpr std::int32_t kVersion = 1;
constexpr int kVersionAt = 16;
constexpr int kCountAt = 20;
constexpr int kIndexOffsetAt = 24;
constexpr int kKeyCheckAt = 28;
constexpr int kSchemeAt = 292;
constexpr int kIterationsAt = 296;
constexpr int kSaltAt = 300;

// Cipher schemes (header offset 292).
constexpr std::uint32_t kSchemeNone = 0;
constexpr std::uint32_t kSchemeAesGcm = 1;

// Element index block fields.
constexpr int kIdentifierAt = 0;
constexpr int kField1At = 256;
constexpr int kOwnerAt = 260;
constexpr int kOffsetAt = 264;
constexpr int kLengthAt = 268;
constexpr int kField2At = 272;
constexpr int kClassNameAt = 276;
constexpr int kTypeNameAt = 532;
constexpr int kDigestAt = 788;
constexpr int kTextBytes = 256;

constexpr std::int64_t kMaxFileBytes = std::int64_t(UINT32_MAX);

void PutU32(Block& block, int at, std::uint32_t value) {
    for (int b = 0; b < 4; ++b)
        block[std::size_t(at + b)] = static_cast<unsigned char>(value >> (8 * b));
}
std::uint32_t GetU32(Block const& block, int at) {
    std::uint32_t value = 0;
    for (int b = 0; b < 4; ++b)
        value |= std::uint32_t(block[std::size_t(at + b)]) << (8 * b);
    return value;
}
// Stores at most 255 bytes of text and a zero byte; the rest of the field stays zero.
void PutText(Block& block, int at, CQEL_String const& text) {
    std::size_t const bytes = std::min<std::size_t>(std::size_t(text.Length()), kTextBytes - 1);
    std::memcpy(block.data() + at, text.GetArray(), bytes);
}
// The text up to the first zero byte of the field (all 256 bytes if none).
CQEL_String GetText(Block const& block, int at) {
    auto const* begin = reinterpret_cast<char const*>(block.data() + at);
    auto const* end = static_cast<char const*>(std::memchr(begin, 0, kTextBytes));
    return CQEL_String::FromASCII(begin, int(end ? end - begin : kTextBytes));
}

void PutDigest(Block& block, sMD5CheckSumValue const& digest) {
    for (int w = 0; w < 4; ++w)
        PutU32(block, kDigestAt + 4 * w, digest.value[w]);
}
sMD5CheckSumValue GetDigest(Block const& block) {
    sMD5CheckSumValue digest;
    for (int w = 0; w < 4; ++w)
        digest.value[w] = GetU32(block, kDigestAt + 4 * w);
    return digest;
}

// The data authenticated with an enciphered record: its position in the index
// and its whole index block, so that an index entry cannot be altered or
// moved without the record failing authentication.
std::vector<unsigned char> RecordAAD(std::uint32_t recordNumber, Block const& block) {
    std::vector<unsigned char> aad(4 + block.size());
    for (int b = 0; b < 4; ++b)
        aad[std::size_t(b)] = static_cast<unsigned char>(recordNumber >> (8 * b));
    std::memcpy(aad.data() + 4, block.data(), block.size());
    return aad;
}

// The 256-byte key buffer: the key's bytes, zero-filled.
struct SKeyBuffer {
    unsigned char bytes[CQELCipher::kKeyCheckPlainBytes] = {};
    explicit SKeyBuffer(CQEL_String const& key) {
        std::memcpy(bytes, key.GetArray(), std::size_t(key.Length()));
    }
    ~SKeyBuffer() { OPENSSL_cleanse(bytes, sizeof bytes); }
    SKeyBuffer(SKeyBuffer const&) = delete;
    SKeyBuffer& operator=(SKeyBuffer const&) = delete;
};

void ValidateKey(CQEL_Operation const& op, CQEL_String const& key) {
    if (key.Length() > CQELParser::kMaxKeyBytes)
        op.Throw(QEL_INVALID_PARAMETER, "encryptionKey",
                 CQEL_String::FromFormat("Encryption key must be less than %d characters",
                                         CQELParser::kMaxKeyBytes + 1));
    if (std::memchr(key.GetArray(), 0, std::size_t(key.Length())))
        op.Throw(QEL_INVALID_PARAMETER, "encryptionKey",
                 "Encryption key must not contain null termination characters");
}

// --- registry of object creators ---------------------------------------------

struct SCreatorTable {
    std::mutex lock;
    std::vector<std::pair<std::string, IObjectCreator*>> pairs;
};

SCreatorTable& Creators() {
    // Leaked on purpose: creators destroyed during process exit still unregister here.
    static SCreatorTable* const table = [] {
        auto* made = new SCreatorTable;
        int count = 0;
        SLibraryObjectCreator const* entries = GetLibraryObjectCreators(count);
        for (int i = 0; i < count; ++i)
            made->pairs.emplace_back(entries[i].classIdentifier, entries[i].creator);
        return made;
    }();
    return *table;
}

IObjectCreator* FindCreator(std::string_view tag) {
    SCreatorTable& table = Creators();
    std::lock_guard guard(table.lock);
    for (auto const& [name, creator] : table.pairs)
        if (name == tag) return creator;
    return nullptr;
}

CQEL_Operation const& ImportOp() {
    static CQEL_Operation const op("QEL::Core::CQELParser::Import");
    return op;
}

}  // namespace

// --- state of one export and one import ---------------------------------------

struct CQELParser::SWriter {
    CQEL_Stream& out;
    std::unique_ptr<CQELCipher> cipher;
    std::vector<Block> blocks;
};

struct CQELParser::SReader {
    CQEL_Stream* in = nullptr;
    std::int64_t size = 0;
    std::uint32_t count = 0;
    std::uint32_t indexOffset = 0;
    std::unique_ptr<CQELCipher> cipher;
    CQEL_Ptr_Array<ISerialisable> objects;
};

CQELParser::CQELParser() = default;
CQELParser::~CQELParser() = default;

void CQELParser::SetKeyDerivationIterations(int iterations) {
    static CQEL_Operation const op("QEL::Core::CQELParser::SetKeyDerivationIterations");
    op.Run([&] {
        op.CheckRange(iterations, kMinIterations, kMaxIterations, "iterations");
        m_iterations = iterations;
    });
}

// --- writing ------------------------------------------------------------------

bool CQELParser::Export(CQEL_Stream& stream, CQEL_Array<ISerialisable const*> const& objects,
                        CQEL_String const& encryptionKey) {
    static CQEL_Operation const op("QEL::Core::CQELParser::Export");
    return op.Run([&] {
        ValidateKey(op, encryptionKey);
        for (ISerialisable const* object : objects)
            op.Check(object != nullptr, QEL_NULL_PARAMETER, "objects", "Null Pointer");

        // Header, with the count and index offset patched at the end.
        Block header{};
        std::memcpy(header.data(), kMagic, sizeof kMagic);
        PutU32(header, kVersionAt, std::uint32_t(kVersion));
        PutU32(header, kCountAt, std::uint32_t(-1));
        PutU32(header, kIndexOffsetAt, std::uint32_t(-1));
        SWriter writer{stream, nullptr, {}};
        if (!encryptionKey.IsEmpty()) {
            unsigned char salt[CQELCipher::kSaltBytes];
            CQELCipher::RandomSalt(salt);
            writer.cipher =
                std::make_unique<CQELCipher>(encryptionKey.View(), salt, std::uint32_t(m_iterations));
            SKeyBuffer const key(encryptionKey);
            unsigned char wrapped[CQELCipher::kKeyCheckBytes];
            writer.cipher->WrapKeyCheck(key.bytes, wrapped);
            std::memcpy(header.data() + kKeyCheckAt, wrapped, sizeof wrapped);
            PutU32(header, kSchemeAt, kSchemeAesGcm);
            PutU32(header, kIterationsAt, std::uint32_t(m_iterations));
            std::memcpy(header.data() + kSaltAt, salt, sizeof salt);
        }
        stream.Reset();
        stream.Put(header.data(), kBlockBytes);

        for (ISerialisable const* object : objects)
            WriteObject(writer, *object, 0);

        std::int64_t const indexOffset = stream.TellPutPosition();
        std::int64_t const end = indexOffset + std::int64_t(writer.blocks.size()) * kBlockBytes;
        if (end > kMaxFileBytes)
            op.Throw(
                QEL_FILE_WRITE_ERROR, "objects",
                CQEL_String::FromFormat("The container would take %lld bytes, more than the 4 GiB - 1 its "
                                        "offsets can address",
                                        (long long)end));
        for (Block const& block : writer.blocks)
            stream.Put(block.data(), kBlockBytes);
        PutU32(header, kCountAt, std::uint32_t(writer.blocks.size()));
        PutU32(header, kIndexOffsetAt, std::uint32_t(indexOffset));
        stream.SeekPutPosition(0);
        stream.Put(header.data(), kBlockBytes);
        stream.SeekPutPosition(stream.SizeInBytes());
        return true;
    });
}

bool CQELParser::Export(CQEL_String const& path, CQEL_Array<ISerialisable const*> const& objects,
                        CQEL_String const& encryptionKey) {
    static CQEL_Operation const op("QEL::Core::CQELParser::Export");
    return op.Run([&] {
        CQEL_Stream stream;
        Export(stream, objects, encryptionKey);
        stream.WriteToFile(path);
        return true;
    });
}

void CQELParser::WriteObject(SWriter& writer, ISerialisable const& object, std::int32_t owner) {
    static CQEL_Operation const op("QEL::Core::CQELParser::Export");
    CExportData data;
    if (!object.Serialise(&data))
        op.Throw(QEL_OPERATION_FAILED, "objects",
                 CQEL_String::FromFormat("Object %d could not serialise itself", int(writer.blocks.size())));
    WriteBlock(writer, data, owner);
}

void CQELParser::WriteBlock(SWriter& writer, CExportData& data, std::int32_t owner) {
    static CQEL_Operation const op("QEL::Core::CQELParser::Export");
    CQEL_Stream const& plain = data.GetStream();
    if (plain.SizeInBytes() == 0)
        op.Throw(QEL_NULL_PARAMETER, "data",
                 CQEL_String::FromFormat("Record %d (%s): Array is empty", int(writer.blocks.size()),
                                         data.GetTypeName().GetArray()));
    std::int64_t const offset = writer.out.TellPutPosition();
    std::int64_t const stored = plain.SizeInBytes() + (writer.cipher ? CQELCipher::kRecordOverhead : 0);
    if (offset + stored > kMaxFileBytes)
        op.Throw(QEL_FILE_WRITE_ERROR, "data",
                 CQEL_String::FromFormat(
                     "Record %d (%s) of %lld bytes would end beyond the 4 GiB - 1 that the "
                     "container's offsets can address",
                     int(writer.blocks.size()), data.GetTypeName().GetArray(), (long long)stored));

    CQEL_MD5 md5;
    plain.ForEachRun(
        [&](unsigned char const* run, std::int64_t bytes) { md5.Update(run, std::size_t(bytes)); });
    Block block{};
    PutText(block, kIdentifierAt, data.GetClassIdentifier());
    PutU32(block, kField1At, std::uint32_t(data.GetIndexField1()));
    PutU32(block, kOwnerAt, std::uint32_t(owner));
    PutU32(block, kOffsetAt, std::uint32_t(offset));
    PutU32(block, kLengthAt, std::uint32_t(stored));
    PutU32(block, kField2At, std::uint32_t(data.GetIndexField2()));
    PutText(block, kClassNameAt, data.GetClassName());
    PutText(block, kTypeNameAt, data.GetTypeName());
    PutDigest(block, md5.Finish());

    if (writer.cipher) {
        std::vector<unsigned char> const aad = RecordAAD(std::uint32_t(writer.blocks.size()), block);
        writer.cipher->SealRecord(plain, aad.data(), int(aad.size()), writer.out);
    } else {
        plain.ForEachRun([&](unsigned char const* run, std::int64_t bytes) { writer.out.Put(run, bytes); });
    }
    writer.blocks.push_back(block);
}

// --- reading ------------------------------------------------------------------

namespace {

// One element index block as read, with its record's place checked.
struct SIndexEntry {
    Block block{};
    SQELRecordInfo info;
};

}  // namespace

bool CQELParser::OpenForReading(SReader& reader, CQEL_Stream& stream, CQEL_String const& encryptionKey) {
    CQEL_Operation const& op = ImportOp();
    ValidateKey(op, encryptionKey);
    reader.in = &stream;
    reader.size = stream.SizeInBytes();
    if (reader.size < kBlockBytes)
        op.Throw(QEL_FILE_READ_ERROR, "stream",
                 CQEL_String::FromFormat("The file has %lld bytes, fewer than the %d bytes of a QEL header",
                                         (long long)reader.size, kBlockBytes));
    Block header{};
    stream.SeekGetPosition(0);
    stream.Get(header.data(), kBlockBytes);
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
    reader.cipher = std::make_unique<CQELCipher>(encryptionKey.View(), salt, iterations);
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

SIndexEntry ReadIndexEntry(CQEL_Stream& in, std::uint32_t indexOffset, std::int64_t size, int index) {
    SIndexEntry entry;
    in.SeekGetPosition(std::int64_t(indexOffset) + std::int64_t(index) * CQELParser::kBlockBytes);
    in.Get(entry.block.data(), CQELParser::kBlockBytes);
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
    info.hasCreator = FindCreator(info.classIdentifier.View()) != nullptr;
    // Records lie between the header and the index.
    std::int64_t const end = std::int64_t(info.offset) + std::int64_t(info.storedBytes);
    if (info.offset < std::uint32_t(CQELParser::kBlockBytes) || end > std::int64_t(indexOffset) || end > size)
        info.status = SQELRecordInfo::EStatus::Outside;
    return entry;
}

CQEL_String RecordName(int index, SQELRecordInfo const& info) {
    return CQEL_String::FromFormat("Record %d (%s, class %s)", index, info.typeName.GetArray(),
                                   info.classIdentifier.GetArray());
}

// Reads, deciphers and digest-checks record index into data; returns the
// record's status and, unless intact, a message saying what is wrong.
SQELRecordInfo::EStatus ReadRecord(CQEL_Stream& in, CQELCipher const* cipher, int index,
                                   SIndexEntry const& entry, CImportData& data, CQEL_String& problem) {
    SQELRecordInfo const& info = entry.info;
    if (info.status == SQELRecordInfo::EStatus::Outside) {
        problem =
            RecordName(index, info) +
            CQEL_String::FromFormat(": its %u bytes at offset %u lie outside the record area of the file",
                                    info.storedBytes, info.offset);
        return info.status;
    }
    std::int64_t const minimum = cipher ? CQELCipher::kRecordOverhead + 1 : 1;
    if (std::int64_t(info.storedBytes) < minimum) {
        problem =
            RecordName(index, info) +
            CQEL_String::FromFormat(": a stored length of %u bytes cannot hold a record", info.storedBytes);
        return SQELRecordInfo::EStatus::Damaged;
    }
    data.GetStream().Reset();
    data.SetIndex(info.classIdentifier, info.className, info.typeName, info.indexField1, info.indexField2,
                  info.owner, index);
    in.SeekGetPosition(info.offset);
    sMD5CheckSumValue digest;
    if (cipher) {
        std::vector<unsigned char> const aad = RecordAAD(std::uint32_t(index), entry.block);
        if (!cipher->OpenRecord(in, info.storedBytes, aad.data(), int(aad.size()), data.GetStream(),
                                digest)) {
            data.GetStream().Reset();
            problem =
                RecordName(index, info) + CQEL_String::FromASCII(
                                              ": fails authentication (the record or its index block was "
                                              "altered)");
            return SQELRecordInfo::EStatus::Damaged;
        }
    } else {
        unsigned char buffer[1 << 16];
        CQEL_MD5 md5;
        for (std::int64_t done = 0; done < std::int64_t(info.storedBytes);
             done += std::int64_t(sizeof buffer)) {
            std::int64_t const piece = std::min<std::int64_t>(sizeof buffer, info.storedBytes - done);
            in.Get(buffer, piece);
            md5.Update(buffer, std::size_t(piece));
            data.GetStream().Put(buffer, piece);
        }
        digest = md5.Finish();
    }
    if (!(digest == info.digest)) {
        data.GetStream().Reset();
        problem = RecordName(index, info) +
                  CQEL_String::FromFormat(": its MD5 digest %s differs from the index's %s",
                                          digest.ToHex().c_str(), info.digest.ToHex().c_str());
        return SQELRecordInfo::EStatus::Damaged;
    }
    data.GetStream().SeekGetPosition(0);
    return SQELRecordInfo::EStatus::Intact;
}

}  // namespace

bool CQELParser::ReadBlock(SReader& reader, int index, CImportData& data) {
    SIndexEntry const entry = ReadIndexEntry(*reader.in, reader.indexOffset, reader.size, index);
    if (!entry.info.hasCreator) return false;
    CQEL_String problem;
    if (ReadRecord(*reader.in, reader.cipher.get(), index, entry, data, problem) !=
        SQELRecordInfo::EStatus::Intact)
        ImportOp().Throw(QEL_FILE_READ_ERROR, "stream", problem);
    return true;
}

void CQELParser::ReadObject(SReader& reader, int index) {
    CImportData data;
    if (!ReadBlock(reader, index, data)) return;  // no creator: skipped
    IObjectCreator* const creator = FindCreator(data.GetClassIdentifier().View());
    if (!creator) return;  // unregistered meanwhile
    std::unique_ptr<ISerialisable> object(creator->CreateObject(&data));
    if (!object)
        ImportOp().Throw(QEL_FILE_READ_ERROR, "stream",
                         CQEL_String::FromFormat("Record %d (%s) could not be read by its creator", index,
                                                 data.GetTypeName().GetArray()));
    reader.objects.Add(object.release());
}

bool CQELParser::Import(CQEL_Stream& stream, CQEL_String const& encryptionKey) {
    CQEL_Operation const& op = ImportOp();
    return op.Run([&] {
        ClearObjects();
        SReader reader;
        if (!OpenForReading(reader, stream, encryptionKey)) return false;
        CProgressText progress("reading QEL records", reader.count);
        for (int i = 0; i < int(reader.count); ++i) {
            ReadObject(reader, i);
            progress.Report(i + 1);
        }
        m_objects.Swap(reader.objects);
        return true;
    });
}

bool CQELParser::Import(CQEL_String const& path, CQEL_String const& encryptionKey) {
    CQEL_Operation const& op = ImportOp();
    return op.Run([&] {
        ClearObjects();
        CQEL_Stream stream;
        stream.ReadFromFile(path);
        return Import(stream, encryptionKey);
    });
}

bool CQELParser::Inspect(CQEL_Stream& stream, CQEL_String const& encryptionKey,
                         CQEL_Array<SQELRecordInfo>& records) {
    CQEL_Operation const& op = ImportOp();
    return op.Run([&] {
        records.Reset();
        SReader reader;
        if (!OpenForReading(reader, stream, encryptionKey)) return false;
        CImportData data;
        for (int i = 0; i < int(reader.count); ++i) {
            SIndexEntry entry = ReadIndexEntry(stream, reader.indexOffset, reader.size, i);
            CQEL_String problem;
            entry.info.status = ReadRecord(stream, reader.cipher.get(), i, entry, data, problem);
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

int CQELParser::GetNumObjects() const {
    return m_objects.Count();
}

ISerialisable* CQELParser::GetObject(int i) const {
    static CQEL_Operation const op("QEL::Core::CQELParser::GetObject");
    return op.Run([&] {
        op.CheckRange(i, 0, m_objects.Count() - 1, "index");
        return m_objects[i];
    });
}

ISerialisable* CQELParser::DetachObject(int i) {
    static CQEL_Operation const op("QEL::Core::CQELParser::DetachObject");
    return op.Run([&] {
        op.CheckRange(i, 0, m_objects.Count() - 1, "index");
        return m_objects.Detach(i);
    });
}

void CQELParser::ClearObjects() {
    m_objects.Clear();
}

// --- creators -------------------------------------------------------------------

void CQELParser::RegisterObjectCreator(CQEL_String const& tag, IObjectCreator* creator) {
    static CQEL_Operation const op("QEL::Core::CQELParser::RegisterObjectCreator");
    op.Run([&] {
        op.Check(creator != nullptr, QEL_NULL_PARAMETER, "creator", "Null Pointer");
        op.Check(tag.Length() > 0 && tag.Length() < kTextBytes, QEL_INVALID_PARAMETER, "tag",
                 "A class identifier has 1 to 255 characters");
        SCreatorTable& table = Creators();
        std::lock_guard guard(table.lock);
        for (auto& [name, registered] : table.pairs)
            if (name == tag.View()) {
                registered = creator;
                return;
            }
        table.pairs.emplace_back(std::string(tag.View()), creator);
    });
}

bool CQELParser::UnregisterObjectCreator(CQEL_String const& tag) {
    SCreatorTable& table = Creators();
    std::lock_guard guard(table.lock);
    return std::erase_if(table.pairs, [&](auto const& pair) { return pair.first == tag.View(); }) > 0;
}

bool CQELParser::UnregisterObjectCreator(IObjectCreator* creator) {
    SCreatorTable& table = Creators();
    std::lock_guard guard(table.lock);
    return std::erase_if(table.pairs, [&](auto const& pair) { return pair.second == creator; }) > 0;
}

bool CQELParser::UnregisterObjectCreator(CQEL_String const& tag, IObjectCreator* creator) {
    SCreatorTable& table = Creators();
    std::lock_guard guard(table.lock);
    return std::erase_if(table.pairs, [&](auto const& pair) {
               return pair.first == tag.View() && pair.second == creator;
           }) > 0;
}

void CQELParser::HANDLE_ObjectCreator_Destruction(IObjectCreator& creator) {
    UnregisterObjectCreator(&creator);
}

int CQELParser::FindObjectCreatorIndex(CQEL_String const& tag) {
    SCreatorTable& table = Creators();
    std::lock_guard guard(table.lock);
    for (std::size_t i = 0; i < table.pairs.size(); ++i)
        if (table.pairs[i].first == tag.View()) return int(i);
    return -1;
}

int CQELParser::FindObjectCreatorIndex(IObjectCreator const* creator) {
    SCreatorTable& table = Creators();
    std::lock_guard guard(table.lock);
    for (std::size_t i = 0; i < table.pairs.size(); ++i)
        if (table.pairs[i].second == creator) return int(i);
    return -1;
}

IObjectCreator::~IObjectCreator() {
    CQELParser::HANDLE_ObjectCreator_Destruction(*this);
}

}  // namespace QEL::Core
