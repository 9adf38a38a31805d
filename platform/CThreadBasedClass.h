// SPDX-License-Identifier: MIT
// Base of every worker thread that the library starts. The thread installs the
// fault translator first, then runs the body, then signals its completion.
// An exception that escapes the body is kept and rethrown by Wait().
//
// A derived class must call Wait() in its own destructor (the body is a
// virtual function of the derived object, which must outlive the thread).
#pragma once

#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>

#include "platform/QEL_Export.h"

namespace QEL::Core {

class QEL_API CThreadBasedClass {
  public:
    CThreadBasedClass();
    virtual ~CThreadBasedClass();
    CThreadBasedClass(CThreadBasedClass const&) = delete;
    CThreadBasedClass& operator=(CThreadBasedClass const&) = delete;

    // Starts the thread; false if it is already running.
    bool Start();
    // Waits for the body to finish and rethrows what escaped it, if anything.
    void Wait();
    // True once the body has finished (the completion event is set).
    bool IsFinished() const;

  protected:
    virtual void Run() = 0;

  private:
    void ThreadMain();

    std::thread m_thread;
    mutable std::mutex m_lock;
    std::condition_variable m_finishedEvent;
    bool m_finished = false;
    std::exception_ptr m_error;
};

}  // namespace QEL::Core
