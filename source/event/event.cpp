#include <ombrel/event.h>

#include <ombrel/event_base.h>
#include <ombrel/heap.h>
#include <ombrel/output.h>
#include <ombrel/string.h>

#include "core/deadline.h"
#include "event/event_guard.h"

using namespace ombrel;

namespace {

// Callers embed the record: what comes to it takes the place of reserve words.
static_assert(sizeof(void*) != 8 || sizeof(ombrel_event_t) == 336);

// The record's own address in it tells an earlier assignment from whatever the caller's memory held.
bool holds_resources(const ombrel_event_t& event) {
    return event.m_self == &event;
}

void release_resources(ombrel_event_t& event) {
    detach_signal(event);
    release_buffers(event);
    release_process(event);
    ombrel_check_free_tag(event.m_bind_address, "ombrel_unassign_event", __LINE__);
    ombrel_check_free_tag(event.m_resolver_name, "ombrel_unassign_event", __LINE__);
    if (event.m_resolver_info != nullptr)
        ombrel_close_resolver(event.m_resolver_info);
    event.m_bind_address = event.m_resolver_name = nullptr;
    event.m_resolver_info = nullptr;
    event.m_connect_address = nullptr;
}

bool copy_text(char*& copy, const char* text, const char* tag) {
    if (text == nullptr)
        return true;
    copy = ombrel_strdup_tag(text, tag, __LINE__);
    return copy != nullptr;
}

int valid_port(int port) {
    return port >= 0 && port <= 65535 ? port : -1;
}

void fill(ombrel_event_t& event, const event_assignment& wanted, uint32_t kept_state) {
    event = {};
    event.m_self = &event;
    event.m_state = kept_state;
    event.m_base = wanted.base;
    event.m_priority = wanted.base != nullptr ? wanted.base->m_max_priority / 2 : 0;
    event.m_timeout = -1;
    event.m_flags = (wanted.flags & def_ombrel_event_assignable) | def_ombrel_event_assigned;
    event.m_fd = wanted.fd;
    event.m_handler = wanted.handler;
    event.m_context = wanted.context;
    event.m_bind_port = valid_port(wanted.bind_port);
    event.m_resolver_port = valid_port(wanted.resolver_port);
    event.m_output_watermark = 1;
    note_base_lives(event, freed_bases());
}

bool copy_texts(ombrel_event_t& event, const event_assignment& wanted) {
    const char* missing = nullptr;
    if (!copy_text(event.m_bind_address, wanted.bind_address, wanted.function))
        missing = "bind_address";
    else if (!copy_text(event.m_resolver_name, wanted.resolver_name, wanted.function))
        missing = "resolver_name";
    if (missing != nullptr)
        ombrel_error_printf("%s: [ERROR] not enough memory for %s ! %s event failed !\n", wanted.function,
                            missing, wanted.verb);
    return missing == nullptr;
}

bool empty_and_fill(ombrel_event_t& event, const event_assignment& wanted) {
    const bool reused = holds_resources(event);
    const home_guard home(reused ? &event : nullptr);
    if (home && is_in_loop(event))
        return refuse_added(home.base(), wanted.function);
    if (reused)
        release_resources(event);
    fill(event, wanted, reused ? event.m_state & state_on_heap : 0);
    return true;
}

ombrel_event_t* new_event(event_assignment wanted) {
    auto* event =
        static_cast<ombrel_event_t*>(ombrel_calloc_tag(1, sizeof(ombrel_event_t), wanted.function, __LINE__));
    if (event == nullptr) {
        print_line(severity::error, wanted.function, "not enough memory !");
        return nullptr;
    }
    wanted.flags |= def_ombrel_event_new;
    event->m_self = event;
    event->m_state = state_on_heap;
    if (assign_event(event, wanted) == 0)
        return event;
    print_line(severity::error, wanted.function, "ombrel_assign_event failed !");
    ombrel_free(event);
    return nullptr;
}

} // namespace

