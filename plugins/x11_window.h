// What windows of X need beside SDL; elsewhere nothing is done.
#pragma once

#include <SDL.h>

/// Sets the class by which window managers know a program. Where a desktop has none for single windows, the
/// process has one.
void set_window_class(SDL_Window* window, const char* name);

/// SDL wakes its thread by a message to one of its windows, on a connection of its own, so that the window
/// may be gone when the server comes to it; Xlib then ends the process unless it is told otherwise. This
/// tells it, from before SDL begins until after it has ended.
class late_messages_pass {
public:
    late_messages_pass();
    ~late_messages_pass();
    late_messages_pass(const late_messages_pass&) = delete;
    late_messages_pass& operator=(const late_messages_pass&) = delete;

private:
    void* library_; ///< null where there is no X
};
