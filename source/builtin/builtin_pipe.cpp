// Streams to and from the standard streams of a child process.
#include "builtin/builtin_kind.h"

#include <algorithm>
#include <string_view>

#include <ombrel/argument.h>
#include <ombrel/builtin_stream.h>
#include <ombrel/process.h>

#include "builtin/descriptor_stream.h"
#include "core/fault.h"
#include "core/heap_ptr.h"
#include "platform/file.h"
#include "platform/process.h"
#include "system/process/ending_groups.h"

namespace ombrel::builtin {

namespace {

constexpr int two_way_timeout_ms = 30000;
constexpr int close_timeout_ms = 3000;
constexpr int grace_ms = 1000;

struct pipe_state {
    ombrel_process_t* process;
    int close_timeout;
};

/// The command line or program: what stands behind "pipe:", or all of the source.
const char* command_of(const builtin_ctx& ctx) {
    constexpr std::string_view scheme = "pipe:";
    return ctx.has_scheme ? ctx.source + scheme.size() : ctx.source;
}

int fail_to_split(const builtin_ctx& ctx) {
    const bool no_memory = last_fault().code == fault_code::no_memory;
    return fail(ctx, no_memory ? def_ombrel_ctx_error_no_memory : def_ombrel_ctx_error_syntax);
}

/// Starts a program whose name is not split, as its arguments are.
int start_program(const builtin_ctx& ctx, const char* program, const char* text,
                  const ombrel_process_options_t& options, ombrel_process_t*& process) {
    int count;
    const heap_ptr<char*> words(ombrel_alloc_arguments_tag(text, def_ombrel_argument_quoting_plain, &count,
                                                           nullptr, "builtin_pipe", __LINE__));
    if (!words)
        return fail_to_split(ctx);
    const size_t room = static_cast<size_t>(count) + 2;
    const heap_ptr<const char*> arguments(
        static_cast<const char**>(ombrel_calloc_tag(room, sizeof(const char*), "builtin_pipe", __LINE__)));
    if (!arguments)
        return fail(ctx, def_ombrel_ctx_error_no_memory);
    arguments.get()[0] = program;
    std::copy_n(words.get(), count, arguments.get() + 1);
    process = ombrel_open_process_tag(arguments.get(), &options, "ombrel_open_ctx", __LINE__);
    return process != nullptr ? 0 : fail_by_system(ctx);
}

int start(const builtin_ctx& ctx, const ombrel_process_options_t& options, ombrel_process_t*& process) {
    const char* const command = command_of(ctx);
    if (const char* const arguments = option_text(ctx, "args"))
        return start_program(ctx, command, arguments, options, process);
    process = ombrel_open_command_tag(command, &options, "ombrel_open_ctx", __LINE__);
    return process != nullptr ? 0 : fail_by_system(ctx);
}

int open(builtin_ctx& ctx) {
    if (command_of(ctx)[0] == '\0')
        return fail(ctx, def_ombrel_ctx_error_syntax);
    const bool reads = ctx.mode.read, writes = ctx.mode.write;
    pipe_state& state = state_of<pipe_state>(ctx);
    state.close_timeout = close_timeout_ms;
    if (!read_option(ctx, "close_timeout", state.close_timeout))
        return -1;
    ombrel_process_options_t options{};
    options.m_input.m_kind = writes ? def_ombrel_process_pipe : def_ombrel_process_nothing;
    options.m_output.m_kind = reads ? def_ombrel_process_pipe : def_ombrel_process_keep;
    options.m_flags = def_ombrel_process_own_group;
    if (start(ctx, options, state.process) != 0)
        return -1;
    system::add_ending_group(ombrel_process_get_id(state.process));
    if (reads && writes && option_text(ctx, "timeout") == nullptr)
        ctx.timeout = two_way_timeout_ms;
    return 0;
}

int close(builtin_ctx& ctx) {
    const pipe_state& state = state_of<pipe_state>(ctx);
    ombrel_process_close_stream(state.process, def_ombrel_process_input);
    ombrel_process_close_stream(state.process, def_ombrel_process_output);
    if (ombrel_process_wait(state.process, state.close_timeout, nullptr) == 0)
        ombrel_process_stop(state.process, grace_ms);
    system::remove_ending_group(ombrel_process_get_id(state.process));
    return ombrel_close_process(state.process);
}

/// An end of the pipe; an end that is not there is an operation that is not served.
int need_end(builtin_ctx& ctx, int stream) {
    const int end = ombrel_process_get_descriptor(state_of<pipe_state>(ctx).process, stream);
    return end >= 0 ? end : fail(ctx, def_ombrel_ctx_error_not_supported);
}

int is_readable(builtin_ctx& ctx, int timeout_ms) {
    const int end = need_end(ctx, def_ombrel_process_output);
    return end >= 0 ? wait_for(ctx, end, platform::readiness::read, timeout_ms) : -1;
}

int read(builtin_ctx& ctx, void* buffer, size_t size) {
    const int end = need_end(ctx, def_ombrel_process_output);
    return end >= 0 ? read_some(ctx, end, platform::read_descriptor, buffer, size) : -1;
}

int is_writable(builtin_ctx& ctx, int timeout_ms) {
    const int end = need_end(ctx, def_ombrel_process_input);
    return end >= 0 ? wait_for(ctx, end, platform::readiness::write, timeout_ms) : -1;
}

int write(builtin_ctx& ctx, const void* data, size_t size) {
    const int end = need_end(ctx, def_ombrel_process_input);
    return end >= 0 ? write_all(ctx, end, platform::write_descriptor, data, size) : -1;
}

int sync(builtin_ctx&) {
    return 0;
}

int get_exit_status(builtin_ctx& ctx, ombrel_stream_exit_t* record) {
    if (record == nullptr)
        return -1;
    ombrel_process_end_t end;
    if (ombrel_process_wait(state_of<pipe_state>(ctx).process, record->m_timeout_ms, &end) != 1)
        return fail(ctx, def_ombrel_ctx_error_timed_out);
    record->m_exit_code = end.m_exit_code;
    record->m_signal = end.m_signal;
    return 0;
}

int descriptor_of(builtin_ctx& ctx) {
    ombrel_process_t* const process = state_of<pipe_state>(ctx).process;
    const int output = ombrel_process_get_descriptor(process, def_ombrel_process_output);
    return output >= 0 ? output : ombrel_process_get_descriptor(process, def_ombrel_process_input);
}

int control(builtin_ctx& ctx, uint32_t code, void* record, size_t size) {
    switch (code) {
    case def_ombrel_stream_control_get_fd:
        return give_descriptor(ctx, descriptor_of(ctx), record, size);
    case def_ombrel_stream_control_close_write:
        if (!is_control_record(ctx, size, 0) || need_end(ctx, def_ombrel_process_input) < 0)
            return -1;
        return ombrel_process_close_stream(state_of<pipe_state>(ctx).process, def_ombrel_process_input);
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
