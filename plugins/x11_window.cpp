#include "x11_window.h"

#include <atomic>
#include <cstring>

#include <SDL_syswm.h>

#if defined(SDL_VIDEO_DRIVER_X11)

#include <X11/Xproto.h>
#include <X11/Xutil.h>

namespace {

constexpr const char x11_library[] = "libX11.so.6"; // the one that SDL loads

template<typename Function>
Function* function_of(void* library, const char* name) {
    return library != nullptr ? reinterpret_cast<Function*>(SDL_LoadFunction(library, name)) : nullptr;
}

XErrorHandler set_handler(void* library, XErrorHandler handler) {
    auto* const set = function_of<decltype(XSetErrorHandler)>(library, "XSetErrorHandler");
    return set != nullptr ? set(handler) : nullptr;
}

bool is_driven_by_x11() {
    const char* const driver = SDL_GetCurrentVideoDriver();
    return driver != nullptr && strcmp(driver, "x11") == 0;
}

std::atomic<XErrorHandler> usual_handler;

int pass_over_late_message(Display* display, XErrorEvent* error) {
    if (error->request_code == X_SendEvent && error->error_code == BadWindow)
        return 0;
    const XErrorHandler usual = usual_handler;
    return usual != nullptr ? usual(display, error) : 0;
}

} // namespace

// SDL itself sets one class for all windows of a process.
void set_window_class(SDL_Window* window, const char* name) {
    if (!is_driven_by_x11())
        return;
    void* const library = SDL_LoadObject(x11_library);
    auto* const set_hint = function_of<decltype(XSetClassHint)>(library, "XSetClassHint");
    XClassHint hint = {const_cast<char*>(name), const_cast<char*>(name)};
    SDL_SysWMinfo about;
    SDL_VERSION(&about.version);
    if (set_hint != nullptr && SDL_GetWindowWMInfo(window, &about) == SDL_TRUE)
        set_hint(about.info.x11.display, about.info.x11.window, &hint);
    SDL_UnloadObject(library);
}

late_messages_pass::late_messages_pass() : library_(SDL_LoadObject(x11_library)) {
    usual_handler = set_handler(library_, pass_over_late_message);
}

late_messages_pass::~late_messages_pass() {
    set_handler(library_, usual_handler);
    SDL_UnloadObject(library_);
}

#else

void set_window_class(SDL_Window*, const char*) {}

late_messages_pass::late_messages_pass() : library_(nullptr) {}
late_messages_pass::~late_messages_pass() = default;

#endif
