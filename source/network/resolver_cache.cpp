#include <ombrel/resolver_cache.h>

#include <algorithm>
#include <atomic>
#include <utility>

#include <ombrel/heap.h>
#include <ombrel/lock.h>
#include <ombrel/lock_condition.h>
#include <ombrel/output.h>
#include <ombrel/service.h>
#include <ombrel/short_lock.h>
#include <ombrel/time.h>

#include "core/deadline.h"
#include "core/invariant.h"
#include "core/lock_guard.h"
#include "network/resolver_cache_internal.h"

using namespace ombrel;

namespace {

/// What the service thread is at: in no look-up, in one that asks nobody, or in one that may ask a name
/// server and hang. The closer takes the cache from an idle thread, which then begins no look-up any more; a
/// thread that hangs gets the cache instead, once the closer has done with it.
enum class stage : uint32_t { idle, looking_up, asking, being_left, left_behind, closed };

} // namespace

struct ombrel_resolver_cache_ts {
    ombrel_lock_t lock;
    uint64_t now OMBREL_GUARDED_BY(lock); ///< the time of the last look at the clock, in milliseconds
    int expiry;                           ///< in milliseconds; 0 and less keep entries for ever
    cache_table names OMBREL_GUARDED_BY(lock);
    request_queue
        pending OMBREL_GUARDED_BY(lock); ///< its first entry is the one that the service thread resolves
    uint64_t next_check OMBREL_GUARDED_BY(lock);  ///< when to look for expired entries
    uint64_t resolutions OMBREL_GUARDED_BY(lock); ///< how many have been done
    std::atomic<stage> thread_stage;
    std::atomic<bool> closing; ///< the service thread begins no further look-up
    resolver_listener listener;
    ombrel_service_t* service;
    ombrel_lock_condition_t work;     ///< wakes the service thread
    ombrel_lock_condition_t progress; ///< wakes those who wait for an answer, and the closer
};

namespace {

constexpr int default_expiry = 3'600'000;

// The longest time between two looks for expired entries.
constexpr uint64_t check_interval = 1000;

// In milliseconds, as all here.
constexpr int longest_sleep = 1000;

// How long a close waits for a look-up before it leaves it behind.
constexpr int longest_farewell = 500;

constexpr char service_name[] = "ombrel_resolver_cache_service";
constexpr char get_name[] = "ombrel_get_resolver_cache_with_handler";
constexpr char close_name[] = "ombrel_close_resolver_cache";

class OMBREL_GUARD_CLASS cache_guard : public lock_guard {
public:
    // What is done under the lock is stamped with the time of taking it.
    cache_guard(ombrel_resolver_cache_t* cache, const char* function, unsigned long line)
        OMBREL_ACQUIRES(cache->lock) OMBREL_UNCHECKED : lock_guard(cache->lock, function, line) {
        if (*this)
            cache->now = ombrel_time_stamp_msec();
    }
    ~cache_guard() OMBREL_RELEASES() OMBREL_UNCHECKED {}
};

// Sleeps until the condition is woken, for as long as `wait_for_news()`, asked with the lock held, gives
// milliseconds; 0 does not sleep, so that no wake-up is missed. One who wakes others without the lock, for
// want of memory, is missed: therefore no sleep is endless. The check of locks does not look into what is
// handed over.
template<typename Wait>
void sleep_on(ombrel_resolver_cache_t* cache, ombrel_lock_condition_t& condition, const char* function,
              Wait wait_for_news) {
    if (ombrel_lock_timeout_tag(&cache->lock, def_ombrel_infinite, function, __LINE__) != 0) {
        ombrel_load_balance_short();
        return;
    }
    const auto wait = static_cast<uint32_t>(shorter_wait(wait_for_news(), longest_sleep));
    const bool held = wait == 0 || ombrel_lock_condition_wait_timeout_tag(&condition, &cache->lock, wait,
                                                                          function, __LINE__) == 0;
    if (held)
        ombrel_unlock_tag(&cache->lock, function, __LINE__);
}

// Makes sure that a name is pending; null when memory runs out. The newest handler wins.
cache_entry* ensure_request(ombrel_resolver_cache_t* cache, cache_key key, cache_handler handler)
    OMBREL_REQUIRES(cache->lock) {
    OMBREL_INVARIANT(is_held(cache->lock));
    cache_entry* entry = cache->names.find(key);
    if (entry == nullptr) {
        entry = new_cache_entry(key, "ombrel_request_resolver_cache_with_handler", __LINE__);
        if (entry == nullptr)
            return nullptr;
        if (!cache->names.insert(entry)) {
            free_cache_entry(entry);
            return nullptr;
        }
    }
    if (!std::exchange(entry->pending, true))
        cache->pending.append(entry);
    if (handler.call != nullptr)
        entry->handler = handler;
    entry->used_at = cache->now;
    return entry;
}

// A copy of an entry's answer; it counts as use.
ombrel_resolver_t* use_answer(const ombrel_resolver_cache_t* cache, cache_entry& entry)
    OMBREL_REQUIRES(cache->lock) {
    OMBREL_INVARIANT(is_held(cache->lock));
    entry.used_at = cache->now;
    return ombrel_duplicate_resolver(entry.answer);
}

/// A get that waits until a resolution later than those it has seen answers its name.
class answer_wait {
public:
    answer_wait(ombrel_resolver_cache_t* cache, cache_key key, uint64_t seen)
        : cache_(cache), key_(key), seen_(seen) {}

