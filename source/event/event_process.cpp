#include <ombrel/event_process.h>

#include <utility>

#include "event/event_guard.h"
#include "event/process_watch.h"

using namespace ombrel;

void ombrel::release_process(ombrel_event_t& event) {
    if (event.m_process_watch == nullptr)
        return;
    close_process_watch(event.m_process_watch);
    event.m_process_watch = nullptr;
    event.m_fd = -1;
}

// The descriptor leaves the table before it is closed.
uint32_t ombrel::take_process_end(ombrel_event_base_t& base, ombrel_event_t& event) {
    platform::process_end end;
    if (!has_ended(*event.m_process_watch, end))
        return 0;
    base.m_descriptors.detach(event);
    release_process(event);
    event.m_exit_code = end.exit_code;
    event.m_exit_signal = end.signal_number;
    return def_ombrel_event_process_end;
}

namespace {

constexpr char function[] = "ombrel_event_set_process";

constexpr uint32_t other_kinds = event_io_kinds | def_ombrel_event_signal | def_ombrel_event_with_resolver |
                                 def_ombrel_event_managed_connect;

bool watches_something_else(const ombrel_event_t& event) {
    return (event.m_flags & other_kinds) != 0 || (event.m_state & state_buffered) != 0 ||
           (event.m_fd >= 0 && event.m_process_watch == nullptr);
}

int refuse(watch_refusal refusal) {
    switch (refusal) {
    case watch_refusal::not_supported:
        return def_ombrel_event_not_supported;
    case watch_refusal::no_child:
        print_line(severity::error, function, "no such child process !");
        break;
    case watch_refusal::no_memory:
        print_line(severity::error, function, "not enough memory !");
        break;
    }
    return -1;
}

/// Gives the event its watch, if any; the one that it does not keep comes back in its place.
bool exchange_watch(ombrel_event_t& event, int process, ombrel_process_watch_t*& watch) {
    const event_guard home(function, &event);
    if (!home)
        return false;
    if (is_in_loop(event))
        return refuse_added(home.base(), function);
    if (watches_something_else(event)) {
        log_line(home.base(), severity::error, function, "s_event watches something else !");
        return false;
    }
    std::swap(event.m_process_watch, watch);
    event.m_fd = event.m_process_watch != nullptr ? descriptor_of(*event.m_process_watch) : -1;
    event.m_process = process;
    event.m_exit_code = -1;
    event.m_exit_signal = 0;
    return true;
}

} // namespace

int ombrel_event_set_process(ombrel_event_t* event, int process) {
    if (!is_assigned(function, event))
        return -1;
    ombrel_process_watch_t* watch = nullptr;
    watch_refusal refusal{};
    if (process != 0 && (watch = open_process_watch(process, refusal)) == nullptr)
        return refuse(refusal);
    const bool done = exchange_watch(*event, process, watch);
    close_process_watch(watch);
    return done ? 0 : -1;
}
