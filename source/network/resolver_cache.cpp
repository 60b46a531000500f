#include <ombrel/resolver_cache.h>

#include <algorithm>
#include <utility>

#include <ombrel/heap.h>
#include <ombrel/lock.h>
#include <ombrel/lock_condition.h>
#include <ombrel/service.h>
#include <ombrel/short_lock.h>
#include <ombrel/time.h>
#include <ombrel/timer.h>

#include "core/lock_guard.h"
#include "network/resolver_cache_entry.h"

using namespace ombrel;

struct ombrel_resolver_cache_ts {
    ombrel_lock_t lock; ///< guards all below but the service
    uint64_t now;       ///< the time of the last look at the clock, in milliseconds
    int expiry;         ///< in milliseconds; 0 and less keep entries for ever
    cache_list pending; ///< its first entry is the one that the service thread resolves
    cache_list answered;
    size_t answered_count;
    uint64_t next_check;  ///< when to look for expired entries
    uint64_t resolutions; ///< how many have been done
    ombrel_service_t* service;
    ombrel_lock_condition_t work; ///< wakes the service thread
};

namespace {

constexpr int default_expiry = 3'600'000;

// The longest time between two looks for expired entries, and so the longest sleep of the service thread.
constexpr uint64_t check_interval = 1000;

class cache_guard : public lock_guard {
public:
    // What is done under the lock is stamped with the time of taking it.
    cache_guard(ombrel_resolver_cache_t* cache, const char* function, unsigned long line)
        : lock_guard(cache->lock, function, line) {
        if (*this)
            cache->now = ombrel_time_stamp_msec();
    }
};

void wake_service(ombrel_resolver_cache_t* cache) {
    ombrel_lock_condition_wakeup_tag(&cache->work);
}

// Makes sure that a name is pending, with the lock held; false when memory runs out. The newest handler wins.
bool ensure_request(ombrel_resolver_cache_t* cache, cache_key key, cache_handler handler) {
    cache_entry* request = cache->pending.find(key);
    if (request == nullptr) {
        request = new_cache_entry(key, "ombrel_request_resolver_cache_with_handler", __LINE__);
        if (request == nullptr)
            return false;
        cache->pending.append(request);
    }
    if (handler.call != nullptr)
        request->handler = handler;
    request->used_at = cache->now;
    return true;
}

// A copy of an entry's answer, with the lock held; it counts as use.
ombrel_resolver_t* use_answer(const ombrel_resolver_cache_t* cache, cache_entry& entry) {
    entry.used_at = cache->now;
    return ombrel_duplicate_resolver(entry.answer);
}

/// A get that waits until a resolution later than those it has seen answers its name.
class answer_wait {
public:
    answer_wait(ombrel_resolver_cache_t* cache, cache_key key, uint64_t seen)
        : cache_(cache), key_(key), seen_(seen) {}

    ombrel_resolver_t* run(int timeout_ms) {
        ombrel_timer_t timer;
        ombrel_init_timer(&timer, timeout_ms > 0 ? static_cast<uint64_t>(timeout_ms) : 0);
        for (;;) {
            const bool last_look = timeout_ms > 0 && ombrel_check_timer(&timer) == 1;
            if (look() || last_look)
                return answer_;
            ombrel_load_balance_short();
        }
    }

private:
    bool look() {
        const cache_guard guard(cache_, "ombrel_get_resolver_cache_with_handler", __LINE__);
        if (!guard)
            return false;
        cache_entry* const entry = cache_->answered.find(key_);
        // Neither answered nor pending: the answer came and has expired already.
        if (entry == nullptr)
            return cache_->pending.find(key_) == nullptr;
        if (entry->answer != nullptr)
            answer_ = use_answer(cache_, *entry);
        return entry->answer != nullptr || entry->resolution > seen_;
    }

