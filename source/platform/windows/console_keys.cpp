#include "platform/windows/console_keys.h"

#include <cstdio>
#include <cstring>

#include "platform/windows/wide_text.h"

namespace ombrel::platform {

namespace {

/// Sequences that a number or a letter tells: "ESC [ NUMBER ~" or "ESC [ LETTER".
struct key_sequence {
    WORD key;
    int number; ///< 1 with a letter
    char last;
};

constexpr key_sequence sequences[] = {
    {VK_UP, 1, 'A'},   {VK_DOWN, 1, 'B'},   {VK_RIGHT, 1, 'C'},  {VK_LEFT, 1, 'D'},  {VK_CLEAR, 1, 'E'},
    {VK_END, 1, 'F'},  {VK_HOME, 1, 'H'},   {VK_F1, 1, 'P'},     {VK_F2, 1, 'Q'},    {VK_F3, 1, 'R'},
    {VK_F4, 1, 'S'},   {VK_INSERT, 2, '~'}, {VK_DELETE, 3, '~'}, {VK_PRIOR, 5, '~'}, {VK_NEXT, 6, '~'},
    {VK_F5, 15, '~'},  {VK_F6, 17, '~'},    {VK_F7, 18, '~'},    {VK_F8, 19, '~'},   {VK_F9, 20, '~'},
    {VK_F10, 21, '~'}, {VK_F11, 23, '~'},   {VK_F12, 24, '~'},   {VK_F13, 25, '~'},  {VK_F14, 26, '~'},
    {VK_F15, 28, '~'}, {VK_F16, 29, '~'},   {VK_F17, 31, '~'},   {VK_F18, 32, '~'},  {VK_F19, 33, '~'},
    {VK_F20, 34, '~'},
};

bool has(const KEY_EVENT_RECORD& key, DWORD modifiers) {
    return (key.dwControlKeyState & modifiers) != 0;
}

constexpr DWORD any_control = LEFT_CTRL_PRESSED | RIGHT_CTRL_PRESSED;
constexpr DWORD any_alt = LEFT_ALT_PRESSED | RIGHT_ALT_PRESSED;

/// 1 and bits for shift, alt and control.
int modifiers_of(const KEY_EVENT_RECORD& key) {
    return 1 + (has(key, SHIFT_PRESSED) ? 1 : 0) + (has(key, any_alt) ? 2 : 0) +
           (has(key, any_control) ? 4 : 0);
}

size_t put_sequence(const key_sequence& one, int modifiers, char* to) {
    int size;
    if (modifiers > 1)
        size = snprintf(to, most_key_bytes, "\x1b[%d;%d%c", one.number, modifiers, one.last);
    else if (one.number == 1)
        size = snprintf(to, most_key_bytes, "\x1b[%c", one.last);
    else
        size = snprintf(to, most_key_bytes, "\x1b[%d%c", one.number, one.last);
    return static_cast<size_t>(size);
}

const key_sequence* find_sequence(WORD key) {
    for (const key_sequence& one : sequences)
        if (one.key == key)
            return &one;
    return nullptr;
}

/// Alt with another key makes Escape before it, but for the second alt that many keyboards have for more
/// characters.
bool is_with_alt(const KEY_EVENT_RECORD& key) {
    return has(key, LEFT_ALT_PRESSED) || (has(key, RIGHT_ALT_PRESSED) && !has(key, any_control));
}

size_t put_character(const wchar_t* units, size_t count, char* to) {
    const narrow_text text(units, count);
    if (!text)
        return 0;
    memcpy(to, text.get(), text.size());
    return text.size();
}

size_t put_text(wchar_t unit, wchar_t& half, char* to) {
    if (IS_HIGH_SURROGATE(unit)) {
        half = unit;
        return 0;
    }
    const wchar_t units[] = {half, unit};
    const bool is_pair = half != 0 && IS_LOW_SURROGATE(unit);
    half = 0;
    return put_character(is_pair ? units : units + 1, is_pair ? 2 : 1, to);
}

/// 0 for a key that makes no byte of its own.
size_t put_plain(const KEY_EVENT_RECORD& key, wchar_t& half, char* to) {
    const wchar_t unit = key.uChar.UnicodeChar;
    if (key.wVirtualKeyCode == VK_BACK)
        *to = has(key, any_control) ? '\x08' : '\x7f';
    else if (unit == 0 && has(key, any_control) &&
             (key.wVirtualKeyCode == VK_SPACE || key.wVirtualKeyCode == '2'))
        *to = '\0';
    else
        return unit != 0 ? put_text(unit, half, to) : 0;
    return 1;
}

/// A character that was typed by its number comes when the key Alt goes up.
bool is_typed(const KEY_EVENT_RECORD& key) {
    return key.bKeyDown || (key.wVirtualKeyCode == VK_MENU && key.uChar.UnicodeChar != 0);
}

} // namespace

size_t put_key(const KEY_EVENT_RECORD& key, wchar_t& half, char* to) {
    if (!is_typed(key))
        return 0;
    if (const key_sequence* one = find_sequence(key.wVirtualKeyCode);
        one != nullptr && key.uChar.UnicodeChar == 0)
        return put_sequence(*one, modifiers_of(key), to);
    if (key.wVirtualKeyCode == VK_TAB && has(key, SHIFT_PRESSED)) {
        memcpy(to, "\x1b[Z", 3);
        return 3;
    }
    const size_t before = key.bKeyDown && is_with_alt(key) ? 1 : 0;
    *to = '\x1b';
    const size_t size = put_plain(key, half, to + before);
    return size > 0 ? before + size : 0;
}

} // namespace ombrel::platform
