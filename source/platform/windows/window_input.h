// The mouse and the keyboard in the messages of a window.
#pragma once

#include <ombrel/window_event.h>

#include "platform/windows/windows_host.h"

namespace ombrel::platform {

/// What of it a window remembers from one message to the next.
class window_input {
public:
    /// The event that a message is; of the kind "none" for what is none.
    ombrel_window_event_t translate(HWND window, UINT message, WPARAM first, LPARAM second);

    /// For a window that loses the keyboard, whose keys may be released elsewhere: the next of the keys that
    /// count as held is let go. Of the kind "none" after the last.
    ombrel_window_event_t let_go_of_key();

private:
    ombrel_window_event_t event_at(uint32_t kind) const;
    bool place_pointer(LPARAM place);
    ombrel_window_event_t move(WPARAM held, LPARAM place);
    ombrel_window_event_t press(HWND window, UINT message, WPARAM held, LPARAM place);
    ombrel_window_event_t turn_wheel(UINT message, WPARAM turn);
    ombrel_window_event_t strike(WPARAM virtual_key, LPARAM details);
    ombrel_window_event_t type(WPARAM unit);

    int32_t x_, y_;
    uint32_t buttons_;
    wchar_t high_surrogate_;
    uint32_t held_keys_[256]; ///< by their codes here the keys as programs know them; 0 for those not held
};

} // namespace ombrel::platform
