#include <atomic>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/heap.h>

#include "support/capture.h"
#include "support/child.h"
#include "support/heap_balance.h"
#include "support/heap_block.h"
#include "support/matches.h"
#include "support/threads.h"

// Requests that no machine can meet must come back as null from the sanitizers' allocators too.
extern "C" const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}
extern "C" const char* __tsan_default_options() {
    return "allocator_may_return_null=1";
}

namespace {

using ombrel_test::capture;
using ombrel_test::header_of;
using ombrel_test::matches;

constexpr size_t block_overhead = sizeof(void*) == 8 ? 52 : 28;
static_assert(sizeof(ombrel_heap_block_t) == 6 * sizeof(void*));

struct figures {
    size_t count, size, peak;

    figures() {
        EXPECT_EQ(0, ombrel_get_alloc_info(&count, &size, &peak));
        EXPECT_EQ(count, ombrel_get_alloc_count());
        EXPECT_EQ(size, ombrel_get_alloc_size());
        EXPECT_EQ(peak, ombrel_get_alloc_peak_size());
    }
};

using Heap = ombrel_test::balanced_test;

TEST_F(Heap, CountsEachBlockWithItsOverhead) {
    for (const size_t request : std::initializer_list<size_t>{1, 4, 5, 956, 960, 4144, 8192, 8196, 200'001}) {
        const size_t rounded = (request + 3) / 4 * 4;
        const figures before;
        void* ptr = ombrel_alloc_tag(request, "tester", 7);
        ASSERT_NE(nullptr, ptr);
        const figures held;
        EXPECT_EQ(before.count + 1, held.count);
        EXPECT_EQ(before.size + rounded + block_overhead, held.size);
        EXPECT_GE(held.peak, held.size);
        EXPECT_EQ(0, ombrel_free_tag(ptr, "tester", 8));
        const figures after;
        EXPECT_EQ(before.count, after.count);
        EXPECT_EQ(before.size, after.size);
        EXPECT_EQ(held.peak, after.peak);
    }
    EXPECT_EQ(0, ombrel_get_alloc_info(nullptr, nullptr, nullptr));
    const figures before;
    void* const most = ombrel_alloc(before.peak);
    EXPECT_EQ(figures().size, figures().peak) << "there was never more";
    ombrel_free(most);
}

TEST_F(Heap, LaysOutHeaderDataAndTrailer) {
    static const char tag[] = "owner";
    void* older = ombrel_alloc_tag(8, "older", 1);
    void* ptr = ombrel_alloc_tag(5, tag, 123);
    void* newer = ombrel_alloc_tag(8, "newer", 2);
    const ombrel_heap_block_t* block = header_of(ptr);
    EXPECT_EQ(header_of(newer), block->m_newer);
    EXPECT_EQ(header_of(older), block->m_older);
    EXPECT_EQ(tag, block->m_tag);
    EXPECT_EQ(123u, block->m_line);
    EXPECT_EQ(block, block->m_self);
    EXPECT_EQ(8u, block->m_size);
    constexpr uint32_t trailer = 0xA55A55AA;
    EXPECT_EQ(0, memcmp(static_cast<char*>(ptr) + 8, &trailer, sizeof trailer));
    EXPECT_EQ(nullptr, header_of(newer)->m_newer);
    ombrel_free(ptr);
    EXPECT_EQ(header_of(older), header_of(newer)->m_older);
    EXPECT_EQ(header_of(newer), header_of(older)->m_newer);
    ombrel_free(newer);
    EXPECT_EQ(nullptr, header_of(older)->m_newer);
    ombrel_free(older);
}

TEST_F(Heap, ZeroSizesAndNullPointersAreReportedExceptForOperatorDelete) {
    capture errors(stderr);
    void* ptr = ombrel_alloc_tag(0, "nobody", 9);
    ASSERT_NE(nullptr, ptr);
    EXPECT_EQ(0u, header_of(ptr)->m_size);
    EXPECT_EQ(0, ombrel_free_tag(ptr, "nobody", 10));
    EXPECT_EQ(0, ombrel_free_tag(nullptr, "operator delete", 0));
    EXPECT_EQ(0, ombrel_check_free_tag(nullptr, "somebody", 3));
    EXPECT_EQ(0, ombrel_free_tag(nullptr, "operator delete[]", 4));
    EXPECT_EQ("zero size allocation ? (at \"nobody\":9)\n"
              "null pointer free ? (at \"operator delete[]\":4)\n",
              errors.text());
}

TEST_F(Heap, AnswersRequestsThatNoMachineCanMeet) {
    void* kept = ombrel_calloc_tag(3, 4, "kept", 1);
    capture errors(stderr);
    EXPECT_EQ(nullptr, ombrel_alloc_tag(SIZE_MAX, "wrap", 1));
    EXPECT_EQ(nullptr, ombrel_alloc_tag(SIZE_MAX - block_overhead, "wrap", 2));
    EXPECT_EQ(nullptr, ombrel_realloc_tag(kept, SIZE_MAX / 2, "huge", 3));
    const std::string text = errors.text();
    // A sanitizer adds a line of its own.
    EXPECT_TRUE(matches(text, "not enough memory \\(overflow size, at \"wrap\":1\\)\n"
                              "not enough memory \\(overflow size, at \"wrap\":2\\)\n"
                              "(==[0-9]+==[^\n]*\n)?not enough memory \\(at \"huge\":3\\)\n"
                              "ombrel \\[ASSERT:source/heap:ombrel_heap_tag:210\\] "
                              "<s_size < \\(\\(size_t\\)\\(4u << 20\\)\\)> [^\n]*\n"));
    EXPECT_EQ(std::string(12, '\0'), std::string(static_cast<char*>(kept), 12));
    ombrel_free(kept);
}

TEST_F(Heap, ResizesByTheStoredSize) {
    auto* first = static_cast<char*>(ombrel_alloc(5));
    memcpy(first, "1234567", 8);
    EXPECT_EQ(first, ombrel_realloc(first, 8)) << "8 is the stored size";
    auto* same = static_cast<char*>(ombrel_realloc_tag(first, 5, "again", 1));
    EXPECT_NE(first, same) << "the unrounded request differs from the stored size";
    EXPECT_EQ(0, memcmp(same, "12345", 5));
    auto* grown = static_cast<char*>(ombrel_heap_tag(same, 100'000, "grown", 77));
    EXPECT_EQ(0, memcmp(grown, "12345", 5));
    EXPECT_STREQ("grown", header_of(grown)->m_tag);
    EXPECT_EQ(77u, header_of(grown)->m_line);
    auto* shrunk = static_cast<char*>(ombrel_heap_notag(grown, 4));
    EXPECT_EQ(0, memcmp(shrunk, "1234", 4));
    EXPECT_STREQ("<NOTAG>", header_of(shrunk)->m_tag);
    EXPECT_EQ(0u, header_of(shrunk)->m_line);
    EXPECT_EQ(nullptr, ombrel_heap_tag(shrunk, 0, "freed", 1));
}

TEST_F(Heap, ANullPointerHasASubstitute) {
    int here, there;
    EXPECT_EQ(&here, ombrel_check_ptr(&here, &there));
    EXPECT_EQ(&there, ombrel_check_ptr(nullptr, &there));
}

struct walk_record {
    std::vector<const ombrel_heap_block_t*> seen;
    size_t stop_at = SIZE_MAX;

    static int record(const ombrel_heap_block_t* block, void* context) {
        auto* walk = static_cast<walk_record*>(context);
        if (walk->seen.size() == walk->stop_at)
            return 1;
        walk->seen.push_back(block);
        return 0;
    }
};

TEST_F(Heap, WalksLiveBlocksNewestFirst) {
    void* blocks[] = {ombrel_alloc(1), ombrel_alloc(2), ombrel_alloc(3)};
    walk_record all, bounded, stopped;
    stopped.stop_at = 2;
    EXPECT_EQ(ombrel_get_alloc_count(), ombrel_get_alloc_list(0, walk_record::record, &all));
    EXPECT_EQ(1u, ombrel_get_alloc_list(1, walk_record::record, &bounded));
    EXPECT_EQ(2u, ombrel_get_alloc_list(-1, walk_record::record, &stopped));
    ASSERT_LE(3u, all.seen.size());
    for (size_t i = 0; i < 3; i++)
        EXPECT_EQ(header_of(blocks[2 - i]), all.seen[i]);
    EXPECT_EQ(1u, bounded.seen.size());
    EXPECT_EQ(0u, ombrel_get_alloc_list(0, nullptr, nullptr));
    for (void* block : blocks)
        ombrel_free(block);
}

void churn(unsigned seed, std::atomic<unsigned>& faults) {
    constexpr size_t slots = 16;
    unsigned char* blocks[slots] = {};
    size_t sizes[slots] = {};
    for (unsigned round = 0; round < 3000; round++) {
        seed = seed * 1664525u + 1013904223u;
        const size_t slot = seed >> 8 & (slots - 1);
        const size_t size = 1 + (seed >> 16 & 31) * 300; // few sizes, so that freed blocks are used again
        const auto mark = static_cast<unsigned char>(slot);
        for (size_t i = 0; i < std::min(size, sizes[slot]); i++)
            faults += blocks[slot][i] != mark;
        blocks[slot] = static_cast<unsigned char*>(ombrel_heap_tag(blocks[slot], size, "churn", round));
        memset(blocks[slot], mark, size);
        sizes[slot] = size;
    }
    for (unsigned char* block : blocks)
        ombrel_check_free(block);
}

TEST_F(Heap, KeepsItsListUnderManyThreads) {
    std::atomic<unsigned> faults = 0;
    ombrel_test::in_threads(5, [&faults](int thread) {
        if (thread != 0)
            return churn(static_cast<unsigned>(thread), faults);
        for (int i = 0; i < 50; i++) {
            walk_record walk;
            walk.seen.reserve(4096);
            ombrel_get_alloc_list(1000, walk_record::record, &walk);
        }
    });
    EXPECT_EQ(0u, faults.load());
}

// The thread sanitizer does not follow a fork among threads, and an allocator of the address sanitizer may be
// held by one of them.
#if !defined(__SANITIZE_THREAD__) && !defined(__SANITIZE_ADDRESS__)
TEST_F(Heap, IsWholeInAChildForkedAmongBusyThreads) {
    OMBREL_TEST_NEEDS_FORK();
    std::atomic<bool> stop = false;
    ombrel_test::in_threads(4, [&stop](int thread) {
        int failed = 0;
        for (int i = 0; thread == 0 && i < 60 && failed == 0; i++)
            failed = ombrel_test::in_child([] { return ombrel_free(ombrel_alloc(1000)) == 0; });
        EXPECT_EQ(0, failed) << "a lock of the heap stayed held";
        if (thread == 0)
            stop = true;
        while (!stop)
            ombrel_free(ombrel_alloc(1000));
    });
}
#endif

} // namespace
