// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <random>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "core/CExportData.h"
#include "core/CImportData.h"
#include "core/CQEL_Exception.h"
#include "core/CQEL_MD5.h"
#include "core/CQEL_Output_Events.h"
#include "formats/CQELParser.h"
#include "core/CQEL_Stream.h"
#include "test_helpers/ChannelLog.h"

#include <csignal>
#include <fstream>

#include <sys/resource.h>
#include <unistd.h>

using namespace QEL::Core;
using ::testing::HasSubstr;

namespace {

constexpr char kBlobId[] = "0F1E2D3C-4B5A-4968-8776-A5B4C3D2E1F0";

// A record type of the tests only: a run of bytes in one chunk.
class CTestBlob : public ISerialisable {
  public:
    CTestBlob() = default;
    explicit CTestBlob(std::vector<unsigned char> bytes, std::int32_t field1 = 0, std::int32_t field2 = 0)
        : m_bytes(std::move(bytes)), m_field1(field1), m_field2(field2) {}

    bool Serialise(CExportData* data) const override {
        data->SetClassIdentifier(CQEL_String::FromASCII(classIdentifier.c_str()));
        data->SetClassName(CQEL_String::FromASCII("class QEL::Test::CTestBlob"));
        data->SetTypeName(CQEL_String::FromASCII(typeName.c_str()));
        data->SetIndexField1(m_field1);
        data->SetIndexField2(m_field2);
        if (!empty) data->PutChunk("BYTES", m_bytes.data(), std::int64_t(m_bytes.size()));
        return true;
    }
    bool Deserialise(CImportData* data) override {
        SQELChunk chunk;
        while (data->NextChunk(chunk)) {
            if (chunk.Is("BYTES")) {
                m_bytes.resize(std::size_t(chunk.bytes));
                data->GetStream().Get(m_bytes.data(), chunk.bytes);
            } else {
                data->SkipChunk(chunk);
            }
        }
        m_field1 = data->GetIndexField1();
        m_field2 = data->GetIndexField2();
        return true;
    }

    std::vector<unsigned char> m_bytes;
    std::int32_t m_field1 = 0;
    std::int32_t m_field2 = 0;
    std::string classIdentifier = kBlobId;
    std::string typeName = "QEL_TestBlob";
    bool empty = false;
};

// Registers the blob creator for the lifetime of each test.
class QELParserTest : public ::testing::Test {
  protected:
    void SetUp() override { CQELParser::RegisterObjectCreator(CQEL_String::FromASCII(kBlobId), &creator); }
    void TearDown() override { CQELParser::UnregisterObjectCreator(&creator); }

    CObjectCreator<CTestBlob> creator;
};

std::vector<unsigned char> Pattern(std::size_t n, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<unsigned char> bytes(n);
    for (auto& b : bytes)
        b = static_cast<unsigned char>(random());
    return bytes;
}

std::vector<unsigned char> Bytes(CQEL_Stream const& stream) {
    std::vector<unsigned char> bytes;
    stream.ForEachRun(
        [&](unsigned char const* run, std::int64_t n) { bytes.insert(bytes.end(), run, run + n); });
    return bytes;
}

CQEL_Stream StreamOf(std::vector<unsigned char> const& bytes) {
    CQEL_Stream stream;
    stream.Put(bytes.data(), std::int64_t(bytes.size()));
    return stream;
}

// The n 32-bit words from byte at on.
using SWords = std::vector<std::uint32_t>;
SWords Words(std::vector<unsigned char> const& bytes, std::size_t at, std::size_t n) {
    SWords words(n);
    std::memcpy(words.data(), bytes.data() + at, 4 * n);
    return words;
}
std::uint32_t U32(std::vector<unsigned char> const& bytes, std::size_t at) {
    return Words(bytes, at, 1)[0];
}
void SetU32(std::vector<unsigned char>& bytes, std::size_t at, std::uint32_t value) {
    std::memcpy(bytes.data() + at, &value, 4);
}
std::string Text(std::vector<unsigned char> const& bytes, std::size_t at) {
    return std::string(reinterpret_cast<char const*>(bytes.data() + at));
}

CQEL_String Key(char const* text) {
    return CQEL_String::FromASCII(text);
}

std::vector<unsigned char> ExportBytes(CQELParser& parser, std::vector<ISerialisable const*> const& objects,
                                       CQEL_String const& key = CQEL_String()) {
    CQEL_Array<ISerialisable const*> array;
    for (auto const* object : objects)
        array.PushBack(object, 1);
    CQEL_Stream stream;
    EXPECT_TRUE(parser.Export(stream, array, key));
    return Bytes(stream);
}

// Runs f and returns the exception's reason and text; fails the test if none is thrown.
std::pair<int, std::string> Thrown(std::function<void()> const& f) {
    try {
        f();
    } catch (CQEL_Exception const& e) {
        return {e.GetExceptionReason(), e.what() ? e.what() : ""};
    }
    ADD_FAILURE() << "no exception";
    return {-1, ""};
}

CTestBlob const& Blob(CQELParser const& parser, int i) {
    return dynamic_cast<CTestBlob const&>(*parser.GetObject(i));
}

// A scratch directory of one test, removed with it.
struct STempDir {
    std::filesystem::path dir =
        std::filesystem::temp_directory_path() / ("qel_parser_test_" + std::to_string(::getpid()));
    STempDir() { std::filesystem::create_directories(dir); }
    ~STempDir() { std::filesystem::remove_all(dir); }
    CQEL_String Path(char const* name) const { return CQEL_String::FromASCII((dir / name).c_str()); }
};

void WriteFile(CQEL_String const& path, std::vector<unsigned char> const& bytes) {
    std::ofstream(path.GetArray(), std::ios::binary)
        .write(reinterpret_cast<char const*>(bytes.data()), std::streamsize(bytes.size()));
}

std::vector<unsigned char> ReadFile(CQEL_String const& path) {
    std::ifstream in(path.GetArray(), std::ios::binary);
    return std::vector<unsigned char>(std::istreambuf_iterator<char>(in), {});
}

}  // namespace

