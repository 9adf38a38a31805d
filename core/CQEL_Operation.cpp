// SPDX-License-Identifier: MIT
#include "core/CQEL_Operation.h"

#include <cxxabi.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "core/CQEL_String.h"

namespace QEL::Core {

namespace {

// Counters live as long as the process: operations are function-local
// statics that may outlive any registry object destroyed at exit.
struct SCallRegistry {
    std::mutex lock;
    std::map<std::string, std::unique_ptr<std::atomic<long>>> counters;
};

SCallRegistry& Registry() {
    static SCallRegistry* registry = new SCallRegistry;
    return *registry;
}

}  // namespace

CQEL_Operation::CQEL_Operation(char const* name) : m_name(name) {
    SCallRegistry& registry = Registry();
    std::lock_guard guard(registry.lock);
    auto& counter = registry.counters[name];
    if (!counter) counter = std::make_unique<std::atomic<long>>(0);
    m_calls = counter.get();
}

CQEL_String CQEL_Operation::Location(long line) const {
    return GetQELExceptionLocation(m_name, line);
}

void CQEL_Operation::Convert(long frameLine) const {
    try {
        throw;
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (EQELExceptionReason reason) {
        throw CQEL_Exception(reason, Location(frameLine));
    } catch (CQEL_Exception const&) {
        throw;
    } catch (std::exception const& e) {
        throw CQEL_Exception(CQEL_String::FromASCII(e.what()), Location(frameLine));
    } catch (...) {
        throw CQEL_Exception(QEL_UNHANDLED, Location(frameLine));
    }
}

void CQEL_Operation::ThrowOutOfRange(char const* paramName, long line) const {
    throw CQEL_Exception(QEL_PARAMETER_OUT_OF_RANGE, CQEL_String::FromASCII(paramName),
                         CQEL_String::FromASCII("Parameter out of range"), Location(line));
}

void CQEL_Operation::Throw(EQELExceptionReason reason, char const* paramName, CQEL_String const& message,
                           std::source_location where) const {
    throw CQEL_Exception(reason, CQEL_String::FromASCII(paramName), message, Location(long(where.line())));
}

void CQEL_Operation::Throw(EQELExceptionReason reason, char const* paramName, char const* message,
                           std::source_location where) const {
    Throw(reason, paramName, CQEL_String::FromASCII(message), where);
}

void CQEL_Operation::Throw(EQELExceptionReason reason, std::source_location where) const {
    throw CQEL_Exception(reason, Location(long(where.line())));
}

long CQEL_Operation::GetCallCount(char const* name) {
    SCallRegistry& registry = Registry();
    std::lock_guard guard(registry.lock);
    auto found = registry.counters.find(name ? name : "");
    return found == registry.counters.end() ? 0 : found->second->load(std::memory_order_relaxed);
}

void CQEL_Operation::ForEachCallCount(void (*visit)(char const*, long, void*), void* user) {
    // Visit a snapshot, so that the visitor may itself ask for counts.
    std::vector<std::pair<std::string, long>> snapshot;
    {
        SCallRegistry& registry = Registry();
        std::lock_guard guard(registry.lock);
        for (auto const& [name, counter] : registry.counters)
            snapshot.emplace_back(name, counter->load(std::memory_order_relaxed));
    }
    for (auto const& [name, count] : snapshot)
        visit(name.c_str(), count, user);
}

void CQEL_Operation::ResetCallCounts() {
    SCallRegistry& registry = Registry();
    std::lock_guard guard(registry.lock);
    for (auto& entry : registry.counters)
        entry.second->store(0, std::memory_order_relaxed);
}

}  // namespace QEL::Core
