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

/// Whether the number is that of a child that runs or was not collected yet.
bool is_child(int process);

/// Whether a child has ended, without waiting for it. If so, what the system keeps about it is removed, and
/// its number is void. One of which nobody can tell more has ended as well.
bool collect_process(int process, process_end& end);

/// A descriptor that stands for this process, whoever gets its number later, and that polls readable once it
/// has ended; for close_descriptor(). -1 when there is none, and where the host has no such thing.
int open_process(int process);
/// Whether the host has such descriptors.
bool can_open_processes();

enum class child_state {
    running,
    ended,
    unknown, ///< no child of this process, or one that was collected already
};
/// What has become of the child of a descriptor, which stays what it is.
child_state look_at_child(int descriptor);
/// The same as collect_process() does it. An unknown end is {-1, 0}.
child_state collect_child(int descriptor, process_end& end);

enum class process_stop { polite, at_once };

/// Asks the child's process group to end, or ends it.
void stop_process(int process, process_stop how);

} // namespace ombrel::platform
