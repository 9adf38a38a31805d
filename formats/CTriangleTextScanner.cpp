// SPDX-License-Identifier: MIT
#include "formats/CTriangleTextScanner.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "core/CQEL_Operation.h"
#include "core/CQEL_String.h"
#include "formats/QEL_TextNumbers.h"
#include "platform/CTask.h"

namespace QEL::Core::TriangleText {

namespace {

// Below this a part costs more to hand to a thread than it takes to scan.
constexpr std::int64_t kMinPartBytes = std::int64_t(1) << 19;

// Part borders: evenly spread, each moved forward onto white space.
std::vector<std::size_t> Borders(std::string_view text, int parts) {
    std::vector<std::size_t> borders(std::size_t(parts) + 1, text.size());
    borders[0] = 0;
    for (int i = 1; i < parts; ++i) {
        std::size_t at =
            std::max(borders[std::size_t(i) - 1], text.size() / std::size_t(parts) * std::size_t(i));
        while (at < text.size() && !Text::IsSpace(text[at]))
            ++at;
        borders[std::size_t(i)] = at;
    }
    return borders;
}

// The parts' numbers in one array, in part order (copied side by side).
Assembly::CBuffer<double> Join(std::vector<std::vector<double>>& found) {
    std::vector<std::int64_t> offsets(found.size() + 1, 0);
    for (std::size_t i = 0; i < found.size(); ++i)
        offsets[i + 1] = offsets[i] + std::int64_t(found[i].size());
    Assembly::CBuffer<double> all(offsets.back());
    RunInParts(int(found.size()), [&](int part) {
        std::vector<double>& values = found[std::size_t(part)];
        if (!values.empty())
            std::memcpy(all.data() + offsets[std::size_t(part)], values.data(),
                        values.size() * sizeof(double));
        std::vector<double>().swap(values);
    });
    return all;
}

// The first 'v' or 'V' in [p, end), or end.
inline char const* FindV(char const* p, char const* end) {
#if defined(__SSE2__)
    __m128i const lower = _mm_set1_epi8(0x20), v = _mm_set1_epi8('v');
    for (; end - p >= 16; p += 16) {
        __m128i const chunk = _mm_or_si128(_mm_loadu_si128(reinterpret_cast<__m128i const*>(p)), lower);
        if (int const found = _mm_movemask_epi8(_mm_cmpeq_epi8(chunk, v)))
            return p + std::countr_zero(unsigned(found));
    }
#endif
    while (p < end && (*p | 0x20) != 'v')
        ++p;
    return p;
}

inline bool IsVertexWord(char const* p, char const* end) {
    if (end - p < 6) return false;
    static constexpr char kWord[] = "vertex";
    for (int i = 0; i < 6; ++i)
        if ((p[i] | 0x20) != kWord[i]) return false;
    return end - p == 6 || Text::IsSpace(p[6]);
}

}  // namespace

Assembly::CBuffer<double> ScanSTLVertices(std::string_view text, CQEL_Operation const& op) {
    int const parts = PartsFor(std::int64_t(text.size()), kMinPartBytes);
    std::vector<std::size_t> const borders = Borders(text, parts);
    std::vector<std::vector<double>> found(static_cast<std::size_t>(parts));
    char const* const textEnd = text.data() + text.size();
    RunInParts(parts, [&](int part) {
        std::vector<double>& values = found[std::size_t(part)];
        values.reserve((borders[std::size_t(part) + 1] - borders[std::size_t(part)]) / 24);
        char const* p = text.data() + borders[std::size_t(part)];
        char const* const end = text.data() + borders[std::size_t(part) + 1];
        // Only "vertex" matters, and no other word or number of the format
        // holds a 'v': the scan jumps from 'v' to 'v' (any case), and a
        // "vertex" owned by this part reads its numbers wherever they lie.
        while ((p = FindV(p, end)) < end) {
            if ((p != text.data() && !Text::IsSpace(p[-1])) || !IsVertexWord(p, textEnd)) {
                ++p;
                continue;
            }
            char const* const word = p;
            double xyz[3];
            p += 6;
            if (Text::ScanDoublesAt(p, textEnd, xyz, 3) != 3)
                op.Throw(QEL_FILE_READ_ERROR, "path",
                         CQEL_String::FromFormat("\"vertex\" at byte %lld is not followed by three numbers",
                                                 (long long)(word - text.data())));
            values.insert(values.end(), xyz, xyz + 3);
        }
    });
    return Join(found);
}

Assembly::CBuffer<double> ScanNumbers(std::string_view text, std::int64_t& stoppedAt) {
    int const parts = PartsFor(std::int64_t(text.size()), kMinPartBytes);
    std::vector<std::size_t> const borders = Borders(text, parts);
    std::vector<std::vector<double>> found(static_cast<std::size_t>(parts));
    std::vector<std::int64_t> stops(std::size_t(parts), -1);
    RunInParts(parts, [&](int part) {
        std::vector<double>& values = found[std::size_t(part)];
        // About one number per 8 bytes of text; growth beyond copies.
        values.reserve((borders[std::size_t(part) + 1] - borders[std::size_t(part)]) / 8);
        char const* p = text.data() + borders[std::size_t(part)];
        char const* const end = text.data() + borders[std::size_t(part) + 1];
        constexpr int kBatch = 256;
        double batch[kBatch];
        for (;;) {
            int const n = Text::ScanDoublesAt(p, end, batch, kBatch);
            values.insert(values.end(), batch, batch + n);
            if (n == kBatch) continue;
            while (p < end && Text::IsSpace(*p))
                ++p;
            if (p < end) stops[std::size_t(part)] = p - text.data();
            break;
        }
    });
    // The first part that stopped ends the numbers; later parts do not count.
    stoppedAt = -1;
    for (int part = 0; part < parts; ++part) {
        if (stoppedAt >= 0) std::vector<double>().swap(found[std::size_t(part)]);
        if (stoppedAt < 0 && stops[std::size_t(part)] >= 0) stoppedAt = stops[std::size_t(part)];
    }
    return Join(found);
}

}  // namespace QEL::Core::TriangleText
