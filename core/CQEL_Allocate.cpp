// SPDX-License-Identifier: MIT
#include "core/CQEL_Allocate.h"

#include <cstdlib>
#include <new>

namespace QEL::Core {

void* CQEL_Allocate::AllocateMemory(std::size_t bytes) {
    if (bytes == 0) return nullptr;
    void* memory = std::malloc(bytes);
    if (!memory) throw std::bad_alloc();
    return memory;
}

void CQEL_Allocate::DeAllocateMemory(void* memory) noexcept {
    std::free(memory);
}

void* CQEL_Allocate::ReAllocateMemory(void* memory, std::size_t bytes) {
    void* resized = std::realloc(memory, bytes ? bytes : 1);
    if (!resized) throw std::bad_alloc();
    return resized;
}

void* CQEL_Allocate::operator new(std::size_t bytes) {
    return AllocateMemory(bytes ? bytes : 1);
}
void CQEL_Allocate::operator delete(void* memory) noexcept {
    DeAllocateMemory(memory);
}
void* CQEL_Allocate::operator new[](std::size_t bytes) {
    return AllocateMemory(bytes ? bytes : 1);
}
void CQEL_Allocate::operator delete[](void* memory) noexcept {
    DeAllocateMemory(memory);
}

}  // namespace QEL::Core
