#include <ombrel/ssdp.h>

#include <new>

#include <ombrel/time.h>

#include "core/fault.h"
#include "core/heap_ptr.h"
#include "platform/clock.h"
#include "protocol/ssdp/ssdp_service.h"

using namespace ombrel;
using namespace ombrel::protocol;

struct ombrel_ssdp_ts {
    ssdp_service service{this};
};

namespace {

constexpr uint32_t both_families = def_ombrel_ssdp_ipv4 | def_ombrel_ssdp_ipv6;
constexpr int64_t most_boot_id = 0x7fffffff, most_config_id = 0xffffff;

int refuse() {
    leave_fault(fault_code::invalid);
    return -1;
}

bool are_sound(const ombrel_ssdp_options_t& options) {
    constexpr uint32_t known = both_families | def_ombrel_ssdp_no_loop | def_ombrel_ssdp_no_listen;
    constexpr size_t most_announcements = 1024;
    const auto within = [](int64_t value, int64_t least, int64_t most) {
        return value >= least && value <= most;
    };
    return (options.m_flags & ~known) == 0 && (options.m_flags & both_families) != 0 &&
           within(options.m_port, 1, 65535) && within(options.m_hops, 0, 255) &&
           within(options.m_answer_hops, 1, 255) && within(options.m_boot_id, 0, most_boot_id) &&
           within(options.m_config_id, 0, most_config_id) && options.m_announcement_limit >= 1 &&
           options.m_announcement_limit <= most_announcements && options.m_answer_limit >= 1 &&
           options.m_address_answer_limit >= 1 && options.m_address_entry_limit >= 1 &&
           options.m_max_age_limit_s >= 1;
}

} // namespace

int ombrel_init_ssdp_options(ombrel_ssdp_options_t* options) {
    if (options == nullptr)
        return refuse();
    *options = {};
    options->m_flags = both_families;
    options->m_port = def_ombrel_ssdp_port;
    options->m_hops = 2;
    options->m_answer_hops = 8;
    options->m_boot_id = platform::wall_clock().seconds & most_boot_id;
    options->m_config_id = 1;
    options->m_announcement_limit = 128;
    options->m_answer_limit = 100;
    options->m_address_answer_limit = 30;
    options->m_entry_limit = 512;
    options->m_address_entry_limit = 64;
    options->m_max_age_limit_s = 86400;
    return 0;
}

ombrel_ssdp_t* ombrel_open_ssdp_tag(ombrel_event_base_t* base, const ombrel_ssdp_options_t* options,
                                    const char* function, unsigned long line) {
    ombrel_ssdp_options_t chosen;
    ombrel_init_ssdp_options(&chosen);
    if (options != nullptr)
        chosen = *options;
    if (base == nullptr || !are_sound(chosen))
        return refuse(), nullptr;
    void* const room = ombrel_alloc_tag(sizeof(ombrel_ssdp_t), function, line);
    if (room == nullptr)
        return leave_fault(fault_code::no_memory), nullptr;
    auto* const made = new (room) ombrel_ssdp_t;
    leave_fault(fault_code::not_supported); // when nothing else is found to be wrong
    if (made->service.open(base, chosen))
        return made;
    const fault_keeper kept;
    ombrel_close_ssdp(made);
    return nullptr;
}

int ombrel_close_ssdp(ombrel_ssdp_t* ssdp) {
    if (ssdp == nullptr)
        return 0;
    if (ssdp->service.is_in_handler()) {
        leave_fault(fault_code::busy);
        return -1;
    }
    ssdp->~ombrel_ssdp_ts();
    ombrel_free_tag(ssdp, "ombrel_close_ssdp", __LINE__);
    return 0;
}

int64_t ombrel_ssdp_announce(ombrel_ssdp_t* ssdp, const char* type, const char* usn, const char* location,
                             int max_age_s) {
    return ssdp != nullptr ? ssdp->service.announce(type, usn, location, max_age_s) : refuse();
}

int ombrel_ssdp_announce_device(ombrel_ssdp_t* ssdp, const char* uuid, const char* type, const char* location,
                                int max_age_s) {
    if (ssdp == nullptr)
        return refuse();
    return ssdp->service.announce_device(uuid, type, location, max_age_s) ? 0 : -1;
}

int ombrel_ssdp_withdraw(ombrel_ssdp_t* ssdp, int64_t number) {
    if (ssdp == nullptr)
        return refuse();
    return ssdp->service.withdraw(number) ? 0 : -1;
}

int ombrel_ssdp_update(ombrel_ssdp_t* ssdp, int64_t boot_id, const char* location) {
    if (ssdp == nullptr)
        return refuse();
    return ssdp->service.update(boot_id, location) ? 0 : -1;
}

int ombrel_ssdp_search(ombrel_ssdp_t* ssdp, const char* target, int wait_s) {
    if (ssdp == nullptr)
        return refuse();
    return ssdp->service.search(target, wait_s) ? 0 : -1;
}

int ombrel_ssdp_get_entry(ombrel_ssdp_t* ssdp, size_t index, ombrel_ssdp_entry_t* entry) {
    if (ssdp == nullptr || entry == nullptr)
        return refuse();
    return ssdp->service.cache().get_at(index, ombrel_time_stamp_msec(), *entry) ? 1 : 0;
}

int ombrel_ssdp_find_entry(ombrel_ssdp_t* ssdp, const char* usn, ombrel_ssdp_entry_t* entry) {
    if (ssdp == nullptr || usn == nullptr || entry == nullptr)
        return refuse();
    return ssdp->service.cache().find(usn, ombrel_time_stamp_msec(), *entry) ? 1 : 0;
}

int ombrel_ssdp_forget_entries(ombrel_ssdp_t* ssdp) {
    if (ssdp == nullptr)
        return refuse();
    ssdp->service.cache().clear();
    return 0;
}

int ombrel_ssdp_stop(ombrel_ssdp_t* ssdp, int timeout_ms, ombrel_ssdp_stop_handler_t handler, void* context) {
    if (ssdp == nullptr)
        return refuse();
    return ssdp->service.stop(timeout_ms, handler, context) ? 0 : -1;
}

int ombrel_ssdp_get_counts(ombrel_ssdp_t* ssdp, ombrel_ssdp_counts_t* counts) {
    if (ssdp == nullptr || counts == nullptr)
        return refuse();
    ssdp->service.get_counts(*counts);
    return 0;
}
