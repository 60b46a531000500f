// The class of a window, by which window managers know a program.
#pragma once

#include <SDL.h>

/// Sets it where the desktop has classes for single windows; elsewhere the process has one.
void set_window_class(SDL_Window* window, const char* name);
