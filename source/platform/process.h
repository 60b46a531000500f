// Child processes.
#pragma once

#include <cstddef>

namespace ombrel::platform {

/// What stands for a standard stream in place of a descriptor.
inline constexpr int kept_stream = -1;  ///< that of this process
inline constexpr int empty_stream = -2; ///< what gives nothing and takes all

inline constexpr size_t most_child_descriptors = 32;

/// How a child is started. It inherits what stands here and nothing else: default signal actions, an empty
/// signal mask, no other descriptor of any thread.
struct process_plan {
    const char* const* arguments = nullptr;   ///< the program's name and its arguments, then a null pointer
    const char* const* environment = nullptr; ///< assignments and a null pointer; null: that of this process
    const char* directory = nullptr;          ///< null: that of this process, from where the program is named
    const int* descriptors = nullptr; ///< what it gets as 0, 1, 2, …: the three streams, then others
    size_t descriptor_count = 0;      ///< 3 to most_child_descriptors
    bool searches = true;             ///< along the search path, when the name has no directory
    bool own_group = true;            ///< that it leads, and that ends with stop_group()
    bool own_session = false;         ///< likewise, without a terminal
    bool takes_terminal = false;      ///< with a session of its own: standard input becomes its terminal
    void* console = nullptr;          ///< of Windows: one that this process plays, in place of the streams
};

enum class process_part { program, directory };

/// Starts a program. Any thread may do so at any time.
/// @param failed receives what it failed at
/// @return its number; -1, with its fault, when it cannot be started, also when the host only finds out while
///         it loads the program
int start_process(const process_plan& plan, process_part& failed);

/// start_process() of the platform's command interpreter with a command line in place of the arguments.
int start_command(const char* command_line, const process_plan& plan, process_part& failed);

struct process_end {
    int exit_code;     ///< -1 when a signal ended it or nobody can tell
    int signal_number; ///< 0 when it ended by itself
};

enum class child_state {
    running,
    ended,
    unknown, ///< no child of this process, or one that was collected already
};

/// Whether the number is that of a child that runs or was not collected yet.
bool is_child(int process);

/// What has become of a child, which stays what it is. An unknown end is {-1, 0}.
child_state look_at_process(int process, process_end& end);

/// Whether a child has ended, without waiting for it. If so, what the system keeps about it is removed, and
/// its number is void. One of which nobody can tell more has ended as well.
bool collect_process(int process, process_end& end);

/// A descriptor that stands for this process, whoever gets its number later, and that polls readable once it
/// has ended; for close_descriptor(). -1 when there is none, and where the host has no such thing.
int open_process(int process);
/// Whether the host has such descriptors.
bool can_open_processes();

/// look_at_process() for the child of a descriptor.
child_state look_at_child(int descriptor, process_end& end);
inline child_state look_at_child(int descriptor) {
    process_end unused;
    return look_at_child(descriptor, unused);
}
/// The same as collect_process() does it.
child_state collect_child(int descriptor, process_end& end);

/// Leaves a child to the seam, which collects it some time after its end.
/// @param descriptor of open_process(), which is closed by and by, or -1
void abandon_process(int process, int descriptor);
/// Collects those that have ended.
void collect_abandoned_processes();

// Signals have the numbers of POSIX on every host. 0 is none: it asks whether there is somebody to get one.
inline constexpr int kill_signal = 9, terminate_signal = 15;

/// To a process of any kind; false with its fault.
bool signal_process(int process, int signal_number);
/// To all that are in the group of a child that leads one, and was not collected yet or left others behind.
bool signal_group(int leader, int signal_number);

/// Whether a process of the group still runs: one that has ended and waits to be collected does not.
bool group_runs(int leader);

} // namespace ombrel::platform
