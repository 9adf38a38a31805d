// SPDX-License-Identifier: MIT
// CQELParser: the library's native container (".qel"). One file holds any
// number of entities, each stored as one record with an 804-byte index block;
// the file may be enciphered with a caller's key. The byte layout, including
// the encipherment, is documented in docs/qel-format.md.
//
// Entities are found on reading through a process-wide table from class
// identifier to creator (IObjectCreator). The library's own entity types are
// in the table from the first use of the parser on; hosts add their own with
// RegisterObjectCreator. Records whose class identifier has no creator are
// skipped.
//
// Reading checks every offset, length and count against the size of the file
// before it allocates, compares each record's MD5 digest with its index block
// and, in enciphered files, authenticates each record: a truncated, damaged or
// tampered file throws CQEL_Exception reason 23 (file read error) naming what
// is wrong; nothing is kept from a failed Import.
#pragma once

#include <cstdint>
#include <memory>

#include "core/CQEL_Array.h"
#include "core/CQEL_MD5.h"
#include "core/CQEL_Ptr_Array.h"
#include "core/CQEL_String.h"
#include "core/ISerialisable.h"
#include "core/QEL_Export.h"
#include "formats/IObjectCreator.h"

namespace QEL::Core {

class CQEL_Stream;
class CExportData;
class CImportData;

// What a reader can tell about one record without making its entity.
struct SQELRecordInfo {
    enum class EStatus : int {
        Intact = 0,   // read, deciphered and digest-checked
        Damaged = 1,  // its bytes lie in the file but fail the digest or authentication
        Outside = 2,  // its offset or length runs outside the file
    };
    CQEL_String classIdentifier;
    CQEL_String className;
    CQEL_String typeName;
    std::int32_t indexField1 = 0;
    std::int32_t indexField2 = 0;
    std::int32_t owner = 0;
    std::uint32_t offset = 0;
    std::uint32_t storedBytes = 0;  // after encipherment when the file has a key
    sMD5CheckSumValue digest;       // as stored in the index block
    bool hasCreator = false;
    EStatus status = EStatus::Intact;
};

class QEL_API CQELParser {
  public:
    // Size of the header and of each element index block.
    static constexpr int kBlockBytes = 804;
    // Keys are 0..255 bytes without zero bytes.
    static constexpr int kMaxKeyBytes = 255;
    // PBKDF2 iterations for enciphered files: written with the parser's
    // setting, accepted on reading within [kMinIterations, kMaxIterations].
    static constexpr int kDefaultIterations = 600000;
    static constexpr int kMinIterations = 1000;
    static constexpr int kMaxIterations = 4000000;

    CQELParser();
    ~CQELParser();
    CQELParser(CQELParser const&) = delete;
    CQELParser& operator=(CQELParser const&) = delete;

    // --- writing -------------------------------------------------------------

    // Replaces the stream's contents with a container holding the objects in
    // order (null entries are refused), enciphered when encryptionKey is not
    // empty. Returns true.
    // Throws reason 14 ("encryptionKey") for a key of 256 bytes or more
    // ("Encryption key must be less than 256 characters") or with a zero byte;
    // reason 14 for a record that is empty ("Array is empty"); reason 24 when
    // the file would exceed 4 GiB - 1 bytes.
    bool Export(CQEL_Stream& stream, CQEL_Array<ISerialisable const*> const& objects,
                CQEL_String const& encryptionKey);
    // The same into a file: written beside path and renamed over it when
    // complete, so that a failing export leaves an existing file as it was.
    // Throws reason 24 when the file cannot be written.
    bool Export(CQEL_String const& path, CQEL_Array<ISerialisable const*> const& objects,
                CQEL_String const& encryptionKey);

    // PBKDF2 iterations used by the next enciphered Export, within
    // [kMinIterations, kMaxIterations] (else reason 5 "iterations").
    void SetKeyDerivationIterations(int iterations);
    int GetKeyDerivationIterations() const { return m_iterations; }

    // --- reading -------------------------------------------------------------

    // Reads a container from the start of the stream and makes its entities,
    // which the parser then holds (GetNumObjects, GetObject, DetachObject);
    // objects of an earlier Import are released first. Returns false, having
    // read nothing, when the key does not match the file's (an enciphered file
    // read without a key included). A file without encipherment is read as it
    // is; a key given for it is ignored with a warning.
    // Throws reason 14 for an invalid key as Export does; reason 19 for an
    // unknown format version or cipher scheme; reason 23 for a truncated,
    // damaged or tampered file.
    bool Import(CQEL_Stream& stream, CQEL_String const& encryptionKey);
    // The same from a file; reason 22 when it does not exist. A regular file
    // is mapped and its plain records are read where they lie; should another
    // process cut it short during the call, the read faults, and the fault is
    // thrown as CQEL_Exception reason 32 (the call translates faults on its
    // thread while it runs; see CFaultTranslator).
    bool Import(CQEL_String const& path, CQEL_String const& encryptionKey);

    // Reads the header and index and checks every record (digest and, with a
    // key, authentication) without making entities: one SQELRecordInfo per
    // index block. Returns false when the key does not match. Throws as
    // Import for a damaged header or index; damaged records are reported in
    // their status instead.
    bool Inspect(CQEL_Stream& stream, CQEL_String const& encryptionKey, CQEL_Array<SQELRecordInfo>& records);
    // True when the stream starts with a header of this format and the file
    // is enciphered (has a key check block made with a key).
    static bool IsEnciphered(CQEL_Stream& stream);

    // The entities of the last successful Import, in file order.
    int GetNumObjects() const;
    // Object i (0..GetNumObjects()-1, else reason 5 "index"); the parser keeps it.
    ISerialisable* GetObject(int i) const;
    // Object i, handed over to the caller, who then owns it.
    ISerialisable* DetachObject(int i);
    void ClearObjects();

    // --- creators ------------------------------------------------------------

    // Registers creator under tag (a class identifier of 1..255 bytes, else
    // reason 14 "tag"; a null creator throws reason 0 "creator"). A tag that
    // is registered already gets the new creator. The creator is not owned;
    // it unregisters itself when destroyed.
    static void RegisterObjectCreator(CQEL_String const& tag, IObjectCreator* creator);
    // Remove the pairs with this tag, with this creator, or exactly this pair;
    // return whether any was removed.
    static bool UnregisterObjectCreator(CQEL_String const& tag);
    static bool UnregisterObjectCreator(IObjectCreator* creator);
    static bool UnregisterObjectCreator(CQEL_String const& tag, IObjectCreator* creator);
    // Removes every pair of a creator that is being destroyed.
    static void HANDLE_ObjectCreator_Destruction(IObjectCreator& creator);
    // Position of the pair with this tag or this creator in the table, or -1.
    static int FindObjectCreatorIndex(CQEL_String const& tag);
    static int FindObjectCreatorIndex(IObjectCreator const* creator);

  private:
    struct SWriter;
    struct SReader;

    // Export and Import share these whatever they write to or read from.
    void WriteContainer(SWriter& writer, CQEL_Array<ISerialisable const*> const& objects);
    void WriteHeader(SWriter& writer);
    void WriteObject(SWriter& writer, ISerialisable const& object, std::int32_t owner);
    void WriteBlock(SWriter& writer, CExportData& data, std::int32_t owner);
    bool ReadContainer(SReader& reader, CQEL_String const& encryptionKey);
    void ReadObject(SReader& reader, int index);
    bool OpenForReading(SReader& reader, CQEL_String const& encryptionKey);

    int m_iterations = kDefaultIterations;
    CQEL_Ptr_Array<ISerialisable> m_objects;
};

}  // namespace QEL::Core
