// SPDX-License-Identifier: MIT
#include "platform/CAtomicFile.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "core/CQEL_Array.h"
#include "core/CQEL_Exception.h"
#include "core/CQEL_Stream.h"
#include "core/CQEL_String.h"
#include "entities/CPointSet.h"
#include "formats/CPointSetParser.h"
#include "formats/CQELParser.h"
#include "operations/pointset/CPointSet_Create.h"
#include "test_helpers/ReasonOf.h"

using namespace QEL::Core;

namespace {

namespace fs = std::filesystem;

struct STempDir {
    fs::path dir = fs::temp_directory_path() / ("qel_atomic_test_" + std::to_string(::getpid()));
    STempDir() {
        fs::remove_all(dir);
        fs::create_directories(dir);
    }
    ~STempDir() { fs::remove_all(dir); }
    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (auto const& entry : fs::directory_iterator(dir))
            names.push_back(entry.path().filename().string());
        return names;
    }
};

std::string ReadAll(fs::path const& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// The disk is full after limit bytes of any file this process writes: the
// system refuses the write that would pass it (EFBIG), half way through a file.
class CFullDisk {
  public:
    explicit CFullDisk(rlim_t limit) {
        m_previousSignal = std::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &m_previous);
        rlimit full = m_previous;
        full.rlim_cur = limit;
        ::setrlimit(RLIMIT_FSIZE, &full);
    }
    ~CFullDisk() {
        ::setrlimit(RLIMIT_FSIZE, &m_previous);
        std::signal(SIGXFSZ, m_previousSignal);
    }

  private:
    rlimit m_previous{};
    void (*m_previousSignal)(int) = nullptr;
};

}  // namespace

TEST(AtomicFile, ReplacesWholeKeepsTheModeAndLeavesNothingBeside) {
    STempDir const temp;
    fs::path const path = temp.dir / "target";
    std::ofstream(path) << "old";
    ::chmod(path.c_str(), 0640);
    {
        CAtomicFile file;
        ASSERT_EQ(file.Open(path.string(), false), 0);
        EXPECT_NE(file.TemporaryPath().find(".qeltmp."), std::string::npos);
        ASSERT_EQ(file.Write("new-", 4), 0);
        ASSERT_EQ(file.WriteAt(0, "N", 1), 0);
        EXPECT_EQ(ReadAll(path), "old");  // nothing is seen before Commit
        ASSERT_EQ(file.Commit(), 0);
    }
    EXPECT_EQ(ReadAll(path), "New-");
    EXPECT_EQ(fs::status(path).permissions(), fs::perms(0640));
    {
        CAtomicFile file;  // dropped without Commit
        ASSERT_EQ(file.Open(path.string(), false), 0);
        ASSERT_EQ(file.Write("lost", 4), 0);
    }
    {
        CAtomicFile file;  // appended, then dropped: cut back
        ASSERT_EQ(file.Open(path.string(), true), 0);
        ASSERT_EQ(file.Write("lost", 4), 0);
    }
    EXPECT_EQ(ReadAll(path), "New-");
    {
        CAtomicFile file;  // appended in blocks large enough to go to the disk at once
        std::string const block(CAtomicFile::kWritebackBytes + 3, 'b');
        ASSERT_EQ(file.Open(path.string(), true), 0);
        ASSERT_EQ(file.Write(block.data(), block.size()), 0);
        ASSERT_EQ(file.Write(block.data(), block.size()), 0);
        ASSERT_EQ(file.Commit(), 0);
        EXPECT_EQ(ReadAll(path), "New-" + block + block);
    }
    EXPECT_EQ(temp.Names(), std::vector<std::string>{"target"});
    CAtomicFile folder;
    EXPECT_EQ(folder.Open(temp.dir.string(), false), EINVAL);  // never replaces what is not a file
}

// Every writer of the library, failing half way for a full disk, leaves the
// old file byte for byte and no temporary file.
TEST(AtomicFile, WritesThatFailHalfWayLeaveTheOldFileAndNoTemporary) {
    STempDir const temp;
    fs::path const path = temp.dir / "target";
    std::string const old(3000, 'o');
    CPointSet points;
    CPointSet_Create(points).Sphere(CPoint3<double>(0, 0, 0), 0.01, 1.0);  // some 125000 points
    ASSERT_GT(points.GetNumPts(), 20000);
    CQEL_String const target = CQEL_String::FromASCII(path.c_str());
    std::vector<unsigned char> const bytes(1 << 20, 0x5A);
    std::vector<std::pair<char const*, std::function<void()>>> const writers = {
        {"atomic file",
         [&] {
             CAtomicFile file;
             ASSERT_EQ(file.Open(path.string(), false), 0);
             int const error = file.Write(bytes.data(), bytes.size());
             ASSERT_EQ(error, EFBIG);
         }},
        {"appending atomic file",
         [&] {
             CAtomicFile file;
             ASSERT_EQ(file.Open(path.string(), true), 0);
             ASSERT_EQ(file.Write(bytes.data(), bytes.size()), EFBIG);
         }},
        {"stream",
         [&] {
             CQEL_Stream stream;
             stream.Put(bytes.data(), std::int64_t(bytes.size()));
             EXPECT_EQ(ReasonOf([&] { stream.WriteToFile(target); }), QEL_FILE_WRITE_ERROR);
         }},
        {"container",
         [&] {
             CQEL_Array<ISerialisable const*> objects;
             objects.PushBack(&points, 1);
             CQELParser parser;
             EXPECT_EQ(ReasonOf([&] { parser.Export(target, objects, CQEL_String()); }),
                       QEL_FILE_WRITE_ERROR);
         }},
    };
    std::vector<std::pair<std::string, std::function<void()>>> all(writers.begin(), writers.end());
    int count = 0;
    SPointFormat const* formats = GetPointFormats(count);
    for (int i = 0; i < count; ++i)
        for (bool const append : {false, true})
            if (!append || std::string(".ply.obj.off.pts").find(formats[i].extension) == std::string::npos)
                all.emplace_back(
                    std::string(formats[i].extension) + (append ? " appended" : ""), [&, i, append] {
                        EXPECT_EQ(ReasonOf([&] { formats[i].write(target, points, append, {}); }),
                                  QEL_FILE_WRITE_ERROR);
                    });
    for (auto const& [name, write] : all) {
        SCOPED_TRACE(name);
        std::ofstream(path, std::ios::binary) << old;
        {
            CFullDisk const full(64 * 1024);
            write();
        }
        EXPECT_EQ(ReadAll(path), old);
        EXPECT_EQ(temp.Names(), std::vector<std::string>{"target"});
    }
}
