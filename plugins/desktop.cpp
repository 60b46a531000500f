#include "desktop.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include <ombrel/output.h>
#include <ombrel/printf.h>
#include <ombrel/service.h>
#include <ombrel/utf8.h>

#include "sdl_guard.h"
#include "x11_window.h"

namespace {

using stage = desktop_window::stage;

SDL_mutex* start_mutex;   // while the service is started or ended
SDL_mutex* running_mutex; // held by the thread for all its life, so that there are no two
SDL_mutex* mutex;         // guards what follows
SDL_cond* stirred;        // something is to be done by the thread
SDL_cond* settled;        // a window was opened or closed
desktop_window* windows;
bool is_stirred, waits_for_sdl;
char refusal[256]; // what SDL said

ombrel_service_t* service; // guarded by start_mutex
std::atomic<SDL_threadID> own_thread;
Uint32 wake_event;
desktop_window* handled; // whose handler is running; the thread's own

bool is_own_thread() {
    return own_thread.load() == SDL_ThreadID();
}

void keep_refusal() {
    ombrel_snprintf(refusal, sizeof refusal, "%s", SDL_GetError());
}

// What the environment says otherwise comes first.
void set_hints() {
    constexpr const char* hints[][2] = {
        {SDL_HINT_VIDEODRIVER, "x11,wayland"}, // windows, not a whole screen
        {SDL_HINT_NO_SIGNAL_HANDLERS, "1"},    // those are the program's
        {SDL_HINT_QUIT_ON_LAST_WINDOW_CLOSE, "0"},
        {SDL_HINT_VIDEO_ALLOW_SCREENSAVER, "1"},
        {SDL_HINT_VIDEO_X11_NET_WM_BYPASS_COMPOSITOR, "0"},
        {SDL_HINT_MOUSE_FOCUS_CLICKTHROUGH, "1"},
        {SDL_HINT_FRAMEBUFFER_ACCELERATION, "0"}, // which would hand on whole windows
    };
    for (const auto& [name, value] : hints)
        SDL_SetHint(name, value);
}

desktop_window* find(Uint32 id) {
    if (id == 0)
        return nullptr;
    const sdl_lock lock(mutex);
    for (desktop_window* window = windows; window != nullptr; window = window->next)
        if (window->shown != nullptr && SDL_GetWindowID(window->shown) == id)
            return window;
    return nullptr;
}

void unlink(desktop_window& window) {
    desktop_window** link = &windows;
    while (*link != nullptr && *link != &window)
        link = &(*link)->next;
    if (*link != nullptr)
        *link = window.next;
}

bool show(desktop_window& window) {
    constexpr int farthest = 16000;
    const auto place = [&](int wanted) {
        return window.is_placed ? std::clamp(wanted, -farthest, farthest) : int{SDL_WINDOWPOS_UNDEFINED};
    };
    window.shown = SDL_CreateWindow(window.title, place(window.x), place(window.y), window.picture.width(),
                                    window.picture.height(), SDL_WINDOW_HIDDEN);
    if (window.shown == nullptr)
        return false;
    set_window_class(window.shown, window.class_name);
    SDL_ShowWindow(window.shown);
    if (window.picture.paint(window.shown))
        return true;
    SDL_DestroyWindow(window.shown);
    window.shown = nullptr;
    return false;
}

void hide(desktop_window& window) {
    if (window.shown != nullptr)
        SDL_DestroyWindow(window.shown);
    window.shown = nullptr;
}

void settle(desktop_window& window) {
    if (window.now == stage::to_be_opened) {
        window.now = show(window) ? stage::open : stage::refused;
        if (window.now == stage::refused)
            keep_refusal();
    }
    if (window.now == stage::to_be_closed) {
        hide(window);
        window.now = stage::closed;
    }
    if (window.now != stage::open)
        unlink(window);
}

// Opens and closes what other threads want opened and closed. True when there are windows of SDL.
bool settle_windows() {
    const sdl_lock lock(mutex);
    is_stirred = false;
    bool any = false;
    for (desktop_window *window = windows, *next; window != nullptr; window = next) {
        next = window->next;
        settle(*window);
        any = any || window->shown != nullptr;
    }
    SDL_CondBroadcast(settled);
    return any;
}

// Nobody but this thread takes windows from the list, and others add to its front.
void paint_windows() {
    desktop_window* first;
    {
        const sdl_lock lock(mutex);
        first = windows;
    }
    for (desktop_window* window = first; window != nullptr; window = window->next)
        if (window->shown != nullptr)
            window->picture.paint(window->shown);
}

void tell(const ombrel_window_event_t& event) {
    constexpr const char* names[] = {"none",  "close",    "move",   "button down", "button up",
                                     "wheel", "key down", "key up", "character"};
    ombrel_printf("window %s : ctx=%ld, x=%ld, y=%ld, button=%lu, buttons=%lu, wheel=%ld,%ld, key=%lu, "
                  "character=%lu, modifiers=%lu\n",
                  names[event.m_kind], long{event.m_ctx}, long{event.m_x}, long{event.m_y},
                  static_cast<unsigned long>(event.m_button), static_cast<unsigned long>(event.m_buttons),
                  long{event.m_wheel_x}, long{event.m_wheel_y}, static_cast<unsigned long>(event.m_key),
                  static_cast<unsigned long>(event.m_character),
                  static_cast<unsigned long>(event.m_modifiers));
}

// The handler's answer; the window may have been closed by it.
int put(desktop_window& window, ombrel_window_event_t event) {
    event.m_ctx = window.ctx;
    if (window.tells_events)
        tell(event);
    return ombrel_put_window_event(window.events, &event);
}

void close_by_user(desktop_window& window, const ombrel_window_event_t& event) {
    if (put(window, event) != 0 || window.release != nullptr)
        return;
    if (ombrel_fbmap_lock() == 0) {
        window.root->m_flags |= def_ombrel_fbmap_closed;
        ombrel_fbmap_unlock();
    }
    hide(window);
    ombrel_end_window_events(window.events);
}

void put_characters(desktop_window& window, const char* text) {
    uint32_t character;
    for (int size; *text != '\0' && window.release == nullptr; text += size) {
        size = ombrel_utf8_character_decode(text, strlen(text), &character);
        if (size <= 0)
            return;
        if (character >= ' ' && character != 127)
            put(window, typed(character, window.pointer));
    }
}

void look_at(desktop_window& window, const SDL_Event& told) {
    if (told.type == SDL_WINDOWEVENT)
        window.picture.expose();
    if (told.type == SDL_TEXTINPUT)
        return put_characters(window, told.text.text);
    const ombrel_window_event_t event = translate(told, window.scale, window.pointer);
    if (event.m_kind == def_ombrel_window_event_close)
        return close_by_user(window, event);
    if (event.m_kind != def_ombrel_window_event_none)
        put(window, event);
}

void handle(const SDL_Event& told) {
    desktop_window* const window = find(window_of(told));
    if (window == nullptr)
        return;
    handled = window;
    look_at(*window, told);
    handled = nullptr;
    if (window->release != nullptr)
        window->release(window);
}

// A thread that stirs later wakes whichever of the two waits this is.
bool wait_for_event(SDL_Event& event, bool has_windows) {
    bool has_work;
    {
        const sdl_lock lock(mutex);
        waits_for_sdl = has_windows;
        while (!has_windows && !is_stirred)
            SDL_CondWait(stirred, mutex);
        has_work = is_stirred;
    }
    return (has_work ? SDL_PollEvent(&event) : SDL_WaitEvent(&event)) != 0;
}

int stir(void*) {
    desktop::wake();
    return 0;
}

bool begin(ombrel_service_t* beginning) {
    set_hints();
    SDL_SetMainReady();
    if (SDL_InitSubSystem(SDL_INIT_VIDEO) == 0) {
        wake_event = wake_event != 0 ? wake_event : SDL_RegisterEvents(1);
        own_thread = SDL_ThreadID();
        ombrel_ack_service(beginning);
        return true;
    }
    const sdl_lock lock(mutex);
    keep_refusal();
    ombrel_error_service(beginning);
    return false;
}

// Events may come as fast as they are handled; who opens, closes and paints is not to wait for their end.
void serve_until_break(ombrel_service_t* running) {
    constexpr int most_events_at_once = 64;
    while (ombrel_break_service(running) == 0) {
        const bool has_windows = settle_windows();
        paint_windows();
        SDL_Event event;
        bool is_told = wait_for_event(event, has_windows);
        for (int i = 0; i < most_events_at_once && is_told; i++) {
            handle(event);
            is_told = SDL_PollEvent(&event) != 0;
        }
        if (is_told)
            handle(event);
    }
}

int run(ombrel_service_t* running, void*) {
    const sdl_lock alone(running_mutex);
    const late_messages_pass passing;
    if (!begin(running))
        return -1;
    serve_until_break(running);
    own_thread = 0;
    SDL_QuitSubSystem(SDL_INIT_VIDEO);
    if (SDL_WasInit(0) == 0) // the program does not use it
        SDL_Quit();
    return 0;
}

bool is_running() {
    if (is_own_thread())
        return true;
    const sdl_lock starting(start_mutex);
    if (service == nullptr) {
        service = ombrel_open_service_ex("ombrel_plugin_window", run, nullptr, 0);
        ombrel_service_register_close_notify_handler(service, stir, nullptr);
    }
    return service != nullptr;
}

// Waits, with the mutex held, until the thread has done what a window's stage asks for; does it at once on
// that thread.
void wait_while(desktop_window& window, stage asked) {
    if (is_own_thread())
        settle(window);
    while (window.now == asked)
        SDL_CondWait(settled, mutex);
}

// For who holds the mutex.
void wake_thread() {
    if (is_stirred)
        return;
    is_stirred = true;
    SDL_CondSignal(stirred);
    SDL_Event event = {};
    event.type = wake_event;
    if (waits_for_sdl)
        SDL_PushEvent(&event);
}

} // namespace