    ombrel_resolver_cache_t* cache_;
    cache_key key_;
    uint64_t seen_;
    ombrel_resolver_t* answer_ = nullptr;
};

// Brings the next look for expired entries forward to when this one would expire.
void expect_expiry(ombrel_resolver_cache_t* cache, const cache_entry& entry) {
    if (cache->expiry > 0)
        cache->next_check = std::min(cache->next_check, entry.used_at + static_cast<uint64_t>(cache->expiry));
}

struct notice {
    int is_new;
    const cache_entry* entry;
    cache_handler handler;
};

// Files the answer to the first pending request, with the lock held.
notice file_answer(ombrel_resolver_cache_t* cache, ombrel_resolver_t* answer) {
    cache_entry* entry = cache->pending.take_first();
    int is_new = answer != nullptr ? 1 : -1;
    if (cache_entry* const known = cache->answered.find(entry->key)) {
        if (known->answer != nullptr)
            is_new = 0;
        if (answer != nullptr)
            ombrel_close_resolver(std::exchange(known->answer, answer));
        if (entry->handler.call != nullptr)
            known->handler = entry->handler;
        free_cache_entry(std::exchange(entry, known));
    } else {
        entry->answer = answer;
        cache->answered.push_front(entry);
        cache->answered_count++;
    }
    entry->used_at = cache->now;
    entry->resolution = ++cache->resolutions;
    expect_expiry(cache, *entry);
    return {is_new, entry, entry->handler};
}

// Resolves the first pending request, whose key does not change while it is pending, without the lock. Only
// this thread removes entries, so the name outlives the handler's call.
void resolve(ombrel_resolver_cache_t* cache, cache_key key) {
    ombrel_resolver_t* const answer = ombrel_open_resolver(key.name, key.port);
    notice news;
    {
        const cache_guard guard(cache, "ombrel_resolver_cache_service", __LINE__);
        if (!guard) { // the request stays and is tried again
            ombrel_close_resolver(answer);
            return;
        }
        news = file_answer(cache, answer);
    }
    if (news.handler.call != nullptr)
        news.handler.call(cache, news.is_new, news.entry->key.name, news.entry->key.port,
                          news.handler.context);
}

// Drops what was not used for too long, with the lock held.
void drop_expired(ombrel_resolver_cache_t* cache) {
    cache->next_check = cache->now + check_interval;
    if (cache->expiry <= 0)
        return;
    cache->answered_count -= cache->answered.drop_if([cache](const cache_entry& entry) {
        if (cache->now - entry.used_at >= static_cast<uint64_t>(cache->expiry))
            return true;
        expect_expiry(cache, entry);
        return false;
    });
}

const cache_entry* first_request(ombrel_resolver_cache_t* cache) {
    const cache_guard guard(cache, "ombrel_resolver_cache_service", __LINE__);
    if (!guard)
        return nullptr;
    if (cache->now >= cache->next_check)
        drop_expired(cache);
    return cache->pending.first;
}

// Sleeps until there is a request, an entry expires or the service is asked to stop; all three are looked at
// with the lock held, so that no wake-up is missed.
void await_request(ombrel_resolver_cache_t* cache, ombrel_service_t* service) {
    static constexpr char function[] = "ombrel_resolver_cache_service";
    if (ombrel_lock_timeout_tag(&cache->lock, def_ombrel_infinite, function, __LINE__) != 0)
        return;
    const uint64_t now = ombrel_time_stamp_msec();
    bool held = true;
    if (cache->pending.first == nullptr && now < cache->next_check && ombrel_break_service(service) == 0) {
        const uint32_t slice = static_cast<uint32_t>(cache->next_check - now);
        held = ombrel_lock_condition_wait_timeout_tag(&cache->work, &cache->lock, slice, function,
                                                      __LINE__) == 0;
    }
    if (held)
        ombrel_unlock_tag(&cache->lock, function, __LINE__);
}

int run_cache(ombrel_service_t* service, void* context) {
    auto* const cache = static_cast<ombrel_resolver_cache_t*>(context);
    ombrel_ack_service(service);
    while (ombrel_break_service(service) == 0) {
        if (const cache_entry* const request = first_request(cache))
            resolve(cache, request->key);
        else
            await_request(cache, service);
    }
    return 0;
}

// Ends the service thread's sleep. Taking the lock makes sure that it sleeps or has seen the request to stop.
int end_sleep(void* argument) {
    auto* const cache = static_cast<ombrel_resolver_cache_t*>(argument);
    { const cache_guard guard(cache, "ombrel_close_resolver_cache", __LINE__); }
    wake_service(cache);
    return 0;
}

} // namespace

ombrel_resolver_cache_t* ombrel_open_resolver_cache_ex(int expiry_ms) {
    auto* const cache =
        static_cast<ombrel_resolver_cache_t*>(ombrel_calloc(1, sizeof(ombrel_resolver_cache_t)));
    if (cache == nullptr)
        return nullptr;
    ombrel_init_lock(&cache->lock);
    ombrel_init_lock_condition(&cache->work);
    cache->now = ombrel_time_stamp_msec();
    cache->expiry = expiry_ms;
    cache->service = ombrel_open_service_ex("resolver_cache", run_cache, cache, 0);
    if (cache->service == nullptr) {
        ombrel_close_resolver_cache(cache);
        return nullptr;
    }
    ombrel_service_register_close_notify_handler(cache->service, end_sleep, cache);
    return cache;
}

ombrel_resolver_cache_t* ombrel_open_resolver_cache(void) {
    return ombrel_open_resolver_cache_ex(default_expiry);
}

int ombrel_close_resolver_cache(ombrel_resolver_cache_t* cache) {
    if (cache == nullptr)
        return 0;
    ombrel_close_service(cache->service);
    cache->pending.clear();
    cache->answered.clear();
    ombrel_uninit_lock_condition(&cache->work);
    ombrel_uninit_lock(&cache->lock);
    return ombrel_free(cache);
}

int ombrel_request_resolver_cache_with_handler(ombrel_resolver_cache_t* cache, const char* name, int port,
                                               ombrel_resolver_cache_handler_t handler, void* context) {
    if (cache == nullptr || name == nullptr)
        return -1;
    {
        const cache_guard guard(cache, __func__, __LINE__);
        if (!guard || !ensure_request(cache, {name, port}, {handler, context}))
            return -1;
    }
    wake_service(cache);
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
    uint64_t seen = 0;
    bool queued = false;
    {
        const cache_guard guard(cache, __func__, __LINE__);
        if (guard) {
            cache_entry* const entry = cache->answered.find(key);
            if (entry != nullptr && entry->answer != nullptr)
                return use_answer(cache, *entry);
            queued = ensure_request(cache, key, {handler, context});
            seen = cache->resolutions;
        }
    }
    if (!queued)
        return ombrel_open_resolver(name, port);
    wake_service(cache);
    return timeout_ms == 0 ? nullptr : answer_wait(cache, key, seen).run(timeout_ms);
}

ombrel_resolver_t* ombrel_get_resolver_cache(ombrel_resolver_cache_t* cache, const char* name, int port,
                                             int timeout_ms) {
    return ombrel_get_resolver_cache_with_handler(cache, name, port, timeout_ms, nullptr, nullptr);
}
