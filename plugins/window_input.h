// What SDL tells of the mouse and the keyboard as events of windows.
#pragma once

#include <SDL.h>

#include <ombrel/window_event.h>

#include "window_picture.h"

/// The window that an event of SDL is for; 0 for none.
Uint32 window_of(const SDL_Event& told);

/// Where the pointer of a window is, and which buttons and modifiers are held, in window_event.h's words. SDL
/// knows the modifiers of now, which need not be those of an event that has waited.
struct window_pointer {
    int32_t x = 0, y = 0;
    uint32_t buttons = 0, modifiers = 0;
};

/// The event without its context; of the kind "none" for what programs are not told. The characters of a text
/// are not here, as there may be several.
ombrel_window_event_t translate(const SDL_Event& told, window_scale scale, window_pointer& pointer);

/// A character that was typed.
ombrel_window_event_t typed(uint32_t character, const window_pointer& pointer);
