// How much memory the machine, a process and its container have and use, in bytes; -1 for what the host does
// not tell.
#pragma once

#include <cstdint>

namespace ombrel::platform {

inline constexpr int64_t unknown_memory = -1, unlimited_memory = INT64_MAX;

struct machine_memory {
    int64_t total, free, available, shared, buffers, cached, swap_total, swap_free;
};

struct process_memory {
    int64_t resident, peak_resident, address_space, peak_address_space, swapped;
};

struct container_memory {
    int64_t limit, used, peak;
};

// False, with the fault, where the host has no such figures.

/// All but what is available is as the host tells it.
bool get_machine_memory(machine_memory& memory);

/// Of a process by its number, 0 for this one.
bool get_process_memory(int process, process_memory& memory);

bool get_container_memory(container_memory& memory);

} // namespace ombrel::platform