int ombrel::assign_event(ombrel_event_t* event, const event_assignment& wanted) {
    if (event == nullptr) {
        ombrel_error_printf("%s: [ERROR] event is null !\n", wanted.function);
        return -1;
    }
    if (!empty_and_fill(*event, wanted))
        return -1;
    if (!copy_texts(*event, wanted)) {
        unassign_event(event, wanted.function);
        return -1;
    }
    if (is_tracing())
        ombrel_printf("%s: [MESSAGE] %s event%s. (event=%p, fd=%d, flags=%08x)\n", wanted.function,
                      wanted.verb,
                      (wanted.flags & def_ombrel_event_with_resolver) != 0 ? " with resolver" : "",
                      static_cast<void*>(event), event->m_fd, event->m_flags);
    if (event->m_handler != nullptr)
        event->m_handler(event, event->m_fd, def_ombrel_event_assigned, event->m_context);
    return 0;
}

int ombrel::unassign_event(ombrel_event_t* event, const char* function) {
    if (!is_assigned(function, event))
        return -1;
    const home_guard home(event);
    if (home)
        unregister_event(home.base(), *event);
    release_resources(*event);
    const bool on_heap = (event->m_state & state_on_heap) != 0;
    remove_flags(*event, ~0u);
    event->m_result_flags = 0;
    event->m_state = on_heap ? static_cast<uint32_t>(state_on_heap) : 0;
    event->m_self = on_heap ? event : nullptr;
    return 0;
}

int ombrel_assign_event(ombrel_event_base_t* base, ombrel_event_t* event, int fd, uint32_t flags,
                        ombrel_event_handler_t handler, void* context) {
    return assign_event(event, {.function = "ombrel_assign_event",
                                .base = base,
                                .fd = fd,
                                .flags = flags,
                                .handler = handler,
                                .context = context});
}

int ombrel_assign_event_with_resolver(ombrel_event_base_t* base, ombrel_event_t* event, int fd,
                                      uint32_t flags, ombrel_event_handler_t handler, void* context,
                                      const char* bind_address, int bind_port, const char* resolver_name,
                                      int resolver_port) {
    return assign_event(event, {.function = "ombrel_assign_event_with_resolver",
                                .base = base,
                                .fd = fd,
                                .flags = flags,
                                .handler = handler,
                                .context = context,
                                .bind_address = bind_address,
                                .bind_port = bind_port,
                                .resolver_name = resolver_name,
                                .resolver_port = resolver_port});
}

ombrel_event_t* ombrel_new_event(ombrel_event_base_t* base, int fd, uint32_t flags,
                                 ombrel_event_handler_t handler, void* context) {
    return new_event({.function = "ombrel_new_event",
                      .verb = "new",
                      .base = base,
                      .fd = fd,
                      .flags = flags,
                      .handler = handler,
                      .context = context});
}

ombrel_event_t* ombrel_new_event_with_resolver(ombrel_event_base_t* base, int fd, uint32_t flags,
                                               ombrel_event_handler_t handler, void* context,
                                               const char* bind_address, int bind_port,
                                               const char* resolver_name, int resolver_port) {
    return new_event({.function = "ombrel_new_event_with_resolver",
                      .verb = "new",
                      .base = base,
                      .fd = fd,
                      .flags = flags,
                      .handler = handler,
                      .context = context,
                      .bind_address = bind_address,
                      .bind_port = bind_port,
                      .resolver_name = resolver_name,
                      .resolver_port = resolver_port});
}

int ombrel_set_event(ombrel_event_t* event, int fd, uint32_t flags, ombrel_event_handler_t handler,
                     void* context) {
    return assign_event(event, {.function = "ombrel_set_event",
                                .verb = "set",
                                .base = current_base(),
                                .fd = fd,
                                .flags = flags,
                                .handler = handler,
                                .context = context});
}

int ombrel_set_event_with_resolver(ombrel_event_t* event, int fd, uint32_t flags,
                                   ombrel_event_handler_t handler, void* context, const char* bind_address,
                                   int bind_port, const char* resolver_name, int resolver_port) {
    return assign_event(event, {.function = "ombrel_set_event_with_resolver",
                                .verb = "set",
                                .base = current_base(),
                                .fd = fd,
                                .flags = flags,
                                .handler = handler,
                                .context = context,
                                .bind_address = bind_address,
                                .bind_port = bind_port,
                                .resolver_name = resolver_name,
                                .resolver_port = resolver_port});
}