namespace desktop {

bool initialize() {
    if (mutex != nullptr)
        return true;
    start_mutex = SDL_CreateMutex();
    running_mutex = SDL_CreateMutex();
    stirred = SDL_CreateCond();
    settled = SDL_CreateCond();
    mutex = SDL_CreateMutex();
    return start_mutex != nullptr && running_mutex != nullptr && stirred != nullptr && settled != nullptr &&
           mutex != nullptr;
}

// On its own thread nobody can wait for the thread; it ends when the handler has returned.
void uninitialize() {
    constexpr uint32_t no_limit = 0xFFFFFFFF;
    const sdl_lock starting(start_mutex);
    ombrel_close_service_ex(service, is_own_thread() ? 0 : no_limit);
    service = nullptr;
}

opening open(desktop_window& window, char* text, size_t room) {
    const bool is_there = is_running();
    const sdl_lock lock(mutex);
    if (is_there) {
        window.next = windows;
        windows = &window;
        wake_thread();
        wait_while(window, stage::to_be_opened);
    }
    if (window.now == stage::open)
        return opening::done;
    ombrel_snprintf(text, room, "%s", refusal);
    return is_there ? opening::failed : opening::no_desktop;
}

void close(desktop_window& window, void (*release)(desktop_window*)) {
    {
        const sdl_lock lock(mutex);
        window.now = stage::to_be_closed;
        wake_thread();
        wait_while(window, stage::to_be_closed);
    }
    if (is_own_thread() && handled == &window)
        window.release = release;
    else
        release(&window);
}

void wake() {
    const sdl_lock lock(mutex);
    wake_thread();
}

} // namespace desktop
