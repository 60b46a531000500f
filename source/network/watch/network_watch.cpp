#include <ombrel/network_watch.h>

#include <cstring>
#include <new>

#include <ombrel/event.h>
#include <ombrel/heap.h>

#include "core/fault.h"
#include "network/socket_guard.h"
#include "network/watch/known_set.h"
#include "platform/network_interface.h"
#include "platform/network_news.h"
#include "platform/route.h"
#include "platform/socket.h"
#include "platform/socket_address.h"

using namespace ombrel;
using platform::news_change;

struct ombrel_network_watch_ts {
    ombrel_network_watch_ts(const ombrel_network_watch_options_t& how, const char* tag,
                            unsigned long tag_line)
        : options(how), known(how.m_known_limit, tag, tag_line), function(tag), line(tag_line) {}

    ombrel_network_watch_options_t options;
    uint32_t kinds = 0; ///< of those wanted what the host tells
    socket_guard wakeup[2];
    platform::network_news* news = nullptr;
    ombrel_event_t event{};
    known_set known;
    platform::network_news_item item{};
    ombrel_route_hop_t* hops = nullptr; ///< of the route that is told
    size_t hop_room = 0;
    bool* is_closed = nullptr; ///< where to note a close while changes are told
    const char* function;
    unsigned long line;
};

