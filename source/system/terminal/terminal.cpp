#include <ombrel/terminal.h>

#include <algorithm>
#include <cstring>

#include "core/heap_ptr.h"
#include "core/wipe.h"
#include "platform/file.h"
#include "platform/poll.h"
#include "platform/terminal.h"
#include "platform/terminal_mode.h"
#include "system/terminal/terminal_fault.h"
#include "system/terminal/terminal_internal.h"

using namespace ombrel;
using namespace ombrel::system;

int ombrel_isatty(int fd) {
    return platform::is_terminal(fd) ? 1 : 0;
}

int ombrel_get_terminal_size(int* columns, int* rows) {
    int width = def_ombrel_terminal_columns;
    int height = def_ombrel_terminal_rows;
    const bool known = platform::terminal_size(width, height);
    if (columns != nullptr)
        *columns = width;
    if (rows != nullptr)
        *rows = height;
    return known ? 0 : -1;
}

int ombrel_set_terminal_size(int fd, int columns, int rows) {
    constexpr int most = 32767;
    if (columns < 1 || columns > most || rows < 1 || rows > most)
        return failed_with(fault_code::invalid);
    return platform::set_size_of_terminal(fd, columns, rows) ? 0 : -1;
}

namespace {

struct flag_feature {
    uint32_t flag, feature;
};

constexpr flag_feature features[] = {
    {def_ombrel_terminal_screen, platform::feature_screen},
    {def_ombrel_terminal_hide_cursor, platform::feature_hidden_cursor},
    {def_ombrel_terminal_paste, platform::feature_pastes},
    {def_ombrel_terminal_focus, platform::feature_focus},
};
constexpr uint32_t all_flags = def_ombrel_terminal_signals | def_ombrel_terminal_screen |
                               def_ombrel_terminal_hide_cursor | def_ombrel_terminal_paste |
                               def_ombrel_terminal_focus;

uint32_t features_of(uint32_t flags) {
    uint32_t result = 0;
    for (const flag_feature& one : features)
        result |= (flags & one.flag) != 0 ? one.feature : 0;
    return result;
}

/// A side of the terminal: the caller's descriptor, or one of its own.
bool take_side(int given, platform::terminal_side side, int& descriptor, bool& owns) {
    owns = given < 0;
    descriptor = owns ? platform::open_own_terminal(side) : given;
    return descriptor >= 0;
}

void give_sides_back(ombrel_terminal_t& terminal) {
    const fault_keeper kept;
    if (terminal.m_owns_input && terminal.m_input >= 0)
        platform::close_descriptor(terminal.m_input);
    if (terminal.m_owns_output && terminal.m_output >= 0)
        platform::close_descriptor(terminal.m_output);
}

bool is_open(int descriptor) {
    const bool is_good = platform::is_open_descriptor(descriptor);
    if (!is_good)
        leave_fault(fault_code::bad_descriptor);
    return is_good;
}

bool is_terminal(int descriptor) {
    const bool is_good = platform::is_terminal(descriptor);
    if (!is_good)
        leave_fault(platform::no_terminal);
    return is_good;
}

bool take_sides(ombrel_terminal_t& terminal, int input, int output) {
    if (!take_side(input, platform::terminal_side::input, terminal.m_input, terminal.m_owns_input) ||
        !take_side(output, platform::terminal_side::output, terminal.m_output, terminal.m_owns_output))
        return false;
    return is_open(terminal.m_input) && is_open(terminal.m_output) && is_terminal(terminal.m_input);
}

bool ask_size(const ombrel_terminal_t& terminal, int& columns, int& rows) {
    const int screen = platform::is_terminal(terminal.m_output) ? terminal.m_output : terminal.m_input;
    return platform::size_of_terminal(screen, columns, rows);
}

bool has_other_size(ombrel_terminal_t& terminal) {
    const fault_keeper kept;
    int columns = 0, rows = 0;
    if (!ask_size(terminal, columns, rows) || (columns == terminal.m_columns && rows == terminal.m_rows))
        return false;
    terminal.m_columns = columns;
    terminal.m_rows = rows;
    return true;
}

/// What is no key but told like one.
bool take_news(ombrel_terminal_t& terminal, ombrel_key_t& key) {
    if (terminal.m_guarded >= 0 && platform::take_resumption(terminal.m_guarded))
        key = {def_ombrel_key_resumed, 0};
    else if (has_other_size(terminal))
        key = {def_ombrel_key_resized, 0};
    else
        return false;
    return true;
}

bool take_typed(ombrel_terminal_t& terminal, ombrel_key_t& key) {
    const void* data = terminal.m_typed + terminal.m_typed_begin;
    size_t size = terminal.m_typed_end - terminal.m_typed_begin;
    const bool has_key = ombrel_key_decoder_take(&terminal.m_decoder, &data, &size, &key) == 1;
    terminal.m_typed_begin = terminal.m_typed_end - size;
    return has_key;
}

/// Bytes as read_terminal() gives them, waited for no longer than the beginning of a key may last.
int read_typed(ombrel_terminal_t& terminal, int left) {
    const bool has_begun = ombrel_key_decoder_is_waiting(&terminal.m_decoder) == 1;
    const int wait = has_begun ? shorter_wait(left, terminal.m_escape_end.left()) : left;
    const int bytes = platform::read_terminal(terminal.m_input, terminal.m_guarded, terminal.m_typed,
                                              sizeof terminal.m_typed, wait);
    if (bytes <= 0)
        return bytes;
    terminal.m_typed_begin = 0;
    terminal.m_typed_end = static_cast<size_t>(bytes);
    terminal.m_escape_end = deadline(terminal.m_escape_limit);
    return bytes;
}

bool is_for_now(int bytes) {
    return failed_by(bytes, fault_code::timed_out) || failed_by(bytes, fault_code::interrupted);
}

enum class progress { key, more, end };

/// What comes of a read that gave no bytes.
progress conclude(ombrel_terminal_t& terminal, bool is_at_end, ombrel_key_t& key) {
    const bool is_over =
        is_at_end || (failed_by(-1, fault_code::timed_out) && terminal.m_escape_end.passed());
    if (is_over && ombrel_key_decoder_flush(&terminal.m_decoder, &key) == 1)
        return progress::key;
    return is_at_end ? progress::end : progress::more;
}

} // namespace

