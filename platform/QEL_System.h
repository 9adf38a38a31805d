// SPDX-License-Identifier: MIT
// Small calls to the operating system that the rooms above need (internal to
// the library): memory pages and advice, the allocator's usable sizes, and
// thread priority. The memory calls are inline: the allocator makes them on
// every growth of a small block.
#pragma once

#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>

namespace QEL::Core::System {

// The size of a memory page.
inline std::uintptr_t PageBytes() noexcept {
    static std::uintptr_t const bytes = std::uintptr_t(::sysconf(_SC_PAGESIZE));
    return bytes;
}

// What a block from malloc really holds (at least what was asked for).
inline std::size_t UsableBytes(void* memory) noexcept {
    return ::malloc_usable_size(memory);
}

// Asks for transparent huge pages over [first, first + bytes) (whole pages).
// Advice only: where it is refused, small pages serve.
inline void AdviseHugePages(std::uintptr_t first, std::size_t bytes) noexcept {
#ifdef MADV_HUGEPAGE
    (void)::madvise(reinterpret_cast<void*>(first), bytes, MADV_HUGEPAGE);
#else
    (void)first, (void)bytes;
#endif
}

// Gives the whole pages [first, first + bytes) of private anonymous memory
// back to the system, which maps zero pages in on first touch; false where it
// refuses (locked memory, say), and the bytes are then unchanged.
inline bool GiveBackPages(std::uintptr_t first, std::size_t bytes) noexcept {
    return ::madvise(reinterpret_cast<void*>(first), bytes, MADV_DONTNEED) == 0;
}

// Lowers the calling thread's priority by one step (nice + 1, up to 19); 0 or errno.
int LowerThisThreadPriority() noexcept;

}  // namespace QEL::Core::System
