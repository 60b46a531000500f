// Names that events wait for, and the connections that the loop makes for them.
#include <utility>

#include <ombrel/address.h>
#include <ombrel/output.h>
#include <ombrel/socket.h>
#include <ombrel/time.h>

#include "event/event_internal.h"
#include "network/resolver_cache_internal.h"
#include "platform/socket.h"
#include "platform/socket_address.h"

namespace ombrel {

namespace {

constexpr const char* loop_name = "ombrel_event_base_loop";

constexpr uint64_t resolver_retry_milliseconds = 1000;

// Asking again at once would ask without end.
void ask_later(ombrel_event_base_t& base, ombrel_event_t& event) OMBREL_REQUIRES(base.m_gate) {
    start_waiting(base.m_unanswered, event);
    if (base.m_resolver_retry == 0)
        base.m_resolver_retry = ombrel_time_stamp_msec() + resolver_retry_milliseconds;
}

// Runs on the cache's thread. Only the events that wait for this name are touched.
void on_resolved(cache_entry& entry, bool has_answer, void* context) {
    auto& base = *static_cast<ombrel_event_base_t*>(context);
    const base_guard guard(base);
    while (ombrel_event_t* event = entry.waiting) {
        if (has_answer)
            start_waiting(base.m_waiting, *event);
        else
            ask_later(base, *event);
    }
}

cached_name ask_cache(ombrel_event_base_t& base, const ombrel_event_t& event) OMBREL_REQUIRES(base.m_gate) {
    if (base.m_resolver_cache == nullptr)
        base.m_resolver_cache = open_resolver_cache({on_resolved, &base});
    if (base.m_resolver_cache == nullptr)
        return {};
    return ask_resolver_cache(base.m_resolver_cache, {event.m_resolver_name, event.m_resolver_port}, {});
}

} // namespace

bool ask_resolver(ombrel_event_base_t& base, ombrel_event_t& event) {
    const cached_name name = ask_cache(base, event);
    if (name.answer == nullptr) {
        if (name.pending != nullptr)
            start_waiting(name.pending->waiting, event);
        else
            ask_later(base, event);
        return false;
    }
    event.m_resolver_info = name.answer;
    if ((event.m_flags & def_ombrel_event_with_resolver) != 0)
        event.m_state |= state_answered;
    return true;
}

void retry_names(ombrel_event_base_t& base, uint64_t now) {
    if (base.m_resolver_retry == 0 || base.m_resolver_retry > now)
        return;
    base.m_resolver_retry = 0;
    while (base.m_unanswered != nullptr)
        start_waiting(base.m_waiting, *base.m_unanswered);
}

namespace {

ombrel_resolver_cache_t* take_cache(ombrel_event_base_t& base) {
    const base_guard guard(base);
    if (base.m_resolver_cache != nullptr)
        for (ombrel_event_t* event = base.m_head; event != nullptr; event = event->m_next)
            stop_waiting(*event);
    return std::exchange(base.m_resolver_cache, nullptr);
}

} // namespace

void close_names(ombrel_event_base_t& base) {
    if (ombrel_resolver_cache_t* cache = take_cache(base))
        ombrel_close_resolver_cache(cache);
}

void drop_socket(ombrel_event_base_t& base, ombrel_event_t& event) {
    if ((event.m_state & state_owns_socket) == 0)
        return;
    event.m_state &= ~state_owns_socket;
    base.m_descriptors.detach(event);
    event.m_fd = ombrel_close_socket(event.m_fd);
}

namespace {

// The caller's socket is bound once, however many addresses are tried.
bool bind_socket(ombrel_event_t& event, int family) {
    if ((event.m_bind_address == nullptr && event.m_bind_port < 0) || (event.m_state & state_bound) != 0)
        return true;
    const char* any = family == AF_INET ? "0.0.0.0" : "::";
    sockaddr_storage address;
    const int port = event.m_bind_port < 0 ? 0 : event.m_bind_port;
    const char* text = event.m_bind_address != nullptr ? event.m_bind_address : any;
    if (ombrel_inet_ptos(family, text, port, &address, sizeof address) != 0)
        return false;
    auto* local = reinterpret_cast<sockaddr*>(&address);
    if (ombrel_bind(event.m_fd, local, ombrel_sockaddr_size(local, 0)) != 0)
        return false;
    if ((event.m_state & state_owns_socket) == 0)
        event.m_state |= state_bound;
    return true;
}

bool open_own_socket(ombrel_event_base_t& base, ombrel_event_t& event, int family)
    OMBREL_REQUIRES(base.m_gate) {
    if (event.m_fd >= 0 && (event.m_state & state_owns_socket) == 0)
        return true;
    drop_socket(base, event);
    event.m_fd = ombrel_open_socket(family, SOCK_STREAM, 0);
    if (event.m_fd < 0)
        return false;
    event.m_state |= state_owns_socket;
    return base.m_descriptors.attach(event, 0);
}

platform::connect_state try_address(ombrel_event_base_t& base, ombrel_event_t& event,
                                    const ombrel_resolver_t& answer) OMBREL_REQUIRES(base.m_gate) {
    if (!open_own_socket(base, event, answer.m_family) || !bind_socket(event, answer.m_family))
        return platform::connect_state::failed;
    return platform::start_connect(event.m_fd, answer.m_address, answer.m_address_size);
}

uint32_t answered_result(ombrel_event_t& event) {
    const bool answered = (event.m_state & state_answered) != 0;
    event.m_state &= ~state_answered;
    return answered ? def_ombrel_event_with_resolver : 0;
}

uint32_t end_connect(ombrel_event_base_t& base, ombrel_event_t& event, bool connected)
    OMBREL_REQUIRES(base.m_gate) {
    remove_flags(event, def_ombrel_event_connecting);
    add_flags(event, connected ? def_ombrel_event_connected : def_ombrel_event_connect_failed);
    stop_waiting(event);
    if (!connected)
        drop_socket(base, event);
    refresh_interest(base, event);
    const uint32_t outcome = connected ? def_ombrel_event_connected | def_ombrel_event_write
                                       : def_ombrel_event_connect_failed | def_ombrel_event_exception;
    return outcome | def_ombrel_event_managed_connect | answered_result(event);
}

uint32_t begin_waiting(ombrel_event_base_t& base, ombrel_event_t& event) OMBREL_REQUIRES(base.m_gate) {
    add_flags(event, def_ombrel_event_connecting);
    stop_waiting(event);
    if (refresh_interest(base, event))
        return 0;
    return end_connect(base, event, false);
}

// Tries the answers from `answer` on. 0 while one is being connected to.
uint32_t try_addresses(ombrel_event_base_t& base, ombrel_event_t& event, ombrel_resolver_t* answer)
    OMBREL_REQUIRES(base.m_gate) {
    for (; answer != nullptr; answer = answer->m_next) {
        event.m_connect_address = answer;
        log_line(base, severity::message, loop_name, "connecting...", &event);
        const platform::connect_state state = try_address(base, event, *answer);
        if (state == platform::connect_state::in_progress)
            return begin_waiting(base, event);
        if (state == platform::connect_state::connected) {
            log_line(base, severity::message, loop_name, "connected immediately.", &event);
            return end_connect(base, event, true);
        }
    }
    log_line(base, severity::error, loop_name, "immediately connect failed !", &event);
    return end_connect(base, event, false);
}

uint32_t start_managed_connect(ombrel_event_base_t& base, ombrel_event_t& event)
    OMBREL_REQUIRES(base.m_gate) {
    if (event.m_resolver_info != nullptr)
        return try_addresses(base, event, event.m_resolver_info);
    if (event.m_resolver_name != nullptr)
        return 0;
    // The caller has begun to connect the socket itself.
    log_line(base, severity::message, loop_name, "connecting...", &event);
    if (event.m_fd >= 0)
        return begin_waiting(base, event);
    log_line(base, severity::error, loop_name, "immediately connect failed !", &event);
    return end_connect(base, event, false);
}

} // namespace

uint32_t progress_connect(ombrel_event_base_t& base, ombrel_event_t& event, unsigned ready) {
    if ((event.m_flags & def_ombrel_event_connecting) == 0)
        return start_managed_connect(base, event);
    if (ready == 0)
        return 0;
    if (platform::is_connected(event.m_fd)) {
        log_line(base, severity::message, loop_name, "connected.", &event);
        return end_connect(base, event, true);
    }
    if (event.m_connect_address != nullptr && event.m_connect_address->m_next != nullptr)
        return try_addresses(base, event, event.m_connect_address->m_next);
    log_line(base, severity::error, loop_name, "connect failed !", &event);
    return end_connect(base, event, false);
}

} // namespace ombrel