ombrel_terminal_t* ombrel_open_terminal_tag(int input, int output, const char* function, unsigned long line) {
    auto* terminal =
        static_cast<ombrel_terminal_t*>(ombrel_calloc_tag(1, sizeof(ombrel_terminal_t), function, line));
    if (terminal == nullptr) {
        leave_fault(fault_code::no_memory);
        return nullptr;
    }
    heap_ptr<ombrel_terminal_t> guard(terminal);
    constexpr int usual_escape_limit = 50;
    terminal->m_input = terminal->m_output = terminal->m_guarded = -1;
    terminal->m_escape_limit = usual_escape_limit;
    ombrel_init_key_decoder(&terminal->m_decoder);
    if (!take_sides(*terminal, input, output)) {
        give_sides_back(*terminal);
        return nullptr;
    }
    learn_abilities(*terminal);
    has_other_size(*terminal);
    return guard.release();
}

int ombrel_close_terminal(ombrel_terminal_t* terminal) {
    if (terminal == nullptr)
        return 0;
    const heap_ptr<ombrel_terminal_t> guard(terminal);
    const wipe_guard unread(terminal->m_typed, sizeof terminal->m_typed), begun(terminal->m_decoder);
    const int result = ombrel_terminal_leave(terminal);
    give_sides_back(*terminal);
    return result;
}

int ombrel_terminal_enter(ombrel_terminal_t* terminal, uint32_t flags) {
    if (terminal == nullptr || (flags & ~all_flags) != 0)
        return failed_with(fault_code::invalid);
    const auto mode = (flags & def_ombrel_terminal_signals) != 0 ? platform::terminal_mode::raw_with_signals
                                                                 : platform::terminal_mode::raw;
    if (ombrel_terminal_flush(terminal) != 0)
        return -1;
    if (terminal->m_guarded >= 0)
        return platform::change_terminal_mode(terminal->m_guarded, mode, features_of(flags)) ? 0 : -1;
    const int screen =
        terminal->m_renders || platform::has_own_encoding(terminal->m_output) ? terminal->m_output : -1;
    terminal->m_guarded = platform::enter_terminal_mode(terminal->m_input, screen, mode, features_of(flags));
    if (terminal->m_guarded < 0)
        return -1;
    terminal->m_decoder.m_backspace = platform::backspace_of(terminal->m_guarded);
    learn_abilities(*terminal);
    return 0;
}

