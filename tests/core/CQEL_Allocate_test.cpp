// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "core/CQEL_Allocate.h"

using namespace QEL::Core;

// Whatever room the allocator gives, a resize keeps the bytes, the room it
// reports is the block's own (a sanitized build checks the writes), and
// zeroed memory is zero.
TEST(Allocate, ResizesKeepTheBytesAndReportedRoomIsUsable) {
    std::size_t room = 0;
    auto* block = static_cast<unsigned char*>(CQEL_Allocate::AllocateMemory(40));
    std::memset(block, 7, 40);
    for (std::size_t bytes : {100u, 128u, 700u, 5000u, 3u << 20}) {
        block = static_cast<unsigned char*>(CQEL_Allocate::ReAllocateMemory(block, bytes, &room));
        ASSERT_GE(room, bytes);
        EXPECT_EQ(std::count(block, block + 40, 7), 40) << bytes;
        block[room - 1] = 9;
    }
    block = static_cast<unsigned char*>(CQEL_Allocate::ReAllocateMemory(block, 16));
    EXPECT_EQ(std::count(block, block + 16, 7), 16);
    CQEL_Allocate::DeAllocateMemory(block);

    for (std::size_t bytes : {1u, 24u, 129u, 4000u, 2u << 20}) {
        auto* grown = static_cast<unsigned char*>(CQEL_Allocate::AllocateGrowingMemory(bytes, true, &room));
        ASSERT_GE(room, bytes);
        EXPECT_EQ(std::count(grown, grown + bytes, 0), std::ptrdiff_t(bytes)) << bytes;
        grown[room - 1] = 1;
        CQEL_Allocate::DeAllocateMemory(grown);
    }
    EXPECT_EQ(CQEL_Allocate::AllocateMemory(0), nullptr);
}
