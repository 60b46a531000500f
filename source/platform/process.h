// Child processes.
#pragma once

namespace ombrel::platform {

/// Descriptors that a child gets as its standard streams.
struct process_streams {
    int input;  ///< -1: an empty one
    int output; ///< -1: that of this process
};

/// Starts a program, looked for along the search path when its name has no directory. The child inherits
/// standard error and no other descriptor than the given ones, the environment, default signal actions and an
/// empty signal mask; it leads a process group of its own.
/// @param arguments the program's name and its arguments, ended by a null pointer
/// @return its number; -1, with its fault, when it cannot be started
int start_process(const char* const* arguments, const process_streams& streams);

/// start_process() of the platform's command interpreter with a command line.
int start_command(const char* command_line, const process_streams& streams);

struct process_end {
    int exit_code;     ///< -1 when a signal ended it or nobody can tell
    int signal_number; ///< 0 when it ended by itself
};

/// Waits for a child to end and removes what the system keeps about it; afterwards its number is void.
/// @param timeout_milliseconds negative waits for ever, 0 looks once
/// @return false when it still runs
bool wait_process(int process, int timeout_milliseconds, process_end& end);

enum class process_stop { polite, at_once };

/// Asks the child's process group to end, or ends it.
void stop_process(int process, process_stop how);

} // namespace ombrel::platform
