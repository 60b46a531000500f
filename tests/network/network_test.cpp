#include <ombrel/network.h>

#include <atomic>
#include <cstring>
#include <thread>

#include <ombrel/network_interface.h>

#include "loopback.h"
#include "support/fake_names.h"
#include "support/heap_balance.h"

using namespace ombrel_test;

namespace {

std::atomic<bool> services_held, service_asked;

} // namespace

#if !defined(_WIN32)

// The host's function, which hangs for one name.
extern "C" int getservbyname_r(const char* name, const char* protocol, servent* record, char* line,
                               size_t room, servent** found) {
    static const auto real =
        reinterpret_cast<decltype(&getservbyname_r)>(dlsym(RTLD_NEXT, "getservbyname_r"));
    service_asked = service_asked || strcmp(name, "slow") == 0;
    while (services_held && strcmp(name, "slow") == 0)
        std::this_thread::yield();
    return real(name, protocol, record, line, room, found);
}

#endif

namespace {

class NetworkTest : public balanced_test {};

TEST_F(NetworkTest, StartUpIsCountedBelowZeroToo) {
    EXPECT_EQ(0, ombrel_is_init_network());
    EXPECT_EQ(0, ombrel_init_network());
    EXPECT_EQ(0, ombrel_init_network());
    EXPECT_EQ(0, ombrel_uninit_network());
    EXPECT_EQ(1, ombrel_is_init_network());
    EXPECT_EQ(0, ombrel_uninit_network());
    EXPECT_EQ(0, ombrel_is_init_network());
    EXPECT_EQ(0, ombrel_uninit_network());
    EXPECT_EQ(-1, ombrel_uninit_network());
    EXPECT_EQ(0, ombrel_init_network());
    EXPECT_EQ(0, ombrel_is_init_network());
}

TEST_F(NetworkTest, ProtocolsAndServicesHaveNumbers) {
    const struct {
        const char* name;
        int number;
    } protocols[] = {{"tcp", 6},   {"udp", 17},  {"icmp", 1},    {"ipv6-icmp", 58}, {"ip", 0},
                     {"raw", 255}, {"ipv6", 41}, {"no-such", 0}, {nullptr, 0}};
#if !defined(_WIN32) // whose own names have no case
    EXPECT_EQ(0, ombrel_get_protocol_by_name("TCp"));
#endif
    for (const auto& one : protocols)
        EXPECT_EQ(one.number, ombrel_get_protocol_by_name(one.name)) << (one.name ? one.name : "null");
    EXPECT_EQ(-1, ombrel_get_service_by_name(nullptr, "tcp"));
    EXPECT_EQ(0, ombrel_get_service_by_name("no-such-service", nullptr));
    if (getservbyname("http", "tcp") == nullptr)
        GTEST_SKIP() << "no service database";
    EXPECT_EQ(80, ombrel_get_service_by_name("http", nullptr));
    EXPECT_EQ(69, ombrel_get_service_by_name("tftp", "udp"));
}

TEST_F(NetworkTest, ALookUpThatHangsHoldsNobodyElseUp) {
#if defined(_WIN32)
    GTEST_SKIP() << "Windows keeps services in a file, where no look-up hangs";
#endif
    services_held = true;
    std::thread slow([] { EXPECT_EQ(0, ombrel_get_service_by_name("slow", nullptr)); });
    EXPECT_TRUE(wait_until([] { return service_asked.load(); }));
    EXPECT_EQ(0, ombrel_get_service_by_name("no-such-service", nullptr));
    services_held = false;
    slow.join();
}

TEST_F(NetworkTest, SupportIsWhatSocketsSay) {
    for (const auto check : {ombrel_check_socket_support, ombrel_check_inet_support}) {
        EXPECT_EQ(-1, check(9999, SOCK_STREAM, 0));
        EXPECT_EQ(-1, check(AF_INET, SOCK_STREAM, 17)) << "a stream by UDP";
        EXPECT_EQ(0, check(AF_INET, SOCK_DGRAM, 17));
    }
    EXPECT_EQ(ombrel_check_socket_support(AF_UNIX, SOCK_STREAM, 0),
              ombrel_check_unix_domain_socket_support());
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(0, ombrel_check_ipv4_support());
        EXPECT_EQ(ombrel_check_socket_support(AF_INET6, SOCK_DGRAM, 17), ombrel_check_ipv6_support());
    }
}

TEST_F(NetworkTest, TheHostNameIsACopyWithItsTag) {
    char expected[64];
    if (gethostname(expected, sizeof expected) != 0)
        GTEST_SKIP() << "the host's name is too long";
    char* const name = ombrel_get_hostname_alloc_tag("tagged", 77);
    ASSERT_NE(nullptr, name);
    EXPECT_STREQ(expected, name);
    ombrel_free(name);
    if (char* const full = ombrel_get_fqdn_alloc()) {
        EXPECT_NE(0, full[0]);
        ombrel_free(full);
    }
}

TEST_F(NetworkTest, TheLoopBackInterfaceIsListed) {
    ombrel_network_interface_t* const list = ombrel_open_network_interface();
    ASSERT_NE(nullptr, list);
    socket_address expected(AF_INET, "127.0.0.1", 0);
    int found = 0;
    for (const auto* one = list; one != nullptr; one = one->m_next) {
        EXPECT_EQ(one->m_index, ombrel_interface_name_to_index(one->m_name));
        for (const auto* other = one->m_next; other != nullptr; other = other->m_next)
            EXPECT_NE(one->m_index, other->m_index) << "one record an interface";
        if ((one->m_flags & def_ombrel_interface_loopback) == 0)
            continue;
        EXPECT_NE(0u, one->m_flags & def_ombrel_interface_up);
        for (const auto* address = one->m_address; address != nullptr; address = address->m_next)
            found += ombrel_compare_sockaddr_address(reinterpret_cast<const sockaddr*>(&address->m_address),
                                                     expected.get()) == 0;
    }
    EXPECT_EQ(1, found);
    ombrel_close_network_interface(list);
    EXPECT_EQ(0, ombrel_close_network_interface(nullptr));
    EXPECT_EQ(0u, ombrel_interface_name_to_index("no-such-interface"));
    EXPECT_EQ(0u, ombrel_interface_name_to_index(nullptr));
}

} // namespace
