#include <ombrel/serial.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include <ombrel/fault.h>
#include <ombrel/terminal.h>

#include "command/command_input.h"
#include "command/command_options.h"
#include "command/command_table.h"
#include "core/deadline.h"
#include "platform/file.h"
#include "platform/poll.h"

namespace ombrel::command {

namespace {

struct serial_choice {
    int64_t speed = 115200;
    const char* format = "8N1";
    int flow = def_ombrel_serial_flow_none;
    int is_shared = 0, echoes = 0;
    int quiet_ms = 1000;
};

constexpr ombrel_argument_option_t options[] = {
    {.m_letter = 'b',
     .m_name = "speed",
     .m_kind = def_ombrel_argument_integer64,
     .m_offset = offsetof(serial_choice, speed),
     .m_value = "SPEED",
     .m_help = "bits in a second (default 115200)",
     .m_least = 1,
     .m_most = UINT32_MAX},
    {.m_letter = 'f',
     .m_name = "format",
     .m_kind = def_ombrel_argument_text,
     .m_offset = offsetof(serial_choice, format),
     .m_value = "FORMAT",
     .m_help = "bits 5 to 8, parity N, O, E, M or S, stop bits 1 or 2 (default 8N1)"},
    {.m_letter = 'c',
     .m_name = "flow",
     .m_kind = def_ombrel_argument_choice,
     .m_offset = offsetof(serial_choice, flow),
     .m_value = "CONTROL",
     .m_help = "flow control: none (default), hardware or software",
     .m_choices = "none|hardware|software"},
    {.m_letter = 'e',
     .m_name = "echo",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(serial_choice, echoes),
     .m_help = "show what is typed"},
    {.m_letter = 's',
     .m_name = "shared",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(serial_choice, is_shared),
     .m_help = "let others open the port too"},
    {.m_letter = 't',
     .m_name = "quiet",
     .m_kind = def_ombrel_argument_time_limit,
     .m_offset = offsetof(serial_choice, quiet_ms),
     .m_value = "TIME",
     .m_help =
         "when the input has ended, which is no terminal, end after so long without a byte (default 1s)"},
    help_option,
    version_option,
    {}};

constexpr ombrel_argument_table_t table = {
    .m_name = "serial",
    .m_operands = "PORT",
    .m_least_operands = 1,
    .m_most_operands = 1,
    .m_summary = "Connects the terminal, or standard input and output, to a serial port.",
    .m_notes =
        "At a terminal every key goes to the port, Ctrl+C too; Ctrl+] ends the program. \"ports\" lists the "
        "ports.\n",
    .m_options = options};

constexpr int standard_input = 0, standard_output = 1;

/// What comes from the terminal, as it is typed, or from standard input.
class typed_input {
public:
    ~typed_input() { ombrel_close_terminal(terminal_); }
    typed_input() = default;
    typed_input(const typed_input&) = delete;
    typed_input& operator=(const typed_input&) = delete;

    bool open() {
        if (ombrel_isatty(standard_input) == 0)
            return true;
        terminal_ = ombrel_open_terminal(standard_input, standard_output);
        return terminal_ != nullptr && ombrel_terminal_enter(terminal_, 0) == 0;
    }

    bool is_terminal() const { return terminal_ != nullptr; }

    /// Bytes, 0 at the end, -1 on a failure, or the result that nothing came.
    int64_t read_at_once(void* buffer, size_t size) const {
        if (is_terminal())
            return ombrel_terminal_read(terminal_, buffer, size, 0);
        const int bytes = platform::read_at_once(standard_input, buffer, size);
        return failed_for_now(bytes) ? def_ombrel_terminal_timeout : bytes;
    }

private:
    ombrel_terminal_t* terminal_ = nullptr;
};

class connection {
public:
    connection(const serial_choice& choice, const char* name) : choice_(choice), name_(name) {}
    ~connection() { ombrel_close_serial(port_); }
    connection(const connection&) = delete;
    connection& operator=(const connection&) = delete;

    bool open(const ombrel_serial_options_t& how) {
        port_ = ombrel_open_serial(name_, &how);
        return (port_ != nullptr || fails_by(name_)) && (input_.open() || fails_by("terminal"));
    }

    /// True when it was ended, false after a complaint.
    bool run() {
        while (!has_ended_) {
            wait();
            if (!carry_output() || !take_input() || !send())
                return false;
        }
        return input_.is_terminal() || ombrel_serial_drain(port_, -1) == 1 || fails_by(name_);
    }

private:
    bool fails_by(const char* what, const char* why = nullptr) const {
        complain("serial", what, text_or(why, ombrel_fault_text()));
        return false;
    }

