// SPDX-License-Identifier: MIT
#include "core/CQEL_Allocate.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include "platform/QEL_System.h"

namespace QEL::Core {

namespace {

// The huge page size of x86-64 and of 4 KiB-page AArch64; blocks are advised
// from two of them on, so that at least one whole huge page lies inside.
constexpr std::uintptr_t kHugePage = std::uintptr_t(2) << 20;
constexpr std::size_t kAdviseFrom = 2 * kHugePage;
// Growth below this is rounded up to powers of two (ReAllocateMemory).
constexpr std::size_t kRoundGrowthUpTo = std::size_t(1) << 20;
// The least room of a block that grows from nothing: two cache lines. An
// array of small elements growing one at a time then skips its first few
// reallocations. Blocks below twice this are not made smaller, which would
// give only a few bytes back.
constexpr std::size_t kLeastGrowthRoom = 128;
// Blocks up to this size come from glibc's per-thread cache when taken by
// malloc, but not when moved by realloc.
constexpr std::size_t kThreadCacheBytes = 1024;

using System::PageBytes;

// Advice only: where it is refused (huge pages disabled, an older kernel), the
// block is simply used with small pages. The advice covers every whole page
// of the block up to the end of its usable size: a large block that the
// allocator maps on its own is then advised as one mapping. Advising only
// the huge pages inside it would split the mapping in three, and a split
// mapping cannot be grown in place (mremap refuses it), so every growth of
// the block would copy it.
void AdviseHugePages(void* memory, std::size_t bytes) noexcept {
    if (bytes < kAdviseFrom) return;
    std::uintptr_t const page = PageBytes();
    std::uintptr_t const first = std::uintptr_t(memory) & ~(page - 1);
    std::uintptr_t const last =
        (std::uintptr_t(memory) + System::UsableBytes(memory) + page - 1) & ~(page - 1);
    System::AdviseHugePages(first, last - first);
}

}  // namespace

void* CQEL_Allocate::AllocateMemory(std::size_t bytes) {
    if (bytes == 0) return nullptr;
    void* memory = std::malloc(bytes);
    if (!memory) throw std::bad_alloc();
    AdviseHugePages(memory, bytes);
    return memory;
}

void* CQEL_Allocate::AllocateGrowingMemory(std::size_t bytes, bool zeroed, std::size_t* room) {
    if (bytes == 0 || bytes > kRoundGrowthUpTo) {
        if (room) *room = bytes;
        return zeroed ? AllocateZeroedMemory(bytes) : AllocateMemory(bytes);
    }
    bytes = std::max(std::bit_ceil(bytes), kLeastGrowthRoom);
    void* memory = zeroed ? std::calloc(1, bytes) : std::malloc(bytes);
    if (!memory) throw std::bad_alloc();
    if (room) *room = bytes;
    return memory;
}

void* CQEL_Allocate::AllocateZeroedMemory(std::size_t bytes) {
    if (bytes == 0) return nullptr;
    if (bytes < kAdviseFrom) {
        void* memory = std::calloc(1, bytes);
        if (!memory) throw std::bad_alloc();
        return memory;
    }
    // A large block that the allocator hands out again would be cleared here,
    // on the calling thread. Its whole pages are given back to the system
    // instead, which maps zero pages in on first touch, wherever that
    // happens: several threads filling the block then share the clearing.
    // (Allocators hand out private anonymous memory, where a page given back
    // reads as zeros.) The few bytes beside those pages are cleared directly.
    auto* const memory = static_cast<unsigned char*>(std::malloc(bytes));
    if (!memory) throw std::bad_alloc();
    std::uintptr_t const page = PageBytes();
    std::uintptr_t const begin = std::uintptr_t(memory), end = begin + bytes;
    std::uintptr_t const first = (begin + page - 1) & ~(page - 1), last = end & ~(page - 1);
    std::memset(memory, 0, first - begin);
    std::memset(reinterpret_cast<void*>(last), 0, end - last);
    if (!System::GiveBackPages(first, last - first))
        std::memset(reinterpret_cast<void*>(first), 0, last - first);  // locked memory, say
    AdviseHugePages(memory, bytes);
    return memory;
}

void CQEL_Allocate::DeAllocateMemory(void* memory) noexcept {
    std::free(memory);
}

void* CQEL_Allocate::ReAllocateMemory(void* memory, std::size_t bytes, std::size_t* room) {
    if (memory && bytes <= kRoundGrowthUpTo) {
        // A block that grows is likely to grow again (arrays grow by half at
        // a time): it gets room up to the next power of two, and the steps
        // that then still fit are not the allocator's business at all.
        std::size_t const usable = System::UsableBytes(memory);
        if (bytes <= usable && (bytes > usable / 2 || usable < 2 * kLeastGrowthRoom)) {
            if (room) *room = usable;
            return memory;
        }
        if (bytes > usable) {
            bytes = std::bit_ceil(bytes);
            if (bytes <= kThreadCacheBytes) {
                // realloc would move a block this small through the
                // allocator's slow path, past its per-thread cache.
                void* moved = std::malloc(bytes);
                if (!moved) throw std::bad_alloc();
                std::memcpy(moved, memory, usable);
                std::free(memory);
                if (room) *room = bytes;
                return moved;
            }
        }
    }
    void* resized = std::realloc(memory, bytes ? bytes : 1);
    if (!resized) throw std::bad_alloc();
    AdviseHugePages(resized, bytes);
    if (room) *room = bytes;
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