TEST_F(QELParserTest, Export_EmptyContainerIsAHeaderWithNoBlocksAndIndexAt804) {
    CQELParser parser;
    auto const bytes = ExportBytes(parser, {});
    ASSERT_EQ(bytes.size(), 804u);
    EXPECT_EQ(std::memcmp(bytes.data(), "SessionQEL\0\0\0\0\0\0", 16), 0);
    EXPECT_EQ(Words(bytes, 16, 3), (SWords{1, 0, 804}));  // version, N, where the index starts
    EXPECT_TRUE(std::all_of(bytes.begin() + 28, bytes.end(), [](unsigned char c) { return c == 0; }));

    CQEL_Stream stream = StreamOf(bytes);
    EXPECT_TRUE(parser.Import(stream, CQEL_String()));
    EXPECT_EQ(parser.GetNumObjects(), 0);
}

TEST_F(QELParserTest, Export_WritesIndexBlockFieldsAndChunkedRecord) {
    CQELParser parser;
    CTestBlob const blob(Pattern(100, 1), 7, -3);
    auto const bytes = ExportBytes(parser, {&blob});
    std::size_t const record = 8 + 4 + 100;
    ASSERT_EQ(bytes.size(), 804 + record + 804);
    EXPECT_EQ(Words(bytes, 20, 2), (SWords{1, std::uint32_t(804 + record)}));

    // The record: tag padded with spaces, count, bytes.
    EXPECT_EQ(std::memcmp(bytes.data() + 804, "BYTES   ", 8), 0);
    EXPECT_EQ(U32(bytes, 812), 100u);
    EXPECT_TRUE(std::equal(blob.m_bytes.begin(), blob.m_bytes.end(), bytes.begin() + 816));

    std::size_t const b = 804 + record;
    EXPECT_EQ(Text(bytes, b), kBlobId);
    // Field 1, owner, where the record starts, its size, field 2.
    EXPECT_EQ(Words(bytes, b + 256, 5), (SWords{7, 0, 804, std::uint32_t(record), std::uint32_t(-3)}));
    EXPECT_EQ(Text(bytes, b + 276), "class QEL::Test::CTestBlob");
    EXPECT_EQ(Text(bytes, b + 532), "QEL_TestBlob");
    sMD5CheckSumValue const md5 = CQEL_MD5::Compute(bytes.data() + 804, record);
    EXPECT_EQ(Words(bytes, b + 788, 4), SWords(md5.value, md5.value + 4));
}