    size_t room() const { return sizeof unsent_ - unsent_size_; }
    bool wants_input() const { return !is_input_over_ && room() > 0; }
    bool is_quiet() const { return is_input_over_ && unsent_size_ == 0 && quiet_.passed(); }

    /// Until something can be done; where a port cannot be waited for, for a moment.
    void wait() {
        constexpr int moment = 10;
        const int left = is_input_over_ && unsent_size_ == 0 ? quiet_.left() : -1;
        const int descriptor = ombrel_serial_get_descriptor(port_);
        platform::poll_request news[3] = {{descriptor, platform::readiness::read, false}};
        size_t count = 1;
        if (wants_input())
            news[count++] = {standard_input, platform::readiness::read, false};
        if (unsent_size_ > 0)
            news[count++] = {descriptor, platform::readiness::write, false};
        if (descriptor >= 0)
            platform::poll_descriptors(news, count, left);
        first_limit_ = descriptor >= 0 ? 0 : shorter_wait(left, moment);
    }

    /// From the port to the screen.
    bool carry_output() {
        char bytes[4096];
        const int64_t size = ombrel_serial_read(port_, bytes, sizeof bytes, first_limit_);
        if (size == def_ombrel_serial_timeout) {
            has_ended_ = is_quiet();
            return true;
        }
        if (size <= 0)
            return fails_by(name_, size == 0 ? "hung up" : nullptr);
        quiet_ = deadline(choice_.quiet_ms);
        return show(bytes, static_cast<size_t>(size));
    }

    /// A failure is told when the command has finished.
    static bool show(const char* bytes, size_t size) { return put_bytes(bytes, size) && fflush(stdout) == 0; }

    bool take_input() {
        if (!wants_input() || has_ended_)
            return true;
        const char* const bytes = unsent_ + unsent_size_;
        const int64_t size = input_.read_at_once(unsent_ + unsent_size_, room());
        if (size == def_ombrel_terminal_timeout)
            return true;
        if (size < 0)
            return fails_by("input");
        if (size > 0)
            return take({bytes, static_cast<size_t>(size)});
        is_input_over_ = true;
        has_ended_ = input_.is_terminal(); // one that hung up has nobody to show more to
        quiet_ = deadline(choice_.quiet_ms);
        return true;
    }

    bool take(std::string_view bytes) {
        constexpr char escape_key = 0x1d;
        const size_t end =
            input_.is_terminal() ? std::min(bytes.find(escape_key), bytes.size()) : bytes.size();
        has_ended_ = end < bytes.size();
        unsent_size_ += end;
        return choice_.echoes == 0 || show(bytes.data(), end);
    }

    /// What the port takes now: the rest may wait for its other side while keys still come.
    bool send() {
        if (unsent_size_ == 0)
            return true;
        const int64_t sent = ombrel_serial_write(port_, unsent_, unsent_size_, 0);
        if (sent < 0)
            return fails_by(name_);
        unsent_size_ -= static_cast<size_t>(sent);
        memmove(unsent_, unsent_ + sent, unsent_size_);
        quiet_ = deadline(choice_.quiet_ms);
        return true;
    }

    const serial_choice& choice_;
    const char* name_;
    ombrel_serial_t* port_ = nullptr;
    typed_input input_;
    deadline quiet_;
    int first_limit_ = 0;
    size_t unsent_size_ = 0;
    char unsent_[4096];
    bool is_input_over_ = false, has_ended_ = false;
};

int run_serial(int argc, char** argv) {
    const command_arguments<serial_choice> arguments(table, argc, argv);
    if (!arguments)
        return arguments.exit_code();
    ombrel_serial_options_t how;
    ombrel_init_serial_options(&how);
    if (ombrel_parse_serial_format(arguments->format, &how, nullptr) != 0)
        return ombrel_refuse_arguments(&table, "\"%s\" is no format such as 8N1", arguments->format);
    how.m_speed = static_cast<uint32_t>(arguments->speed);
    how.m_flow = arguments->flow;
    how.m_is_shared = arguments->is_shared;
    connection made(*arguments, arguments.operand(0));
    return exit_code(made.open(how) && made.run());
}

} // namespace

constexpr own_command serial_command = command_of(table, run_serial);

} // namespace ombrel::command