namespace {

using watch_record = ombrel_network_watch_ts;

constexpr size_t least_queue = 4096, most_queue = size_t{16} << 20, usual_queue = size_t{1} << 20;
constexpr size_t usual_known_limit = 65536;

ombrel_ip_address_t ip_of(const ombrel_interface_address_t& one) {
    ombrel_ip_address_t address;
    memcpy(&address, &one.m_address, sizeof address);
    return address;
}

void set_address(known_key& key, const ombrel_ip_address_t& address) {
    key.family = address.m_any.sa_family;
    if (key.family == AF_INET6)
        memcpy(key.address, &address.m_ipv6.sin6_addr, sizeof address.m_ipv6.sin6_addr);
    else
        memcpy(key.address, &address.m_ipv4.sin_addr, sizeof address.m_ipv4.sin_addr);
}

known_key key_of(const ombrel_network_interface_t& one) {
    return {def_ombrel_network_interfaces, one.m_index, 0, 0, {}};
}

known_key key_of(uint32_t interface_index, const ombrel_interface_address_t& one) {
    known_key key{
        def_ombrel_network_addresses, interface_index, 0, static_cast<uint32_t>(one.m_prefix_length), {}};
    set_address(key, ip_of(one));
    return key;
}

known_key key_of(const ombrel_neighbour_t& one) {
    known_key key{def_ombrel_network_neighbours, one.m_interface, 0, 0, {}};
    set_address(key, one.m_address);
    return key;
}

known_key key_of(const platform::network_news_item& item) {
    if (item.kind == def_ombrel_network_interfaces)
        return key_of(item.link);
    return item.kind == def_ombrel_network_addresses ? key_of(item.interface_index, item.address)
                                                     : key_of(item.neighbour);
}

bool is_entered(known_set& known, const known_key& key) {
    return known.enter(key) != known_set::entry::no_memory;
}

/// A walk's last step, or that memory ran out, as a success.
bool learn_interfaces(watch_record& watch) {
    platform::interface_list host;
    ombrel_interface_statistics_t statistics;
    bool has_statistics = false;
    uint32_t index = 0;
    int step = host.is_open() ? 0 : -1;
    if (step == 0 && (watch.kinds & def_ombrel_network_interfaces) != 0)
        while ((step = host.next(watch.item.link, statistics, has_statistics)) == 1)
            if (!is_entered(watch.known, key_of(watch.item.link)))
                return false;
    if (step == 0 && (watch.kinds & def_ombrel_network_addresses) != 0)
        while ((step = host.next_address(index, watch.item.address)) == 1)
            if (!is_entered(watch.known, key_of(index, watch.item.address)))
                return false;
    return step == 0;
}

bool learn_neighbours(watch_record& watch) {
    platform::neighbour_list host;
    int step = host.list(0, INT32_MAX) ? 0 : -1;
    while (step != -1 && (step = host.next(watch.item.neighbour)) == 1)
        if (!is_entered(watch.known, key_of(watch.item.neighbour)))
            return false;
    return step == 0;
}

/// What is there at present; needed where the host does not tell what is new.
bool learn(watch_record& watch) {
    constexpr uint32_t of_interfaces = def_ombrel_network_interfaces | def_ombrel_network_addresses;
    watch.known.clear();
    if (platform::news_tell_new())
        return true;
    return ((watch.kinds & of_interfaces) == 0 || learn_interfaces(watch)) &&
           ((watch.kinds & def_ombrel_network_neighbours) == 0 || learn_neighbours(watch));
}

/// What the host said, with what is known beside it.
int settle(watch_record& watch, news_change change) {
    if (change == news_change::appeared)
        return def_ombrel_network_appeared;
    if (change == news_change::changed)
        return def_ombrel_network_changed;
    if (change == news_change::entered)
        return watch.known.enter(key_of(watch.item)) == known_set::entry::was_there
                   ? def_ombrel_network_changed
                   : def_ombrel_network_appeared;
    if (watch.item.kind != def_ombrel_network_routes)
        watch.known.forget(key_of(watch.item));
    return def_ombrel_network_gone;
}

/// Room for the hops of a route; without memory for it they are left out, and their number is 0.
bool make_hop_room(watch_record& watch, size_t count) {
    if (count <= watch.hop_room)
        return true;
    auto* const hops = static_cast<ombrel_route_hop_t*>(
        ombrel_realloc_tag(watch.hops, count * sizeof(ombrel_route_hop_t), watch.function, watch.line));
    if (hops == nullptr)
        return false;
    watch.hops = hops;
    watch.hop_room = count;
    return true;
}

void add_hops(watch_record& watch) {
    ombrel_route_t& route = watch.item.route;
    const auto count = static_cast<size_t>(route.m_hop_count);
    route.m_hop_count = 0;
    if (!make_hop_room(watch, count))
        return;
    ombrel_route_hop_t** link = &route.m_hops;
    for (size_t i = 0; i < count && platform::next_news_hop(*watch.news, watch.hops[i]); i++) {
        *link = &watch.hops[i];
        link = &watch.hops[i].m_next;
        route.m_hop_count++;
    }
}

ombrel_network_change_t change_of(watch_record& watch, int what) {
    platform::network_news_item& item = watch.item;
    ombrel_network_change_t change{};
    change.m_kind = item.kind;
    change.m_change = what;
    switch (item.kind) {
    case def_ombrel_network_interfaces:
        item.link.m_statistics = item.has_statistics ? &item.statistics : nullptr;
        change.m_interface = &item.link;
        change.m_index = item.link.m_index;
        break;
    case def_ombrel_network_addresses:
        change.m_address = &item.address;
        change.m_index = item.interface_index;
        break;
    case def_ombrel_network_routes:
        add_hops(watch);
        change.m_route = &item.route;
        change.m_index = item.route.m_interface;
        break;
    default:
        change.m_neighbour = &item.neighbour;
        change.m_index = item.neighbour.m_interface;
        break;
    }
    return change;
}

/// Tells one piece of news; false when that was the last.
bool tell(watch_record& watch, news_change what) {
    ombrel_network_change_t change{};
    if (what == news_change::lost) {
        // What cannot be learnt now is told as new when it is met.
        learn(watch);
        change.m_kind = watch.kinds;
        change.m_change = def_ombrel_network_lost;
    } else
        change = change_of(watch, settle(watch, what));
    bool is_closed = false;
    watch.is_closed = &is_closed;
    const bool goes_on = watch.options.m_handler(&watch, &change, watch.options.m_context) == 0;
    if (is_closed)
        return false;
    watch.is_closed = nullptr;
    if (!goes_on)
        ombrel_unassign_event(&watch.event);
    return goes_on;
}

/// What has come, but not so much that others in the loop wait long.
void on_news(ombrel_event_t*, int, uint32_t flags, void* context) {
    constexpr int most_at_once = 256;
    auto& watch = *static_cast<watch_record*>(context);
    if ((flags & def_ombrel_event_read) == 0)
        return;
    for (int told = 0;; told++) {
        const news_change change = platform::next_news(*watch.news, watch.item, told < most_at_once);
        if (change == news_change::none || !tell(watch, change) || change == news_change::lost)
            return;
    }
}

bool open_news(watch_record& watch) {
    int pair[2] = {def_ombrel_invalid_socket, def_ombrel_invalid_socket};
    if (platform::news_need_wakeups() && ombrel_socket_pipe(pair) != 0)
        return false;
    for (int i = 0; i < 2; i++) {
        watch.wakeup[i].reset(pair[i]);
        if (watch.wakeup[i])
            platform::prepare_wakeup_socket(pair[i]);
    }
    watch.news = platform::open_network_news(watch.kinds, watch.options.m_queue_size, pair);
    return watch.news != nullptr;
}

bool open(watch_record& watch, ombrel_event_base_t* base) {
    watch.kinds = platform::network_news_kinds(watch.options.m_kinds);
    if (watch.kinds == 0)
        return leave_fault(fault_code::not_supported), false;
    if (!open_news(watch) || !learn(watch))
        return false;
    if (ombrel_assign_event(base, &watch.event, platform::descriptor_of(*watch.news),
                            def_ombrel_event_read | def_ombrel_event_persist, on_news, &watch) == 0 &&
        ombrel_add_event(&watch.event, -1) == 0)
        return true;
    leave_fault(fault_code::no_memory);
    return false;
}

bool check_options(const ombrel_network_watch_options_t& options) {
    return options.m_kinds != 0 && (options.m_kinds & ~def_ombrel_network_all) == 0 &&
           options.m_queue_size >= least_queue && options.m_queue_size <= most_queue &&
           options.m_known_limit >= 1 && options.m_handler != nullptr;
}

void destroy(watch_record* watch) {
    const fault_keeper kept;
    if ((watch->event.m_flags & def_ombrel_event_assigned) != 0)
        ombrel_unassign_event(&watch->event);
    platform::close_network_news(watch->news);
    ombrel_check_free_tag(watch->hops, watch->function, watch->line);
    const char* const function = watch->function;
    const unsigned long line = watch->line;
    watch->~ombrel_network_watch_ts();
    ombrel_free_tag(watch, function, line);
}

} // namespace

