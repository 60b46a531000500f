// The loop on a background thread.
#include <ombrel/event_base.h>
#include <ombrel/service.h>
#include <ombrel/short_lock.h>

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

} // namespace

int ombrel_event_base_start_service(ombrel_event_base_t* base) {
    constexpr const char* name = "ombrel_event_base_start_service";
    if (!is_base(name, base))
        return -1;
    if (is_running(base->m_service)) {
        print_line(severity::error, name, "already started service !");
        return -1;
    }
    // One whose loop ended by itself is still to be closed.
    ombrel_close_service(base->m_service);
    base->m_service = ombrel_open_service_ex("event_base_dispatch service", run_in_background, base, 0);
    if (base->m_service == nullptr)
        return -1;
    return ombrel_service_register_close_notify_handler(base->m_service, break_background_loop, base);
}

int ombrel_event_base_stop_service(ombrel_event_base_t* base) {
    constexpr const char* name = "ombrel_event_base_stop_service";
    if (!is_base(name, base))
        return -1;
    if (base->m_service == nullptr) {
        print_line(severity::warning, name, "already stopped service !");
        return -1;
    }
    const int result = ombrel_close_service(base->m_service);
    base->m_service = nullptr;
    return result;
}
