#include "window_input.h"

#include <cmath>

namespace {

struct key_pair {
    SDL_Keycode sdl;
    uint32_t key;
};

// Besides those that count up alike.
constexpr key_pair keys[] = {
    {SDLK_LEFT, def_ombrel_window_key_left},
    {SDLK_RIGHT, def_ombrel_window_key_right},
    {SDLK_UP, def_ombrel_window_key_up},
    {SDLK_DOWN, def_ombrel_window_key_down},
    {SDLK_HOME, def_ombrel_window_key_home},
    {SDLK_END, def_ombrel_window_key_end},
    {SDLK_PAGEUP, def_ombrel_window_key_page_up},
    {SDLK_PAGEDOWN, def_ombrel_window_key_page_down},
    {SDLK_INSERT, def_ombrel_window_key_insert},
    {SDLK_APPLICATION, def_ombrel_window_key_menu},
    {SDLK_MENU, def_ombrel_window_key_menu},
    {SDLK_PRINTSCREEN, def_ombrel_window_key_print},
    {SDLK_PAUSE, def_ombrel_window_key_pause},
    {SDLK_CAPSLOCK, def_ombrel_window_key_caps_lock},
    {SDLK_NUMLOCKCLEAR, def_ombrel_window_key_num_lock},
    {SDLK_SCROLLLOCK, def_ombrel_window_key_scroll_lock},
    {SDLK_LSHIFT, def_ombrel_window_key_shift},
    {SDLK_RSHIFT, def_ombrel_window_key_shift},
    {SDLK_LCTRL, def_ombrel_window_key_control},
    {SDLK_RCTRL, def_ombrel_window_key_control},
    {SDLK_LALT, def_ombrel_window_key_alt},
    {SDLK_RALT, def_ombrel_window_key_alt},
    {SDLK_MODE, def_ombrel_window_key_alt},
    {SDLK_LGUI, def_ombrel_window_key_super},
    {SDLK_RGUI, def_ombrel_window_key_super},
    {SDLK_KP_ENTER, def_ombrel_window_key_enter},
    {SDLK_KP_0, def_ombrel_window_key_pad_0},
    {SDLK_KP_PERIOD, def_ombrel_window_key_pad_point},
    {SDLK_KP_COMMA, def_ombrel_window_key_pad_point},
    {SDLK_KP_PLUS, def_ombrel_window_key_pad_plus},
    {SDLK_KP_MINUS, def_ombrel_window_key_pad_minus},
    {SDLK_KP_MULTIPLY, def_ombrel_window_key_pad_times},
    {SDLK_KP_DIVIDE, def_ombrel_window_key_pad_divide},
};

uint32_t counted(SDL_Keycode key, SDL_Keycode first, SDL_Keycode last, uint32_t from) {
    return key >= first && key <= last ? from + static_cast<uint32_t>(key - first) : 0;
}

/// 0 for a key without a number.
uint32_t key_of(SDL_Keycode key) {
    if ((key & SDLK_SCANCODE_MASK) == 0)
        return static_cast<uint32_t>(key);
    for (const key_pair& pair : keys)
        if (pair.sdl == key)
            return pair.key;
    return counted(key, SDLK_F1, SDLK_F12, def_ombrel_window_key_f1) +
           counted(key, SDLK_F13, SDLK_F24, def_ombrel_window_key_f1 + 12) +
           counted(key, SDLK_KP_1, SDLK_KP_9, def_ombrel_window_key_pad_0 + 1);
}

uint32_t modifiers_of(unsigned held) {
    return ((held & KMOD_SHIFT) != 0 ? def_ombrel_window_modifier_shift : 0) |
           ((held & KMOD_CTRL) != 0 ? def_ombrel_window_modifier_control : 0) |
           ((held & KMOD_ALT) != 0 ? def_ombrel_window_modifier_alt : 0) |
           ((held & KMOD_GUI) != 0 ? def_ombrel_window_modifier_super : 0);
}

ombrel_window_event_t event_at(uint32_t kind, const window_pointer& pointer) {
    ombrel_window_event_t event = {};
    event.m_kind = kind;
    event.m_x = pointer.x;
    event.m_y = pointer.y;
    event.m_buttons = pointer.buttons;
    event.m_modifiers = pointer.modifiers;
    return event;
}

void place(window_pointer& pointer, int32_t x, int32_t y, window_scale scale) {
    pointer.x = scale.to_map(x);
    pointer.y = scale.to_map(y);
}

ombrel_window_event_t press(const SDL_MouseButtonEvent& told, window_scale scale, window_pointer& pointer) {
    constexpr uint32_t most_buttons = 32;
    if (told.button == 0 || told.button > most_buttons)
        return {};
    const bool is_down = told.state == SDL_PRESSED;
    const uint32_t bit = uint32_t{1} << (told.button - 1);
    place(pointer, told.x, told.y, scale);
    pointer.buttons = is_down ? pointer.buttons | bit : pointer.buttons & ~bit;
    ombrel_window_event_t event =
        event_at(is_down ? def_ombrel_window_event_button_down : def_ombrel_window_event_button_up, pointer);
    event.m_button = told.button;
    return event;
}

ombrel_window_event_t turn_wheel(const SDL_MouseWheelEvent& told, const window_pointer& pointer) {
    const float notch = told.direction == SDL_MOUSEWHEEL_FLIPPED ? -def_ombrel_window_wheel_notch
                                                                 : def_ombrel_window_wheel_notch;
    ombrel_window_event_t event = event_at(def_ombrel_window_event_wheel, pointer);
    event.m_wheel_x = static_cast<int32_t>(lroundf(told.preciseX * notch));
    event.m_wheel_y = static_cast<int32_t>(lroundf(told.preciseY * notch));
    return event;
}

ombrel_window_event_t strike(const SDL_KeyboardEvent& told, window_pointer& pointer) {
    const uint32_t key = key_of(told.keysym.sym);
    pointer.modifiers = modifiers_of(told.keysym.mod);
    if (key == 0)
        return {};
    ombrel_window_event_t event = event_at(told.state == SDL_PRESSED ? def_ombrel_window_event_key_down
                                                                     : def_ombrel_window_event_key_up,
                                           pointer);
    event.m_key = key;
    event.m_is_repeat = told.repeat != 0 ? 1 : 0;
    return event;
}

} // namespace

