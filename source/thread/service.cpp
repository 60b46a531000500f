#include <ombrel/service.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include <ombrel/heap.h>
#include <ombrel/lock.h>
#include <ombrel/lock_condition.h>
#include <ombrel/short_lock.h>
#include <ombrel/time.h>
#include <ombrel/timer.h>

#include "core/banner.h"
#include "core/lock_guard.h"
#include "core/report_interval.h"
#include "core/short_lock_guard.h"
#include "thread/thread_start.h"

using namespace ombrel;

namespace {

enum service_phase : uint32_t { phase_created = 5, phase_running = 2, phase_stop_requested = 6 };
enum service_status : uint32_t {
    status_starting = 4,
    status_acknowledged = 5,
    status_error = 1,
    status_finished = 6
};

constexpr const char default_name[] = "no service name";
constexpr uint32_t report_duration = 60'000;
constexpr uint32_t no_limit = 0xFFFFFFFFu;

} // namespace

struct ombrel_service_ts {
    ombrel_lock_t lock; ///< guards phase and status, but for the handler's own words
    ombrel_lock_condition_t condition;
    ombrel_short_lock_t flags_lock;
    uint32_t flags OMBREL_GUARDED_BY(flags_lock);
    const char* name;       ///< stands behind the record
    uint32_t phase, status; ///< like the three at the end, read and written by load() and store()
    void* context;
    ombrel_service_handler_t handler;
    ombrel_short_lock_t notify_lock;
    ombrel_service_close_notify_handler_t close_notify_handler OMBREL_GUARDED_BY(notify_lock);
    void* close_notify_argument OMBREL_GUARDED_BY(notify_lock);
    void* user_data;
    uint32_t acknowledged; ///< 1 once the handler did, as it may have ended before the opener looks
    uint32_t users;        ///< the owner and the thread; the last one to leave frees the record
};

namespace {

template<typename T>
T load(const T& word) {
    return __atomic_load_n(&word, __ATOMIC_ACQUIRE);
}

template<typename T>
void store(T& word, T value) {
    __atomic_store_n(&word, value, __ATOMIC_RELEASE);
}

/// The time of an opener or closer: when to look again, when to complain, when to give up.
class patience {
public:
    explicit patience(uint32_t duration) { ombrel_init_timer(&timer_, duration); }

    /// Looks come soon at first and at least every 100 ms, so that a wake-up missed by a word that was
    /// written without the lock costs little.
    uint32_t next_slice() {
        uint64_t remaining = 0;
        ombrel_check_timer_ex(&timer_, &remaining);
        slice_ = std::min(slice_ * 2, 100u);
        return static_cast<uint32_t>(std::min<uint64_t>(slice_, remaining));
    }

    bool is_over() const { return ombrel_check_timer(&timer_) == 1; }

