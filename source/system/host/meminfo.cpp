#include <ombrel/meminfo.h>

#include <algorithm>

#include "core/fault.h"
#include "platform/meminfo.h"

using namespace ombrel;

static_assert(platform::unknown_memory == def_ombrel_meminfo_unknown &&
              platform::unlimited_memory == def_ombrel_meminfo_unlimited);

namespace {

int refuse() {
    leave_fault(fault_code::invalid);
    return -1;
}

/// What a kernel that does not tell it would give up: copies of files, unless they live in memory alone.
int64_t estimate_available(const platform::machine_memory& memory) {
    const auto known = [](int64_t figure) { return std::max<int64_t>(figure, 0); };
    const int64_t given_up = known(memory.buffers) + known(memory.cached) - known(memory.shared);
    return known(memory.free) + std::max<int64_t>(given_up, 0);
}

} // namespace

int ombrel_get_meminfo(ombrel_meminfo_t* info) {
    if (info == nullptr)
        return refuse();
    platform::machine_memory memory;
    if (!platform::get_machine_memory(memory))
        return -1;
    const int64_t told = memory.available >= 0 ? memory.available : estimate_available(memory);
    const int64_t available = std::min(told, memory.total); // a container's view may mix both figures
    *info = {.m_total = memory.total,
             .m_free = memory.free,
             .m_available = available,
             .m_used = memory.total - available,
             .m_shared = memory.shared,
             .m_buffers = memory.buffers,
             .m_cached = memory.cached,
             .m_swap_total = memory.swap_total,
             .m_swap_free = memory.swap_free};
    return 0;
}

int ombrel_get_process_meminfo(int process, ombrel_process_meminfo_t* info) {
    if (info == nullptr || process < 0)
        return refuse();
    platform::process_memory memory;
    if (!platform::get_process_memory(process, memory))
        return -1;
    *info = {.m_resident = memory.resident,
             .m_peak_resident = memory.peak_resident,
             .m_virtual = memory.address_space,
             .m_peak_virtual = memory.peak_address_space,
             .m_swapped = memory.swapped};
    return 0;
}

int ombrel_get_container_meminfo(ombrel_container_meminfo_t* info) {
    if (info == nullptr)
        return refuse();
    platform::container_memory memory;
    if (!platform::get_container_memory(memory))
        return -1;
    *info = {.m_limit = memory.limit, .m_used = memory.used, .m_peak = memory.peak};
    return 0;
}