Uint32 window_of(const SDL_Event& told) {
    switch (told.type) {
    case SDL_WINDOWEVENT:
        return told.window.windowID;
    case SDL_MOUSEMOTION:
        return told.motion.windowID;
    case SDL_MOUSEBUTTONDOWN:
    case SDL_MOUSEBUTTONUP:
        return told.button.windowID;
    case SDL_MOUSEWHEEL:
        return told.wheel.windowID;
    case SDL_KEYDOWN:
    case SDL_KEYUP:
        return told.key.windowID;
    case SDL_TEXTINPUT:
        return told.text.windowID;
    default:
        return 0;
    }
}

ombrel_window_event_t translate(const SDL_Event& told, window_scale scale, window_pointer& pointer) {
    switch (told.type) {
    case SDL_WINDOWEVENT:
        return told.window.event == SDL_WINDOWEVENT_CLOSE ? event_at(def_ombrel_window_event_close, pointer)
                                                          : ombrel_window_event_t{};
    case SDL_MOUSEMOTION:
        place(pointer, told.motion.x, told.motion.y, scale);
        return event_at(def_ombrel_window_event_move, pointer);
    case SDL_MOUSEBUTTONDOWN:
    case SDL_MOUSEBUTTONUP:
        return press(told.button, scale, pointer);
    case SDL_MOUSEWHEEL:
        return turn_wheel(told.wheel, pointer);
    case SDL_KEYDOWN:
    case SDL_KEYUP:
        return strike(told.key, pointer);
    default:
        return {};
    }
}

ombrel_window_event_t typed(uint32_t character, const window_pointer& pointer) {
    ombrel_window_event_t event = event_at(def_ombrel_window_event_character, pointer);
    event.m_character = character;
    return event;
}
