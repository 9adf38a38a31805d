// SPDX-License-Identifier: MIT
// The lines of a text file with the numbers at their start already scanned
// (internal to the library). The file is read in blocks of whole lines; each
// block is cut at line ends into parts that are scanned side by side, and
// the lines are then handed to the caller in file order. Scanning numbers is
// most of the cost of reading a text point file, and it needs nothing from
// the lines before, so it spreads over processors while the reader's own
// rules (sections, columns, counts of skipped lines) stay sequential.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "formats/CTextLineReader.h"

namespace QEL::Core {

class CTextLineScanner {
  public:
    // Up to maxValues numbers (at most kMaxValues) are scanned per line.
    static constexpr int kMaxValues = 16;
    explicit CTextLineScanner(int maxValues);
    ~CTextLineScanner();
    CTextLineScanner(CTextLineScanner const&) = delete;
    CTextLineScanner& operator=(CTextLineScanner const&) = delete;

    // False when the file cannot be opened for reading.
    bool Open(char const* path) { return m_reader.Open(path); }
    std::int64_t FileSize() const { return m_reader.FileSize(); }
    // Bytes of the file scanned so far (a block ahead of the lines visited).
    std::int64_t Consumed() const { return m_reader.Consumed(); }

    // Calls visit(line, values, count) for each line in file order, on the
    // calling thread: the line without its end ("\n" or "\r\n") and the
    // numbers scanned from it as Text::ScanDoubles does. Throws reason 23 for
    // a read failure or a line longer than CTextLineReader::kMaxLineBytes,
    // and whatever visit throws.
    template <class Visit>
    void ForEachLine(Visit&& visit) {
        std::string_view block;
        while (m_reader.NextBlock(block)) {
            Scan(block);
            for (SPart const& part : m_parts) {
                double const* values = part.values.data();
                for (SLine const& line : part.lines) {
                    ++m_lineNumber;
                    if (line.length > CTextLineReader::kMaxLineBytes) TooLong();
                    visit(block.substr(line.begin, line.length), values, int(line.count));
                    values += line.count;
                }
            }
        }
    }

  private:
    struct SLine {
        std::uint32_t begin;   // in the block
        std::uint32_t length;  // without the line's end
        std::uint32_t count;   // numbers scanned
    };
    struct SPart {
        std::vector<SLine> lines;
        std::vector<double> values;
    };

    // Splits block into parts at line ends and scans them side by side.
    void Scan(std::string_view block);
    static void ScanPart(std::string_view block, std::size_t begin, std::size_t end, int maxValues,
                         SPart& part);
    [[noreturn]] void TooLong() const;

    CTextLineReader m_reader;
    int m_maxValues;
    std::vector<SPart> m_parts;
    std::int64_t m_lineNumber = 0;
};

}  // namespace QEL::Core
