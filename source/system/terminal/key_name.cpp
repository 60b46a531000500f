#include <ombrel/terminal_key.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#include <ombrel/printf.h>

#include "system/terminal/terminal_fault.h"
#include "text/charset/utf8_sequence.h"

namespace {

struct key_name {
    int32_t code;
    const char* name;
};

constexpr key_name names[] = {
    {' ', "Space"},
    {def_ombrel_key_tab, "Tab"},
    {def_ombrel_key_enter, "Enter"},
    {def_ombrel_key_escape, "Escape"},
    {def_ombrel_key_backspace, "Backspace"},
    {def_ombrel_key_up, "Up"},
    {def_ombrel_key_down, "Down"},
    {def_ombrel_key_right, "Right"},
    {def_ombrel_key_left, "Left"},
    {def_ombrel_key_home, "Home"},
    {def_ombrel_key_end, "End"},
    {def_ombrel_key_insert, "Insert"},
    {def_ombrel_key_delete, "Delete"},
    {def_ombrel_key_page_up, "Page Up"},
    {def_ombrel_key_page_down, "Page Down"},
    {def_ombrel_key_begin, "Begin"},
    {def_ombrel_key_paste_begin, "Paste Begin"},
    {def_ombrel_key_paste_end, "Paste End"},
    {def_ombrel_key_focus_in, "Focus In"},
    {def_ombrel_key_focus_out, "Focus Out"},
    {def_ombrel_key_resized, "Resized"},
    {def_ombrel_key_resumed, "Resumed"},
};

struct modifier_name {
    uint32_t bit;
    const char* name;
};

constexpr modifier_name modifiers[] = {
    {def_ombrel_key_control, "Ctrl+"},
    {def_ombrel_key_alt, "Alt+"},
    {def_ombrel_key_shift, "Shift+"},
    {def_ombrel_key_meta, "Meta+"},
};

// The longest name has all four modifiers.
constexpr size_t name_room = 48;

/// A place in a text, moved forward as the text grows.
class name_writer {
public:
    explicit name_writer(char (&text)[name_room]) : text_(text) {}

    template<typename... Arguments>
    void put(const char* format, Arguments... arguments) {
        size_ += static_cast<size_t>(ombrel_snprintf(text_ + size_, name_room - size_, format, arguments...));
    }

    void put_character(uint32_t code) {
        size_ += ombrel::put_utf8(code, text_ + size_);
        text_[size_] = '\0';
    }

    size_t size() const { return size_; }

private:
    char* text_;
    size_t size_ = 0;
};

const char* find_name(int32_t code) {
    for (const key_name& one : names)
        if (one.code == code)
            return one.name;
    return nullptr;
}

/// Not those that only show where they stand.
bool is_visible(int32_t code) {
    return code > 0x20 && code < def_ombrel_key_special && !(code >= 0x7f && code <= 0xa0) && code != 0xad &&
           !(code >= 0xd800 && code <= 0xdfff);
}

int32_t shown_code(const ombrel_key_t& key) {
    const bool is_letter = key.m_code >= 'a' && key.m_code <= 'z';
    return is_letter && (key.m_modifiers & def_ombrel_key_control) != 0 ? key.m_code - 'a' + 'A' : key.m_code;
}

void put_code(name_writer& to, int32_t code) {
    const int number = code - def_ombrel_key_function(0);
    if (const char* name = find_name(code))
        to.put("%s", name);
    else if (number >= 1 && number <= 35)
        to.put("F%d", number);
    else if (is_visible(code))
        to.put_character(static_cast<uint32_t>(code));
    else if (code >= 0 && code < def_ombrel_key_special)
        to.put("U+%04X", static_cast<unsigned>(code));
    else
        to.put("%s", "Unknown");
}

} // namespace

int ombrel_format_key(char* buf, size_t size, const ombrel_key_t* key) {
    if (key == nullptr || (buf == nullptr && size > 0))
        return ombrel::system::failed_with(ombrel::fault_code::invalid);
    char name[name_room];
    name_writer to(name);
    for (const modifier_name& one : modifiers)
        if ((key->m_modifiers & one.bit) != 0)
            to.put("%s", one.name);
    put_code(to, shown_code(*key));
    if (size == 0)
        return 0;
    const size_t kept = std::min(to.size(), size - 1);
    memcpy(buf, name, kept);
    buf[kept] = '\0';
    return static_cast<int>(kept);
}
