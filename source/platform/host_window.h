// Windows of the host system that show pixels.
#pragma once

#include <cstdint>

#include <ombrel/window_event.h>

namespace ombrel::platform {

/// What the bits of a pixel mean, which has 8, 16, 24 (blue, green and red, a byte each) or 32 of them.
struct host_window_format {
    uint32_t bits_per_pixel;
    uint32_t red, green, blue; ///< with 16 or 32 bits: those of each channel, without gaps
    uint32_t colors[256];      ///< with 8 bits: what they stand for, as 0xRRGGBB
};

/// What a window is to be: its class and title, where its frame is and how large its inside.
struct host_window_wish {
    const char* class_name;
    const char* title;
    bool is_placed; ///< else the host finds a place
    int32_t x, y;
    uint32_t w, h; ///< from 1 to host_window_most
    const host_window_format* format;
};
inline constexpr uint32_t host_window_most = 32767;

/// What came to a window. Some messages have names, for those who look for faults.
struct host_window_message {
    const char* name; ///< null for those that have none
    uint64_t first, second;
    ombrel_window_event_t event; ///< of the kind "none" for what is no event; without its context
};

/// Who is told, on the window's thread.
struct host_window_listener {
    /// After the event "close" false keeps the window; else the result does not count.
    bool (*hear)(void* context, const host_window_message& message);
    void* context;
};

/// Opaque.
struct host_window;

/// Whether the host has windows that are backed by a device-independent bitmap.
bool has_host_windows();

/// A window of the calling thread, shown, with black pixels; null, with its fault, when it cannot be had. Its
/// creation is heard before this returns.
host_window* open_host_window(const host_window_wish& wish, const host_window_listener& listener);

/// The pixels, row by row from the top, and the bytes from a row to the next. They last until the window is
/// freed, also when the user has closed it.
void* host_window_pixels(const host_window& window, uint32_t& line_length);

/// Shows a rectangle of the pixels that lies inside, on any thread; nothing is left to do for a window that
/// is closed.
void blit_host_window(host_window& window, int32_t x, int32_t y, uint32_t w, uint32_t h);

/// Waits for a message and handles it, on the window's thread. False when the window is closed and all has
/// been heard.
bool next_host_window_message(host_window& window);

/// Asks the window to close, unasked of its listener; on any thread.
void close_host_window(host_window& window);

/// Frees a window that is closed, on any thread. Null is let be.
void free_host_window(host_window* window);

} // namespace ombrel::platform
