// SPDX-License-Identifier: MIT
// Reading text files line by line through a fixed buffer (internal to the
// library): the file is never held whole, and a line is handed out as a view
// into the buffer, valid until the next call.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

namespace QEL::Core {

class CTextLineReader {
  public:
    // Lines longer than this are refused (reason 23).
    static constexpr std::int64_t kMaxLineBytes = 1 << 20;

    CTextLineReader();
    ~CTextLineReader();
    CTextLineReader(CTextLineReader const&) = delete;
    CTextLineReader& operator=(CTextLineReader const&) = delete;

    // False when the file cannot be opened for reading.
    bool Open(char const* path);
    // The next line without its end ("\n" or "\r\n"); false at the end of the
    // file. Throws reason 23 for a read failure or a line longer than
    // kMaxLineBytes.
    bool NextLine(std::string_view& line);
    // The next block of whole lines with their ends, as many as fit in a
    // buffer of kBlockBytes (the last one may lack its end at the end of the
    // file); false at the end of the file. A line that fills the whole
    // buffer is handed out cut, for the caller to refuse. Lines handed out
    // this way are not counted by LineNumber. Throws reason 23 for a read
    // failure. Not to be mixed with NextLine on one reader.
    bool NextBlock(std::string_view& lines);
    static constexpr std::int64_t kBlockBytes = std::int64_t(4) << 20;

    std::int64_t FileSize() const { return m_fileSize; }
    // Bytes of the file consumed by the lines handed out so far.
    std::int64_t Consumed() const { return m_consumed; }
    // Number of the last line handed out (1-based).
    std::int64_t LineNumber() const { return m_line; }

  private:
    bool Fill();
    void Reserve(std::int64_t capacity);

    int m_fd = -1;
    std::unique_ptr<char[]> m_buffer;
    std::int64_t m_capacity = 0;
    std::int64_t m_begin = 0;  // first unread byte in the buffer
    std::int64_t m_end = 0;    // end of the bytes in the buffer
    bool m_eof = false;
    std::int64_t m_fileSize = 0;
    std::int64_t m_consumed = 0;
    std::int64_t m_line = 0;
};

}  // namespace QEL::Core
