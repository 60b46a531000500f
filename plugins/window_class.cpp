#include "window_class.h"

#include <SDL_syswm.h>

#if defined(SDL_VIDEO_DRIVER_X11)
#include <X11/Xutil.h>
#endif

#if defined(SDL_VIDEO_DRIVER_X11)

namespace {

// SDL sets one class for all windows of a process. Its own library of X is there when it shows windows by it.
void set_class_by_x11(const SDL_SysWMinfo& about, const char* name) {
    void* const library = SDL_LoadObject("libX11.so.6");
    const auto set_hint =
        library != nullptr
            ? reinterpret_cast<decltype(&XSetClassHint)>(SDL_LoadFunction(library, "XSetClassHint"))
            : nullptr;
    XClassHint hint = {const_cast<char*>(name), const_cast<char*>(name)};
    if (set_hint != nullptr)
        set_hint(about.info.x11.display, about.info.x11.window, &hint);
    SDL_UnloadObject(library);
}

} // namespace

#endif

void set_window_class([[maybe_unused]] SDL_Window* window, [[maybe_unused]] const char* name) {
#if defined(SDL_VIDEO_DRIVER_X11)
    SDL_SysWMinfo about;
    SDL_VERSION(&about.version);
    if (SDL_GetWindowWMInfo(window, &about) == SDL_TRUE && about.subsystem == SDL_SYSWM_X11)
        set_class_by_x11(about, name);
#endif
}
