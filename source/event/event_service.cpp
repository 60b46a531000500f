// The loop on a background thread.
#include <utility>

#include <ombrel/event_base.h>
#include <ombrel/service.h>

#include "event/event_internal.h"

using namespace ombrel;

namespace {

int run_in_background(ombrel_service_t* service, void* context) {
    auto& base = *static_cast<ombrel_event_base_t*>(context);
    if (is_tracing())
        print_line(severity::message, "event_base_dispatch", "event_base_dispatch_service starting...");
    ombrel_ack_service(service);
    // A signal meant for somebody else may interrupt this thread's wait.
    while (ombrel_break_service(service) == 0)
        if (run_loop(base, 0) != loop_end::interrupted)
            break;
    return 0;
}

// Repeated by the service until its thread has ended, as a break before the loop began is forgotten by it.
int break_background_loop(void* context) {
    ombrel_event_base_break_loop(static_cast<ombrel_event_base_t*>(context));
    return -1;
}

bool is_running(ombrel_service_t* service) {
    return service != nullptr && ombrel_check_service(service) == 1;
}

// Starting and stopping wait for the service's thread, so that they cannot keep the gate: the service is
// taken out of the base while it changes.

bool begin_start(ombrel_event_base_t& base, ombrel_service_t*& ended) {
    const base_guard guard(base);
    if (base.m_service_changing || is_running(base.m_service)) {
        log_line(base, severity::error, "ombrel_event_base_start_service", "already started service !");
        return false;
    }
    base.m_service_changing = true;
    ended = std::exchange(base.m_service, nullptr);
    return true;
}

bool begin_stop(ombrel_event_base_t& base, ombrel_service_t*& running) {
    const base_guard guard(base);
    const char* const name = "ombrel_event_base_stop_service";
    // The first handlers may run while the service is still being started.
    if ((base.m_service != nullptr || base.m_service_changing) && is_own_loop(base)) {
        log_line(base, severity::error, name, "the loop is running !");
        return false;
    }
    if (base.m_service == nullptr) {
        log_line(base, severity::warning, name, "already stopped service !");
        return false;
    }
    base.m_service_changing = true;
    running = std::exchange(base.m_service, nullptr);
    return true;
}

void end_change(ombrel_event_base_t& base, ombrel_service_t* service) {
    const base_guard guard(base);
    base.m_service = service;
    base.m_service_changing = false;
}

ombrel_service_t* open_service(ombrel_event_base_t* base) {
    ombrel_service_t* service =
        ombrel_open_service_ex("event_base_dispatch service", run_in_background, base, 0);
    ombrel_service_register_close_notify_handler(service, break_background_loop, base);
    return service;
}

} // namespace

int ombrel_event_base_start_service(ombrel_event_base_t* base) {
    ombrel_service_t* ended = nullptr;
    if (!is_base("ombrel_event_base_start_service", base) || !begin_start(*base, ended))
        return -1;
    // One whose loop ended by itself is still to be closed.
    ombrel_close_service(ended);
    ombrel_service_t* service = open_service(base);
    end_change(*base, service);
    return service != nullptr ? 0 : -1;
}

int ombrel_event_base_stop_service(ombrel_event_base_t* base) {
    ombrel_service_t* running = nullptr;
    if (!is_base("ombrel_event_base_stop_service", base) || !begin_stop(*base, running))
        return -1;
    const int result = ombrel_close_service(running);
    end_change(*base, nullptr);
    return result;
}
