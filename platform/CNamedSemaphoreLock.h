// SPDX-License-Identifier: MIT
// CNamedSemaphoreLock: holds a named POSIX semaphore that another process
// (or the host) created, as a lock across processes, for the lifetime of a
// scope. It opens the semaphore by name without creating it and waits for it
// (resuming after signals); if the open or the wait fails nothing is held.
// Posts and closes on destruction.
#pragma once

#include "platform/QEL_Export.h"

namespace QEL::Core {

class QEL_API CNamedSemaphoreLock {
  public:
    // name as sem_open takes it ("/name").
    explicit CNamedSemaphoreLock(char const* name);
    ~CNamedSemaphoreLock();
    CNamedSemaphoreLock(CNamedSemaphoreLock const&) = delete;
    CNamedSemaphoreLock& operator=(CNamedSemaphoreLock const&) = delete;

    bool IsHeld() const { return m_semaphore != nullptr; }

  private:
    void* m_semaphore = nullptr;
};

}  // namespace QEL::Core
