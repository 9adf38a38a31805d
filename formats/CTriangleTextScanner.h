// SPDX-License-Identifier: MIT
// The numbers of the text triangle formats, scanned side by side (internal to
// the library). The text is cut into parts at white space, so no token is
// split; each part is scanned on its own thread and the parts' numbers are
// joined in file order. Numbers read as Text::ScanDoubles reads them.
#pragma once

#include <cstdint>
#include <string_view>

#include "operations/triangulation/QEL_TriangleAssembly.h"

namespace QEL::Core {

class CQEL_Operation;

namespace TriangleText {

// The three numbers after each "vertex" token (any case) of an ASCII STL
// file, in file order; every other token is skipped. A "vertex" not followed
// by three numbers throws reason 23 at op, naming its byte offset.
Assembly::CBuffer<double> ScanSTLVertices(std::string_view text, CQEL_Operation const& op);

// The numbers of text up to its end or to the first token that is not a
// number (stoppedAt becomes its byte offset, else -1).
Assembly::CBuffer<double> ScanNumbers(std::string_view text, std::int64_t& stoppedAt);

}  // namespace TriangleText
}  // namespace QEL::Core
