// SPDX-License-Identifier: MIT
// Work on library threads (CThreadBasedClass), where a fault becomes an
// exception: one task beside the caller, or a job cut into parts that run
// side by side.
#pragma once

#include <algorithm>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "platform/CThreadBasedClass.h"

namespace QEL::Core {

// Runs a function on a library thread from construction on. Join waits and
// rethrows whatever escaped the function; the destructor waits without
// rethrowing (its owner is unwinding from an error of its own already).
class CTask final : public CThreadBasedClass {
  public:
    explicit CTask(std::function<void()> body) : m_body(std::move(body)) { Start(); }
    ~CTask() override {
        try {
            Wait();
        } catch (...) {
        }
    }
    void Join() { Wait(); }

  private:
    void Run() override { m_body(); }
    std::function<void()> m_body;
};

// How many parts to cut bytes of work into: one per processor (at most
// eight), each of at least minPartBytes, and at least one.
inline int PartsFor(std::int64_t bytes, std::int64_t minPartBytes) {
    std::int64_t const processors = std::clamp<std::int64_t>(std::thread::hardware_concurrency(), 1, 8);
    return int(std::clamp<std::int64_t>(bytes / minPartBytes, 1, processors));
}

// Calls part(0) .. part(parts - 1) side by side, part 0 on the calling
// thread and each other part on a task of its own, and returns when all have
// finished. The first failure in part order is rethrown; the other parts run
// to their end regardless, so part must not depend on its siblings finishing.
template <class Part>
void RunInParts(int parts, Part const& part) {
    std::exception_ptr first;
    {
        std::vector<std::unique_ptr<CTask>> tasks;
        try {
            for (int i = 1; i < parts; ++i)
                tasks.push_back(std::make_unique<CTask>([&part, i] { part(i); }));
            part(0);
        } catch (...) {
            first = std::current_exception();
        }
        for (auto& task : tasks) {
            try {
                task->Join();
            } catch (...) {
                if (!first) first = std::current_exception();
            }
        }
    }
    if (first) std::rethrow_exception(first);
}

}  // namespace QEL::Core
