// SPDX-License-Identifier: MIT
#include "formats/CQELSources.h"

#include <cerrno>
#include <cstring>

#include "core/CQEL_Operation.h"
#include "formats/QEL_ContainerLayout.h"

namespace QEL::Core {

CQEL_Operation const& ImportOp() {
    static CQEL_Operation const op("QEL::Core::CQELParser::Import");
    return op;
}

CFileSource::CFileSource(CQEL_String const& path) {
    if (int const error = m_file.Open(path.GetArray()))
        ImportOp().Throw(
            error == ENOENT ? QEL_FILE_NOT_FOUND : QEL_FILE_READ_ERROR, "path",
            CQEL_String::FromFormat("Cannot open %s: %s", path.GetArray(), std::strerror(error)));
    // Records are read once each, in file order: every page is read in now.
    bool const mapped = m_file.Map(true);
    m_file.Close();
    if (mapped)
        m_map = m_file.Data();
    else
        m_stream.ReadFromFile(path);
}

CFileSource::~CFileSource() = default;

}  // namespace QEL::Core