TEST_F(QELParserTest, Export_CutsLongNamesTo255BytesAndAZero) {
    CQELParser parser;
    CTestBlob blob(Pattern(4, 2));
    blob.typeName = std::string(300, 'T');
    auto const bytes = ExportBytes(parser, {&blob});
    std::size_t const typeName = bytes.size() - 804 + 532;
    EXPECT_EQ(Text(bytes, typeName), std::string(255, 'T'));
    EXPECT_EQ(bytes[typeName + 255], 0);
}

TEST_F(QELParserTest, Export_RefusesEmptyRecordsNullObjectsAndBadKeys) {
    CQELParser parser;
    CTestBlob blob;
    blob.empty = true;
    auto [reason, text] = Thrown([&] { ExportBytes(parser, {&blob}); });
    EXPECT_EQ(reason, QEL_NULL_PARAMETER);
    EXPECT_THAT(text, HasSubstr("Array is empty"));
    EXPECT_THAT(text, HasSubstr("QEL::Core::CQELParser::Export"));

    EXPECT_EQ(Thrown([&] { ExportBytes(parser, {nullptr}); }).first, QEL_NULL_PARAMETER);

    CTestBlob const good(Pattern(3, 3));
    std::tie(reason, text) =
        Thrown([&] { ExportBytes(parser, {&good}, Key(std::string(256, 'k').c_str())); });
    EXPECT_EQ(reason, QEL_INVALID_PARAMETER);
    EXPECT_THAT(text, HasSubstr("encryptionKey"));
    EXPECT_THAT(text, HasSubstr("Encryption key must be less than 256 characters"));

    std::tie(reason, text) =
        Thrown([&] { ExportBytes(parser, {&good}, CQEL_String::FromASCII("ab\0cd", 5)); });
    EXPECT_EQ(reason, QEL_INVALID_PARAMETER);
    EXPECT_THAT(text, HasSubstr("Encryption key must not contain null termination characters"));

    // The same checks guard reading.
    CQEL_Stream stream = StreamOf(ExportBytes(parser, {&good}));
    EXPECT_EQ(Thrown([&] { parser.Import(stream, Key(std::string(300, 'k').c_str())); }).first,
              QEL_INVALID_PARAMETER);
}

TEST_F(QELParserTest, RoundTrip_KeepsRecordsInOrderWithAndWithoutKey) {
    CQELParser parser;
    parser.SetKeyDerivationIterations(CQELParser::kMinIterations);  // cheap keys keep the tests fast
    CTestBlob const a(Pattern(1, 4), 1, 2), b(Pattern(70000, 5), -5, 9), c(Pattern(13, 6));
    for (std::string const& key : {std::string(), std::string("k"),
                                   std::string("a key with spaces and ünïcödé"), std::string(255, 'x')}) {
        SCOPED_TRACE(key);
        CQEL_Stream stream = StreamOf(ExportBytes(parser, {&a, &b, &c}, Key(key.c_str())));
        ASSERT_TRUE(parser.Import(stream, Key(key.c_str())));
        ASSERT_EQ(parser.GetNumObjects(), 3);
        EXPECT_EQ(Blob(parser, 0).m_bytes, a.m_bytes);
        EXPECT_EQ(Blob(parser, 1).m_bytes, b.m_bytes);
        EXPECT_EQ(Blob(parser, 2).m_bytes, c.m_bytes);
        EXPECT_EQ(Blob(parser, 1).m_field1, -5);
        EXPECT_EQ(Blob(parser, 1).m_field2, 9);
    }
    std::unique_ptr<ISerialisable> detached(parser.DetachObject(0));
    EXPECT_EQ(parser.GetNumObjects(), 2);
    EXPECT_EQ(Thrown([&] { parser.GetObject(2); }).first, QEL_PARAMETER_OUT_OF_RANGE);
}

TEST_F(QELParserTest, Import_SkipsRecordsWithoutCreator) {
    CQELParser parser;
    CTestBlob stranger(Pattern(10, 7));
    stranger.classIdentifier = "11111111-2222-3333-4444-555555555555";
    CTestBlob const known(Pattern(10, 8));
    CQEL_Stream stream = StreamOf(ExportBytes(parser, {&stranger, &known}));
    ASSERT_TRUE(parser.Import(stream, CQEL_String()));
    ASSERT_EQ(parser.GetNumObjects(), 1);
    EXPECT_EQ(Blob(parser, 0).m_bytes, known.m_bytes);
}

