// SPDX-License-Identifier: MIT
#include "formats/CQELParser.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/CExportData.h"
#include "core/CImportData.h"
#include "core/CQEL_Operation.h"
#include "core/CQEL_Output_Events.h"
#include "formats/COutputFile.h"
#include "formats/CProgressText.h"
#include "formats/CQELCipher.h"
#include "formats/CQEL_ObjectCreators.h"
#include "platform/CFaultTranslator.h"
#include "platform/CQEL_Stream.h"
#include "platform/CTask.h"

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

// Records from this size on are written and digested on two threads; below
// it a thread costs more than it saves.
constexpr std::int64_t kParallelBytes = std::int64_t(4) << 20;

// MD5 of a record's plain bytes, handed over piece by piece as they become
// plain (deciphered, or read). A large record is digested on a library
// thread of its own, beside the deciphering and the creator's reading; a
// small one inline. Pieces must stay in place until Finish or Cancel returns.
class CRecordDigest {
  public:
    explicit CRecordDigest(bool threaded) {
        if (threaded) m_task = std::make_unique<CTask>([this] { Run(); });
    }
    ~CRecordDigest() { Cancel(); }
    CRecordDigest(CRecordDigest const&) = delete;
    CRecordDigest& operator=(CRecordDigest const&) = delete;

    void Feed(unsigned char const* piece, std::int64_t bytes) {
        if (!m_task) {
            m_md5.Update(piece, std::size_t(bytes));
            return;
        }
        {
            std::lock_guard guard(m_mutex);
            m_pieces.emplace_back(piece, bytes);
        }
        m_ready.notify_one();
    }
    // The digest of everything fed.
    sMD5CheckSumValue Finish() {
        if (!m_task) return m_md5.Finish();
        Close(false);
        m_task->Join();
        return m_digest;
    }
    // Stops without digesting what is left; returns when the thread is done.
    void Cancel() noexcept {
        if (!m_task) return;
        Close(true);
        try {
            m_task->Join();
        } catch (...) {  // a fault of the digest no longer matters
        }
    }

  private:
    void Close(bool cancel) {
        {
            std::lock_guard guard(m_mutex);
            m_closed = true;
            m_cancelled = m_cancelled || cancel;
        }
        m_ready.notify_one();
    }
    void Run() {
        for (;;) {
            std::pair<unsigned char const*, std::int64_t> piece;
            {
                std::unique_lock lock(m_mutex);
                m_ready.wait(lock, [this] { return !m_pieces.empty() || m_closed; });
                if (m_cancelled || m_pieces.empty()) break;
                piece = m_pieces.front();
                m_pieces.pop_front();
            }
            m_md5.Update(piece.first, std::size_t(piece.second));
        }
        m_digest = m_md5.Finish();
    }

    CQEL_MD5 m_md5;  // the thread's alone while there is one
    std::mutex m_mutex;
    std::condition_variable m_ready;
    std::deque<std::pair<unsigned char const*, std::int64_t>> m_pieces;
    bool m_closed = false;
    bool m_cancelled = false;
    sMD5CheckSumValue m_digest;
    std::unique_ptr<CTask> m_task;  // last: it starts once everything above is ready
};

// Where an export goes: a stream, or a file written beside its target.
class IQELSink {
  public:
    virtual ~IQELSink() = default;
    virtual void Append(unsigned char const* data, std::int64_t bytes) = 0;
    // Writes the finished header over the first bytes.
    virtual void PutHeader(Block const& header) = 0;
};

class CStreamSink final : public IQELSink {
  public:
    explicit CStreamSink(CQEL_Stream& stream) : m_stream(stream) { m_stream.Reset(); }
    void Append(unsigned char const* data, std::int64_t bytes) override { m_stream.Put(data, bytes); }
    void PutHeader(Block const& header) override {
        m_stream.SeekPutPosition(0);
        m_stream.Put(header.data(), CQELParser::kBlockBytes);
        m_stream.SeekPutPosition(m_stream.SizeInBytes());
    }

  private:
    CQEL_Stream& m_stream;
};

CQEL_Operation const& ExportOp() {
    static CQEL_Operation const op("QEL::Core::CQELParser::Export");
    return op;
}

