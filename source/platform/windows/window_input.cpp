#include "platform/windows/window_input.h"

#include <iterator>

namespace ombrel::platform {

namespace {

struct key_pair {
    int code;
    uint32_t key;
};

// Besides those that count up alike.
constexpr key_pair keys[] = {
    {VK_BACK, def_ombrel_window_key_backspace},
    {VK_TAB, def_ombrel_window_key_tab},
    {VK_RETURN, def_ombrel_window_key_enter},
    {VK_ESCAPE, def_ombrel_window_key_escape},
    {VK_DELETE, def_ombrel_window_key_delete},
    {VK_LEFT, def_ombrel_window_key_left},
    {VK_RIGHT, def_ombrel_window_key_right},
    {VK_UP, def_ombrel_window_key_up},
    {VK_DOWN, def_ombrel_window_key_down},
    {VK_HOME, def_ombrel_window_key_home},
    {VK_END, def_ombrel_window_key_end},
    {VK_PRIOR, def_ombrel_window_key_page_up},
    {VK_NEXT, def_ombrel_window_key_page_down},
    {VK_INSERT, def_ombrel_window_key_insert},
    {VK_APPS, def_ombrel_window_key_menu},
    {VK_SNAPSHOT, def_ombrel_window_key_print},
    {VK_PAUSE, def_ombrel_window_key_pause},
    {VK_CANCEL, def_ombrel_window_key_pause},
    {VK_CAPITAL, def_ombrel_window_key_caps_lock},
    {VK_NUMLOCK, def_ombrel_window_key_num_lock},
    {VK_SCROLL, def_ombrel_window_key_scroll_lock},
    {VK_SHIFT, def_ombrel_window_key_shift},
    {VK_CONTROL, def_ombrel_window_key_control},
    {VK_MENU, def_ombrel_window_key_alt},
    {VK_LWIN, def_ombrel_window_key_super},
    {VK_RWIN, def_ombrel_window_key_super},
    {VK_DECIMAL, def_ombrel_window_key_pad_point},
    {VK_ADD, def_ombrel_window_key_pad_plus},
    {VK_SUBTRACT, def_ombrel_window_key_pad_minus},
    {VK_MULTIPLY, def_ombrel_window_key_pad_times},
    {VK_DIVIDE, def_ombrel_window_key_pad_divide},
};

uint32_t counted(int code, int first, int last, uint32_t from) {
    return code >= first && code <= last ? from + static_cast<uint32_t>(code - first) : 0;
}

// What the key types alone: the system gives capital letters, and marks accents that wait for a letter.
uint32_t typed_by(int code) {
    constexpr UINT dead_key = 0x80000000;
    const UINT unit = MapVirtualKeyW(static_cast<UINT>(code), MAPVK_VK_TO_CHAR) & ~dead_key;
    const auto lower =
        reinterpret_cast<UINT_PTR>(CharLowerW(reinterpret_cast<LPWSTR>(UINT_PTR{unit & 0xFFFF})));
    return static_cast<uint32_t>(lower & 0xFFFF);
}

// The number pad's keys have codes of others while it does not write numbers; those others are marked.
constexpr int pad_codes[] = {VK_INSERT, VK_END,   VK_DOWN, VK_NEXT, VK_LEFT,
                             VK_CLEAR,  VK_RIGHT, VK_HOME, VK_UP,   VK_PRIOR};

uint32_t pad_key_of(int code) {
    for (uint32_t i = 0; i < std::size(pad_codes); i++)
        if (pad_codes[i] == code)
            return def_ombrel_window_key_pad_0 + i;
    return code == VK_DELETE ? def_ombrel_window_key_pad_point : 0;
}

/// 0 for a key without a number.
uint32_t key_of(int code, bool is_marked) {
    if (const uint32_t key = is_marked ? 0 : pad_key_of(code); key != 0)
        return key;
    for (const key_pair& pair : keys)
        if (pair.code == code)
            return pair.key;
    const uint32_t key = counted(code, VK_F1, VK_F24, def_ombrel_window_key_f1) +
                         counted(code, VK_NUMPAD0, VK_NUMPAD9, def_ombrel_window_key_pad_0);
    return key != 0 ? key : typed_by(code);
}

uint32_t bit_if(bool is_set, uint32_t bit) {
    return is_set ? bit : 0;
}

uint32_t modifiers_held() {
    const auto is_held = [](int code) { return GetKeyState(code) < 0; };
    return bit_if(is_held(VK_SHIFT), def_ombrel_window_modifier_shift) |
           bit_if(is_held(VK_CONTROL), def_ombrel_window_modifier_control) |
           bit_if(is_held(VK_MENU), def_ombrel_window_modifier_alt) |
           bit_if(is_held(VK_LWIN) || is_held(VK_RWIN), def_ombrel_window_modifier_super);
}

constexpr uint32_t bit_of(uint32_t button) {
    return uint32_t{1} << (button - 1);
}

uint32_t buttons_of(WPARAM held) {
    return bit_if((held & MK_LBUTTON) != 0, bit_of(def_ombrel_window_button_left)) |
           bit_if((held & MK_MBUTTON) != 0, bit_of(def_ombrel_window_button_middle)) |
           bit_if((held & MK_RBUTTON) != 0, bit_of(def_ombrel_window_button_right)) |
           bit_if((held & MK_XBUTTON1) != 0, bit_of(def_ombrel_window_button_back)) |
           bit_if((held & MK_XBUTTON2) != 0, bit_of(def_ombrel_window_button_forward));
}

struct button_message {
    UINT down, up;
    uint32_t button;
};

constexpr button_message button_messages[] = {
    {WM_LBUTTONDOWN, WM_LBUTTONUP, def_ombrel_window_button_left},
    {WM_MBUTTONDOWN, WM_MBUTTONUP, def_ombrel_window_button_middle},
    {WM_RBUTTONDOWN, WM_RBUTTONUP, def_ombrel_window_button_right},
    {WM_XBUTTONDOWN, WM_XBUTTONUP, def_ombrel_window_button_back},
};

uint32_t button_of(UINT message, WPARAM held) {
    for (const button_message& of : button_messages)
        if (of.down == message || of.up == message)
            return of.button + (of.down == WM_XBUTTONDOWN && HIWORD(held) == XBUTTON2 ? 1 : 0);
    return 0;
}

bool is_press(UINT message) {
    for (const button_message& of : button_messages)
        if (of.down == message)
            return true;
    return false;
}

} // namespace

ombrel_window_event_t window_input::event_at(uint32_t kind) const {
    ombrel_window_event_t event = {};
    event.m_kind = kind;
    event.m_x = x_;
    event.m_y = y_;
    event.m_buttons = buttons_;
    event.m_modifiers = modifiers_held();
    return event;
}

/// Whether it is elsewhere than before.
bool window_input::place_pointer(LPARAM place) {
    const int32_t x_before = x_, y_before = y_;
    x_ = static_cast<int16_t>(LOWORD(place));
    y_ = static_cast<int16_t>(HIWORD(place));
    return x_ != x_before || y_ != y_before;
}

// The system tells of moves that were none.
ombrel_window_event_t window_input::move(WPARAM held, LPARAM place) {
    buttons_ = buttons_of(held);
    return place_pointer(place) ? event_at(def_ombrel_window_event_move) : ombrel_window_event_t{};
}

// As long as a button is held, all of the mouse is for its window.
ombrel_window_event_t window_input::press(HWND window, UINT message, WPARAM held, LPARAM place) {
    place_pointer(place);
    buttons_ = buttons_of(held);
    if (is_press(message))
        SetCapture(window);
    else if (buttons_ == 0)
        ReleaseCapture();
    ombrel_window_event_t event =
        event_at(is_press(message) ? def_ombrel_window_event_button_down : def_ombrel_window_event_button_up);
    event.m_button = button_of(message, held);
    return event;
}

ombrel_window_event_t window_input::turn_wheel(UINT message, WPARAM turn) {
    static_assert(WHEEL_DELTA == def_ombrel_window_wheel_notch);
    ombrel_window_event_t event = event_at(def_ombrel_window_event_wheel);
    (message == WM_MOUSEWHEEL ? event.m_wheel_y : event.m_wheel_x) = GET_WHEEL_DELTA_WPARAM(turn);
    return event;
}

// A key is released as the one that it was when it was pressed.
ombrel_window_event_t window_input::strike(WPARAM virtual_key, LPARAM details) {
    const bool is_down = (details & LPARAM{1} << 31) == 0, was_down = (details & LPARAM{1} << 30) != 0;
    const bool is_marked = (details & LPARAM{1} << 24) != 0;
    uint32_t& held = held_keys_[virtual_key & 0xFF];
    const uint32_t key = is_down ? key_of(static_cast<int>(virtual_key), is_marked) : held;
    held = is_down ? key : 0;
    if (key == 0)
        return {};
    ombrel_window_event_t event =
        event_at(is_down ? def_ombrel_window_event_key_down : def_ombrel_window_event_key_up);
    event.m_key = key;
    event.m_is_repeat = is_down && was_down ? 1 : 0;
    return event;
}

ombrel_window_event_t window_input::let_go_of_key() {
    for (uint32_t& held : held_keys_) {
        if (held == 0)
            continue;
        ombrel_window_event_t event = event_at(def_ombrel_window_event_key_up);
        event.m_key = held;
        held = 0;
        return event;
    }
    return {};
}

// A character beyond the first 65536 comes in two halves.
ombrel_window_event_t window_input::type(WPARAM unit) {
    uint32_t character = static_cast<uint32_t>(unit) & 0xFFFF;
    const wchar_t high = high_surrogate_;
    high_surrogate_ = 0;
    if (IS_HIGH_SURROGATE(character)) {
        high_surrogate_ = static_cast<wchar_t>(character);
        return {};
    }
    if (IS_LOW_SURROGATE(character)) {
        if (high == 0)
            return {};
        character = 0x10000 + ((high & 0x3FFu) << 10) + (character & 0x3FF);
    }
    if (character < ' ' || (character >= 0x7F && character < 0xA0))
        return {};
    ombrel_window_event_t event = event_at(def_ombrel_window_event_character);
    event.m_character = character;
    return event;
}

ombrel_window_event_t window_input::translate(HWND window, UINT message, WPARAM first, LPARAM second) {
    switch (message) {
    case WM_CLOSE:
        return event_at(def_ombrel_window_event_close);
    case WM_MOUSEMOVE:
        return move(first, second);
    case WM_MOUSEWHEEL:
    case WM_MOUSEHWHEEL:
        return turn_wheel(message, first);
    case WM_KEYDOWN:
    case WM_KEYUP:
    case WM_SYSKEYDOWN:
    case WM_SYSKEYUP:
        return strike(first, second);
    case WM_CHAR:
        return type(first);
    default:
        return button_of(message, first) != 0 ? press(window, message, first, second)
                                              : ombrel_window_event_t{};
    }
}

} // namespace ombrel::platform
