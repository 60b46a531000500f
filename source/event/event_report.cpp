#include <atomic>

#include <ombrel/heap.h>
#include <ombrel/output.h>

#include "core/heap_ptr.h"
#include "event/event_internal.h"

namespace ombrel {

namespace {

std::atomic<bool> tracing;

constexpr const char* level_names[] = {"MESSAGE", "WARNING", "ERROR"};

} // namespace

bool is_tracing() {
    return tracing.load(std::memory_order_relaxed);
}

void print_line(severity level, const char* function, const char* phrase, const ombrel_event_t* event,
                int fd) {
    auto* print = level == severity::message ? ombrel_printf : ombrel_error_printf;
    const char* name = level_names[static_cast<int>(level)];
    if (event == nullptr)
        print("%s: [%s] %s\n", function, name, phrase);
    else
        print("%s: [%s] %s (event=%p, fd=%d)\n", function, name, phrase, static_cast<const void*>(event), fd);
}

void log_line(ombrel_event_base_t& base, severity level, const char* function, const char* phrase,
              const ombrel_event_t* event) {
    if (level == severity::message && !is_tracing())
        return;
    OMBREL_INVARIANT(base.m_gate.is_held());
    auto* line = allocate_record<pending_line>("ombrel_event_base_loop", __LINE__);
    if (line == nullptr)
        return;
    *line = {nullptr, level, function, phrase, event, event != nullptr ? event->m_fd : -1};
    (base.m_last_line != nullptr ? base.m_last_line->next : base.m_lines) = line;
    base.m_last_line = line;
}

bool is_assigned(const char* function, const ombrel_event_t* event) {
    if (event == nullptr) {
        ombrel_error_printf("%s: [ERROR] event is null !\n", function);
        return false;
    }
    if ((flags_of(*event) & def_ombrel_event_assigned) == 0) {
        // The line has no closing parenthesis, by design.
        ombrel_error_printf("%s: [ERROR] event is not initialized ! (event=%p\n", function,
                            static_cast<const void*>(event));
        return false;
    }
    return true;
}

void report_homeless(const char* function, const ombrel_event_t& event) {
    ombrel_error_printf("%s: [ERROR] event->m_base is null ! (event=%p)\n", function,
                        static_cast<const void*>(&event));
}

bool is_base(const char* function, const ombrel_event_base_t* base) {
    if (base == nullptr)
        print_line(severity::error, function, "s_base is null !");
    return base != nullptr;
}

bool refuse_added(ombrel_event_base_t& base, const char* function) {
    log_line(base, severity::error, function, "s_event is already added !");
    return false;
}

} // namespace ombrel

int ombrel_event_debug_mode(int on) {
    ombrel::tracing.store(on != 0);
    return 0;
}