// A file written beside the target and renamed over it by Commit; until
// then, and whenever writing fails, the target stays as it was.
class CFileSink final : public IQELSink {
  public:
    explicit CFileSink(CQEL_String const& path) {
        std::string const target = path.GetArray();
        if (target.empty()) ExportOp().Throw(QEL_INVALID_PATH, "path", "The file path is not set.");
        if (!m_file.Open(target, false))
            ExportOp().Throw(
                QEL_FILE_WRITE_ERROR, "path",
                CQEL_String::FromFormat("Cannot create %s: %s", target.c_str(), std::strerror(errno)));
    }
    void Append(unsigned char const* data, std::int64_t bytes) override {
        m_file.Write(data, std::size_t(bytes));
    }
    void PutHeader(Block const& header) override { m_file.WriteAt(0, header.data(), header.size()); }
    void Commit() { m_file.Commit(); }

  private:
    COutputFile m_file;
};

// Collects a record's stored bytes in pieces and hands full pieces to the
// sink, on a writer thread of its own for large records, so that making the
// next piece (digest, encipherment) overlaps writing the last one.
class CPipedWriter final : public CThreadBasedClass {
  public:
    CPipedWriter(IQELSink& sink, bool threaded) : m_sink(sink), m_threaded(threaded) {
        for (int i = 0; i < (threaded ? kSlots : 1); ++i)
            m_buffers[std::size_t(i)] = std::make_unique_for_overwrite<unsigned char[]>(std::size_t(kPiece));
        if (m_threaded) Start();
    }
    ~CPipedWriter() override {
        {
            std::lock_guard guard(m_lock);
            m_abandoned = m_closed = true;
        }
        m_changed.notify_all();
        try {
            Wait();
        } catch (...) {  // only reached when an error unwinds the caller already
        }
    }

    // Room for up to bytes; the caller fills what it gets and calls Commit.
    unsigned char* Room(std::int64_t& bytes) {
        if (!m_current) Acquire();
        bytes = std::min(bytes, kPiece - m_filled);
        return m_current + m_filled;
    }
    void Commit(std::int64_t bytes) {
        m_filled += bytes;
        if (m_filled == kPiece) Hand();
    }
    void Append(unsigned char const* data, std::int64_t bytes) {
        while (bytes > 0) {
            std::int64_t room = bytes;
            unsigned char* to = Room(room);
            std::memcpy(to, data, std::size_t(room));
            Commit(room);
            data += room;
            bytes -= room;
        }
    }
    // Writes what is left and waits for the writer; rethrows its failure.
    void Finish() {
        if (m_current && m_filled > 0) Hand();
        if (!m_threaded) return;
        {
            std::lock_guard guard(m_lock);
            m_closed = true;
        }
        m_changed.notify_all();
        Wait();
    }

  private:
    static constexpr std::int64_t kPiece = std::int64_t(1) << 20;
    static constexpr int kSlots = 3;

    void Acquire() {
        if (!m_threaded) {
            m_current = m_buffers[0].get();
            return;
        }
        std::unique_lock guard(m_lock);
        m_changed.wait(guard, [this] { return m_failed || m_handed - m_written < kSlots; });
        if (m_failed) {
            guard.unlock();
            Wait();  // rethrows why the writer stopped
        }
        m_current = m_buffers[m_handed % kSlots].get();
    }
    void Hand() {
        if (!m_threaded) {
            m_sink.Append(m_current, m_filled);
        } else {
            {
                std::lock_guard guard(m_lock);
                m_lengths[m_handed % kSlots] = m_filled;
                ++m_handed;
            }
            m_changed.notify_all();
        }
        m_current = nullptr;
        m_filled = 0;
    }
    void Run() override {
        for (;;) {
            std::size_t slot;
            {
                std::unique_lock guard(m_lock);
                m_changed.wait(guard, [this] { return m_abandoned || m_written < m_handed || m_closed; });
                if (m_abandoned || m_written == m_handed) return;
                slot = m_written % kSlots;
            }
            try {
                m_sink.Append(m_buffers[slot].get(), m_lengths[slot]);
            } catch (...) {
                {
                    std::lock_guard guard(m_lock);
                    m_failed = true;
                }
                m_changed.notify_all();
                throw;
            }
            {
                std::lock_guard guard(m_lock);
                ++m_written;
            }
            m_changed.notify_all();
        }
    }

    IQELSink& m_sink;
    bool const m_threaded;
    std::array<std::unique_ptr<unsigned char[]>, kSlots> m_buffers;
    std::array<std::int64_t, kSlots> m_lengths{};
    unsigned char* m_current = nullptr;
    std::int64_t m_filled = 0;
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::size_t m_handed = 0, m_written = 0;
    bool m_closed = false, m_abandoned = false, m_failed = false;
};

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

