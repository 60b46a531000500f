// For hosts without such windows.
#if !defined(_WIN32)

#include "platform/host_window.h"

#include "platform/fault.h"

namespace ombrel::platform {

bool has_host_windows() {
    return false;
}

host_window* open_host_window(const host_window_wish&, const host_window_listener&) {
    leave_fault(fault_code::not_supported);
    return nullptr;
}

void* host_window_pixels(const host_window&, uint32_t&) {
    return nullptr;
}

void blit_host_window(host_window&, int32_t, int32_t, uint32_t, uint32_t) {}

bool next_host_window_message(host_window&) {
    return false;
}

void close_host_window(host_window&) {}

void free_host_window(host_window*) {}

} // namespace ombrel::platform

#endif