    ombrel_resolver_t* run(int timeout_ms) {
        const deadline limit(timeout_ms);
        for (;;) {
            const bool last_look = limit.passed();
            if (look() || last_look)
                return answer_;
            sleep_on(cache_, cache_->progress, get_name,
                     [&]() OMBREL_UNCHECKED { return is_over(cache_->names.find(key_)) ? 0 : limit.left(); });
        }
    }

private:
    // One that is gone was answered and has expired already.
    bool is_over(const cache_entry* entry) const {
        return entry == nullptr || entry->answer != nullptr || entry->resolution > seen_;
    }
    bool look() {
        const cache_guard guard(cache_, get_name, __LINE__);
        if (!guard)
            return false;
        cache_entry* const entry = cache_->names.find(key_);
        if (entry != nullptr && entry->answer != nullptr)
            answer_ = use_answer(cache_, *entry);
        return is_over(entry);
    }

    ombrel_resolver_cache_t* cache_;
    cache_key key_;
    uint64_t seen_;
    ombrel_resolver_t* answer_ = nullptr;
};

// Brings the next look for expired entries forward to when this one would expire.
void expect_expiry(ombrel_resolver_cache_t* cache, const cache_entry& entry) OMBREL_REQUIRES(cache->lock) {
    if (cache->expiry > 0)
        cache->next_check = std::min(cache->next_check, entry.used_at + static_cast<uint64_t>(cache->expiry));
}

struct notice {
    int is_new;
    cache_entry* entry;
    cache_handler handler;
};

// Files the answer to the first pending request.
notice file_answer(ombrel_resolver_cache_t* cache, ombrel_resolver_t* answer) OMBREL_REQUIRES(cache->lock) {
    OMBREL_INVARIANT(is_held(cache->lock));
    cache_entry* const entry = cache->pending.take_first();
    OMBREL_INVARIANT(entry != nullptr && entry->pending);
    entry->pending = false;
    int is_new = answer != nullptr ? 1 : -1;
    if (entry->answer != nullptr)
        is_new = 0;
    if (answer != nullptr)
        ombrel_close_resolver(std::exchange(entry->answer, answer));
    entry->used_at = cache->now;
    entry->resolution = ++cache->resolutions;
    expect_expiry(cache, *entry);
    return {is_new, entry, entry->handler};
}

// Only the service thread drops entries, so the entry outlives both calls.
void tell(ombrel_resolver_cache_t* cache, const notice& news) {
    if (cache->listener.resolved != nullptr)
        cache->listener.resolved(*news.entry, news.is_new >= 0, cache->listener.context);
    if (news.handler.call != nullptr)
        news.handler.call(cache, news.is_new, news.entry->key.name, news.entry->key.port,
                          news.handler.context);
}

bool change_stage(ombrel_resolver_cache_t* cache, stage from, stage to) {
    return cache->thread_stage.compare_exchange_strong(from, to);
}

// An address text asks nobody, so its look-up ends.
bool may_hang(const char* name) {
    return *name != '\0' && ombrel_inet_pton(0, name, nullptr) != 0;
}

// Whether the cache is still somebody's. A closer that leaves it behind is let finish first: it has when the
// stage is seen with the lock held.
bool end_look_up(ombrel_resolver_cache_t* cache, stage from) {
    if (change_stage(cache, from, stage::idle))
        return true;
    for (bool is_own = false; !is_own;)
        sleep_on(cache, cache->progress, service_name, [&] {
            is_own = cache->thread_stage.load() == stage::left_behind;
            return is_own ? 0 : longest_sleep;
        });
    return false;
}

// Resolves the first pending request, whose key does not change while it is pending, without the lock. False
// when the cache was closed.
bool resolve(ombrel_resolver_cache_t* cache, cache_key key) {
    const stage at = may_hang(key.name) ? stage::asking : stage::looking_up;
    if (!change_stage(cache, stage::idle, at))
        return false;
    ombrel_resolver_t* const answer = ombrel_open_resolver(key.name, key.port);
    if (!end_look_up(cache, at)) {
        ombrel_close_resolver(answer);
        return false;
    }
    notice news;
    {
        const cache_guard guard(cache, service_name, __LINE__);
        if (!guard) { // the request stays and is tried again
            ombrel_close_resolver(answer);
            return true;
        }
        news = file_answer(cache, answer);
    }
    ombrel_lock_condition_wakeup_broadcast_tag(&cache->progress);
    tell(cache, news);
    return true;
}

// Drops what was not used for too long.
void drop_expired(ombrel_resolver_cache_t* cache) OMBREL_REQUIRES(cache->lock) {
    OMBREL_INVARIANT(is_held(cache->lock));
    cache->next_check = cache->now + check_interval;
    if (cache->expiry <= 0)
        return;
    cache->names.drop_if([cache](cache_entry& entry) OMBREL_UNCHECKED {
        if (cache->now - entry.used_at < static_cast<uint64_t>(cache->expiry)) {
            expect_expiry(cache, entry);
            return false;
        }
        if (entry.pending) // it is to be resolved anew, and has no answer until then
            ombrel_close_resolver(std::exchange(entry.answer, nullptr));
        return !entry.pending;
    });
}

const cache_entry* first_request(ombrel_resolver_cache_t* cache) {
    const cache_guard guard(cache, service_name, __LINE__);
    if (!guard)
        return nullptr;
    if (cache->now >= cache->next_check)
        drop_expired(cache);
    return cache->pending.first;
}

// Sleeps until there is a request, an entry expires or the service is asked to stop.
void await_request(ombrel_resolver_cache_t* cache, ombrel_service_t* service) {
    sleep_on(cache, cache->work, service_name, [cache, service]() OMBREL_UNCHECKED {
        const bool idle = cache->pending.first == nullptr && ombrel_break_service(service) == 0;
        return idle ? deadline::at(cache->next_check).left() : 0;
    });
}

// Nobody else has it any more.
int free_cache(ombrel_resolver_cache_t* cache) OMBREL_UNCHECKED {
    cache->names.clear();
    ombrel_uninit_lock_condition_tag(&cache->progress, close_name, __LINE__);
    ombrel_uninit_lock_condition_tag(&cache->work, close_name, __LINE__);
    ombrel_uninit_lock_tag(&cache->lock, close_name, __LINE__);
    return ombrel_free_tag(cache, close_name, __LINE__);
}

int run_cache(ombrel_service_t* service, void* context) {
    auto* const cache = static_cast<ombrel_resolver_cache_t*>(context);
    ombrel_ack_service(service);
    while (ombrel_break_service(service) == 0 && !cache->closing.load()) {
        const cache_entry* const request = first_request(cache);
        if (request == nullptr)
            await_request(cache, service);
        else if (!resolve(cache, request->key))
            break;
    }
    if (cache->thread_stage.load() == stage::left_behind)
        free_cache(cache);
    return 0;
}

// Ends the service thread's sleep. Taking the lock makes sure that it sleeps or has seen the request to stop.
int end_sleep(void* argument) {
    auto* const cache = static_cast<ombrel_resolver_cache_t*>(argument);
    { const cache_guard guard(cache, close_name, __LINE__); }
    ombrel_lock_condition_wakeup_tag(&cache->work);
    return 0;
}

// Takes the cache from its thread, unless that is in a look-up that does not end: then false.
bool take_over(ombrel_resolver_cache_t* cache) {
    const deadline farewell(longest_farewell);
    cache->closing.store(true);
    while (!change_stage(cache, stage::idle, stage::closed)) {
        if (farewell.passed() && change_stage(cache, stage::asking, stage::being_left))
            return false;
        sleep_on(cache, cache->progress, close_name, [&] {
            if (cache->thread_stage.load() == stage::idle)
                return 0;
            return farewell.passed() ? longest_sleep : farewell.left();
        });
    }
    return true;
}

// The closer's last touch of a cache that it leaves behind: its thread may free it as soon as it has the
// lock.
void hand_over(ombrel_resolver_cache_t* cache) {
    const cache_guard guard(cache, close_name, __LINE__);
    cache->thread_stage.store(stage::left_behind);
    if (guard)
        ombrel_lock_condition_wakeup_broadcast_tag(&cache->progress);
}

// All but what the thread stands on is freed now; the rest by the thread, whenever its look-up ends. Until it
// is handed over nobody else touches the cache.
int leave_behind(ombrel_resolver_cache_t* cache) OMBREL_UNCHECKED {
    const cache_entry* const kept = cache->pending.first;
    cache->names.drop_if([kept](const cache_entry& entry) { return &entry != kept; });
    ombrel_error_printf(
        "%s: [WARNING] a look-up does not end and is left behind ! (name=\"%s\", port=%d, its "
        "thread and memory go when it ends)\n",
        close_name, kept->key.name, kept->key.port);
    ombrel_service_register_close_notify_handler(cache->service, nullptr, nullptr);
    ombrel_close_service_ex(cache->service, 0);
    hand_over(cache);
    return 0;
}

// Nobody else has it before its service runs.
ombrel_resolver_cache_t* open_cache(int expiry_ms, resolver_listener listener) OMBREL_UNCHECKED {
    static constexpr char function[] = "ombrel_open_resolver_cache_ex";
    auto* const cache = static_cast<ombrel_resolver_cache_t*>(
        ombrel_calloc_tag(1, sizeof(ombrel_resolver_cache_t), function, __LINE__));
    if (cache == nullptr)
        return nullptr;
    ombrel_init_lock_tag(&cache->lock, function, __LINE__);
    ombrel_init_lock_condition_tag(&cache->work, function, __LINE__);
    ombrel_init_lock_condition_tag(&cache->progress, function, __LINE__);
    cache->now = ombrel_time_stamp_msec();
    cache->expiry = expiry_ms;
    cache->listener = listener;
    cache->service = ombrel_open_service_ex("resolver_cache", run_cache, cache, 0);
    if (cache->service == nullptr) {
        free_cache(cache);
        return nullptr;
    }
    ombrel_service_register_close_notify_handler(cache->service, end_sleep, cache);
    return cache;
}

} // namespace