TEST_F(QELParserTest, Enciphered_HidesDataAndAddsNonceAndTagPerRecord) {
    CQELParser parser;
    parser.SetKeyDerivationIterations(CQELParser::kMinIterations);  // cheap keys keep the tests fast
    std::vector<unsigned char> plain(200, 'A');
    CTestBlob const blob(plain);
    auto const bytes = ExportBytes(parser, {&blob}, Key("secret"));
    std::size_t const record = 12 + 200;
    ASSERT_EQ(bytes.size(), 804 + record + 28 + 804);
    std::size_t const b = bytes.size() - 804;
    EXPECT_EQ(U32(bytes, b + 268), record + 28);
    EXPECT_EQ(Words(bytes, 292, 2), (SWords{1, std::uint32_t(CQELParser::kMinIterations)}));  // cipher scheme
    // No run of the plain bytes, nor the key, survives anywhere in the file.
    std::string const file(bytes.begin(), bytes.end());
    EXPECT_EQ(file.find(std::string(16, 'A')), std::string::npos);
    EXPECT_EQ(file.find("secret"), std::string::npos);
    // A fresh salt per file: the same content enciphers differently.
    EXPECT_NE(ExportBytes(parser, {&blob}, Key("secret")), bytes);
    // The digest is of the plain record.
    sMD5CheckSumValue md5;
    {
        CExportData data;
        blob.Serialise(&data);
        auto const record_bytes = Bytes(data.GetStream());
        md5 = CQEL_MD5::Compute(record_bytes.data(), record_bytes.size());
    }
    EXPECT_EQ(U32(bytes, b + 788), md5.value[0]);
}

TEST_F(QELParserTest, Import_WrongOrMissingKeyReturnsFalseAndKeepsNothing) {
    CQELParser parser;
    parser.SetKeyDerivationIterations(CQELParser::kMinIterations);  // cheap keys keep the tests fast
    CTestBlob const blob(Pattern(50, 9));
    CQEL_Stream enciphered = StreamOf(ExportBytes(parser, {&blob}, Key("right")));
    CQEL_Stream plain = StreamOf(ExportBytes(parser, {&blob}));
    ASSERT_TRUE(parser.Import(plain, CQEL_String()));
    ASSERT_EQ(parser.GetNumObjects(), 1);

    EXPECT_FALSE(parser.Import(enciphered, Key("wrong")));
    EXPECT_EQ(parser.GetNumObjects(), 0);
    EXPECT_FALSE(parser.Import(enciphered, Key("righ")));
    EXPECT_FALSE(parser.Import(enciphered, CQEL_String()));
    EXPECT_TRUE(CQELParser::IsEnciphered(enciphered));
    EXPECT_FALSE(CQELParser::IsEnciphered(plain));
    CQEL_Array<SQELRecordInfo> records;
    EXPECT_FALSE(parser.Inspect(enciphered, Key("wrong"), records));

    // A key given for a file without one is ignored, with a warning.
    QEL::Test::SChannelLog warnings(CQEL_Output_Events::EChannel::Warning);
    EXPECT_TRUE(parser.Import(plain, Key("any")));
    EXPECT_EQ(parser.GetNumObjects(), 1);
    EXPECT_THAT(warnings.lines, ::testing::ElementsAre(HasSubstr("not enciphered")));
}

