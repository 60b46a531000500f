// Streams to and from the standard streams of a child process.
#include "builtin/builtin_kind.h"

#include <array>
#include <string_view>
#include <utility>

#include <ombrel/builtin_stream.h>
#include <ombrel/heap.h>

#include <ombrel/string.h>

#include "builtin/argument_words.h"
#include "builtin/descriptor_stream.h"
#include "platform/file.h"
#include "platform/process.h"
#include "system/process/child_process.h"

namespace ombrel::builtin {

namespace {

constexpr int two_way_timeout_ms = 30000;
constexpr int close_timeout_ms = 3000;
constexpr int grace_ms = 1000;
/// Only the system itself can delay the end of a program that was ended.
constexpr int killed_ms = 10000;

struct pipe_state {
    int input;  ///< the end that feeds the program, or -1
    int output; ///< the end that the program's output comes from, or -1
    int process;
    int close_timeout;
    bool has_ended;
    platform::process_end end;
};

/// A pipe whose ends are closed at the end of the scope unless they were taken.
class pipe_guard {
public:
    pipe_guard() = default;
    ~pipe_guard() {
        close_end(0);
        close_end(1);
    }
    pipe_guard(const pipe_guard&) = delete;
    pipe_guard& operator=(const pipe_guard&) = delete;

    bool open(platform::pipe_side of_child) { return platform::open_pipe(ends_, of_child); }
    int read_end() const { return ends_[0]; }
    int write_end() const { return ends_[1]; }
    int take_read_end() { return std::exchange(ends_[0], -1); }
    int take_write_end() { return std::exchange(ends_[1], -1); }

private:
    void close_end(int side) {
        if (ends_[side] >= 0)
            platform::close_descriptor(ends_[side]);
    }