int ombrel_init_network_watch_options(ombrel_network_watch_options_t* options) {
    if (options == nullptr)
        return leave_fault(fault_code::invalid), -1;
    *options = {def_ombrel_network_all, usual_queue, usual_known_limit, nullptr, nullptr};
    return 0;
}

ombrel_network_watch_t* ombrel_open_network_watch_tag(ombrel_event_base_t* base,
                                                      const ombrel_network_watch_options_t* options,
                                                      const char* function, unsigned long line) {
    if (base == nullptr || options == nullptr || !check_options(*options))
        return leave_fault(fault_code::invalid), nullptr;
    void* const memory = ombrel_alloc_tag(sizeof(watch_record), function, line);
    if (memory == nullptr)
        return leave_fault(fault_code::no_memory), nullptr;
    auto* const watch = new (memory) watch_record(*options, function, line);
    if (open(*watch, base))
        return watch;
    destroy(watch);
    return nullptr;
}

uint32_t ombrel_network_watch_get_kinds(const ombrel_network_watch_t* watch) {
    return watch != nullptr ? watch->kinds : 0;
}

int ombrel_close_network_watch(ombrel_network_watch_t* watch) {
    if (watch == nullptr)
        return 0;
    if (watch->is_closed != nullptr)
        *watch->is_closed = true;
    destroy(watch);
    return 0;
}
