// Guards of SDL's objects.
#pragma once

#include <SDL.h>

/// Holds a mutex for a scope; one that could not be made guards nothing.
class sdl_lock {
public:
    explicit sdl_lock(SDL_mutex* mutex) : mutex_(mutex) {
        if (mutex_ != nullptr)
            SDL_LockMutex(mutex_);
    }
    ~sdl_lock() {
        if (mutex_ != nullptr)
            SDL_UnlockMutex(mutex_);
    }
    sdl_lock(const sdl_lock&) = delete;
    sdl_lock& operator=(const sdl_lock&) = delete;

private:
    SDL_mutex* mutex_;
};
