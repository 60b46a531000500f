// The texts in which the kernel tells of memory. They are read whatever they look like.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "platform/meminfo.h"

namespace ombrel::platform {

/// The number at the start of a text; -1 when there is none that 63 bits can hold.
int64_t leading_number(std::string_view text);

/// A figure of a text with lines "NAME:  NUMBER kB".
struct memory_line {
    std::string_view name;
    int64_t* bytes;
};

/// Sets the figures that the text has, and leaves those that it has not.
void read_memory_lines(std::string_view text, std::span<const memory_line> lines);

void parse_machine_memory(std::string_view meminfo, machine_memory& memory);
void parse_process_memory(std::string_view status, process_memory& memory);

/// A limit of a control group.
int64_t parse_memory_limit(std::string_view text);

/// Where the control group that counts this process's memory can be seen.
struct memory_group {
    std::string_view mount; ///< with the escapes of the list of mounts
    std::string_view inner; ///< the path below it: empty, or with its slash
    bool is_first_version;
};

/// False when it is in none, or none can be seen.
bool find_memory_group(std::string_view groups, std::string_view mounts, memory_group& found);

/// Undoes the escapes of a path in the list of mounts. Gives the bytes written, 0 when there is no room.
size_t unescape_mount(std::string_view text, std::span<char> path);

} // namespace ombrel::platform
