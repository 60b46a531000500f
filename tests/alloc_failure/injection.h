// Makes the library's allocations fail, one after the other, and looks at what it does about it.
#pragma once

#include <string>

#include <gtest/gtest.h>

#include <ombrel/heap.h>

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

/// For functions that may make up for a failure.
template<typename Release, typename Call>
void opened_or_hit(injection& fail, Release release, Call call) {
    auto* result = fail.during(call);
    EXPECT_TRUE(result != nullptr || fail.hit());
    if (result != nullptr)
        release(result);
}

/// The same for those that give a number, and -1 when memory runs out. @return the number
template<typename Call>
int done_or_refused(injection& fail, Call call, int done = 0) {
    const int result = fail.during(call);
    EXPECT_TRUE(result == done || (result == -1 && fail.hit())) << result;
    return result;
}

/// For those that give -1 exactly when they could not do all their work, otherwise 0. @return whether they
/// did
template<typename Call>
bool refused_when_hit(injection& fail, Call call) {
    const int result = fail.during(call);
    EXPECT_EQ(fail.hit() ? -1 : 0, result);
    return result == 0;
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
