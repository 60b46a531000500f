#include <ombrel/neighbour.h>

#include <ombrel/address.h>

#include "core/fault.h"
#include "network/record_block.h"
#include "platform/route.h"
#include "platform/socket_address.h"

using namespace ombrel;

namespace {

bool is_wanted(const ombrel_neighbour_t& one, const ombrel_neighbour_options_t& options) {
    return (options.m_interface == 0 || one.m_interface == options.m_interface) &&
           (one.m_state & options.m_states) != 0;
}

bool check_options(const ombrel_neighbour_options_t& options) {
    return (options.m_family == 0 || options.m_family == AF_INET || options.m_family == AF_INET6) &&
           options.m_limit >= 1;
}

bool count_wanted(platform::neighbour_list& host, const ombrel_neighbour_options_t& options, size_t& count) {
    ombrel_neighbour_t one;
    int step;
    while ((step = host.next(one)) == 1)
        count += is_wanted(one, options) ? 1 : 0;
    host.rewind();
    return step == 0;
}

void fill_list(platform::neighbour_list& host, const ombrel_neighbour_options_t& options,
               ombrel_neighbour_t* records, size_t count) {
    ombrel_neighbour_t passing;
    for (size_t i = 0; i < count && host.next(passing) == 1;)
        if (is_wanted(passing, options)) {
            ombrel_neighbour_t& one = records[i++] = passing;
            one.m_next = i < count ? records + i : nullptr;
        }
}

ombrel_neighbour_list_t* make_list(platform::neighbour_list& host, const ombrel_neighbour_options_t& options,
                                   const char* function, unsigned long line) {
    size_t count = 0;
    if (!count_wanted(host, options, count))
        return nullptr;
    if (static_cast<int64_t>(count) > options.m_limit)
        return leave_fault(fault_code::too_large), nullptr;
    record_block block;
    block.plan<ombrel_neighbour_list_t>(1);
    block.plan<ombrel_neighbour_t>(count);
    if (!block.allocate(function, line))
        return nullptr;
    auto* const list = block.take<ombrel_neighbour_list_t>(1);
    auto* const records = block.take<ombrel_neighbour_t>(count);
    fill_list(host, options, records, count);
    *list = {count != 0 ? records : nullptr, static_cast<int64_t>(count)};
    return list;
}

} // namespace

int ombrel_init_neighbour_options(ombrel_neighbour_options_t* options) {
    constexpr int64_t usual_limit = 1048576;
    if (options == nullptr)
        return leave_fault(fault_code::invalid), -1;
    *options = {0, 0, def_ombrel_neighbour_usual, usual_limit};
    return 0;
}

ombrel_neighbour_list_t* ombrel_open_neighbour_list_tag(const ombrel_neighbour_options_t* options,
                                                        const char* function, unsigned long line) {
    ombrel_neighbour_options_t usual;
    ombrel_init_neighbour_options(&usual);
    const ombrel_neighbour_options_t& chosen = options != nullptr ? *options : usual;
    if (!check_options(chosen))
        return leave_fault(fault_code::invalid), nullptr;
    platform::neighbour_list host;
    return host.list(chosen.m_family, most_listed(chosen.m_limit)) ? make_list(host, chosen, function, line)
                                                                   : nullptr;
}

int ombrel_close_neighbour_list(ombrel_neighbour_list_t* list) {
    return ombrel_check_free_tag(list, __func__, __LINE__);
}

const char* ombrel_neighbour_state_name(uint32_t state) {
    static constexpr struct {
        uint32_t state;
        const char* name;
    } names[] = {
        {def_ombrel_neighbour_none, "none"},           {def_ombrel_neighbour_incomplete, "incomplete"},
        {def_ombrel_neighbour_reachable, "reachable"}, {def_ombrel_neighbour_stale, "stale"},
        {def_ombrel_neighbour_delay, "delay"},         {def_ombrel_neighbour_probe, "probe"},
        {def_ombrel_neighbour_failed, "failed"},       {def_ombrel_neighbour_no_arp, "noarp"},
        {def_ombrel_neighbour_permanent, "permanent"},
    };
    for (const auto& one : names)
        if (one.state == state)
            return one.name;
    return "unknown";
}
