// SPDX-License-Identifier: MIT
#include "formats/CQELSinks.h"

#include <cerrno>
#include <cstring>
#include <string>

namespace QEL::Core {

CQEL_Operation const& ExportOp() {
    static CQEL_Operation const op("QEL::Core::CQELParser::Export");
    return op;
}

CFileSink::CFileSink(CQEL_String const& path) {
    std::string const target = path.GetArray();
    if (target.empty()) ExportOp().Throw(QEL_INVALID_PATH, "path", "The file path is not set.");
    if (!m_file.Open(target, false))
        ExportOp().Throw(
            QEL_FILE_WRITE_ERROR, "path",
            CQEL_String::FromFormat("Cannot create %s: %s", target.c_str(), std::strerror(errno)));
}

}  // namespace QEL::Core