TEST_F(QELParserTest, Import_DamagedRecordOrIndexThrowsReason23NamingIt) {
    CQELParser parser;
    parser.SetKeyDerivationIterations(CQELParser::kMinIterations);  // cheap keys keep the tests fast
    CTestBlob const a(Pattern(40, 10)), b(Pattern(40, 11));
    for (char const* key : {"", "k"}) {
        SCOPED_TRACE(key);
        auto const good = ExportBytes(parser, {&a, &b}, Key(key));
        std::size_t const secondIndex = good.size() - 804;
        std::size_t const secondData = U32(good, secondIndex + 264);
        // Each damage is a change of the good file; the text names what is wrong.
        auto expectDamage = [&](std::function<void(std::vector<unsigned char>&)> const& damage,
                                char const* what) {
            auto bad = good;
            damage(bad);
            CQEL_Stream stream = StreamOf(bad);
            auto const [reason, text] = Thrown([&] { parser.Import(stream, Key(key)); });
            EXPECT_EQ(reason, QEL_FILE_READ_ERROR) << text;
            EXPECT_THAT(text, HasSubstr(what));
            EXPECT_EQ(parser.GetNumObjects(), 0);
        };
        auto const flip = [&](auto& f) { f[secondData + 20] ^= 0x01; };
        expectDamage(flip, "Record 1 (QEL_TestBlob");
        if (!*key) expectDamage(flip, "MD5 digest");
        expectDamage([&](auto& f) { f[secondIndex + 790] ^= 0x80; }, "Record 1");
        expectDamage([&](auto& f) { SetU32(f, secondIndex + 264, std::uint32_t(good.size())); },
                     "lie outside");
        expectDamage([&](auto& f) { SetU32(f, secondIndex + 268, 0x7FFFFFF0u); }, "lie outside");
        expectDamage([&](auto& f) { SetU32(f, 24, std::uint32_t(good.size() - 100)); }, "does not fit");
        expectDamage([&](auto& f) { SetU32(f, 20, 1000000); }, "does not fit");
        expectDamage([&](auto& f) { std::memset(f.data() + 20, 0xFF, 8); }, "never completed");
        expectDamage([&](auto& f) { f[3] = 'x'; }, "magic");
    }
    // In an enciphered file the index block is authenticated with its record.
    auto const good = ExportBytes(parser, {&a}, Key("k"));
    auto field = good;
    field[good.size() - 804 + 256] ^= 0x01;
    CQEL_Stream stream = StreamOf(field);
    auto const [reason, text] = Thrown([&] { parser.Import(stream, Key("k")); });
    EXPECT_EQ(reason, QEL_FILE_READ_ERROR);
    EXPECT_THAT(text, HasSubstr("authentication"));
}

TEST_F(QELParserTest, Import_FileCutAtEveryLengthThrowsReason23FromStreamAndPath) {
    STempDir const temp;
    CQEL_String const path = temp.Path("cut.qel");
    CQELParser parser;
    parser.SetKeyDerivationIterations(CQELParser::kMinIterations);  // cheap keys keep the tests fast
    CTestBlob const a(Pattern(30, 12)), b(Pattern(5, 13));
    for (char const* key : {"", "k"}) {
        auto const good = ExportBytes(parser, {&a, &b}, Key(key));
        for (std::size_t length = 0; length < good.size(); ++length) {
            std::vector<unsigned char> const cut(good.begin(), good.begin() + long(length));
            CQEL_Stream stream = StreamOf(cut);
            auto const fromStream = Thrown([&] { parser.Import(stream, Key(key)); });
            ASSERT_EQ(fromStream.first, QEL_FILE_READ_ERROR) << length << ": " << fromStream.second;
            WriteFile(path, cut);
            auto const fromPath = Thrown([&] { parser.Import(path, Key(key)); });
            ASSERT_EQ(fromPath.first, QEL_FILE_READ_ERROR) << length << ": " << fromPath.second;
            ASSERT_EQ(parser.GetNumObjects(), 0);
        }
    }
}

TEST_F(QELParserTest, Import_UnknownVersionOrSchemeIsUnsupported) {
    CQELParser parser;
    CTestBlob const a(Pattern(3, 14));
    // The version, then the cipher scheme.
    for (auto const& [at, value] : {std::pair<std::size_t, std::uint32_t>{16, 2}, {292, 9}}) {
        auto bad = ExportBytes(parser, {&a});
        SetU32(bad, at, value);
        CQEL_Stream stream = StreamOf(bad);
        EXPECT_EQ(Thrown([&] { parser.Import(stream, CQEL_String()); }).first, QEL_UNSUPPORTED_FORMAT) << at;
    }
}

TEST_F(QELParserTest, Inspect_ReportsEachRecordsStatus) {
    CQELParser parser;
    CTestBlob const a(Pattern(30, 15), 4, 5), b(Pattern(30, 16));
    auto bytes = ExportBytes(parser, {&a, &b});
    bytes[804 + 20] ^= 0x10;  // inside record 0
    CQEL_Stream stream = StreamOf(bytes);
    CQEL_Array<SQELRecordInfo> records;
    ASSERT_TRUE(parser.Inspect(stream, CQEL_String(), records));
    ASSERT_EQ(records.Count(), 2);
    EXPECT_EQ(records[0].status, SQELRecordInfo::EStatus::Damaged);
    EXPECT_EQ(records[1].status, SQELRecordInfo::EStatus::Intact);
    EXPECT_EQ(records[0].indexField1, 4);
    EXPECT_TRUE(records[1].hasCreator);
    EXPECT_STREQ(records[1].typeName.GetArray(), "QEL_TestBlob");
}