int ombrel_free_event(ombrel_event_t* event) {
    // One that was unassigned before is still the library's memory.
    const bool only_memory = event != nullptr && (flags_of(*event) & def_ombrel_event_assigned) == 0 &&
                             holds_resources(*event) && (event->m_state & state_on_heap) != 0;
    if (!only_memory && unassign_event(event, "ombrel_free_event") != 0)
        return -1;
    if ((event->m_state & state_on_heap) != 0)
        ombrel_free(event);
    return 0;
}

int ombrel_unassign_event(ombrel_event_t* event) {
    return unassign_event(event, "ombrel_unassign_event");
}

namespace {

uint32_t middle_priority(ombrel_event_base_t& base) {
    const base_guard guard(base);
    return base.m_max_priority / 2;
}

// One gate at a time: in between an event that is attached to a signal is counted for but wakes nobody.
bool leave_old_base(ombrel_event_t& event, ombrel_event_base_t& base) {
    const uint32_t priority = middle_priority(base);
    const home_guard home(&event);
    if (home && is_in_loop(event))
        return refuse_added(home.base(), "ombrel_event_set_base");
    unlink_signal_from_base(event);
    set_base_of(event, &base);
    note_base_lives(event, freed_bases());
    event.m_priority = priority;
    return true;
}

} // namespace

int ombrel_event_set_base(ombrel_event_t* event, ombrel_event_base_t* base) {
    if (!is_assigned("ombrel_event_set_base", event) || !is_base("ombrel_event_set_base", base))
        return -1;
    if (!leave_old_base(*event, *base))
        return -1;
    const home_guard home(event);
    if (home)
        link_signal_to_base(*event, home.base());
    return 0;
}

int ombrel_event_set_priority(ombrel_event_t* event, uint32_t priority) {
    const event_guard home("ombrel_event_set_priority", event);
    if (!home)
        return -1;
    const char* refusal = nullptr;
    if ((event->m_flags & def_ombrel_event_active) != 0)
        refusal = "already active event !";
    else if (priority >= home.base().m_max_priority)
        refusal = "s_priority >= max_priority !";
    if (refusal != nullptr) {
        log_line(home.base(), severity::error, "ombrel_event_set_priority", refusal);
        return -1;
    }
    event->m_priority = priority;
    return 0;
}

int ombrel::add_event(ombrel_event_t* event, int timeout_ms, const char* function) {
    const event_guard home(function, event);
    return home && register_event(home.base(), *event, timeout_ms, function) ? 0 : -1;
}

int ombrel_add_event(ombrel_event_t* event, int timeout_ms) {
    return add_event(event, timeout_ms, "ombrel_add_event");
}

int ombrel_del_event(ombrel_event_t* event) {
    const event_guard home("ombrel_del_event", event);
    if (!home)
        return -1;
    if (!is_in_loop(*event)) {
        log_line(home.base(), severity::warning, "ombrel_del_event", "already deleted.");
        return -1;
    }
    unregister_event(home.base(), *event);
    return 0;
}

int ombrel_active_event(ombrel_event_t* event, uint32_t result_flags) {
    const event_guard home("ombrel_active_event", event);
    if (!home)
        return -1;
    if ((event->m_flags & def_ombrel_event_active) != 0) {
        event->m_result_flags |= result_flags;
        return 0;
    }
    event->m_result_flags = result_flags;
    activate(home.base(), *event);
    return 0;
}

int ombrel_event_pending(ombrel_event_t* event, uint32_t flags, int* timeout_ms_out) {
    const event_guard home("ombrel_event_pending", event);
    if (!home)
        return -1;
    constexpr uint32_t kinds = event_io_kinds | def_ombrel_event_signal | def_ombrel_event_with_resolver |
                               def_ombrel_event_managed_connect;
    uint32_t pending = 0;
    if ((event->m_flags & def_ombrel_event_registered) != 0)
        pending |= (event->m_flags & kinds) |
                   (event->m_process_watch != nullptr ? def_ombrel_event_process_end : 0u);
    if ((event->m_flags & def_ombrel_event_active) != 0)
        pending |= event->m_result_flags;
    const bool timed = (event->m_state & state_timed) != 0;
    if (timed)
        pending |= def_ombrel_event_timeout;
    if (timeout_ms_out != nullptr)
        *timeout_ms_out = timed ? deadline::at(event->m_expiry).left() : -1;
    return static_cast<int>(pending & flags);
}
