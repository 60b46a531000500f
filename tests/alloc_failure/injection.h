// Makes the library's allocations fail, one after the other, and looks at what it does about it.
#pragma once

#include <string>

#include <gtest/gtest.h>

#include <ombrel/heap.h>
#include <ombrel/short_lock.h>

#include "support/descriptor_balance.h"
#include "support/no_copy.h"

namespace ombrel_test {

/// The n-th allocation that the library makes during a call fails, or all from the n-th on, or at random one
/// in `one_in` with `nth` as the seed.
class injection {
public:
    enum class failing { once, from_then_on, at_random };

    injection(unsigned nth, failing mode, unsigned one_in = 0) : nth_(nth), one_in_(one_in), mode_(mode) {}

    /// Runs the call with the failure armed for allocations of the calling thread, and standard output
    /// silenced. (So is standard error for the whole scenario: reports of missing memory are expected, of
    /// damage to the heap not.)
    template<typename Call>
    auto during(Call call) {
        const armed_scope scope(*this, false);
        return call();
    }

    /// The same for allocations of any thread.
    template<typename Call>
    auto during_on_all_threads(Call call) {
        const armed_scope scope(*this, true);
        return call();
    }

    /// Ends the failures of the call that is under way, on whichever thread.
    static void relent();

    /// Whether an allocation of the last call was made to fail; of any call.
    bool hit() const { return hit_; }
    bool ever_hit() const { return ever_hit_; }

    failing mode() const { return mode_; }

private:
    class armed_scope : no_copy {
    public:
        armed_scope(injection& owner, bool all_threads);
        ~armed_scope();

    private:
        injection& owner_;
        int saved_;
    };

    unsigned nth_, one_in_;
    unsigned throws_ = 0; ///< of the dice, over all calls
    failing mode_;
    bool hit_ = false, ever_hit_ = false;
};

/// Runs the scenario with each of its allocations failing in turn, once alone and, unless `once_only`, with
/// all after it; then with several at random.
void fail_each_allocation(void (*scenario)(injection& fail), bool once_only);

/// Defines a scenario as a test: a use of the library, or several calls in each of which the failure is armed
/// anew. Each must give its documented result whether memory runs out or not, and all leave nothing behind.
#define OMBREL_FAILURES(group, name) OMBREL_FAILURE_TEST(group, name, false)
/// For those that take locks again after a wait: with no memory at all that is tried for 40 seconds.
#define OMBREL_FAILURE_ONCE(group, name) OMBREL_FAILURE_TEST(group, name, true)

#define OMBREL_FAILURE_TEST(group, name, once_only)                                                          \
    void group##_##name(injection& fail);                                                                    \
    TEST(AllocationFailure##group, name) {                                                                   \
        fail_each_allocation(group##_##name, once_only);                                                     \
    }                                                                                                        \
    void group##_##name(injection& fail)

inline void free_block(void* block) {
    ombrel_free(block);
}

/// For functions that give null exactly when they could not do all their work.
template<typename Release, typename Call>
void null_when_hit(injection& fail, Release release, Call call) {
    auto* result = fail.during(call);
    EXPECT_EQ(fail.hit(), result == nullptr);
    if (result != nullptr)
        release(result);
}

/// Waits for threads that free what they had after a call has returned.
inline void wait_for_blocks(size_t blocks) {
    for (int i = 0; i < 2000 && ombrel_get_alloc_count() != blocks; i++)
        ombrel_load_balance_short();
}

/// For functions that may make up for a failure, and for objects whose threads free what they had after they
/// were closed.
template<typename Release, typename Call>
void opened_or_hit(injection& fail, Release release, Call call) {
    const descriptor_balance descriptors;
    const size_t blocks = ombrel_get_alloc_count();
    auto* result = fail.during(call);
    EXPECT_TRUE(result != nullptr || fail.hit());
    if (result != nullptr)
        release(result);
    wait_for_blocks(blocks);
}

/// For functions that give a heap string, or null when memory runs out; a failure that they could make up for
/// must not show in the text.
template<typename Call>
void text_or_null(injection& fail, const char* expected, Call call) {
    char* text = fail.during(call);
    if (text == nullptr) {
        EXPECT_TRUE(fail.hit()) << "for " << expected;
        return;
    }
    EXPECT_STREQ(expected, text);
    ombrel_free(text);
}

} // namespace ombrel_test
