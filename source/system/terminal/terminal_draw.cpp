#include <algorithm>
#include <cstring>

#include <ombrel/heap.h>
#include <ombrel/printf.h>
#include <ombrel/terminal.h>

#include "platform/file.h"
#include "platform/poll.h"
#include "platform/terminal.h"
#include "platform/terminal_mode.h"
#include "system/terminal/terminal_fault.h"
#include "system/terminal/terminal_internal.h"
#include "text/charset/whole_characters.h"
#include "text/slice.h"

using namespace ombrel;
using namespace ombrel::system;

namespace {

constexpr size_t drawn_room = sizeof ombrel_terminal_t::m_drawn - 1;

/// How long the terminal may take nothing.
constexpr int patience = 5000;

bool wait_for_room(int descriptor) {
    platform::poll_request room{descriptor, platform::readiness::write, false};
    const int ready = platform::poll_descriptors(&room, 1, patience);
    if (ready == 0)
        leave_fault(fault_code::timed_out);
    return ready > 0 || (ready < 0 && failed_for_now(ready));
}

bool write_all(int descriptor, const char* data, size_t size) {
    while (size > 0) {
        const int written = platform::write_at_once(descriptor, data, size);
        if (written < 0 && (!failed_by(written, fault_code::would_block) || !wait_for_room(descriptor)))
            return false;
        data += std::max(written, 0);
        size -= static_cast<size_t>(std::max(written, 0));
    }
    return true;
}

/// What a screen that takes texts and no bytes is shown.
bool show_text(ombrel_terminal_t& terminal) {
    const size_t size = whole_characters(terminal.m_drawn, terminal.m_drawn_size);
    char rest[4];
    const size_t rest_size = terminal.m_drawn_size - size;
    memcpy(rest, terminal.m_drawn + size, rest_size);
    terminal.m_drawn[size] = '\0';
    const bool is_shown = platform::write_terminal(terminal.m_output, terminal.m_drawn) ||
                          write_all(terminal.m_output, terminal.m_drawn, size);
    memcpy(terminal.m_drawn, rest, rest_size);
    terminal.m_drawn_size = rest_size;
    return is_shown;
}

bool show(ombrel_terminal_t& terminal) {
    if (platform::has_own_encoding(terminal.m_output))
        return show_text(terminal);
    const size_t size = terminal.m_drawn_size;
    terminal.m_drawn_size = 0;
    return write_all(terminal.m_output, terminal.m_drawn, size);
}

template<typename... Arguments>
int draw_formatted(ombrel_terminal_t* terminal, const char* format, Arguments... arguments) {
    if (terminal == nullptr)
        return failed_with(fault_code::invalid);
    char text[32];
    const int size = ombrel_snprintf(text, sizeof text, format, arguments...);
    return draw_sequence(*terminal, {text, static_cast<size_t>(size)});
}

/// One direction and its opposite, without a sequence for no step.
int draw_steps(ombrel_terminal_t* terminal, int steps, char ahead, char back) {
    if (steps == 0)
        return 0;
    return draw_formatted(terminal, "\x1b[%u%c",
                          steps < 0 ? 0u - static_cast<unsigned>(steps) : unsigned(steps),
                          steps < 0 ? back : ahead);
}

/// What is drawn may not look as the terminal does by itself.
void note_look(const ombrel_terminal_t& terminal) {
    if (terminal.m_guarded >= 0)
        platform::note_terminal_feature(terminal.m_guarded, platform::feature_look, true);
}

/// How many bytes a control character at the front takes, which could end a sequence early: 0 for another
/// one. In UTF-8 those behind 127 have two.
size_t control_size(std::string_view text) {
    const auto byte = static_cast<unsigned char>(text[0]);
    if (byte == 0xc2 && text.size() > 1 && static_cast<unsigned char>(text[1]) < 0xa0)
        return 2;
    return byte < 0x20 || byte == 0x7f ? 1 : 0;
}

void draw_visible(ombrel_terminal_t& terminal, std::string_view text) {
    while (!text.empty()) {
        const size_t control = control_size(text);
        draw_sequence(terminal, control != 0 ? std::string_view(" ") : slice(text, 0, 1));
        text.remove_prefix(control != 0 ? control : 1);
    }
}

} // namespace

void ombrel::system::learn_abilities(ombrel_terminal_t& terminal) {
    terminal.m_renders = platform::terminal_renders_escapes(terminal.m_output);
    terminal.m_colors = ombrel_get_terminal_colors(terminal.m_output);
}

int ombrel::system::draw(ombrel_terminal_t& terminal, std::string_view text) {
    while (!text.empty()) {
        if (terminal.m_drawn_size == drawn_room && !show(terminal))
            return -1;
        const size_t part = std::min(text.size(), drawn_room - terminal.m_drawn_size);
        memcpy(terminal.m_drawn + terminal.m_drawn_size, text.data(), part);
        terminal.m_drawn_size += part;
        text.remove_prefix(part);
    }
    return 0;
}

