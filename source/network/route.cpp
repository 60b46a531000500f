#include <ombrel/route.h>

#include <iterator>

#include <ombrel/address.h>

#include "core/fault.h"
#include "network/record_block.h"
#include "platform/route.h"
#include "platform/socket_address.h"

using namespace ombrel;

namespace {

bool is_wanted(const platform::route_list& host, const ombrel_route_t& one,
               const ombrel_route_options_t& options) {
    return (options.m_table == def_ombrel_route_table_all || one.m_table == options.m_table) &&
           (options.m_interface == 0 || one.m_interface == options.m_interface ||
            (one.m_hop_count != 0 && host.has_hop_by(options.m_interface)));
}

struct list_counts {
    size_t routes = 0, hops = 0;
};

bool count_records(platform::route_list& host, const ombrel_route_options_t& options, list_counts& counts) {
    ombrel_route_t one;
    int step;
    while ((step = host.next(one)) == 1)
        if (is_wanted(host, one, options)) {
            counts.routes++;
            counts.hops += static_cast<size_t>(one.m_hop_count);
        }
    host.rewind();
    return step == 0;
}

/// Gives a route its hops, of those that the block has for all.
void add_hops(platform::route_list& host, ombrel_route_t& one, ombrel_route_hop_t*& next_hop) {
    ombrel_route_hop_t** link = &one.m_hops;
    for (int i = 0; i < one.m_hop_count && host.next_hop(*next_hop); i++) {
        *link = next_hop++;
        link = &(*link)->m_next;
    }
}

void fill_list(platform::route_list& host, const ombrel_route_options_t& options, const list_counts& counts,
               ombrel_route_t* routes, ombrel_route_hop_t* hops) {
    ombrel_route_t passing;
    for (size_t i = 0; i < counts.routes && host.next(passing) == 1;) {
        if (!is_wanted(host, passing, options))
            continue;
        ombrel_route_t& one = routes[i++] = passing;
        add_hops(host, one, hops);
        one.m_next = i < counts.routes ? routes + i : nullptr;
    }
}

bool is_family(int family) {
    return family == AF_INET || family == AF_INET6;
}

bool check_options(const ombrel_route_options_t& options) {
    return (options.m_family == 0 || is_family(options.m_family)) && options.m_limit >= 1;
}

ombrel_route_list_t* make_list(platform::route_list& host, const ombrel_route_options_t& options,
                               const char* function, unsigned long line) {
    list_counts counts;
    if (!count_records(host, options, counts))
        return nullptr;
    if (static_cast<int64_t>(counts.routes) > options.m_limit)
        return leave_fault(fault_code::too_large), nullptr;
    record_block block;
    block.plan<ombrel_route_list_t>(1);
    block.plan<ombrel_route_t>(counts.routes);
    block.plan<ombrel_route_hop_t>(counts.hops);
    if (!block.allocate(function, line))
        return nullptr;
    auto* const list = block.take<ombrel_route_list_t>(1);
    auto* const routes = block.take<ombrel_route_t>(counts.routes);
    fill_list(host, options, counts, routes, block.take<ombrel_route_hop_t>(counts.hops));
    list->m_first = counts.routes != 0 ? routes : nullptr;
    list->m_count = static_cast<int64_t>(counts.routes);
    return list;
}

/// The route that the walk is at, in a block of its own.
ombrel_route_t* make_route(platform::route_list& host, const ombrel_route_t& found, const char* function,
                           unsigned long line) {
    record_block block;
    block.plan<ombrel_route_t>(1);
    block.plan<ombrel_route_hop_t>(static_cast<size_t>(found.m_hop_count));
    if (!block.allocate(function, line))
        return nullptr;
    auto* const made = block.take<ombrel_route_t>(1);
    *made = found;
    auto* hops = block.take<ombrel_route_hop_t>(static_cast<size_t>(found.m_hop_count));
    add_hops(host, *made, hops);
    return made;
}

bool is_default(const ombrel_route_t& one) {
    constexpr uint32_t unusable = def_ombrel_route_dead | def_ombrel_route_link_down;
    return one.m_prefix_length == 0 && one.m_from_prefix_length == 0 && one.m_service == 0 &&
           one.m_type == def_ombrel_route_unicast && one.m_table == def_ombrel_route_table_main &&
           (one.m_flags & unusable) == 0;
}

/// The place of the best one in the list, from 1; 0 when there is none, -1 with the fault.
int64_t find_default(platform::route_list& host) {
    ombrel_route_t one;
    int64_t at = 0, best = 0;
    uint32_t metric = 0;
    int step;
    while ((step = host.next(one)) == 1) {
        at++;
        if (!is_default(one) || (best != 0 && one.m_metric >= metric))
            continue;
        best = at;
        metric = one.m_metric;
    }
    host.rewind();
    if (step == 0 && best == 0)
        leave_fault(fault_code::not_found);
    return step == 0 ? best : -1;
}

constexpr size_t usual_limit = 4194304;

} // namespace

int ombrel_init_route_options(ombrel_route_options_t* options) {
    if (options == nullptr)
        return leave_fault(fault_code::invalid), -1;
    *options = {0, def_ombrel_route_table_main, 0, usual_limit};
    return 0;
}

ombrel_route_list_t* ombrel_open_route_list_tag(const ombrel_route_options_t* options, const char* function,
                                                unsigned long line) {
    ombrel_route_options_t usual;
    ombrel_init_route_options(&usual);
    const ombrel_route_options_t& chosen = options != nullptr ? *options : usual;
    if (!check_options(chosen))
        return leave_fault(fault_code::invalid), nullptr;
    platform::route_list host;
    return host.list(chosen.m_family, most_listed(chosen.m_limit)) ? make_list(host, chosen, function, line)
                                                                   : nullptr;
}

int ombrel_close_route_list(ombrel_route_list_t* list) {
    return ombrel_check_free_tag(list, __func__, __LINE__);
}

ombrel_route_t* ombrel_open_default_route_tag(int family, const char* function, unsigned long line) {
    if (!is_family(family))
        return leave_fault(fault_code::invalid), nullptr;
    platform::route_list host;
    const int64_t place = host.list(family, usual_limit) ? find_default(host) : -1;
    if (place < 1)
        return nullptr;
    ombrel_route_t one;
    for (int64_t i = 0; i < place; i++)
        host.next(one);
    return make_route(host, one, function, line);
}

ombrel_route_t* ombrel_open_route_to_tag(const struct sockaddr* destination, const struct sockaddr* source,
                                         uint32_t interface_index, const char* function, unsigned long line) {
    const int family = ombrel_sockaddr_domain(destination);
    if (family == 0 || (source != nullptr && ombrel_sockaddr_domain(source) != family))
        return leave_fault(fault_code::invalid), nullptr;
    platform::route_list host;
    ombrel_route_t one;
    if (!host.look_up(*destination, source, interface_index))
        return nullptr;
    const int step = host.next(one);
    if (step == 0)
        leave_fault(fault_code::unreachable);
    return step == 1 ? make_route(host, one, function, line) : nullptr;
}

int ombrel_close_route(ombrel_route_t* route) {
    return ombrel_check_free_tag(route, __func__, __LINE__);
}

const char* ombrel_route_type_name(int type) {
    static constexpr const char* names[] = {"unspecified", "unicast",   "local",     "broadcast",
                                            "anycast",     "multicast", "blackhole", "unreachable",
                                            "prohibit",    "throw",     "nat",       "xresolve"};
    return type >= 0 && type < static_cast<int>(std::size(names)) ? names[type] : "unknown";
}
