// Going on in the background.
#pragma once

namespace ombrel::platform {

/// Whether the host has processes that do so; elsewhere nobody calls the others here.
bool can_detach();

/// What the caller is after detach_process().
enum class detached_as {
    starter, ///< what it was, with a daemon beside it
    daemon,  ///< a new process in a new session, which it does not lead, so that it never gets a terminal
    nobody,  ///< what it was, alone, with the fault left
    orphan,  ///< a process on the way to the daemon, which could not be made: it tells so and ends
};

/// Flushes the C library's streams and makes a daemon.
/// @param group receives, in the starter, the number of the daemon's process group. It is that of a child
///              which has ended or will at once, and stays the group's until that child is collected
detached_as detach_process(int& group);

/// Ends every process of a group by force.
void end_group(int group);

/// Ends this process and leaves out all that a program does at its exit.
[[noreturn]] void end_at_once(int exit_code);

/// The same descriptor under a number above the standard three, which child processes do not inherit; the old
/// one is closed. -1, with its fault, for -1 too.
int raise_descriptor(int descriptor);

struct daemon_place {
    const char* directory;
    int mask;       ///< negative: as it is
    int streams[3]; ///< raised descriptors for input, output, error
};

/// Changes to the directory, the mask and the streams.
bool enter_place(const daemon_place& place);

} // namespace ombrel::platform
