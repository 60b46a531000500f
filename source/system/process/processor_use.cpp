// How busy the host is.
#include <ombrel/process_list.h>

#include <algorithm>
#include <iterator>

#include "core/fault.h"
#include "platform/process_list.h"

using namespace ombrel;

uint32_t ombrel_get_ticks_per_second(void) {
    return platform::processor_ticks_per_second();
}

int ombrel_get_processor_ticks(int processor, ombrel_processor_ticks_t* ticks) {
    if (ticks == nullptr || processor < -1) {
        leave_fault(fault_code::invalid);
        return -1;
    }
    platform::processor_ticks found;
    if (!platform::get_processor_ticks(processor, found))
        return -1;
    *ticks = {found.user + found.low_priority,
              found.system + found.interrupt,
              found.idle,
              found.waiting,
              found.stolen,
              found.low_priority,
              found.interrupt};
    return 0;
}

// Hosts have been seen to take a little of a count back.
int ombrel_get_processor_use(const ombrel_processor_ticks_t* before, const ombrel_processor_ticks_t* after) {
    if (before == nullptr || after == nullptr)
        return 0;
    const auto passed = [&](uint64_t ombrel_processor_ticks_t::*count) {
        return after->*count - std::min(before->*count, after->*count);
    };
    const uint64_t busy =
        passed(&ombrel_processor_ticks_t::m_user) + passed(&ombrel_processor_ticks_t::m_system);
    const uint64_t idle = passed(&ombrel_processor_ticks_t::m_idle) +
                          passed(&ombrel_processor_ticks_t::m_waiting) +
                          passed(&ombrel_processor_ticks_t::m_stolen);
    const uint64_t all = std::max<uint64_t>(busy + idle, 1);
    return static_cast<int>(all < UINT64_MAX / 1000 ? busy * 1000 / all : busy / (all / 1000));
}

int ombrel_get_system_load(ombrel_system_load_t* load) {
    if (load == nullptr) {
        leave_fault(fault_code::invalid);
        return -1;
    }
    platform::system_load found;
    if (!platform::get_system_load(found))
        return -1;
    std::copy(std::begin(found.hundredths), std::end(found.hundredths), load->m_hundredths);
    load->m_running = found.running;
    load->m_threads = found.threads;
    return 0;
}
