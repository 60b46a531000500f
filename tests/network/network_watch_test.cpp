// News of a network that a thread has for itself.
#if defined(__linux__)

#include <iterator>
#include <map>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include <ombrel/fault.h>
#include <ombrel/network_watch.h>

#include "network/own_network.h"

using namespace ombrel_test;

namespace {

/// What a watch told, and what its handler does about it.
struct heard {
    std::string text;
    size_t close_at = 0, stop_at = 0, told = 0;
};

int note(ombrel_network_watch_t* watch, const ombrel_network_change_t* change, void* context) {
    auto& all = *static_cast<heard*>(context);
    all.text += std::string{"?ia?r???n??????*"[change->m_kind], "?+*-!"[change->m_change]};
    if (++all.told == all.close_at)
        ombrel_close_network_watch(watch);
    return all.told == all.stop_at ? 7 : 0;
}

void run(ombrel_event_base_t* base) {
    for (int turns = 0; turns < 3; turns++)
        ombrel_event_base_loop(base, def_ombrel_event_loop_non_block);
}

void watch_loopback() {
    set_loopback(true); // a base needs it
    ombrel_event_base_t* const base = ombrel_new_event_base();
    ombrel_network_watch_options_t options;
    ombrel_init_network_watch_options(&options);
    options.m_handler = note;
    options.m_queue_size = 4096;
    for (const auto& [close_at, stop_at] : {std::pair<size_t, size_t>{0, 0}, {1, 0}, {0, 2}}) {
        heard all;
        all.close_at = close_at;
        all.stop_at = stop_at;
        options.m_context = &all;
        ombrel_network_watch_t* const watch = ombrel_open_network_watch(base, &options);
        if (watch == nullptr && ombrel_last_fault() == def_ombrel_fault_not_supported)
            GTEST_SKIP() << "this emulator lists no neighbours";
        ASSERT_NE(nullptr, watch) << ombrel_fault_text();
        EXPECT_EQ(def_ombrel_network_all, ombrel_network_watch_get_kinds(watch));
        set_loopback(false);
        run(base);
        set_loopback(true);
        run(base);
        const size_t last = close_at + stop_at;
        if (last != 0) {
            EXPECT_EQ(last, all.told) << all.text;
        } else {
            for (const char* const event : {"i*", "a+", "a-", "r+", "r-"})
                EXPECT_NE(std::string::npos, all.text.find(event)) << event << " in " << all.text;
            EXPECT_EQ(std::string::npos, all.text.find("i+")) << "it was known";
            all.text.clear();
            for (int i = 0; i < 200; i++)
                set_loopback(i % 2 == 0);
            run(base);
            EXPECT_NE(std::string::npos, all.text.find('!')) << "more came than there was room for";
        }
        if (close_at == 0)
            ombrel_close_network_watch(watch);
    }
    ombrel_free_event_base(base);
}

TEST(NetworkWatch, TellsChangesUntilItIsClosedOrItsHandlerHasEnough) {
    if (!in_own_network(watch_loopback))
        GTEST_SKIP() << "no network of one's own may be made";
}

/// What a watch told of what a test did. An interface has changed where its largest packet has: what comes of
/// its link, the host says when it likes.
struct heard_names {
    std::string text;
    std::map<std::string, uint32_t> sizes{{"lo", 65536}, {"v0", 1500}, {"v1", 1500}};