int ombrel_terminal_leave(ombrel_terminal_t* terminal) {
    if (terminal == nullptr)
        return failed_with(fault_code::invalid);
    const bool is_shown = ombrel_terminal_flush(terminal) == 0;
    if (terminal->m_guarded < 0)
        return is_shown ? 0 : -1;
    const bool is_left = platform::leave_terminal_mode(terminal->m_guarded);
    terminal->m_guarded = -1;
    learn_abilities(*terminal);
    return is_left && is_shown ? 0 : -1;
}

void ombrel_restore_terminals(void) {
    platform::restore_terminals();
}

int ombrel_terminal_read_key(ombrel_terminal_t* terminal, ombrel_key_t* key, int timeout_ms) {
    if (terminal == nullptr || key == nullptr)
        return failed_with(fault_code::invalid);
    if (ombrel_terminal_flush(terminal) != 0)
        return -1;
    const deadline limit(timeout_ms);
    while (!take_typed(*terminal, *key) && !take_news(*terminal, *key)) {
        const int left = limit.left();
        const int bytes = read_typed(*terminal, left);
        if (bytes > 0)
            continue;
        if (bytes < 0 && !is_for_now(bytes))
            return -1;
        const progress result = conclude(*terminal, bytes == 0, *key);
        if (result != progress::more)
            return result == progress::key ? 1 : 0;
        if (left == 0 && failed_by(bytes, fault_code::timed_out))
            return def_ombrel_terminal_timeout;
    }
    return 1;
}

int64_t ombrel_terminal_read(ombrel_terminal_t* terminal, void* buffer, size_t size, int timeout_ms) {
    if (terminal == nullptr || (buffer == nullptr && size > 0))
        return failed_with(fault_code::invalid);
    if (ombrel_terminal_flush(terminal) != 0)
        return -1;
    const deadline limit(timeout_ms);
    while (size > 0 && terminal->m_typed_begin == terminal->m_typed_end) {
        const int left = limit.left();
        const int bytes = read_typed(*terminal, left);
        if (bytes == 0 || (bytes < 0 && !is_for_now(bytes)))
            return bytes;
        if (left == 0 && failed_by(bytes, fault_code::timed_out))
            return def_ombrel_terminal_timeout;
    }
    const size_t given = std::min(size, terminal->m_typed_end - terminal->m_typed_begin);
    if (given > 0) // as there may be no buffer for nothing
        memcpy(buffer, terminal->m_typed + terminal->m_typed_begin, given);
    terminal->m_typed_begin += given;
    return static_cast<int64_t>(given);
}

int ombrel_terminal_set_escape_timeout(ombrel_terminal_t* terminal, int timeout_ms) {
    if (terminal == nullptr || timeout_ms < 0)
        return failed_with(fault_code::invalid);
    terminal->m_escape_limit = timeout_ms;
    return 0;
}

int ombrel_terminal_get_descriptor(const ombrel_terminal_t* terminal) {
    return terminal != nullptr ? terminal->m_input : failed_with(fault_code::invalid);
}

int ombrel_terminal_get_size(ombrel_terminal_t* terminal, int* columns, int* rows) {
    int width = def_ombrel_terminal_columns, height = def_ombrel_terminal_rows;
    if (terminal == nullptr)
        leave_fault(fault_code::invalid);
    const bool is_known = terminal != nullptr && ask_size(*terminal, width, height);
    if (columns != nullptr)
        *columns = width;
    if (rows != nullptr)
        *rows = height;
    return is_known ? 0 : -1;
}

int ombrel_terminal_get_colors(const ombrel_terminal_t* terminal) {
    return terminal != nullptr ? terminal->m_colors : 0;
}