    void complain(const char* what, const char* name) {
        const uint64_t elapsed = ombrel_time_stamp_msec() - timer_.m_start;
        fprintf(stderr, "\n%s\nombrel_tuk: [WARNING] wait for %s service (name=\"%s\", %lu.%03lu sec)\n%s\n",
                rule_line, what, name, static_cast<unsigned long>(elapsed / 1000),
                static_cast<unsigned long>(elapsed % 1000), rule_line);
        lengthen_into_future(timer_);
    }

private:
    ombrel_timer_t timer_;
    uint32_t slice_ = 1;
};

ombrel_service_t* new_service(const char* name, ombrel_service_handler_t handler, void* context) {
    const size_t name_size = strlen(name) + 1;
    auto* service = static_cast<ombrel_service_t*>(
        ombrel_calloc_tag(1, sizeof(ombrel_service_t) + name_size, "ombrel_open_service_ex", __LINE__));
    if (service == nullptr)
        return nullptr;
    ombrel_init_lock_tag(&service->lock, "ombrel_open_service_ex", __LINE__);
    ombrel_init_lock_condition_tag(&service->condition, "ombrel_open_service_ex", __LINE__);
    ombrel_init_short_lock(&service->flags_lock);
    ombrel_init_short_lock(&service->notify_lock);
    char* own_name = reinterpret_cast<char*>(service + 1);
    memcpy(own_name, name, name_size);
    service->name = own_name;
    service->phase = phase_created;
    service->status = status_starting;
    service->users = 1;
    service->context = context;
    service->handler = handler;
    return service;
}

void leave(ombrel_service_t* service) {
    if (__atomic_sub_fetch(&service->users, 1, __ATOMIC_ACQ_REL) != 0)
        return;
    ombrel_uninit_short_lock(&service->flags_lock);
    ombrel_uninit_lock_condition_tag(&service->condition, "ombrel_close_service_ex", __LINE__);
    ombrel_uninit_lock_tag(&service->lock, "ombrel_close_service_ex", __LINE__);
    ombrel_free_tag(service, "ombrel_close_service_ex", __LINE__);
}

bool lock_state(ombrel_service_t* service, const char* function) {
    return ombrel_lock_timeout_tag(&service->lock, def_ombrel_infinite, function, __LINE__) == 0;
}

void unlock_state(ombrel_service_t* service, const char* function) {
    ombrel_unlock_tag(&service->lock, function, __LINE__);
}

void announce(ombrel_service_t* service) {
    ombrel_lock_condition_wakeup_tag(&service->condition);
}

// Changes the state with the lock held. Without memory for the lock's claim it does so all the same: a
// service that ended but cannot say so would keep its closer for ever.
template<typename Change>
void change_state(ombrel_service_t* service, Change change) {
    const bool held = lock_state(service, "ombrel_service_thread");
    change();
    announce(service);
    if (held)
        unlock_state(service, "ombrel_service_thread");
}

void run_service(void* argument) {
    auto* service = static_cast<ombrel_service_t*>(argument);
    change_state(service, [&] { store<uint32_t>(service->phase, phase_running); });
    service->handler(service, service->context);
    change_state(service, [&] {
        if (load(service->status) != status_error)
            store<uint32_t>(service->status, status_finished);
    });
}

// The thread leaves the service after its start block is freed: whoever sees it gone finds nothing of it
// left.
void service_thread_handler(void* start_block) {
    auto* service = static_cast<ombrel_service_t*>(static_cast<thread_start*>(start_block)->argument);
    run_thread_start(start_block);
    leave(service);
}

// Called with the state locked; what a wait comes back with is still locked.
bool wait_for_change(ombrel_service_t* service, uint32_t slice, const char* function) {
    OMBREL_INVARIANT(is_held(service->lock));
    return ombrel_lock_condition_wait_timeout_tag(&service->condition, &service->lock, slice, function,
                                                  __LINE__) == 0;
}

// Called with the state locked, and leaves it unlocked: whether the handler acknowledged.
bool wait_for_start(ombrel_service_t* service, patience& wait) {
    static constexpr char function[] = "ombrel_open_service_ex";
    for (bool locked = true;;) {
        locked = locked && wait_for_change(service, wait.next_slice(), function);
        const bool running = load(service->phase) == phase_running;
        const uint32_t status = load(service->status);
        if (locked)
            unlock_state(service, function);
        if (running && status != status_starting)
            return status != status_error && load(service->acknowledged) != 0;
        if (wait.is_over())
            wait.complain("start", service->name);
        if (!locked)
            ombrel_load_balance_short();
        locked = lock_state(service, function);
    }
}

// Starts the thread and waits for the handler's word.
bool start(ombrel_service_t* service, size_t stack_size) {
    patience wait(report_duration);
    if (!lock_state(service, "ombrel_open_service_ex"))
        return false;
    service->users = 2;
    if (start_thread({run_service, service}, service_thread_handler, stack_size))
        return wait_for_start(service, wait);
    service->users = 1;
    unlock_state(service, "ombrel_open_service_ex");
    return false;
}

struct close_notify {
    ombrel_service_close_notify_handler_t handler;
    void* argument;
};

close_notify take_close_notify(ombrel_service_t* service) {
    const short_lock_guard guard(service->notify_lock);
    const close_notify taken{service->close_notify_handler, service->close_notify_argument};
    service->close_notify_handler = nullptr;
    service->close_notify_argument = nullptr;
    return taken;
}

void set_close_notify(ombrel_service_t* service, close_notify notify) {
    const short_lock_guard guard(service->notify_lock);
    service->close_notify_handler = notify.handler;
    service->close_notify_argument = notify.argument;
}

void notify_handler_of_close(ombrel_service_t* service) {
    const close_notify notify = take_close_notify(service);
    if (notify.handler != nullptr && notify.handler(notify.argument) == -1)
        set_close_notify(service, notify);
}

// Asks the handler to stop until it has; false when the time ran out first.
bool stop(ombrel_service_t* service, uint32_t timeout_ms) {
    static constexpr char function[] = "ombrel_close_service_ex";
    patience wait(timeout_ms == no_limit ? report_duration : timeout_ms);
    // The first pass does not wait, so that the handler's owner can end its sleep at once.
    for (uint32_t slice = 0;; slice = wait.next_slice()) {
        bool locked = lock_state(service, function);
        const bool active = load(service->status) == status_acknowledged;
        // A handler that reported an error may still look for the request.
        store<uint32_t>(service->phase, phase_stop_requested);
        if (active)
            locked = locked && wait_for_change(service, slice, function);
        if (locked)
            unlock_state(service, function);
        if (!active)
            return true;
        notify_handler_of_close(service);
        if (wait.is_over()) {
            if (timeout_ms != no_limit)
                return false;
            wait.complain("stop", service->name);
        }
        if (!locked)
            ombrel_load_balance_short();
    }
}

// A handler that has ended or failed is about to return, so the thread is given a moment to leave: then the
// memory of the service does not outlive its close.
void await_thread(ombrel_service_t* service) {
    constexpr int longest_wait = 50;
    for (int i = 0; i < longest_wait && load(service->users) > 1; i++)
        ombrel_load_balance_short();
}

// Without the lock, meant so: the handler calls this in the middle of its run.
int set_status(ombrel_service_t* service, service_status status) {
    if (service == nullptr)
        return -1;
    store<uint32_t>(service->status, status);
    announce(service);
    return 0;
}

template<typename Change>
uint32_t change_flags(ombrel_service_t* service, Change change) {
    if (service == nullptr)
        return 0;
    const short_lock_guard guard(service->flags_lock);
    return service->flags = change(service->flags);
}

} // namespace

