// SPDX-License-Identifier: MIT
#include "formats/CTextLineScanner.h"

#include <algorithm>
#include <cstring>

#include "core/CQEL_Operation.h"
#include "core/CQEL_String.h"
#include "formats/QEL_TextNumbers.h"
#include "platform/CTask.h"

namespace QEL::Core {

namespace {
// Below this a part costs more to hand to a thread than it takes to scan.
constexpr std::int64_t kMinPartBytes = std::int64_t(1) << 19;
}  // namespace

CTextLineScanner::CTextLineScanner(int maxValues) : m_maxValues(std::clamp(maxValues, 0, kMaxValues)) {}

CTextLineScanner::~CTextLineScanner() = default;

void CTextLineScanner::Scan(std::string_view block) {
    int const parts = PartsFor(std::int64_t(block.size()), kMinPartBytes);
    // Part borders move forward to the next line start, so no line is split.
    std::vector<std::size_t> borders(std::size_t(parts) + 1, block.size());
    borders[0] = 0;
    for (int i = 1; i < parts; ++i) {
        std::size_t const at = std::max(borders[std::size_t(i) - 1], block.size() / std::size_t(parts) * i);
        std::size_t const newline = block.find('\n', at);
        borders[std::size_t(i)] = newline == std::string_view::npos ? block.size() : newline + 1;
    }
    m_parts.resize(std::size_t(parts));
    RunInParts(parts, [&](int i) {
        ScanPart(block, borders[std::size_t(i)], borders[std::size_t(i) + 1], m_maxValues,
                 m_parts[std::size_t(i)]);
    });
}

void CTextLineScanner::ScanPart(std::string_view block, std::size_t begin, std::size_t end, int maxValues,
                                SPart& part) {
    part.lines.clear();
    std::size_t used = 0;  // values in use; the vector only grows, and is reused by the next block
    char const* const text = block.data();
    while (begin < end) {
        auto const* newline = static_cast<char const*>(std::memchr(text + begin, '\n', end - begin));
        std::size_t const next = newline ? std::size_t(newline - text) + 1 : end;
        std::size_t length = (newline ? std::size_t(newline - text) : end) - begin;
        if (length > 0 && text[begin + length - 1] == '\r') --length;
        if (part.values.size() < used + std::size_t(maxValues))
            part.values.resize(std::max<std::size_t>(2 * part.values.size(), 1024));
        std::uint32_t count = 0;
        // A line too long to keep is refused when visited; scanning it is wasted work.
        if (length <= std::size_t(CTextLineReader::kMaxLineBytes))
            count = std::uint32_t(Text::ScanDoubles(std::string_view(text + begin, length),
                                                    part.values.data() + used, maxValues));
        part.lines.push_back({std::uint32_t(begin), std::uint32_t(length), count});
        used += count;
        begin = next;
    }
}

void CTextLineScanner::TooLong() const {
    static CQEL_Operation const op("QEL::Core::CTextLineReader::NextLine");
    op.Throw(QEL_FILE_READ_ERROR, "path",
             CQEL_String::FromFormat("Line %lld is longer than %lld bytes", (long long)m_lineNumber,
                                     (long long)CTextLineReader::kMaxLineBytes));
}

}  // namespace QEL::Core
