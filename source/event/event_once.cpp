// One-shot events that the library makes, calls once and frees.
#include <ombrel/event_base.h>
#include <ombrel/heap.h>

#include "event/event_internal.h"

using namespace ombrel;

namespace {

struct once_record {
    ombrel_event_t event; ///< first, so that its address is the record's
    ombrel_event_handler_t handler;
    void* context;
};

void free_record(once_record& record) {
    ombrel_unassign_event(&record.event);
    ombrel_free_tag(&record, "ombrel_event_base_once_with_resolver", __LINE__);
}

// The user's handler gets no assignment notice: it never saw the event before.
void call_once(ombrel_event_t* event, int fd, uint32_t result_flags, void* context) {
    if ((result_flags & def_ombrel_event_assigned) != 0)
        return;
    auto& record = *static_cast<once_record*>(context);
    if (record.handler != nullptr)
        record.handler(event, fd, result_flags, record.context);
    free_record(record);
}

} // namespace

bool ombrel::is_once_event(const ombrel_event_t& event) {
    return event.m_handler == call_once;
}

void ombrel::free_once_event(ombrel_event_t& event) {
    free_record(*static_cast<once_record*>(event.m_context));
}

namespace {

int add_once(once_record& record, event_assignment wanted, int timeout_ms) {
    record.handler = wanted.handler;
    record.context = wanted.context;
    wanted.flags &= ~(def_ombrel_event_persist | def_ombrel_event_new);
    wanted.handler = call_once;
    wanted.context = &record;
    if (assign_event(&record.event, wanted) != 0) {
        print_line(severity::error, wanted.function, "ombrel_assign_event failed !");
        ombrel_free(&record);
        return -1;
    }
    if (add_event(&record.event, timeout_ms, wanted.function) != 0) {
        print_line(severity::error, wanted.function, "ombrel_add_event failed !");
        free_record(record);
        return -1;
    }
    return 0;
}

int once(const event_assignment& wanted, int timeout_ms) {
    if (!is_base(wanted.function, wanted.base))
        return -1;
    auto* record =
        static_cast<once_record*>(ombrel_calloc_tag(1, sizeof(once_record), wanted.function, __LINE__));
    if (record == nullptr) {
        print_line(severity::error, wanted.function, "not enough memory !");
        return -1;
    }
    return add_once(*record, wanted, timeout_ms);
}

} // namespace

int ombrel_event_base_once(ombrel_event_base_t* base, int fd, uint32_t flags, ombrel_event_handler_t handler,
                           void* context, int timeout_ms) {
    return once({.function = "ombrel_event_base_once",
                 .base = base,
                 .fd = fd,
                 .flags = flags,
                 .handler = handler,
                 .context = context},
                timeout_ms);
}

int ombrel_event_base_once_with_resolver(ombrel_event_base_t* base, int fd, uint32_t flags,
                                         ombrel_event_handler_t handler, void* context, int timeout_ms,
                                         const char* bind_address, int bind_port, const char* resolver_name,
                                         int resolver_port) {
    return once({.function = "ombrel_event_base_once_with_resolver",
                 .base = base,
                 .fd = fd,
                 .flags = flags,
                 .handler = handler,
                 .context = context,
                 .bind_address = bind_address,
                 .bind_port = bind_port,
                 .resolver_name = resolver_name,
                 .resolver_port = resolver_port},
                timeout_ms);
}
