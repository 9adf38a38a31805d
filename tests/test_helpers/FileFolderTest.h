// SPDX-License-Identifier: MIT
// A test fixture with a folder of its own, removed afterwards, and the
// texts and warnings that the library sends while the test runs.
#pragma once

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "core/CQEL_Exception.h"
#include "core/CQEL_String.h"
#include "test_helpers/ChannelLog.h"

namespace QEL::Test {

class CFileFolderTest : public ::testing::Test {
  protected:
    void SetUp() override {
        auto const* test = ::testing::UnitTest::GetInstance()->current_test_info();
        m_dir = std::filesystem::temp_directory_path() /
                ("qel_" + std::string(test->test_suite_name()) + "_" + std::to_string(::getpid()));
        std::filesystem::create_directories(m_dir);
    }
    void TearDown() override { std::filesystem::remove_all(m_dir); }

    Core::CQEL_String Path(std::string const& name) const {
        return Core::CQEL_String::FromASCII((m_dir / name).c_str());
    }
    std::string Read(std::string const& name) const {
        std::ifstream in(m_dir / name, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
    void Write(std::string const& name, std::string const& bytes) const {
        std::ofstream(m_dir / name, std::ios::binary) << bytes;
    }
    // The text of the CQEL_Exception that call throws, or "" when it throws none.
    static std::string Message(std::function<void()> const& call) {
        try {
            call();
        } catch (Core::CQEL_Exception const& e) {
            return e.what();
        }
        return "";
    }

    std::filesystem::path m_dir;
    SChannelLog m_textLog{Core::CQEL_Output_Events::EChannel::Text};
    SChannelLog m_warningLog{Core::CQEL_Output_Events::EChannel::Warning};
    std::vector<std::string>& m_texts = m_textLog.lines;
    std::vector<std::string>& m_warnings = m_warningLog.lines;
};

}  // namespace QEL::Test
