#include "system/process/launcher_output.h"

#include <ombrel/fault.h>

#include "system/process/launcher_events.h"

namespace ombrel::system {

namespace {

constexpr size_t piece = 16384;

/// Gives it to the handler, in which a result other than 0 is a request to stop.
void hand_over(ombrel_launcher_t& launcher, int stream, const char* data, size_t size) {
    const ombrel_launcher_options_t& options = launcher.options;
    if (options.m_output_handler(&launcher, stream, data, size, options.m_context) != 0)
        launcher.wants_stop = true;
}

void keep_in_log(ombrel_launcher_t& launcher, const char* data, size_t size) {
    const size_t lost = size - launcher.log.write(data, size);
    const int why = lost > 0 ? ombrel_last_fault() : 0;
    const bool has_just_failed = lost > 0 && !launcher.log_has_failed;
    launcher.log_has_failed = lost > 0;
    if (lost > 0)
        note(launcher, [&](ombrel_launcher_state_t& state) {
            state.m_lost_bytes += lost;
            state.m_fault = why;
        });
    if (has_just_failed)
        tell(launcher, def_ombrel_launcher_event_log_failed);
}

/// @param data has room for one more byte
void take(ombrel_launcher_t& launcher, int stream, char* data, size_t size) {
    if (launcher.log.is_open())
        keep_in_log(launcher, data, size);
    if (launcher.options.m_output_handler == nullptr)
        return;
    data[size] = '\0';
    if ((launcher.options.m_flags & def_ombrel_launcher_bytes) != 0)
        return hand_over(launcher, stream, data, size);
    launcher.lines[stream - 1].push(
        data, size, [&](const char* line, size_t length) { hand_over(launcher, stream, line, length); });
}

bool take_piece(ombrel_launcher_t& launcher, ombrel_process_t* child, int stream) {
    char data[piece + 1];
    if (ombrel_process_get_descriptor(child, stream) < 0)
        return false;
    const int64_t size = ombrel_process_read(child, stream, data, piece, 0);
    if (size > 0)
        take(launcher, stream, data, static_cast<size_t>(size));
    else if (size != def_ombrel_process_timeout)
        ombrel_process_close_stream(child, stream);
    return size > 0;
}

} // namespace

bool wants_output(const ombrel_launcher_t& launcher) {
    return launcher.options.m_output_handler != nullptr || launcher.log.is_open();
}

bool take_output(ombrel_launcher_t& launcher, ombrel_process_t* child) {
    const bool had_output = take_piece(launcher, child, def_ombrel_process_output);
    return take_piece(launcher, child, def_ombrel_process_error) || had_output;
}

void finish_output(ombrel_launcher_t& launcher, ombrel_process_t* child) {
    // Who has left the group may go on writing: what the pipes can hold is taken, and no more.
    constexpr size_t pieces_in_pipes = 2 * 1024 * 1024 / piece;
    for (size_t i = 0; i < pieces_in_pipes && take_output(launcher, child); i++)
        continue;
    for (const int stream : {def_ombrel_process_output, def_ombrel_process_error})
        launcher.lines[stream - 1].finish(
            [&](const char* line, size_t size) { hand_over(launcher, stream, line, size); });
}

} // namespace ombrel::system
