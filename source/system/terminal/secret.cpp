#include <ombrel/terminal.h>

#include <cstring>

#include "core/deadline.h"
#include "core/wipe.h"
#include "platform/file.h"
#include "platform/poll.h"
#include "platform/terminal.h"
#include "platform/terminal_mode.h"
#include "system/terminal/terminal_fault.h"
#include "text/charset/utf8_sequence.h"

using namespace ombrel;
using namespace ombrel::system;

namespace {

/// A line in the caller's memory, which is wiped unless it is whole.
class secret_line {
public:
    secret_line(char* text, size_t room) : text_(text), room_(room) { wipe(text, room); }
    secret_line(const secret_line&) = delete;
    secret_line& operator=(const secret_line&) = delete;

    void put(const char* bytes, size_t count) {
        is_too_long_ = is_too_long_ || count >= room_ - size_;
        if (is_too_long_)
            return;
        memcpy(text_ + size_, bytes, count);
        size_ += count;
    }

    void take_back_character() {
        if (is_too_long_)
            return;
        while (size_ > 0 && (text_[--size_] & 0xc0) == 0x80) {
        }
        wipe(text_ + size_, room_ - size_);
    }

    void clear() {
        size_ = 0;
        is_too_long_ = false;
        wipe(text_, room_);
    }

    bool is_empty() const { return size_ == 0 && !is_too_long_; }

    /// 1, or -1 for one that was too long.
    int finish() {
        if (!is_too_long_)
            return 1;
        clear();
        return failed_with(fault_code::too_large);
    }

private:
    char* text_;
    size_t room_;
    size_t size_ = 0;
    bool is_too_long_ = false;
};

constexpr int line_goes_on = 2;

int take_control_key(secret_line& line, int32_t letter) {
    switch (letter) {
    case 'd': // the end, where there is no line before it
        return line.is_empty() ? 0 : line_goes_on;
    case 'h':
        line.take_back_character();
        return line_goes_on;
    case 'j':
        return line.finish();
    case 'u':
        line.clear();
        return line_goes_on;
    default:
        return line_goes_on;
    }
}

/// 1 for a whole line, 0 at the end, -1 for a line that is too long.
int take_key(secret_line& line, const ombrel_key_t& key) {
    if (key.m_code == def_ombrel_key_enter)
        return line.finish();
    if (key.m_code == def_ombrel_key_backspace)
        line.take_back_character();
    else if (key.m_modifiers == def_ombrel_key_control)
        return take_control_key(line, key.m_code);
    else if (key.m_modifiers == 0 && key.m_code >= 0x20 && key.m_code < def_ombrel_key_special) {
        char bytes[4];
        const wipe_guard guard(bytes, sizeof bytes);
        line.put(bytes, put_utf8(static_cast<uint32_t>(key.m_code), bytes));
    }
    return line_goes_on;
}

int read_typed_line(ombrel_terminal_t& terminal, secret_line& line, const deadline& limit) {
    for (;;) {
        ombrel_key_t key;
        const wipe_guard guard(&key, sizeof key);
        int result = ombrel_terminal_read_key(&terminal, &key, limit.left());
        if (result == 1)
            result = take_key(line, key);
        if (result != line_goes_on)
            return result;
    }
}

/// The side on which the prompt is shown: the terminal itself, where it was opened for that.
int screen_of(int input) {
    platform::file_access access;
    return input >= 0 && platform::get_file_access(input, access) && access.write ? input : -1;
}

int read_at_terminal(int fd, const char* prompt, secret_line& line, int timeout_ms) {
    const deadline limit(timeout_ms);
    ombrel_terminal_t* terminal = ombrel_open_terminal_tag(fd, screen_of(fd), "ombrel_read_secret", __LINE__);
    if (terminal == nullptr)
        return -1;
    int result = ombrel_terminal_enter(terminal, def_ombrel_terminal_signals);
    if (result == 0) {
        platform::discard_typed(ombrel_terminal_get_descriptor(terminal));
        ombrel_terminal_puts(terminal, prompt);
        result = read_typed_line(*terminal, line, limit);
        const fault_keeper kept;
        ombrel_terminal_puts(terminal, "\n");
    }
    const fault_keeper kept;
    ombrel_close_terminal(terminal);
    return result;
}

/// A byte as read_at_once() gives it, or the result that the time ran out.
int read_byte(int fd, char& byte, const deadline& limit) {
    for (;;) {
        const int left = limit.left();
        platform::poll_request input{fd, platform::readiness::read, false};
        const int ready = platform::poll_descriptors(&input, 1, left);
        if (ready < 0 && !failed_for_now(ready))
            return -1;
        const int bytes = ready > 0 ? platform::read_at_once(fd, &byte, 1) : -1;
        if (ready > 0 && (bytes >= 0 || !failed_by(bytes, fault_code::would_block)))
            return bytes;
        if (left == 0)
            return def_ombrel_terminal_timeout;
    }
}

int read_plain_line(int fd, secret_line& line, int timeout_ms) {
    const deadline limit(timeout_ms);
    char byte = 0;
    const wipe_guard guard(byte);
    for (;;) {
        const int bytes = read_byte(fd, byte, limit);
        if (bytes < 0)
            return bytes;
        if (bytes == 0)
            return line.is_empty() ? 0 : line.finish();
        if (byte == '\n')
            return line.finish();
        line.put(&byte, 1);
    }
}

} // namespace

int ombrel_read_secret(int fd, const char* prompt, char* buffer, size_t size, int timeout_ms) {
    if (buffer == nullptr || size == 0)
        return failed_with(fault_code::invalid);
    secret_line line(buffer, size);
    const int result = fd < 0 || platform::is_terminal(fd) ? read_at_terminal(fd, prompt, line, timeout_ms)
                                                           : read_plain_line(fd, line, timeout_ms);
    if (result != 1)
        line.clear();
    return result;
}
