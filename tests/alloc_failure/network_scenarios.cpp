// Names, sockets, the selection record, the resolver and its cache.
#include <ombrel/fault.h>
#include <ombrel/multicast.h>
#include <ombrel/network_interface.h>
#include <ombrel/network_watch.h>
#include <ombrel/nmea.h>
#include <ombrel/resolver.h>
#include <ombrel/resolver_cache.h>
#include <ombrel/select.h>
#include <ombrel/socket_open.h>
#include <ombrel/wake_on_lan.h>

#include "alloc_failure/injection.h"
#include "network/loopback.h"

namespace ombrel_test {
namespace {

OMBREL_FAILURES(Network, open_records) {
    null_when_hit(fail, free_block, [] { return ombrel_get_hostname_alloc(); });
    null_when_hit(fail, ombrel_close_network_interface, ombrel_open_network_interface);
    null_when_hit(fail, ombrel_close_select, ombrel_open_select);
    null_when_hit(fail, ombrel_close_resolver, [] { return ombrel_open_resolver("127.0.0.1", 80); });
}

/// Emulators of other processors do not hand the question on.
bool lists_no_neighbours() {
    ombrel_neighbour_list_t* const list = ombrel_open_neighbour_list(nullptr);
    const bool refused = list == nullptr && ombrel_last_fault() == def_ombrel_fault_not_supported;
    ombrel_close_neighbour_list(list);
    return refused;
}

OMBREL_FAILURES(Network, list_routes_and_neighbours) {
    ombrel_route_options_t every;
    ombrel_init_route_options(&every);
    every.m_table = def_ombrel_route_table_all;
    const sockaddr_in itself{
        .sin_family = AF_INET, .sin_port = 0, .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
    null_when_hit(fail, ombrel_close_route_list, [&] { return ombrel_open_route_list(&every); });
    if (!lists_no_neighbours())
        null_when_hit(fail, ombrel_close_neighbour_list, [] { return ombrel_open_neighbour_list(nullptr); });
    null_when_hit(fail, ombrel_close_route, [&] {
        return ombrel_open_route_to(reinterpret_cast<const sockaddr*>(&itself), nullptr, 0);
    });
}

OMBREL_FAILURES(Network, open_network_watch) {
    ombrel_event_base_t* const base = ombrel_new_event_base();
    // With its own event the base has as many as it has room for.
    constexpr size_t others = 63;
    for (size_t i = 0; i < others; i++)
        ombrel_event_base_once(base, -1, 0, nullptr, nullptr, 3'600'000);
    ombrel_network_watch_options_t options;
    ombrel_init_network_watch_options(&options);
    if (lists_no_neighbours())
        options.m_kinds = def_ombrel_network_interfaces | def_ombrel_network_routes;
    options.m_handler = [](ombrel_network_watch_t*, const ombrel_network_change_t*, void*) { return 0; };
    null_when_hit(
        fail,
        [&](ombrel_network_watch_t* watch) {
            // One that would never hear of anything is not handed out.
            ombrel_event_counts_t counts;
            EXPECT_EQ(0, ombrel_event_base_get_counts(base, &counts));
            EXPECT_EQ(others + 1, counts.m_events);
            ombrel_close_network_watch(watch);
        },
        [&] { return ombrel_open_network_watch(base, &options); });
    EXPECT_TRUE(!fail.hit() || ombrel_last_fault() == def_ombrel_fault_no_memory);
    ombrel_free_event_base(base);
}

size_t count_answers(const ombrel_resolver_t* list) {
    size_t count = 0;
    for (; list != nullptr; list = list->m_next)
        count++;
    return count;
}

// Answers that find no memory are left out, one by one.
OMBREL_FAILURES(Network, open_nmea_reader) {
    null_when_hit(fail, ombrel_close_nmea_reader, [] {
        return ombrel_open_nmea_reader(
            nullptr, [](const ombrel_nmea_sentence_t*, void*) { return 0; }, nullptr);
    });
    EXPECT_TRUE(!fail.hit() || ombrel_last_fault() == def_ombrel_fault_no_memory);
}

OMBREL_FAILURES(Network, send_wake_packet) {
    const uint8_t mac[def_ombrel_mac_address_size] = {1, 2, 3, 4, 5, 6};
    ombrel_wake_options_t options;
    ombrel_init_wake_options(&options);
    options.m_address = "127.0.0.1";
    done_or_refused(fail, [&] { return ombrel_send_wake_packet(mac, &options); });
}

OMBREL_FAILURES(Network, duplicate_resolver) {
    ombrel_resolver_t* list = ombrel_open_resolver("127.0.0.1", 80);
    ASSERT_EQ(1u, count_answers(list));
    list->m_next = ombrel_open_resolver("127.0.0.2", 80);
    ombrel_resolver_t* copy = fail.during([list] { return ombrel_duplicate_resolver(list); });
    if (fail.mode() == injection::failing::once || !fail.hit()) {
        EXPECT_EQ(fail.hit() ? 1u : 2u, count_answers(copy));
    } else
        EXPECT_GT(2u, count_answers(copy));
    ombrel_close_resolver(copy);
    ombrel_close_resolver(list);
}

// A record that cannot grow stays as it was.
OMBREL_FAILURES(Network, grow_select) {
    for (const auto add : {ombrel_add_select, ombrel_set_select}) {
        ombrel_select_t* record = ombrel_open_select();
        ombrel_add_select(record, 5, def_ombrel_select_read);
        refused_when_hit(fail, [&] { return add(record, 1000, def_ombrel_select_read); });
        EXPECT_EQ(def_ombrel_select_read, ombrel_get_select_flags(record, 5));
        EXPECT_EQ(fail.hit() ? 0 : def_ombrel_select_read, ombrel_get_select_flags(record, 1000));
        EXPECT_EQ(fail.hit(), record->m_capacity == 264u);
        EXPECT_EQ(fail.hit() ? 5 : 1000, record->m_highest_socket);
        EXPECT_EQ(fail.hit() ? 1 : 2, record->m_read_count);
        ombrel_close_select(record);
    }
}

OMBREL_FAILURES(Network, send_message) {
    connected_pair pair;
    const auto send = [&] { return ombrel_send_message(pair.a, 1000, "%d things", 12); };
    const int sent = done_or_refused(fail, send, 9);
    pair.a.close();
    char text[16];
    EXPECT_EQ(sent == 9 ? 9 : 0, ombrel_recv(pair.b, text, sizeof text, 1000));
}

OMBREL_FAILURES(Network, send_datagrams) {
    const owned_socket s = bound(AF_INET, SOCK_DGRAM);
    socket_address own = own_address(s);
    const auto send = [&] { return ombrel_sendto_message(s, own.get(), own.size, 1000, "%d things", 12); };
    done_or_refused(fail, send, 9);
    done_or_refused(
        fail, [] { return ombrel_send_udp_packet("127.0.0.1", 9, "x", 1, 1000); }, 1);
}

template<typename Open>
void opens_or_leaves_nothing(injection& fail, Open open) {
    const int s = fail.during(open);
    EXPECT_EQ(fail.hit(), s == -1);
    ombrel_close_socket(s);
}

OMBREL_FAILURES(Network, open_sockets) {
    opens_or_leaves_nothing(fail, [] { return ombrel_open_listen_socket("127.0.0.1", 0); });
    opens_or_leaves_nothing(fail, [] { return ombrel_open_udp_socket("127.0.0.1", 0); });
    const owned_socket listener(ombrel_open_listen_socket("127.0.0.1", 0));
    const int port = own_port(listener);
    opens_or_leaves_nothing(fail, [port] { return ombrel_open_connect_socket("127.0.0.1", port, 1000); });
}

// Without the list of interfaces the system chooses one; either way is good or fails as a whole.
OMBREL_FAILURES(Network, join_everywhere) {
    const owned_socket s(ombrel_open_udp_socket("0.0.0.0", 0));
    socket_address group(AF_INET, "239.255.1.2", 0);
    const int result = fail.during([&] { return ombrel_multicast_join_all(s, group.get(), 1); });
    EXPECT_TRUE(result == 0 || result == -1) << result;
}

OMBREL_FAILURE_ONCE(Network, open_resolver_cache) {
    opened_or_hit(fail, ombrel_close_resolver_cache, ombrel_open_resolver_cache);
}

OMBREL_FAILURES(Network, request_resolver_cache) {
    ombrel_resolver_cache_t* cache = ombrel_open_resolver_cache();
    done_or_refused(fail, [cache] { return ombrel_request_resolver_cache(cache, "127.0.0.1", 80); });
    ombrel_close_resolver_cache(cache);
}

// A look-up that cannot be queued is made at once, so a waiting get has its answer unless memory runs out for
// that too.
OMBREL_FAILURE_ONCE(Network, get_resolver_cache) {
    ombrel_resolver_cache_t* cache = ombrel_open_resolver_cache();
    ombrel_resolver_t* answer = fail.during_on_all_threads(
        [cache] { return ombrel_get_resolver_cache(cache, "127.0.0.1", 80, 2000); });
    EXPECT_TRUE(answer != nullptr || fail.hit());
    if (answer != nullptr) {
        EXPECT_STREQ("127.0.0.1", answer->m_address_text);
        EXPECT_EQ(80, answer->m_port);
    }
    ombrel_close_resolver(answer);
    ombrel_close_resolver_cache(cache);
}

} // namespace
} // namespace ombrel_test
