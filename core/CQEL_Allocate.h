// SPDX-License-Identifier: MIT
// Raw storage of the library. Arrays take their element storage from here, and
// classes derived from CQEL_Allocate are created on it.
//
// Blocks of several megabytes (point sets of millions of points) are advised
// to the system as candidates for transparent huge pages: first touching them
// then costs one fault per 2 MiB instead of one per 4 KiB, and walking them
// fewer TLB misses. The advice changes nothing where huge pages are disabled.
#pragma once

#include <cstddef>

#include "core/QEL_Export.h"

namespace QEL::Core {

class QEL_API CQEL_Allocate {
  public:
    // Raw, uninitialised memory suitably aligned for any fundamental type.
    // Throws std::bad_alloc when memory is exhausted. Zero bytes gives null.
    static void* AllocateMemory(std::size_t bytes);
    // As AllocateMemory, with every byte zero. Fresh pages from the system are
    // zero already and are not written here, so a large block is touched only
    // by whoever fills it first.
    static void* AllocateZeroedMemory(std::size_t bytes);
    // Memory for an array that grows from nothing, element by element: as
    // AllocateMemory (or AllocateZeroedMemory when zeroed), but a block below
    // 1 MiB gets room up to the next power of two and at least 128 bytes,
    // which ReAllocateMemory then grows into without calling the allocator.
    // The bytes that the block can hold go to room when it is given.
    static void* AllocateGrowingMemory(std::size_t bytes, bool zeroed, std::size_t* room = nullptr);
    // Releases memory from AllocateMemory; null is ignored.
    static void DeAllocateMemory(void* memory) noexcept;
    // Resizes memory from AllocateMemory (null: allocates) to bytes > 0, in
    // place where the allocator can, else by moving the bytes; returns the
    // memory, which may have moved. Throws std::bad_alloc when memory is
    // exhausted, leaving the old memory as it was. A block below 1 MiB that
    // grows is given room up to the next power of two, and a resize that
    // still fits that room (and uses more than half of it, or that room is
    // below 256 bytes) returns the block as it is: growth by half at a time
    // then reallocates about as often as doubling does. The bytes that the
    // block returned can hold (at least bytes) go to room when it is given, so
    // that a caller growing further within them need not call again.
    static void* ReAllocateMemory(void* memory, std::size_t bytes, std::size_t* room = nullptr);

    static void* operator new(std::size_t bytes);
    static void operator delete(void* memory) noexcept;
    static void* operator new[](std::size_t bytes);
    static void operator delete[](void* memory) noexcept;
};

}  // namespace QEL::Core
