// Windows of the host system that show pixels.
#pragma once

#include <cstdint>

namespace ombrel::platform {

/// What a window is to be: its class and title, where it is and how large.
struct host_window_wish {
    const char* class_name;
    const char* title;
    int32_t x, y;
    uint32_t w, h;
};

/// 0; -1 where the host has no windows that are backed by a device-independent bitmap.
int open_host_window(const host_window_wish& wish);

} // namespace ombrel::platform
