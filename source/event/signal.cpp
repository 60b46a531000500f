#include <ombrel/signal.h>

#include <atomic>

#include <ombrel/heap.h>
#include <ombrel/output.h>

#include "core/heap_ptr.h"
#include "core/short_lock_guard.h"
#include "event/event_guard.h"
#include "platform/signal.h"

using namespace ombrel;

/// A heap block, so that the event may go while a signal handler walks the nodes.
struct ombrel_signal_node_ts {
    std::atomic<ombrel_signal_node_t*> next; ///< of the same signal
    std::atomic<uint32_t> count;
    ombrel_event_t* event;
    std::atomic<ombrel_event_base_t*> base; ///< null for an event without one
    int signum;
    ombrel_signal_node_t* base_prev;
    ombrel_signal_node_t* base_next;
};

namespace {

ombrel_short_lock_t registry_lock;

struct registered_signal {
    std::atomic<ombrel_signal_node_t*> nodes; ///< walked by signal handlers, changed under the lock
    std::atomic<uint32_t> count;
    uint32_t users OMBREL_GUARDED_BY(registry_lock); ///< nodes and holds
    bool caught OMBREL_GUARDED_BY(registry_lock);
};

constinit registered_signal registry[platform::signal_limit]{};
std::atomic<int> last_signum;
/// Signal handlers that walk nodes now.
std::atomic<uint32_t> walkers;

void report_fault() {
    platform::write_error_text("ombrel_event_default_handler_exit: SIGSEGV - [SIGNAL] segment fault.\n");
}

void tell(ombrel_event_base_t& base) {
    base.m_signal_news.store(true);
    post_wakeup(base);
}

// A handler on another thread may still stand on a node or a base that was taken from it.
void await_walkers() {
    while (walkers.load() != 0)
        platform::yield_processor();
}

// Runs as a signal handler.
void on_signal(int signum, bool fault) {
    walkers.fetch_add(1);
    last_signum.store(signum);
    registry[signum].count.fetch_add(1);
    for (auto* node = registry[signum].nodes.load(); node != nullptr; node = node->next.load()) {
        node->count.fetch_add(1);
        if (ombrel_event_base_t* base = node->base.load())
            tell(*base);
    }
    walkers.fetch_sub(1);
    if (fault && platform::is_segment_fault(signum))
        report_fault();
}

bool add_user(int signum) OMBREL_REQUIRES(registry_lock) {
    OMBREL_INVARIANT(is_held(registry_lock));
    registered_signal& of = registry[signum];
    if (!of.caught && !platform::catch_signal(signum, on_signal))
        return false;
    of.caught = true;
    of.users++;
    return true;
}

void stop_catching(int signum) OMBREL_REQUIRES(registry_lock) {
    if (registry[signum].caught)
        platform::restore_signal(signum);
    registry[signum].caught = false;
}

void remove_user(int signum) OMBREL_REQUIRES(registry_lock) {
    OMBREL_INVARIANT(is_held(registry_lock));
    OMBREL_INVARIANT(registry[signum].users > 0);
    if (--registry[signum].users == 0)
        stop_catching(signum);
}

void link_to_base(ombrel_signal_node_t& node, ombrel_event_base_t& base) OMBREL_REQUIRES(base.m_gate) {
    node.base_prev = nullptr;
    node.base_next = base.m_signals;
    if (node.base_next != nullptr)
        node.base_next->base_prev = &node;
    base.m_signals = &node;
    node.base.store(&base);
}

// With the gate of the base, or while it is destroyed: the check of locks cannot tell, as the base comes from
// the node.
void unlink_from_base(ombrel_signal_node_t& node) OMBREL_UNCHECKED {
    ombrel_event_base_t* base = node.base.exchange(nullptr);
    if (base == nullptr)
        return;
    (node.base_prev != nullptr ? node.base_prev->base_next : base->m_signals) = node.base_next;
    if (node.base_next != nullptr)
        node.base_next->base_prev = node.base_prev;
}

void unlink_from_signal(ombrel_signal_node_t& node) {
    std::atomic<ombrel_signal_node_t*>* link = &registry[node.signum].nodes;
    while (link->load() != &node)
        link = &link->load()->next;
    link->store(node.next.load());
}

} // namespace

bool ombrel::is_signal_number(int signum) {
    return signum > 0 && signum < platform::signal_limit;
}

