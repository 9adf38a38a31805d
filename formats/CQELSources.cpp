// SPDX-License-Identifier: MIT
#include "formats/CQELSources.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

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
    CQEL_Operation const& op = ImportOp();
    int const fd = ::open(path.GetArray(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        op.Throw(errno == ENOENT ? QEL_FILE_NOT_FOUND : QEL_FILE_READ_ERROR, "path",
                 CQEL_String::FromFormat("Cannot open %s: %s", path.GetArray(), std::strerror(errno)));
    struct stat status {};
    if (::fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0) {
        void* const mapped =
            ::mmap(nullptr, std::size_t(status.st_size), PROT_READ, MAP_PRIVATE | MAP_POPULATE, fd, 0);
        if (mapped != MAP_FAILED) {
            m_map = static_cast<unsigned char const*>(mapped);
            m_size = status.st_size;
        }
    }
    ::close(fd);
    if (!m_map) m_stream.ReadFromFile(path);
}

CFileSource::~CFileSource() {
    if (m_map) ::munmap(const_cast<unsigned char*>(m_map), std::size_t(m_size));
}

}  // namespace QEL::Core
