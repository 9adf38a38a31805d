// SPDX-License-Identifier: MIT
// CExportData: what an entity hands the native container when it serialises
// itself: the names under which the record is indexed, two 32-bit values of
// the entity's choosing, and the record bytes.
//
// Records are usually a sequence of chunks: an 8-byte ASCII tag padded with
// spaces, a 32-bit little-endian byte count, and that many bytes (PutChunk).
//
// Besides bytes of its own (the stream), the record can hold runs borrowed
// from the entity's arrays (PutBorrowed): they are not copied, so the entity
// must neither change nor free them while the container writes the record,
// i.e. until the Export call that serialised it returns.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <typeinfo>
#include <vector>

#include "core/CQEL_String.h"
#include "core/QEL_Export.h"
#include "core/CQEL_Stream.h"

namespace QEL::Core {

class QEL_API CExportData {
  public:
    CExportData();
    ~CExportData();
    CExportData(CExportData const&) = delete;
    CExportData& operator=(CExportData const&) = delete;

    // The class identifier under which readers look up the record's creator
    // (a GUID string such as "C23E1C5E-1C72-4e3f-A39C-64FFEE58A73A"). The
    // container stores at most 255 bytes of it.
    void SetClassIdentifier(CQEL_String const& identifier) { m_classIdentifier = identifier; }
    CQEL_String const& GetClassIdentifier() const { return m_classIdentifier; }
    // The entity's run-time class name ("class QEL::Core::CPointSet"); at most 255 bytes are stored.
    void SetClassName(CQEL_String const& name) { m_className = name; }
    // The same name taken from the entity's run-time type (demangled, "class " in front).
    void SetClassName(std::type_info const& type);
    CQEL_String const& GetClassName() const { return m_className; }
    // The record's type name ("QEL_PointSet"); at most 255 bytes are stored.
    void SetTypeName(CQEL_String const& name) { m_typeName = name; }
    CQEL_String const& GetTypeName() const { return m_typeName; }
    // Two values stored in the record's index block; their meaning belongs to the entity type.
    void SetIndexField1(std::int32_t value) { m_indexField1 = value; }
    std::int32_t GetIndexField1() const { return m_indexField1; }
    void SetIndexField2(std::int32_t value) { m_indexField2 = value; }
    std::int32_t GetIndexField2() const { return m_indexField2; }

    // The record's own bytes, written at the stream's put position. Borrowed
    // runs sit between them where they were put; only ForEachRun sees both.
    CQEL_Stream& GetStream() { return m_stream; }
    CQEL_Stream const& GetStream() const { return m_stream; }
    // The whole record: own and borrowed bytes.
    std::int64_t SizeInBytes() const { return m_stream.SizeInBytes() + m_borrowedBytes; }

    // Appends elements elementBytes long, taken stride bytes apart from data
    // (the first elementBytes of each element when stride is larger), without
    // copying them. The stream's put position must stand at its end.
    // A stride below elementBytes throws reason 14 ("stride").
    void PutBorrowed(void const* data, std::int64_t elements, std::int64_t elementBytes, std::int64_t stride);
    // A chunk whose bytes are borrowed as by PutBorrowed.
    void PutChunkBorrowed(char const* tag, void const* data, std::int64_t elements, std::int64_t elementBytes,
                          std::int64_t stride);

    // Calls visit(pointer, bytes) for consecutive runs of the whole record, in
    // order. Strided runs are gathered through a buffer of the call's own, so
    // that several threads may walk one record at once.
    template <class Visitor>
    void ForEachRun(Visitor&& visit) const {
        std::int64_t owned = 0;
        std::unique_ptr<unsigned char[]> gather;
        for (SBorrowed const& run : m_borrowed) {
            m_stream.ForEachRun(owned, run.at, visit);
            owned = run.at;
            if (run.stride == run.elementBytes) {
                if (run.elements > 0) visit(run.data, run.elements * run.elementBytes);
                continue;
            }
            std::int64_t const perPiece = std::max<std::int64_t>(1, kGatherBytes / run.elementBytes);
            if (!gather) gather = std::make_unique_for_overwrite<unsigned char[]>(std::size_t(kGatherBytes));
            if (perPiece * run.elementBytes > kGatherBytes) {
                // Elements larger than the buffer go one by one.
                for (std::int64_t i = 0; i < run.elements; ++i)
                    visit(run.data + i * run.stride, run.elementBytes);
                continue;
            }
            for (std::int64_t first = 0; first < run.elements; first += perPiece) {
                std::int64_t const count = std::min(perPiece, run.elements - first);
                unsigned char* to = gather.get();
                unsigned char const* from = run.data + first * run.stride;
                for (std::int64_t i = 0; i < count; ++i, to += run.elementBytes, from += run.stride)
                    std::memcpy(to, from, std::size_t(run.elementBytes));
                visit(static_cast<unsigned char const*>(gather.get()), count * run.elementBytes);
            }
        }
        m_stream.ForEachRun(owned, m_stream.SizeInBytes(), visit);
    }

    // Appends a chunk: tag (at most 8 characters, padded with spaces), the
    // byte count as 32 bits, then the bytes. A tag longer than 8 characters
    // throws reason 14 ("tag"); a count above 2^32 - 1 throws reason 24
    // (the record cannot hold it).
    void PutChunk(char const* tag, void const* data, std::int64_t bytes);
    // Appends only the tag and count, for a chunk whose bytes the caller
    // writes next with GetStream().Put.
    void PutChunkHeader(char const* tag, std::int64_t bytes);

  private:
    CQEL_String m_classIdentifier;
    CQEL_String m_className;
    CQEL_String m_typeName;
    std::int32_t m_indexField1 = 0;
    std::int32_t m_indexField2 = 0;
    // A borrowed run, inserted before byte `at` of the stream.
    struct SBorrowed {
        std::int64_t at;
        unsigned char const* data;
        std::int64_t elements;
        std::int64_t elementBytes;
        std::int64_t stride;
    };
    static constexpr std::int64_t kGatherBytes = std::int64_t(1) << 16;

    CQEL_Stream m_stream;
    std::vector<SBorrowed> m_borrowed;
    std::int64_t m_borrowedBytes = 0;
};

}  // namespace QEL::Core
