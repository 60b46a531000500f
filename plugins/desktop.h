// The windows of the desktop, and the one thread that owns SDL and them.
#pragma once

#include <cstddef>

#include <SDL.h>

#include <ombrel/fbmap.h>
#include <ombrel/window_event.h>

#include "window_input.h"
#include "window_picture.h"

/// One window. What is in the first part is set before it is opened and stays.
struct desktop_window {
    int ctx = -1;
    ombrel_fbmap_t* root = nullptr; ///< until the window is closed
    const char* class_name = "";    ///< like the title read during opening alone
    const char* title = "";
    bool is_placed = false;
    int x = 0, y = 0;
    bool tells_events = false; ///< on standard output
    window_scale scale;
    window_picture picture;
    ombrel_window_events_t* events = nullptr;

    // Guarded by the desktop's mutex.
    enum class stage { to_be_opened, refused, open, to_be_closed, closed };
    stage now = stage::to_be_opened;
    desktop_window* next = nullptr;

    // The desktop's thread's own.
    SDL_Window* shown = nullptr; ///< null once the user has closed it
    window_pointer pointer;
    void (*release)(desktop_window*) = nullptr; ///< set when its own handler has closed it

    desktop_window() = default;
    ~desktop_window() { ombrel_free_window_events(events); }
    desktop_window(const desktop_window&) = delete;
    desktop_window& operator=(const desktop_window&) = delete;
};

/// All may be called by any thread, also by a handler of events, which runs on the desktop's.
namespace desktop {

/// Makes what guards the desktop, once in a process. False without memory.
bool initialize();
/// Ends the thread, if there is one. No windows are open.
void uninitialize();

enum class opening { done, no_desktop, failed };
/// Shows a window; why not, `text` tells in SDL's words.
opening open(desktop_window& window, char* text, size_t room);
/// Closes an open window and frees it by `release`, now or when its handler has returned. Nothing at `root`
/// is touched any more.
void close(desktop_window& window, void (*release)(desktop_window*));
/// To be called when a window's picture wants to be painted.
void wake();

} // namespace desktop
