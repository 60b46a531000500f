#include <ombrel/spin_lock.h>

#include <cstdio>

#include <ombrel/assert.h>
#include <ombrel/heap.h>
#include <ombrel/short_lock.h>
#include <ombrel/timer.h>

#include "core/banner.h"
#include "core/short_lock_guard.h"
#include "platform/single_thread.h"

using namespace ombrel;

namespace {

constexpr const char source_name[] = "source/lock";
constexpr uint32_t no_limit = 0xFFFFFFFFu;
constexpr uint32_t most_references = 0xFFFFFFFFu;

/// Holds the guard word once it could be taken. Without another thread it is enough to see that it is free.
class guard_word {
public:
    explicit guard_word(ombrel_spin_lock_t& lock)
        : word_(&lock.m_guard), is_alone_(platform::has_one_thread()) {}
    ~guard_word() {
        if (held_ && !is_alone_)
            __atomic_store_n(word_, 0u, __ATOMIC_RELEASE);
    }
    guard_word(const guard_word&) = delete;
    guard_word& operator=(const guard_word&) = delete;

    bool try_take() {
        return held_ = was_free(is_alone_ ? *word_ : __atomic_exchange_n(word_, held_mark, __ATOMIC_ACQUIRE));
    }

private:
    volatile uint32_t* word_;
    const bool is_alone_;
    bool held_ = false;
};

// Under the guard; invariants look at the number without it.
void set_references(ombrel_spin_lock_t& lock, uint32_t count) {
    __atomic_store_n(&lock.m_reference_count, count, __ATOMIC_RELAXED);
}

bool try_reference(ombrel_spin_lock_t& lock, uint32_t mode, const char* tag, unsigned long line) {
    guard_word guard(lock);
    if (!guard.try_take() || lock.m_exclusive != 0 || lock.m_reference_count == most_references)
        return false;
    const bool exclusive = (mode & def_ombrel_spin_lock_exclusive_bit) != 0;
    if (exclusive && lock.m_reference_count != 0)
        return false;
    lock.m_exclusive = exclusive ? 1 : 0;
    if (lock.m_reference_count == 0) {
        lock.m_tag = tag;
        lock.m_line = line;
    }
    set_references(lock, lock.m_reference_count + 1);
    return true;
}

// Whether there was a reference to drop.
bool drop_reference(ombrel_spin_lock_t& lock) {
    guard_word guard(lock);
    for (bool first = true; !guard.try_take(); first = false)
        first ? ombrel_load_balance_short() : ombrel_load_balance();
    lock.m_exclusive = 0;
    if (lock.m_reference_count == 0)
        return false;
    set_references(lock, lock.m_reference_count - 1);
    return true;
}

} // namespace

int ombrel_init_spin_lock(ombrel_spin_lock_t* lock) {
    if (lock == nullptr) {
        ombrel_assert_fail_tag(source_name, "ombrel_init_spin_lock", __LINE__,
                               "s_this_spin_lock != ((ombrel_spin_lock_t *)0)");
        return -1;
    }
    *lock = {};
    return 0;
}

int ombrel_uninit_spin_lock(ombrel_spin_lock_t*) {
    return 0;
}

ombrel_spin_lock_t* ombrel_new_spin_lock(void) {
    return static_cast<ombrel_spin_lock_t*>(
        ombrel_calloc_tag(1, sizeof(ombrel_spin_lock_t), "ombrel_new_spin_lock", __LINE__));
}

int ombrel_free_spin_lock(ombrel_spin_lock_t* lock) {
    return ombrel_check_free_tag(lock, "ombrel_free_spin_lock", __LINE__);
}

int ombrel_reference_try_spin_lock_tag(ombrel_spin_lock_t* lock, uint32_t mode, const char* tag,
                                       unsigned long line) {
    return lock != nullptr && try_reference(*lock, mode, tag, line) ? 1 : 0;
}

int ombrel_reference_spin_lock_tag(ombrel_spin_lock_t* lock, uint32_t mode, const char* tag,
                                   unsigned long line) {
    return ombrel_reference_spin_lock_timeout_tag(lock, mode, no_limit, tag, line);
}

int ombrel_reference_spin_lock_timeout_tag(ombrel_spin_lock_t* lock, uint32_t mode, uint32_t timeout_ms,
                                           const char* tag, unsigned long line) {
    if (lock == nullptr)
        return 0;
    if (try_reference(*lock, mode, tag, line))
        return 1;
    ombrel_timer_t timer;
    ombrel_init_timer(&timer, timeout_ms);
    for (bool first = true; timeout_ms == no_limit || ombrel_check_timer(&timer) == 0; first = false) {
        first ? ombrel_load_balance_short() : ombrel_load_balance();
        if (try_reference(*lock, mode, tag, line))
            return 1;
    }
    return 0;
}

int ombrel_reference_spin_unlock_tag(ombrel_spin_lock_t* lock, const char* tag, unsigned long line) {
    if (lock == nullptr)
        return -1;
    if (drop_reference(*lock))
        return 0;
    fprintf(stderr,
            "\n%s\nombrel: [WARNING] unlock - invalid reference count (already unlocked ?, \"%s:%lu\")\n%s\n",
            rule_line, tag, line, rule_line);
    return -1;
}

int ombrel_try_spin_lock_tag(ombrel_spin_lock_t* lock, const char* tag, unsigned long line) {
    return ombrel_reference_try_spin_lock_tag(lock, def_ombrel_spin_lock_exclusive, tag, line);
}

int ombrel_spin_lock_tag(ombrel_spin_lock_t* lock, const char* tag, unsigned long line) {
    return ombrel_reference_spin_lock_tag(lock, def_ombrel_spin_lock_exclusive, tag, line);
}

int ombrel_spin_lock_timeout_tag(ombrel_spin_lock_t* lock, uint32_t timeout_ms, const char* tag,
                                 unsigned long line) {
    return ombrel_reference_spin_lock_timeout_tag(lock, def_ombrel_spin_lock_exclusive, timeout_ms, tag,
                                                  line);
}

int ombrel_spin_unlock_tag(ombrel_spin_lock_t* lock, const char* tag, unsigned long line) {
    return ombrel_reference_spin_unlock_tag(lock, tag, line);
}
