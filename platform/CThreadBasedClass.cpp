// SPDX-License-Identifier: MIT
#include "platform/CThreadBasedClass.h"

#include "platform/CFaultTranslator.h"

namespace QEL::Core {

CThreadBasedClass::CThreadBasedClass() = default;

CThreadBasedClass::~CThreadBasedClass() {
    if (m_thread.joinable()) m_thread.join();
}

bool CThreadBasedClass::Start() {
    std::lock_guard guard(m_lock);
    if (m_thread.joinable()) return false;
    m_finished = false;
    m_error = nullptr;
    m_thread = std::thread(&CThreadBasedClass::ThreadMain, this);
    return true;
}

void CThreadBasedClass::ThreadMain() {
    CFaultTranslator::InstallOnThisThread();
    std::exception_ptr error;
    try {
        Run();
    } catch (...) {
        error = std::current_exception();
    }
    CFaultTranslator::UninstallOnThisThread();
    {
        std::lock_guard guard(m_lock);
        m_error = error;
        m_finished = true;
    }
    m_finishedEvent.notify_all();
}

void CThreadBasedClass::Wait() {
    {
        std::unique_lock guard(m_lock);
        if (!m_thread.joinable()) return;
        m_finishedEvent.wait(guard, [this] { return m_finished; });
    }
    m_thread.join();
    std::exception_ptr error;
    {
        std::lock_guard guard(m_lock);
        std::swap(error, m_error);
    }
    if (error) std::rethrow_exception(error);
}

bool CThreadBasedClass::IsFinished() const {
    std::lock_guard guard(m_lock);
    return m_finished;
}

}  // namespace QEL::Core