ombrel_service_t* ombrel_open_service_ex(const char* name, ombrel_service_handler_t handler, void* context,
                                         size_t option) {
    if (handler == nullptr)
        return nullptr;
    ombrel_service_t* service = new_service(name != nullptr ? name : default_name, handler, context);
    if (service == nullptr || start(service, option))
        return service;
    ombrel_close_service(service);
    return nullptr;
}

int ombrel_close_service_ex(ombrel_service_t* service, uint32_t timeout_ms) {
    if (service == nullptr)
        return 0;
    if (stop(service, timeout_ms))
        await_thread(service);
    leave(service);
    return 0;
}

int ombrel_close_service(ombrel_service_t* service) {
    return ombrel_close_service_ex(service, no_limit);
}

int ombrel_check_service(ombrel_service_t* service) {
    const uint32_t status = service != nullptr ? load(service->status) : uint32_t{status_error};
    if (status == status_error)
        return -1;
    return status == status_acknowledged ? 1 : 0;
}

int ombrel_break_service(ombrel_service_t* service) {
    if (service == nullptr)
        return -1;
    return load(service->phase) == phase_stop_requested ? 1 : 0;
}

int ombrel_ack_service(ombrel_service_t* service) {
    if (service != nullptr)
        store(service->acknowledged, 1u);
    return set_status(service, status_acknowledged);
}

int ombrel_error_service(ombrel_service_t* service) {
    return set_status(service, status_error);
}

int ombrel_service_register_close_notify_handler(ombrel_service_t* service,
                                                 ombrel_service_close_notify_handler_t handler,
                                                 void* argument) {
    if (service == nullptr)
        return -1;
    set_close_notify(service, {handler, argument});
    return 0;
}

void* ombrel_get_user_data_service(ombrel_service_t* service) {
    return service != nullptr ? load(service->user_data) : nullptr;
}

int ombrel_set_user_data_service(ombrel_service_t* service, void* data) {
    if (service == nullptr)
        return -1;
    store(service->user_data, data);
    return 0;
}

int ombrel_try_lock_flags_service(ombrel_service_t* service) {
    return service != nullptr ? ombrel_try_short_lock(&service->flags_lock) : -1;
}

int ombrel_lock_flags_service(ombrel_service_t* service) {
    return service != nullptr ? ombrel_short_lock(&service->flags_lock) : -1;
}

int ombrel_unlock_flags_service(ombrel_service_t* service) {
    return service != nullptr ? ombrel_short_unlock(&service->flags_lock) : -1;
}

uint32_t ombrel_get_lock_flags_service(ombrel_service_t* service) {
    return change_flags(service, [](uint32_t flags) { return flags; });
}

uint32_t* ombrel_get_lock_flags_ptr_service(ombrel_service_t* service) {
    return service != nullptr ? &service->flags : nullptr;
}

uint32_t ombrel_set_lock_flags_service(ombrel_service_t* service, uint32_t bits) {
    return change_flags(service, [bits](uint32_t flags) { return flags | bits; });
}

uint32_t ombrel_clear_lock_flags_service(ombrel_service_t* service, uint32_t bits) {
    return change_flags(service, [bits](uint32_t flags) { return flags & ~bits; });
}

uint32_t ombrel_invert_lock_flags_service(ombrel_service_t* service, uint32_t bits) {
    return change_flags(service, [bits](uint32_t flags) { return flags ^ bits; });
}