    int ends_[2] = {-1, -1};
};

/// False, with the error told, when the text has no such words.
bool split_arguments(const builtin_ctx& ctx, const char* program, const char* text, argument_words& words) {
    switch (words.split(program, text)) {
    case argument_words::outcome::good:
        return true;
    case argument_words::outcome::no_memory:
        fail(ctx, def_ombrel_ctx_error_no_memory);
        return false;
    case argument_words::outcome::open_quote:
        break;
    }
    fail(ctx, def_ombrel_ctx_error_syntax);
    return false;
}

/// The command line or program: what stands behind "pipe:", or all of the source.
const char* command_of(const builtin_ctx& ctx) {
    constexpr std::string_view scheme = "pipe:";
    return ctx.has_scheme ? ctx.source + scheme.size() : ctx.source;
}

int start(const builtin_ctx& ctx, const platform::process_streams& streams) {
    const char* const command = command_of(ctx);
    const char* const arguments = option_text(ctx, "args");
    argument_words words;
    if (arguments != nullptr && !split_arguments(ctx, command, arguments, words))
        return -1;
    const int process = arguments != nullptr ? platform::start_process(words.get(), streams)
                                             : platform::start_command(command, streams);
    return process >= 0 ? process : fail_by_system(ctx);
}

int open(builtin_ctx& ctx) {
    if (command_of(ctx)[0] == '\0')
        return fail(ctx, def_ombrel_ctx_error_syntax);
    const bool reads = (ctx.mode & mode_read) != 0, writes = (ctx.mode & mode_write) != 0;
    pipe_state& state = state_of<pipe_state>(ctx);
    state.close_timeout = close_timeout_ms;
    if (!read_option(ctx, "close_timeout", state.close_timeout))
        return -1;
    pipe_guard input, output;
    if ((writes && !input.open(platform::pipe_side::read)) ||
        (reads && !output.open(platform::pipe_side::write)))
        return fail_by_system(ctx);
    state.process = start(ctx, {input.read_end(), output.write_end()});
    if (state.process < 0)
        return -1;
    state.input = input.take_write_end();
    state.output = output.take_read_end();
    for (const int end : {state.input, state.output}) {
        if (end >= 0)
            platform::set_descriptor_blocking(end, false);
    }
    if (reads && writes && option_text(ctx, "timeout") == nullptr)
        ctx.timeout = two_way_timeout_ms;
    return 0;
}

bool has_ended(pipe_state& state, int timeout_ms) {
    if (!state.has_ended)
        state.has_ended = wait_for_process(state.process, deadline(timeout_ms), state.end);
    return state.has_ended;
}

void close_end(int& end) {
    if (end >= 0)
        platform::close_descriptor(std::exchange(end, -1));
}

int close(builtin_ctx& ctx) {
    pipe_state& state = state_of<pipe_state>(ctx);
    close_end(state.input);
    close_end(state.output);
    if (has_ended(state, state.close_timeout))
        return 0;
    platform::stop_process(state.process, platform::process_stop::polite);
    if (has_ended(state, grace_ms))
        return 0;
    platform::stop_process(state.process, platform::process_stop::at_once);
    has_ended(state, killed_ms);
    return 0;
}

/// An end of the pipe; an end that is not there is an operation that is not served.
int need_end(const builtin_ctx& ctx, int end) {
    return end >= 0 ? end : fail(ctx, def_ombrel_ctx_error_not_supported);
}

int is_readable(builtin_ctx& ctx, int timeout_ms) {
    const int end = need_end(ctx, state_of<pipe_state>(ctx).output);
    return end >= 0 ? wait_for(ctx, end, platform::readiness::read, timeout_ms) : -1;
}

int read(builtin_ctx& ctx, void* buffer, size_t size) {
    const int end = need_end(ctx, state_of<pipe_state>(ctx).output);
    return end >= 0 ? read_some(ctx, end, platform::read_descriptor, buffer, size) : -1;
}

int is_writable(builtin_ctx& ctx, int timeout_ms) {
    const int end = need_end(ctx, state_of<pipe_state>(ctx).input);
    return end >= 0 ? wait_for(ctx, end, platform::readiness::write, timeout_ms) : -1;
}

int write(builtin_ctx& ctx, const void* data, size_t size) {
    const int end = need_end(ctx, state_of<pipe_state>(ctx).input);
    return end >= 0 ? write_all(ctx, end, platform::write_descriptor, data, size) : -1;
}

int sync(builtin_ctx&) {
    return 0;
}

int get_exit_status(builtin_ctx& ctx, ombrel_stream_exit_t* record) {
    if (record == nullptr)
        return -1;
    pipe_state& state = state_of<pipe_state>(ctx);
    if (!has_ended(state, record->m_timeout_ms))
        return fail(ctx, def_ombrel_ctx_error_timed_out);
    record->m_exit_code = state.end.exit_code;
    record->m_signal = state.end.signal_number;
    return 0;
}

int control(builtin_ctx& ctx, uint32_t code, void* record, size_t size) {
    pipe_state& state = state_of<pipe_state>(ctx);
    switch (code) {
    case def_ombrel_stream_control_get_fd:
        return give_descriptor(ctx, state.output >= 0 ? state.output : state.input, record, size);
    case def_ombrel_stream_control_close_write:
        if (!is_control_record(ctx, size, 0) || need_end(ctx, state.input) < 0)
            return -1;
        close_end(state.input);
        return 0;
    case def_ombrel_stream_control_get_exit_status:
        return get_exit_status(ctx, control_record<ombrel_stream_exit_t>(ctx, record, size));
    default:
        return refuse_control(ctx);
    }
}

} // namespace

constinit const builtin_kind builtin_pipe{
    .state = state_type_of<pipe_state>,
    .timeout = -1,
    .is_bound_by_mode = true,
    .open = open,
    .close = close,
    .is_readable = is_readable,
    .read = read,
    .is_writable = is_writable,
    .write = write,
    .sync = sync,
    .control = control,
};

} // namespace ombrel::builtin
