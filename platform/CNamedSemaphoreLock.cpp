// SPDX-License-Identifier: MIT
#include "platform/CNamedSemaphoreLock.h"

#include <fcntl.h>
#include <semaphore.h>

#include <cerrno>

namespace QEL::Core {

CNamedSemaphoreLock::CNamedSemaphoreLock(char const* name) {
    sem_t* const semaphore = ::sem_open(name, 0);
    if (semaphore == SEM_FAILED) return;
    int result;
    do {
        result = ::sem_wait(semaphore);
    } while (result != 0 && errno == EINTR);
    if (result != 0) {
        ::sem_close(semaphore);
        return;
    }
    m_semaphore = semaphore;
}

CNamedSemaphoreLock::~CNamedSemaphoreLock() {
    if (!m_semaphore) return;
    sem_t* const semaphore = static_cast<sem_t*>(m_semaphore);
    ::sem_post(semaphore);
    ::sem_close(semaphore);
}

}  // namespace QEL::Core