// Where an import reads from: a stream, or a file mapped into memory.
class IQELSource {
  public:
    using Visit = std::function<void(unsigned char const*, std::int64_t)>;
    virtual ~IQELSource() = default;
    virtual std::int64_t Size() const = 0;
    // Calls visit for the runs of the bytes in [offset, offset + bytes), which the caller has checked.
    virtual void ForEachRun(std::int64_t offset, std::int64_t bytes, Visit const& visit) const = 0;
    // Makes stream a view of the bytes in [offset, offset + bytes), which
    // the caller has checked, without copying them.
    virtual void AttachView(CQEL_Stream& stream, std::int64_t offset, std::int64_t bytes) const = 0;

    void Read(std::int64_t offset, void* to, std::int64_t bytes) const {
        auto* at = static_cast<unsigned char*>(to);
        ForEachRun(offset, bytes, [&](unsigned char const* run, std::int64_t n) {
            std::memcpy(at, run, std::size_t(n));
            at += n;
        });
    }
};

class CStreamSource final : public IQELSource {
  public:
    explicit CStreamSource(CQEL_Stream& stream) : m_stream(stream) {}
    std::int64_t Size() const override { return m_stream.SizeInBytes(); }
    void ForEachRun(std::int64_t offset, std::int64_t bytes, Visit const& visit) const override {
        m_stream.ForEachRun(offset, offset + bytes, visit);
    }
    void AttachView(CQEL_Stream& stream, std::int64_t offset, std::int64_t bytes) const override {
        stream.AttachView(m_stream, offset, bytes);
    }

  private:
    CQEL_Stream& m_stream;
};

// A file mapped read-only, so that records are read where they lie; a file
// that cannot be mapped (a pipe, say) is read into a stream instead.
class CFileSource final : public IQELSource {
  public:
    explicit CFileSource(CQEL_String const& path) {
        CQEL_Operation const& op = ImportOp();
        int const fd = ::open(path.GetArray(), O_RDONLY | O_CLOEXEC);
        if (fd < 0)
            op.Throw(errno == ENOENT ? QEL_FILE_NOT_FOUND : QEL_FILE_READ_ERROR, "path",
                     CQEL_String::FromFormat("Cannot open %s: %s", path.GetArray(), std::strerror(errno)));
        struct stat status {};
        if (::fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0) {
            void* const mapped =
                ::mmap(nullptr, std::size_t(status.st_size), PROT_READ, MAP_PRIVATE | MAP_POPULATE, fd, 0);
            if (mapped != MAP_FAILED) {
                m_map = static_cast<unsigned char const*>(mapped);
                m_size = status.st_size;
            }
        }
        ::close(fd);
        if (!m_map) m_stream.ReadFromFile(path);
    }
    ~CFileSource() override {
        if (m_map) ::munmap(const_cast<unsigned char*>(m_map), std::size_t(m_size));
    }
    CFileSource(CFileSource const&) = delete;
    CFileSource& operator=(CFileSource const&) = delete;

    std::int64_t Size() const override { return m_map ? m_size : m_stream.SizeInBytes(); }
    void ForEachRun(std::int64_t offset, std::int64_t bytes, Visit const& visit) const override {
        if (!m_map) return m_stream.ForEachRun(offset, offset + bytes, visit);
        if (bytes > 0) visit(m_map + offset, bytes);
    }
    void AttachView(CQEL_Stream& stream, std::int64_t offset, std::int64_t bytes) const override {
        if (m_map)
            stream.AttachView(m_map + offset, bytes);
        else
            stream.AttachView(m_stream, offset, bytes);
    }

  private:
    unsigned char const* m_map = nullptr;
    std::int64_t m_size = 0;
    CQEL_Stream m_stream;
};

}  // namespace

// --- state of one export and one import ---------------------------------------

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

struct CQELParser::SReader {
    IQELSource* in = nullptr;
    std::int64_t size = 0;
    std::uint32_t count = 0;
    std::uint32_t indexOffset = 0;
    std::unique_ptr<CQELCipher> cipher;
    // Room for the first large deciphered record, made while the key is derived.
    CQEL_Stream spare;
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
    info.hasCreator = FindCreator(info.classIdentifier.View()) != nullptr;
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
    CQEL_Operation const& op = ImportOp();
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
    CQEL_Operation const& op = ImportOp();
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
        IObjectCreator* const creator = FindCreator(data.GetClassIdentifier().View());
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
    CQEL_Operation const& op = ImportOp();
    return op.Run([&] {
        records.Reset();
        CStreamSource source(stream);
        SReader reader;
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