TEST(QELParserRegistry, RegistersFindsAndUnregistersCreators) {
    CQEL_String const tag = Key("AAAAAAAA-0000-0000-0000-000000000001");
    CQEL_String const other = Key("AAAAAAAA-0000-0000-0000-000000000002");
    CObjectCreator<CTestBlob> first, second;
    EXPECT_EQ(CQELParser::FindObjectCreatorIndex(tag), -1);
    CQELParser::RegisterObjectCreator(tag, &first);
    CQELParser::RegisterObjectCreator(other, &first);
    int const at = CQELParser::FindObjectCreatorIndex(tag);
    EXPECT_GE(at, 0);
    EXPECT_EQ(CQELParser::FindObjectCreatorIndex(&first), at);

    CQELParser::RegisterObjectCreator(tag, &second);  // replaces
    EXPECT_EQ(CQELParser::FindObjectCreatorIndex(tag), at);
    EXPECT_EQ(CQELParser::FindObjectCreatorIndex(&second), at);
    EXPECT_FALSE(CQELParser::UnregisterObjectCreator(tag, &first));
    EXPECT_TRUE(CQELParser::UnregisterObjectCreator(tag, &second));
    EXPECT_EQ(CQELParser::FindObjectCreatorIndex(tag), -1);

    CQELParser::RegisterObjectCreator(tag, &first);
    EXPECT_TRUE(CQELParser::UnregisterObjectCreator(&first));  // both of its tags
    EXPECT_EQ(CQELParser::FindObjectCreatorIndex(other), -1);
    EXPECT_FALSE(CQELParser::UnregisterObjectCreator(tag));

    {
        CObjectCreator<CTestBlob> shortLived;
        CQELParser::RegisterObjectCreator(tag, &shortLived);
        EXPECT_GE(CQELParser::FindObjectCreatorIndex(&shortLived), 0);
    }
    EXPECT_EQ(CQELParser::FindObjectCreatorIndex(tag), -1);  // gone with its creator

    EXPECT_EQ(Thrown([&] { CQELParser::RegisterObjectCreator(tag, nullptr); }).first, QEL_NULL_PARAMETER);
    EXPECT_EQ(Thrown([&] { CQELParser::RegisterObjectCreator(CQEL_String(), &first); }).first,
              QEL_INVALID_PARAMETER);
    EXPECT_EQ(
        Thrown([&] { CQELParser::RegisterObjectCreator(Key(std::string(256, 'A').c_str()), &first); }).first,
        QEL_INVALID_PARAMETER);
}

// Cuts the container short while its record is being read from the mapping.
class CTruncatingCreator final : public IObjectCreator {
  public:
    explicit CTruncatingCreator(std::string file) : m_file(std::move(file)) {}
    ISerialisable* CreateObject(CImportData* data) override {
        std::filesystem::resize_file(m_file, 0);
        auto blob = std::make_unique<CTestBlob>();
        blob->Deserialise(data);
        return blob.release();
    }

  private:
    std::string m_file;
};

TEST_F(QELParserTest, PathImport_FileCutShortDuringTheReadThrowsOnAHostThread) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "a fault is thrown from its signal handler, which ThreadSanitizer reports as such";
#endif
    STempDir const temp;
    CQEL_String const path = temp.Path("shrinking.qel");
    CQELParser parser;
    CTestBlob const blob(Pattern(std::size_t(64) << 10, 21));  // below the size that uses threads
    CQEL_Array<ISerialisable const*> objects;
    objects.PushBack(&blob, 1);
    ASSERT_TRUE(parser.Export(path, objects, CQEL_String()));
    CTruncatingCreator truncating(path.GetArray());
    CQELParser::RegisterObjectCreator(CQEL_String::FromASCII(kBlobId), &truncating);
    // A thread of the host's own, which has no fault translation of its own.
    std::pair<int, std::string> thrown;
    std::thread([&] { thrown = Thrown([&] { parser.Import(path, CQEL_String()); }); }).join();
    CQELParser::RegisterObjectCreator(CQEL_String::FromASCII(kBlobId), &creator);
    EXPECT_EQ(thrown.first, QEL_UNHANDLED) << thrown.second;
    EXPECT_EQ(parser.GetNumObjects(), 0);
}

