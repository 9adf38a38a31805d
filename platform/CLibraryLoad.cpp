// SPDX-License-Identifier: MIT
// What happens when libqel is loaded into a process: the loading thread is
// lowered one priority step and gets the fault translator.
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>

#include "platform/CFaultTranslator.h"

namespace QEL::Core {
namespace {

__attribute__((constructor)) void OnLibraryLoad() {
    // On Linux a thread id addresses one thread's nice value.
    id_t const thread = id_t(gettid());
    errno = 0;
    int const nice = getpriority(PRIO_PROCESS, thread);
    if (errno == 0 && nice < 19) setpriority(PRIO_PROCESS, thread, nice + 1);
    CFaultTranslator::InstallOnThisThread();
}

}  // namespace
}  // namespace QEL::Core
