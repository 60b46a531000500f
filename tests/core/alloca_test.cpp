#include <cstdint>
#include <cstring>

#include <gtest/gtest.h>

#include <ombrel/alloca.h>
#include <ombrel/heap.h>

#include "support/heap_balance.h"

namespace {

using Alloca = ombrel_test::balanced_test;

// Takes a block in each of `depth` nested frames and returns how many were live in the innermost one. The
// result passes through memory, so that no frame is folded into the next.
[[gnu::noinline]] size_t take_in_frames(unsigned depth) {
    volatile size_t live = 0;
    void* block = ombrel_alloca(32);
    memset(block, static_cast<int>(depth), 32);
    live = depth > 1 ? take_in_frames(depth - 1) : ombrel_alloca_count();
    for (unsigned i = 0; i < 32; i++)
        EXPECT_EQ(depth, static_cast<unsigned char*>(block)[i]) << "an inner frame released an outer block";
    return live;
}

[[gnu::noinline]] size_t take_twice_in_one_frame() {
    volatile size_t live = 0;
    auto* first = static_cast<char*>(ombrel_alloca(1));
    *first = 'a';
    auto* second = static_cast<char*>(ombrel_alloca(1));
    *second = 'b';
    EXPECT_NE(first, second);
    EXPECT_EQ('a', *first);
    live = ombrel_alloca_count();
    return live;
}

TEST_F(Alloca, ReleasesBlocksOfFramesThatReturned) {
    EXPECT_EQ(nullptr, ombrel_alloca(0));
    ASSERT_EQ(0u, ombrel_alloca_count());
    EXPECT_EQ(5u, take_in_frames(5));
    EXPECT_EQ(5u, ombrel_alloca_count()) << "nothing is released before the next call";
    EXPECT_EQ(nullptr, ombrel_alloca(0));
    EXPECT_EQ(0u, ombrel_alloca_count());
    EXPECT_EQ(2u, take_twice_in_one_frame());
    EXPECT_EQ(nullptr, ombrel_alloca(SIZE_MAX - 3)) << "an overflowing size still releases";
    EXPECT_EQ(0u, ombrel_alloca_count());
}

[[gnu::noinline]] void overwrite_link() {
    auto** data = static_cast<void**>(ombrel_alloca(8));
    data[-2] = reinterpret_cast<void*>(static_cast<uintptr_t>(0x4141414141414141u));
}

TEST_F(Alloca, EndsItsChainAtAnOverwrittenLink) {
    overwrite_link();
    EXPECT_EQ(nullptr, ombrel_alloca(0));
    EXPECT_EQ(0u, ombrel_alloca_count());
}

#if defined(__i386__) || defined(__x86_64__) || defined(__arm__) || defined(__aarch64__)
[[gnu::noinline]] int direction_from_depth(unsigned depth) {
    volatile int direction = depth > 0 ? direction_from_depth(depth - 1) : ombrel_detect_stack_direction();
    return direction;
}

TEST(StackDirection, IsDownwardsFromAnyDepth) {
    EXPECT_EQ(-1, direction_from_depth(20));
    EXPECT_EQ(-1, ombrel_detect_stack_direction());
}
#endif

} // namespace