// Records of several MiB are written, digested and read on two threads.
TEST_F(QELParserTest, LargeRecords_RoundTripThroughBothFormsAndDamageIsFound) {
    STempDir const temp;
    CQEL_String const path = temp.Path("large.qel");
    CQELParser parser;
    parser.SetKeyDerivationIterations(CQELParser::kMinIterations);
    CTestBlob const small(Pattern(10, 3)), large(Pattern(std::size_t(9) << 20, 4));
    CQEL_Array<ISerialisable const*> objects;
    objects.PushBack(&small, 1);
    objects.PushBack(&large, 1);
    for (char const* key : {"", "k"}) {
        SCOPED_TRACE(key);
        CQEL_Stream stream;
        ASSERT_TRUE(parser.Export(stream, objects, Key(key)));
        ASSERT_TRUE(parser.Export(path, objects, Key(key)));
        auto const bytes = Bytes(stream);
        auto const file = ReadFile(path);
        ASSERT_EQ(file.size(), bytes.size());
        // Nonces and salt differ between files; plain files are identical.
        if (!*key) {
            EXPECT_TRUE(file == bytes);
        }

        ASSERT_TRUE(parser.Import(path, Key(key)));
        ASSERT_EQ(parser.GetNumObjects(), 2);
        EXPECT_EQ(Blob(parser, 1).m_bytes, large.m_bytes);
        ASSERT_TRUE(parser.Import(stream, Key(key)));
        ASSERT_EQ(parser.GetNumObjects(), 2);
        EXPECT_EQ(Blob(parser, 1).m_bytes, large.m_bytes);

        auto flipped = file;
        std::size_t const index = file.size() - 804;
        flipped[U32(file, index + 264) + (std::size_t(5) << 20)] ^= 0x10;
        WriteFile(path, flipped);
        auto const [reason, text] = Thrown([&] { parser.Import(path, Key(key)); });
        EXPECT_EQ(reason, QEL_FILE_READ_ERROR);
        EXPECT_THAT(text, HasSubstr("Record 1 (QEL_TestBlob"));
        EXPECT_THAT(text, HasSubstr(*key ? "authentication" : "MD5 digest"));
        EXPECT_EQ(parser.GetNumObjects(), 0);
    }
}

TEST_F(QELParserTest, PathExport_FailingWriteKeepsTheOldFileAndLeavesNoTemporary) {
    STempDir const temp;
    CQEL_String const path = temp.Path("kept.qel");
    CQELParser parser;
    parser.SetKeyDerivationIterations(CQELParser::kMinIterations);
    CTestBlob const small(Pattern(10, 5)), large(Pattern(std::size_t(6) << 20, 6));
    CQEL_Array<ISerialisable const*> objects;
    objects.PushBack(&small, 1);
    ASSERT_TRUE(parser.Export(path, objects, CQEL_String()));
    auto const old = ReadFile(path);
    objects.PushBack(&large, 1);

    // Writes beyond 1 MiB fail (EFBIG) while the large record is being written.
    rlimit saved{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &saved), 0);
    auto const oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limited = saved;
    limited.rlim_cur = 1 << 20;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limited), 0);
    std::vector<int> reasons;
    for (char const* key : {"", "k"})
        reasons.push_back(Thrown([&] { parser.Export(path, objects, Key(key)); }).first);
    ::setrlimit(RLIMIT_FSIZE, &saved);
    std::signal(SIGXFSZ, oldHandler);

    EXPECT_EQ(reasons, (std::vector<int>{QEL_FILE_WRITE_ERROR, QEL_FILE_WRITE_ERROR}));
    EXPECT_TRUE(ReadFile(path) == old);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(temp.dir), {}), 1);
    // A refused record keeps it as well.
    CTestBlob empty;
    empty.empty = true;
    objects.PushBack(&empty, 1);
    EXPECT_EQ(Thrown([&] { parser.Export(path, objects, CQEL_String()); }).first, QEL_NULL_PARAMETER);
    EXPECT_TRUE(ReadFile(path) == old);
    EXPECT_EQ(Thrown([&] { parser.Import(temp.Path("none.qel"), CQEL_String()); }).first, QEL_FILE_NOT_FOUND);
    // A place that cannot be written at all.
    EXPECT_EQ(Thrown([&] { parser.Export(temp.Path("missing/dir.qel"), objects, CQEL_String()); }).first,
              QEL_FILE_WRITE_ERROR);
}