int ombrel::system::draw_sequence(ombrel_terminal_t& terminal, std::string_view sequence) {
    return terminal.m_renders ? draw(terminal, sequence) : 0;
}

int ombrel_terminal_flush(ombrel_terminal_t* terminal) {
    if (terminal == nullptr)
        return failed_with(fault_code::invalid);
    return terminal->m_drawn_size == 0 || show(*terminal) ? 0 : -1;
}

int ombrel_terminal_write(ombrel_terminal_t* terminal, const void* data, size_t size) {
    if (terminal == nullptr || (data == nullptr && size > 0))
        return failed_with(fault_code::invalid);
    const std::string_view text(static_cast<const char*>(data), size);
    if (text.find('\x1b') != text.npos)
        note_look(*terminal);
    return draw(*terminal, text);
}

int ombrel_terminal_puts(ombrel_terminal_t* terminal, const char* text) {
    return ombrel_terminal_write(terminal, text, text != nullptr ? strlen(text) : 0);
}

int ombrel_terminal_vprintf(ombrel_terminal_t* terminal, const char* format, va_list arguments) {
    if (terminal == nullptr || format == nullptr)
        return failed_with(fault_code::invalid);
    char* const text = ombrel_alloc_vsprintf(format, arguments);
    if (text == nullptr)
        return failed_with(fault_code::no_memory);
    const size_t size = strlen(text);
    const int result = ombrel_terminal_write(terminal, text, size);
    ombrel_free(text);
    return result == 0 ? static_cast<int>(size) : -1;
}

int ombrel_terminal_printf(ombrel_terminal_t* terminal, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int result = ombrel_terminal_vprintf(terminal, format, arguments);
    va_end(arguments);
    return result;
}

int ombrel_terminal_move(ombrel_terminal_t* terminal, int column, int row) {
    return draw_formatted(terminal, "\x1b[%u;%uH", static_cast<unsigned>(std::max(row, 0)) + 1,
                          static_cast<unsigned>(std::max(column, 0)) + 1);
}

int ombrel_terminal_move_by(ombrel_terminal_t* terminal, int columns, int rows) {
    if (terminal == nullptr)
        return failed_with(fault_code::invalid);
    return draw_steps(terminal, columns, 'C', 'D') == 0 && draw_steps(terminal, rows, 'B', 'A') == 0 ? 0 : -1;
}

int ombrel_terminal_show_cursor(ombrel_terminal_t* terminal, int on) {
    if (terminal == nullptr)
        return failed_with(fault_code::invalid);
    if (terminal->m_guarded >= 0)
        platform::note_terminal_feature(terminal->m_guarded, platform::feature_hidden_cursor, on == 0);
    return draw_sequence(*terminal, on != 0 ? "\x1b[?25h" : "\x1b[?25l");
}

int ombrel_terminal_clear(ombrel_terminal_t* terminal, int what) {
    static constexpr std::string_view sequences[] = {"\x1b[2J\x1b[H", "\x1b[J", "\x1b[2K", "\x1b[K"};
    if (terminal == nullptr || what < 0 || what > def_ombrel_terminal_clear_line_rest)
        return failed_with(fault_code::invalid);
    return draw_sequence(*terminal, sequences[what]);
}

int ombrel_terminal_set_style(ombrel_terminal_t* terminal, const ombrel_terminal_style_t* style) {
    if (terminal == nullptr)
        return failed_with(fault_code::invalid);
    char text[64];
    note_look(*terminal);
    const int size = ombrel_format_terminal_style(text, sizeof text, style, terminal->m_colors);
    return draw_sequence(*terminal, {text, static_cast<size_t>(size)});
}

int ombrel_terminal_set_title(ombrel_terminal_t* terminal, const char* title) {
    constexpr size_t most = 1024; // longer ones help nobody
    if (terminal == nullptr || title == nullptr)
        return failed_with(fault_code::invalid);
    const bool is_first = terminal->m_guarded >= 0 &&
                          platform::note_terminal_feature(terminal->m_guarded, platform::feature_title, true);
    if (is_first) {
        char text[platform::feature_text_size];
        draw_sequence(*terminal, {text, platform::put_features(platform::feature_title, true, text)});
    }
    draw_sequence(*terminal, "\x1b]2;");
    draw_visible(*terminal, {title, whole_characters(title, strnlen(title, most))});
    return draw_sequence(*terminal, "\x1b\\");
}

int ombrel_terminal_ring(ombrel_terminal_t* terminal) {
    if (terminal == nullptr)
        return failed_with(fault_code::invalid);
    return draw_sequence(*terminal, "\a");
}