bool ombrel::attach_signal(ombrel_event_t& event) {
    if (signal_of(event) != nullptr)
        return true;
    if (!is_signal_number(event.m_fd))
        return false;
    heap_ptr<ombrel_signal_node_t> node(static_cast<ombrel_signal_node_t*>(
        ombrel_calloc_tag(1, sizeof(ombrel_signal_node_t), "ombrel_add_signal", __LINE__)));
    if (!node)
        return false;
    node->event = &event;
    node->signum = event.m_fd;
    const short_lock_guard guard(registry_lock);
    if (!add_user(node->signum))
        return false;
    registered_signal& of = registry[node->signum];
    node->next.store(of.nodes.load());
    of.nodes.store(node.get());
    if (event.m_base != nullptr) {
        event.m_base->m_gate.assert_held();
        link_to_base(*node, *event.m_base);
    }
    set_signal_of(event, node.release());
    return true;
}

void ombrel::detach_signal(ombrel_event_t& event) {
    const heap_ptr<ombrel_signal_node_t> node(signal_of(event));
    if (!node)
        return;
    set_signal_of(event, nullptr);
    unlink_from_base(*node);
    {
        const short_lock_guard guard(registry_lock);
        unlink_from_signal(*node);
        remove_user(node->signum);
    }
    await_walkers();
}

void ombrel::unlink_signal_from_base(ombrel_event_t& event) {
    if (event.m_signal == nullptr)
        return;
    unlink_from_base(*event.m_signal);
    await_walkers();
}

void ombrel::link_signal_to_base(ombrel_event_t& event, ombrel_event_base_t& base) {
    if (event.m_signal == nullptr || event.m_signal->base.load() != nullptr)
        return;
    link_to_base(*event.m_signal, base);
    recall_deliveries(event);
}

void ombrel::recall_deliveries(ombrel_event_t& event) {
    if (event.m_signal != nullptr && event.m_signal->count.load() != 0)
        tell(*event.m_base);
}

uint32_t ombrel::take_signal_count(ombrel_event_t& event) {
    return event.m_signal != nullptr ? event.m_signal->count.exchange(0) : 0;
}

ombrel_event_t* ombrel::next_signal_event(ombrel_signal_node_t*& node) {
    ombrel_event_t* event = node->event;
    node = node->base_next;
    return event;
}

void ombrel::hold_signal(int signum) {
    const short_lock_guard guard(registry_lock);
    registry[signum].users++;
}

void ombrel::release_signal(int signum) {
    const short_lock_guard guard(registry_lock);
    remove_user(signum);
}

int ombrel_get_last_signum(void) {
    return last_signum.load();
}

int ombrel_get_signal_count(int signum) {
    return is_signal_number(signum) ? static_cast<int>(registry[signum].count.load() & INT32_MAX) : -1;
}

int ombrel_reset_signal_count(int signum) {
    if (!is_signal_number(signum))
        return -1;
    registry[signum].count.store(0);
    return 0;
}

int ombrel_reset_all_signal_count(void) {
    for (auto& of : registry)
        of.count.store(0);
    last_signum.store(0);
    return 0;
}

int ombrel_restore_signal(int signum) {
    if (!is_signal_number(signum))
        return -1;
    const short_lock_guard guard(registry_lock);
    if (!registry[signum].caught)
        return -1;
    stop_catching(signum);
    return 0;
}

int ombrel_restore_all_signal(void) {
    const short_lock_guard guard(registry_lock);
    for (int signum = 1; signum < platform::signal_limit; signum++)
        stop_catching(signum);
    return 0;
}

int ombrel_add_signal(ombrel_event_t* event) {
    if (!is_assigned("ombrel_add_signal", event))
        return -1;
    const home_guard home(event);
    return attach_signal(*event) ? 0 : -1;
}

int ombrel_del_signal(ombrel_event_t* event) {
    if (!is_assigned("ombrel_del_signal", event))
        return -1;
    const home_guard home(event);
    if (event->m_signal == nullptr)
        return -1;
    detach_signal(*event);
    return 0;
}

int ombrel_get_signal_node_count(ombrel_event_t* event) {
    if (!is_assigned("ombrel_get_signal_node_count", event))
        return -1;
    const home_guard home(event);
    return event->m_signal != nullptr ? static_cast<int>(event->m_signal->count.load() & INT32_MAX) : 0;
}

int ombrel_reset_signal_node_count(ombrel_event_t* event) {
    if (!is_assigned("ombrel_reset_signal_node_count", event))
        return -1;
    const home_guard home(event);
    take_signal_count(*event);
    return 0;
}

void ombrel_event_default_handler_exit(ombrel_event_t* event, int fd, uint32_t result_flags, void*) {
    if (event == nullptr || (result_flags & def_ombrel_event_assigned) != 0)
        return;
    if ((result_flags & def_ombrel_event_signal) != 0 && platform::is_segment_fault(fd))
        ombrel_error_printf("%s: %s - [SIGNAL] segment fault.\n", "ombrel_event_default_handler_exit",
                            platform::signal_name(fd));
    const home_guard home(event);
    if (home)
        home.base().m_exit = 1;
}
