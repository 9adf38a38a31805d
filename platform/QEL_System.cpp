// SPDX-License-Identifier: MIT
#include "platform/QEL_System.h"

#include <sys/resource.h>

#include <cerrno>

namespace QEL::Core::System {

int LowerThisThreadPriority() noexcept {
    // On Linux a thread id addresses one thread's nice value.
    id_t const thread = id_t(::gettid());
    errno = 0;
    int const nice = ::getpriority(PRIO_PROCESS, thread);
    if (errno != 0) return errno;
    if (nice >= 19) return 0;
    return ::setpriority(PRIO_PROCESS, thread, nice + 1) == 0 ? 0 : errno;
}

}  // namespace QEL::Core::System
