// The processes of the host, and what its processors do.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ombrel::platform {

struct listed_process {
    int number, parent, group, threads;
    char state;            ///< the letter that `ps` has, '?' where the host does not tell
    const char* name;      ///< in the walk's memory until its next call
    uint64_t birth;        ///< with the number, what no other process has
    int64_t start_seconds; ///< since 1970
    int32_t start_nanoseconds;
    uint64_t user_ticks, system_ticks; ///< of processor_ticks_per_second()
    int64_t resident, address_space;   ///< bytes
};

/// A walk over all processes. What fails leaves its fault.
struct process_walk;

/// Null where the host does not tell, or has no memory or descriptor left.
process_walk* open_process_walk();
void close_process_walk(process_walk* walk);

/// 1 for a process, 0 at the end, -1 on a failure. One that ends meanwhile is passed over.
int next_process(process_walk& walk, listed_process& found);

/// One process by its number; false, with its fault, when there is none.
bool find_listed_process(process_walk& walk, int number, listed_process& found);

struct argument_text {
    const char* text; ///< in the walk's memory until the next call for one
    size_t size;
    bool is_line; ///< one command line, ended by 0; else arguments, each ended by 0
};

/// The arguments of a process, cut at a limit in bytes; empty ones where nobody may see them. False, with its
/// fault, when there is no memory.
bool read_arguments(process_walk& walk, int number, size_t limit, argument_text& arguments);

/// signal_process() for a process that was listed: another that has its number by now is spared.
bool signal_listed_process(process_walk& walk, const listed_process& process, int signal_number);

uint32_t processor_ticks_per_second();

struct processor_ticks {
    uint64_t user, low_priority, system, idle, waiting, interrupt, stolen; ///< none is part of another
};

/// What a processor did since the host started, -1 for all of them; false with its fault.
bool get_processor_ticks(int processor, processor_ticks& ticks);

struct system_load {
    uint32_t hundredths[3]; ///< of processes that run or want to, over 1, 5 and 15 minutes
    uint32_t running, threads;
};
bool get_system_load(system_load& load);

} // namespace ombrel::platform