ombrel_resolver_cache_t* ombrel::open_resolver_cache(resolver_listener listener) {
    return open_cache(default_expiry, listener);
}

cached_name ombrel::ask_resolver_cache(ombrel_resolver_cache_t* cache, cache_key key, cache_handler handler) {
    cached_name result{};
    {
        const cache_guard guard(cache, get_name, __LINE__);
        if (!guard)
            return result;
        cache_entry* const entry = cache->names.find(key);
        if (entry != nullptr && entry->answer != nullptr) {
            result.answer = use_answer(cache, *entry);
            return result;
        }
        result.pending = ensure_request(cache, key, handler);
        result.seen = cache->resolutions;
    }
    ombrel_lock_condition_wakeup_tag(&cache->work);
    return result;
}

ombrel_resolver_cache_t* ombrel_open_resolver_cache_ex(int expiry_ms) {
    return open_cache(expiry_ms, {});
}

ombrel_resolver_cache_t* ombrel_open_resolver_cache(void) {
    return ombrel_open_resolver_cache_ex(default_expiry);
}

int ombrel_close_resolver_cache(ombrel_resolver_cache_t* cache) {
    if (cache == nullptr)
        return 0;
    if (!take_over(cache))
        return leave_behind(cache);
    ombrel_close_service(cache->service);
    return free_cache(cache);
}

