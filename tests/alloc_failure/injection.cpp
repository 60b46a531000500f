#include "alloc_failure/injection.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

#include <ombrel/short_lock.h>

#include "support/capture.h"
#include "support/descriptor_balance.h"

namespace {

using ombrel_test::injection;

// The state that the replaced allocation functions look at.
std::atomic<bool> armed;
std::atomic<bool> all_threads;
std::atomic<bool> goes_on;
std::atomic<unsigned> left; // allocations before the one that fails; 0 when it was reached
std::atomic<bool> reached;
std::atomic<unsigned> one_in; // so many allocations have one at random that fails; 0 when they are counted
std::atomic<unsigned> dice;
thread_local bool armed_thread;

bool throw_dice() {
    unsigned value = dice.fetch_add(1) * 2654435761u;
    value ^= value >> 15;
    return value * 2246822519u >> 16 < 65536 / one_in;
}

bool fails_now() {
    if (!armed || (!all_threads && !armed_thread))
        return false;
    if (one_in > 0) {
        const bool fails = throw_dice();
        reached = reached || fails;
        return fails;
    }
    if (reached)
        return goes_on;
    if (left.fetch_sub(1) != 1)
        return false;
    reached = true;
    return true;
}

template<typename Allocate>
void* allocate_unless_failing(Allocate allocate, void* none = nullptr) {
    if (!fails_now())
        return allocate();
    errno = ENOMEM;
    return none;
}

} // namespace

// The linker puts these in place of the C library's functions in the library's own objects.
extern "C" {
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void* __real_realloc(void* block, size_t size);
void* __real_mmap64(void* at, size_t size, int protection, int flags, int file, off64_t offset);

void* __wrap_malloc(size_t size) {
    return allocate_unless_failing([=] { return __real_malloc(size); });
}
void* __wrap_calloc(size_t count, size_t size) {
    return allocate_unless_failing([=] { return __real_calloc(count, size); });
}
void* __wrap_realloc(void* block, size_t size) {
    return allocate_unless_failing([=] { return __real_realloc(block, size); });
}
// So is mmap() called where offsets have 64 bits on any processor.
void* __wrap_mmap64(void* at, size_t size, int protection, int flags, int file, off64_t offset) {
    return allocate_unless_failing([=] { return __real_mmap64(at, size, protection, flags, file, offset); },
                                   MAP_FAILED);
}
}

namespace ombrel_test {

injection::armed_scope::armed_scope(injection& owner, bool everywhere)
    : owner_(owner), saved_(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3)) {
    fflush(stdout);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
    left = owner.nth_;
    one_in = owner.one_in_;
    if (owner.one_in_ > 0)
        dice = owner.nth_ + owner.throws_;
    goes_on = owner.mode_ == failing::from_then_on;
    reached = false;
    all_threads = everywhere;
    armed_thread = true;
    armed = true;
}

void injection::relent() {
    armed = false;
}

injection::armed_scope::~armed_scope() {
    relent();
    armed_thread = false;
    owner_.throws_ = dice - owner_.nth_;
    owner_.hit_ = reached;
    owner_.ever_hit_ |= reached;
    fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
}

namespace {

// The heap keeps some freed blocks for the next request; with blocks of a size that nothing asks for in their
// places, every request reaches the platform's allocator.
void displace_kept_blocks() {
    constexpr size_t unusual_size = 8188;
    void* blocks[64];
    for (void*& block : blocks)
        block = ombrel_alloc(unusual_size);
    for (void* block : blocks)
        ombrel_free(block);
}

void run_scenario(void (*scenario)(injection& fail), injection& fail, const std::string& what) {
    SCOPED_TRACE(what);
    displace_kept_blocks();
    const size_t blocks = ombrel_get_alloc_count();
    std::optional<capture> errors;
    if (getenv("OMBREL_TEST_LOUD") == nullptr)
        errors.emplace(stderr);
    {
        const descriptor_balance descriptors;
        scenario(fail);
        // Threads may free what they had after a call has returned.
        for (int i = 0; i < 2000 && ombrel_get_alloc_count() != blocks; i++)
            ombrel_load_balance_short();
    }
    const std::string reports = errors ? errors->text() : "";
    EXPECT_EQ(std::string::npos, reports.find("fatal error")) << reports;
    EXPECT_EQ(blocks, ombrel_get_alloc_count()) << "blocks were leaked or freed twice";
}

// Runs the scenario until its last allocation was made to fail; gives how many there are.
unsigned count_failures(void (*scenario)(injection& fail), injection::failing mode) {
    constexpr unsigned most = 5000;
    for (unsigned nth = 1; nth < most; nth++) {
        injection fail(nth, mode);
        run_scenario(scenario, fail,
                     "allocation " + std::to_string(nth) +
                         (mode == injection::failing::once ? " fails" : " and all after it fail"));
        if (!fail.ever_hit() || ::testing::Test::HasFailure())
            return nth - 1;
    }
    ADD_FAILURE() << "the scenario never ends";
    return most;
}

// One in fifty allocations fails, or, where a scenario has few, so many that two can be expected to.
void fail_at_random(void (*scenario)(injection& fail), unsigned allocations) {
    constexpr unsigned passes = 20;
    const unsigned chance = std::clamp(allocations / 2, 2u, 50u);
    for (unsigned pass = 0; pass < passes && !::testing::Test::HasFailure(); pass++) {
        injection fail(pass * 1000, injection::failing::at_random, chance);
        run_scenario(scenario, fail,
                     "random pass " + std::to_string(pass) + ", one in " + std::to_string(chance));
    }
}

} // namespace

void fail_each_allocation(void (*scenario)(injection& fail), bool once_only) {
    const unsigned single = count_failures(scenario, injection::failing::once);
    if (::testing::Test::HasFailure() || ::testing::Test::IsSkipped())
        return;
    EXPECT_LT(0u, single) << "nothing was allocated, so nothing was tested";
    if (!once_only)
        count_failures(scenario, injection::failing::from_then_on);
    fail_at_random(scenario, single);
}

} // namespace ombrel_test
