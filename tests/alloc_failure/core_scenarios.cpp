// The heap and the modules that stand directly on it.
#include <atomic>
#include <cstring>
#include <thread>

#include <ombrel/alloca.h>
#include <ombrel/assert.h>
#include <ombrel/exception.h>
#include <ombrel/lock.h>
#include <ombrel/lock_condition.h>
#include <ombrel/slab.h>
#include <ombrel/spin_lock.h>

#include "alloc_failure/injection.h"
#include "support/capture.h"
#include "support/matches.h"
#include "support/threads.h"

namespace ombrel_test {
namespace {

/// What a call that runs out of memory prints as an error.
template<typename Call>
auto with_errors(injection& fail, std::string& text, Call call) {
    return fail.during([&] {
        capture errors(stderr);
        const auto result = call();
        text = errors.text();
        return result;
    });
}

// An assertion follows from four megabytes on. The largest begins where no block has been, so that the heap
// needs memory for its accounts too.
OMBREL_FAILURES(Core, alloc) {
    constexpr size_t span_of_accounts = size_t{1} << (sizeof(void*) == 8 ? 30 : 24);
    constexpr const char* large_report = "not enough memory \\(at \"asker\":3\\)\n"
                                         "ombrel \\[ASSERT:source/heap:ombrel_heap_tag:210\\] [^\n]*\n";
    const struct {
        size_t size;
        const char* report;
    } cases[] = {{(4u << 20) - 4, "not enough memory \\(at \"asker\":3\\)\n"},
                 {5u << 20, large_report},
                 {span_of_accounts, large_report}};
    for (const auto& c : cases) {
        std::string text;
        void* block = with_errors(fail, text, [&] { return ombrel_alloc_tag(c.size, "asker", 3); });
        EXPECT_EQ(fail.hit(), block == nullptr);
        EXPECT_TRUE(matches(text, fail.hit() ? c.report : ""));
        ombrel_check_free(block);
    }
}

OMBREL_FAILURES(Core, new_records) {
    null_when_hit(fail, free_block, [] { return ombrel_calloc(10, 10); });
    null_when_hit(fail, ombrel_free_spin_lock, ombrel_new_spin_lock);
    null_when_hit(
        fail, [](ombrel_lock_t* lock) { ombrel_free_lock(lock); }, [] { return ombrel_new_lock(); });
    null_when_hit(
        fail, [](ombrel_lock_condition_t* condition) { ombrel_free_lock_condition(condition); },
        [] { return ombrel_new_lock_condition(); });
}

OMBREL_FAILURES(Core, realloc) {
    auto* block = static_cast<char*>(ombrel_alloc(8));
    memcpy(block, "1234567", 8);
    auto* moved = static_cast<char*>(fail.during([block] { return ombrel_realloc(block, 5000); }));
    EXPECT_EQ(fail.hit(), moved == nullptr);
    EXPECT_STREQ("1234567", moved != nullptr ? moved : block);
    ombrel_free(moved != nullptr ? moved : block);
}

[[gnu::noinline]] void take_on_stack(injection& fail) {
    void* block = fail.during([] { return ombrel_alloca(10); });
    EXPECT_EQ(fail.hit(), block == nullptr);
    EXPECT_EQ(fail.hit() ? 0u : 1u, ombrel_alloca_count());
}

OMBREL_FAILURES(Core, alloc_on_stack) {
    take_on_stack(fail);
    ombrel_alloca(0);
}

OMBREL_FAILURES(Core, add_exception) {
    std::string text;
    void* section = with_errors(fail, text, [] { return ombrel_add_exception(); });
    EXPECT_EQ(fail.hit(), section == nullptr);
    EXPECT_TRUE(matches(text, fail.hit() ? "ombrel \\[ASSERT:source/exception:ombrel_add_exception_tag:84\\] "
                                           "<not enough memory> [^\n]*\n"
                                         : ""));
    if (section != nullptr)
        ombrel_del_exception(section);
}

OMBREL_FAILURES(Core, assertf) {
    std::string text;
    EXPECT_EQ(0, with_errors(fail, text, [] { return ombrel_assertf_fail_tag("s", "f", 1, "%d", 7); }));
    if (text.find("<7>") == std::string::npos) {
        EXPECT_TRUE(fail.hit());
        EXPECT_NE(std::string::npos, text.find("<%d>")) << text;
    }
}

OMBREL_FAILURES(Core, lock) {
    ombrel_lock_t lock;
    ombrel_init_lock_tag(&lock, "init_here", 7);
    lock.m_flags |= def_ombrel_lock_flag_error;
    std::string text;
    const int result =
        with_errors(fail, text, [&] { return ombrel_lock_timeout_tag(&lock, 0, "caller", 5); });
    // A claim is asked for up to 64 times, so that a single failure does not show.
    EXPECT_EQ(fail.hit() && fail.mode() == injection::failing::from_then_on ? -1 : 0, result);
    if (result == 0) {
        EXPECT_EQ(0, ombrel_unlock(&lock));
    } else {
        const std::string report =
            "ombrel_lock: [ERROR] __ombrel_new_lock_claim failed ! (caller=\"caller:5\", "
            "initialized by \"init_here:7\")\n";
        EXPECT_EQ(text.size() - report.size(), text.find("ombrel_lock")) << text;
        EXPECT_NE(std::string::npos, text.find(report)) << text;
    }
    EXPECT_EQ(1, ombrel_try_lock(&lock));
    ombrel_unlock(&lock);
    ombrel_uninit_lock(&lock);
}

OMBREL_FAILURE_ONCE(Core, lock_condition_wait) {
    ombrel_lock_t lock;
    ombrel_lock_condition_t condition;
    ombrel_init_lock(&lock);
    ombrel_init_lock_condition_tag(&condition, "t", 1);
    ombrel_lock(&lock);
    EXPECT_EQ(
        0, fail.during([&] { return ombrel_lock_condition_wait_timeout_tag(&condition, &lock, 1, "t", 2); }));
    EXPECT_EQ(0, ombrel_try_lock(&lock));
    EXPECT_EQ(0, ombrel_unlock(&lock));
    ombrel_uninit_lock_condition_tag(&condition, "t", 3);
    ombrel_uninit_lock(&lock);
}

// A waiter that was woken under the held lock stands in its line. Without memory for its claim it gives that
// place up, and the next one has its turn.
TEST(AllocationFailureCore, LockAfterConditionWait) {
    const size_t blocks = ombrel_get_alloc_count();
    ombrel_lock_t lock = def_ombrel_lock_initializer;
    ombrel_lock_condition_t condition = def_ombrel_lock_condition_initializer;
    std::atomic<bool> waits = false, had_turn = false;
    injection fail(1, injection::failing::from_then_on);
    std::thread waiter([&] {
        ombrel_lock(&lock);
        waits = true;
        EXPECT_EQ(0, fail.during([&] { return ombrel_lock_condition_wait(&condition, &lock); }));
        EXPECT_TRUE(fail.hit() && had_turn);
        EXPECT_EQ(0, ombrel_unlock(&lock));
    });
    await([&] { return waits.load(); });
    ombrel_lock(&lock);
    EXPECT_EQ(0, ombrel_lock_condition_wakeup(&condition));
    std::thread next([&] {
        EXPECT_EQ(0, ombrel_lock(&lock));
        had_turn = true;
        injection::relent();
        EXPECT_EQ(0, ombrel_unlock(&lock));
    });
    await([&] {
        ombrel_short_lock(&lock.m_guard);
        const bool both_in_line = lock.m_waiters_head != lock.m_waiters_tail;
        return ombrel_short_unlock(&lock.m_guard) == 0 && both_in_line;
    });
    EXPECT_EQ(0, ombrel_unlock(&lock));
    for (int i = 0; i < 2000 && !had_turn; i++)
        ombrel_load_balance();
    EXPECT_TRUE(had_turn) << "it was not told that its turn has come";
    next.join();
    waiter.join();
    EXPECT_EQ(blocks, ombrel_get_alloc_count());
}

OMBREL_FAILURES(Core, slab_fallback) {
    alignas(void*) char area[sizeof(ombrel_slab_t) + 16];
    ombrel_slab_t* slab = ombrel_init_slab(area, sizeof area, 8);
    ASSERT_NE(nullptr, slab);
    while (ombrel_slab_alloc(slab) != nullptr) {
    }
    null_when_hit(
        fail, [slab](void* block) { ombrel_slab_free_ex(slab, block, 1); },
        [slab] { return ombrel_slab_alloc_ex(slab, 1); });
}

} // namespace
} // namespace ombrel_test