int ombrel_request_resolver_cache_with_handler(ombrel_resolver_cache_t* cache, const char* name, int port,
                                               ombrel_resolver_cache_handler_t handler, void* context) {
    if (cache == nullptr || name == nullptr)
        return -1;
    {
        const cache_guard guard(cache, __func__, __LINE__);
        if (!guard || ensure_request(cache, {name, port}, {handler, context}) == nullptr)
            return -1;
    }
    ombrel_lock_condition_wakeup_tag(&cache->work);
    return 0;
}

int ombrel_request_resolver_cache(ombrel_resolver_cache_t* cache, const char* name, int port) {
    return ombrel_request_resolver_cache_with_handler(cache, name, port, nullptr, nullptr);
}

ombrel_resolver_t* ombrel_get_resolver_cache_with_handler(ombrel_resolver_cache_t* cache, const char* name,
                                                          int port, int timeout_ms,
                                                          ombrel_resolver_cache_handler_t handler,
                                                          void* context) {
    if (cache == nullptr || name == nullptr)
        return ombrel_open_resolver(name, port);
    const cache_key key{name, port};
    const cached_name known = ask_resolver_cache(cache, key, {handler, context});
    if (known.answer != nullptr)
        return known.answer;
    if (known.pending == nullptr)
        return ombrel_open_resolver(name, port);
    return timeout_ms == 0 ? nullptr : answer_wait(cache, key, known.seen).run(timeout_ms);
}

ombrel_resolver_t* ombrel_get_resolver_cache(ombrel_resolver_cache_t* cache, const char* name, int port,
                                             int timeout_ms) {
    return ombrel_get_resolver_cache_with_handler(cache, name, port, timeout_ms, nullptr, nullptr);
}