    bool has_changed(const ombrel_network_interface_t& one) {
        return std::exchange(sizes[one.m_name], one.m_mtu) != one.m_mtu;
    }
};

bool is_of_kernel(const ombrel_network_change_t& change) {
    if (change.m_route != nullptr)
        return change.m_route->m_protocol != RTPROT_STATIC;
    if (change.m_address != nullptr)
        return change.m_address->m_address.ss_family != AF_INET;
    return change.m_neighbour != nullptr && change.m_neighbour->m_address.m_any.sa_family != AF_INET;
}

int note_names(ombrel_network_watch_t*, const ombrel_network_change_t* change, void* context) {
    auto& all = *static_cast<heard_names*>(context);
    if (is_of_kernel(*change) || (change->m_interface != nullptr && !all.has_changed(*change->m_interface) &&
                                  change->m_change == def_ombrel_network_changed))
        return 0;
    std::string one{"?ia?r???n??????*"[change->m_kind], "?+*-!"[change->m_change]};
    one += change->m_interface != nullptr ? change->m_interface->m_name : name_of(change->m_index);
    if (change->m_route != nullptr)
        one = one.substr(0, 2) + text_of(*change->m_route);
    if (change->m_address != nullptr)
        one += " " + shown(change->m_address->m_address);
    if (change->m_neighbour != nullptr)
        one += " " + std::string(ombrel_neighbour_state_name(change->m_neighbour->m_state));
    all.text += one + "\n";
    return 0;
}

void set_mtu(const char* interface, int mtu) {
    const owned_socket s(socket(AF_INET, SOCK_DGRAM, 0));
    ifreq request{};
    strncpy(request.ifr_name, interface, sizeof request.ifr_name - 1);
    request.ifr_mtu = mtu;
    EXPECT_EQ(0, ioctl(s, SIOCSIFMTU, &request)) << interface;
}

/// One change of each sort that there is, and what a watch says of it.
void change_all_kinds(std::string& expected) {
    set_mtu("v1", 1400);
    EXPECT_TRUE(add_address("v1", "10.1.5.1", 24));
    EXPECT_TRUE(remove_address("v1", "10.1.5.1", 24));
    const std::string both = attribute(RTA_MULTIPATH, way("v1", "10.1.0.7", 1) + way("v0", "10.0.0.7", 3));
    route_entry route{AF_INET, 1,  by("v1") + via("10.1.0.7"), "10.40.0.0", 16, RTN_UNICAST, RT_TABLE_MAIN,
                      0,       far};
    EXPECT_TRUE(change_route(RTM_NEWROUTE, route));
    route.ways = both;
    EXPECT_TRUE(change_route(RTM_NEWROUTE, route, NLM_F_REPLACE));
    EXPECT_TRUE(change_route(RTM_DELROUTE, route, 0));
    EXPECT_TRUE(change_neighbour(RTM_NEWNEIGH, "v1", "10.1.0.9", NUD_PERMANENT, create));
    EXPECT_TRUE(change_neighbour(RTM_NEWNEIGH, "v1", "10.1.0.9", NUD_STALE, NLM_F_REPLACE));
    EXPECT_TRUE(change_neighbour(RTM_DELNEIGH, "v1", "10.1.0.9", 0, 0));
    set_mtu("v1", 1500);
    expected = "i*v1\na+v1 10.1.5.1\na-v1 10.1.5.1\nr+10.40.0.0/16 unicast v1 1\n"
               "r*10.40.0.0/16 unicast v1 1 10.1.0.7%v1*1 10.0.0.7%v0*3\n"
               "r-10.40.0.0/16 unicast v1 1 10.1.0.7%v1*1 10.0.0.7%v0*3\n"
               "n+v1 permanent\nn*v1 stale\nn*v1 failed\nn-v1 failed\ni*v1\n";
}

/// The lines of one kind alone.
std::string lines_of(char kind, const std::string& text) {
    std::string lines;
    for (size_t at = 0; at < text.size(); at = text.find('\n', at) + 1)
        if (text[at] == kind)
            lines += text.substr(at, text.find('\n', at) + 1 - at);
    return lines;
}

class pair_watch {
public:
    explicit pair_watch(uint32_t kinds, size_t known_limit = 1000) : base_(ombrel_new_event_base()) {
        ombrel_network_watch_options_t options;
        ombrel_init_network_watch_options(&options);
        options.m_kinds = kinds;
        options.m_known_limit = known_limit;
        options.m_handler = note_names;
        options.m_context = &heard_;
        watch_ = ombrel_open_network_watch(base_, &options);
        EXPECT_NE(nullptr, watch_) << ombrel_fault_text();
    }
    pair_watch(const pair_watch&) = delete;
    pair_watch& operator=(const pair_watch&) = delete;
    ~pair_watch() {
        ombrel_close_network_watch(watch_);
        ombrel_free_event_base(base_);
    }
    std::string hear() {
        run(base_);
        return std::exchange(heard_.text, "");
    }

private:
    heard_names heard_;
    ombrel_event_base_t* base_;
    ombrel_network_watch_t* watch_;
};

void watch_pair() {
    if (lists_no_neighbours())
        GTEST_SKIP() << "this emulator lists no neighbours";
    if (!make_working_pair())
        GTEST_SKIP() << no_pairs;
    for (const auto& [kinds, letter] : {std::pair<uint32_t, char>{def_ombrel_network_all, '*'},
                                        {def_ombrel_network_interfaces, 'i'},
                                        {def_ombrel_network_addresses, 'a'},
                                        {def_ombrel_network_routes, 'r'},
                                        {def_ombrel_network_neighbours, 'n'}}) {
        pair_watch watch(kinds);
        std::string expected;
        change_all_kinds(expected);
        const std::string text = watch.hear();
        EXPECT_EQ(letter == '*' ? expected : lines_of(letter, expected), text);
    }
}

TEST(NetworkWatch, TellsEachKindThatIsWantedWithWhatItIs) {
    if (!in_own_network(watch_pair))
        GTEST_SKIP() << "no network of one's own may be made";
}

void watch_comings_and_goings() {
    if (!make_working_pair())
        GTEST_SKIP() << no_pairs;
    pair_watch all(def_ombrel_network_interfaces), few(def_ombrel_network_interfaces, 1);
    set_mtu("lo", 60000);
    set_mtu("v1", 1400);
    EXPECT_EQ("i*lo\ni*v1\n", all.hear());
    const std::string unknown = few.hear();
    EXPECT_NE(std::string::npos, unknown.find("i*lo\n")) << unknown;
    EXPECT_NE(std::string::npos, unknown.find("i+v1\n")) << "of which it may remember none";
    EXPECT_EQ(std::string::npos, unknown.find("i*v1\n")) << unknown;
    EXPECT_TRUE(change_network(RTM_DELLINK, 0,
                               std::string(4, '\0') + word(index_of("v1"), 4) + std::string(8, '\0')));
    const std::string gone = all.hear();
    for (const char* const line : {"i-v0\n", "i-v1\n"})
        EXPECT_NE(std::string::npos, gone.find(line)) << gone;
    ASSERT_TRUE(make_pair());
    const std::string back = all.hear();
    for (const char* const line : {"i+v0\n", "i+v1\n"})
        EXPECT_NE(std::string::npos, back.find(line)) << back;
}

/// Addresses come, are entered again, and go, each time in another order; each is a network of its own, as
/// the first of a network takes the others with it.
void watch_many_addresses() {
    if (!make_working_pair())
        GTEST_SKIP() << no_pairs;
    constexpr int count = 101;
    const auto address_of = [](int i) { return "10.0.0." + std::to_string(100 + i); };
    for (const int known_before : {0, count}) {
        for (int i = 0; i < known_before; i++)
            ASSERT_TRUE(add_address("v1", address_of(i).c_str(), 32));
        pair_watch watch(def_ombrel_network_addresses);
        const struct {
            const char* news;
            unsigned type, flags;
            int stride;
        } rounds[] = {{"a+", RTM_NEWADDR, create, 1},
                      {"a*", RTM_NEWADDR, NLM_F_REPLACE, 37},
                      {"a-", RTM_DELADDR, 0, 64},
                      {"a+", RTM_NEWADDR, create, 50},
                      {"a*", RTM_NEWADDR, NLM_F_REPLACE, 100},
                      {"a-", RTM_DELADDR, 0, 7}};
        for (size_t round = known_before != 0 ? 1 : 0; round < std::size(rounds); round++)
            for (int i = 0; i < count; i++) {
                const auto& [news, type, flags, stride] = rounds[round];
                const std::string address = address_of(i * stride % count);
                ASSERT_TRUE(change_address(type, flags, "v1", address.c_str(), 32, RT_SCOPE_UNIVERSE));
                ASSERT_EQ(news + ("v1 " + address) + "\n", watch.hear()) << round;
            }
    }
}

TEST(NetworkWatch, KnowsManyAddressesApart) {
    if (!in_own_network(watch_many_addresses))
        GTEST_SKIP() << "no network of one's own may be made";
}

TEST(NetworkWatch, RemembersWhatIsThereAsFarAsItMay) {
    if (!in_own_network(watch_comings_and_goings))
        GTEST_SKIP() << "no network of one's own may be made";
}

} // namespace

#endif
