#include <ombrel/event_base.h>
#include <ombrel/host_socket.h>
#include <ombrel/network_watch.h>
#include <ombrel/route.h>

#include "support/heap_balance.h"
#include "support/option_ranges.h"

using namespace ombrel_test;

namespace {

class NetworkOptions : public balanced_test {};

/// A host that does not tell may refuse for its own reasons.
TEST_F(NetworkOptions, HaveTheirRanges) {
    ombrel_event_base_t* const base = ombrel_new_event_base();
    using watch_t = ombrel_network_watch_options_t;
    watch_t usual;
    ombrel_init_network_watch_options(&usual);
    usual.m_handler = [](ombrel_network_watch_t*, const ombrel_network_change_t*, void*) { return 0; };
    option_ranges<watch_t> watch(usual, [=](const watch_t& options) {
        ombrel_network_watch_t* const opened = ombrel_open_network_watch(base, &options);
        const bool is_taken = opened != nullptr || ombrel_last_fault() != def_ombrel_fault_invalid;
        ombrel_close_network_watch(opened);
        return is_taken;
    });
    watch.set(&watch_t::m_kinds, 0, false);
    watch.set(&watch_t::m_kinds, 1u << 31, false);
    watch.within(&watch_t::m_queue_size, 4096, size_t{16} << 20);
    watch.at_least(&watch_t::m_known_limit, 1);
    watch.set(&watch_t::m_handler, nullptr, false);
    ombrel_free_event_base(base);

    using route_t = ombrel_route_options_t;
    auto route = ranges_of<route_t>(ombrel_init_route_options, [](const route_t& options) {
        ombrel_route_list_t* const opened = ombrel_open_route_list(&options);
        const bool is_taken = opened != nullptr || ombrel_last_fault() != def_ombrel_fault_invalid;
        ombrel_close_route_list(opened);
        return is_taken;
    });
    for (const int family : {0, AF_INET, AF_INET6})
        route.set(&route_t::m_family, family, true);
    route.set(&route_t::m_family, 99, false);
    route.at_least(&route_t::m_limit, 1);
}

} // namespace
