#include <ombrel/socket_open.h>

#include <cstring>
#include <string>
#include <utility>

#include <ombrel/resolver.h>
#include <ombrel/select.h>

#include "loopback.h"
#include "support/descriptor_balance.h"
#include "support/heap_balance.h"
#include "support/patience.h"

using namespace ombrel_test;

namespace {

class SocketOpenTest : public balanced_test {
    descriptor_balance descriptors_;
};

/// Whether a connection to the address reaches the listener.
bool reaches(const char* host, int port, int listener) {
    owned_socket client(ombrel_open_connect_socket(host, port, patience_ms));
    if (client == -1)
        return false;
    owned_socket accepted(ombrel_accept(listener, nullptr, nullptr, patience_ms));
    return accepted != -1;
}

std::string received(int s) {
    char text[32] = {};
    return ombrel_recv(s, text, sizeof text - 1, patience_ms) > 0 ? text : "";
}

TEST_F(SocketOpenTest, ListenersTakeConnections) {
    const struct {
        int family;
        const char *address, *host;
        bool reached;
    } cases[] = {{0, "127.0.0.1", "127.0.0.1", true},
                 {AF_INET, "127.0.0.1", "localhost", true},
                 {AF_INET, "", "127.0.0.1", true},
                 {AF_INET, nullptr, "127.0.0.1", true},
                 {0, "[127.0.0.1]", "127.0.0.1", true},
                 {0, "[::1]", "::1", true},
                 {0, "::", "::1", true},
                 {0, "::", "127.0.0.1", true},
                 {AF_INET6, "::", "127.0.0.1", false},
                 {AF_INET6, nullptr, "::1", true}};
    const bool ipv6 = has_ipv6();
    for (const auto& one : cases) {
        const std::string address = one.address != nullptr ? one.address : "null";
        SCOPED_TRACE(address + " from " + one.host);
        if (!ipv6 && (one.family == AF_INET6 || address.find(':') != std::string::npos))
            continue;
        owned_socket listener(ombrel_open_listen_socket_ex(one.family, one.address, 0));
        ASSERT_NE(-1, listener);
        EXPECT_EQ(one.reached, reaches(one.host, own_port(listener), listener));
    }
}

TEST_F(SocketOpenTest, APortInTheTextReplacesTheOneGiven) {
    const int port = own_port(bound(AF_INET, SOCK_STREAM)), own = own_port(bound(AF_INET, SOCK_STREAM));
    const std::string text = "127.0.0.1:" + std::to_string(port);
    owned_socket listener(ombrel_open_listen_socket(text.c_str(), 1));
    ASSERT_NE(-1, listener);
    EXPECT_EQ(port, own_port(listener));
    EXPECT_TRUE(reaches(text.c_str(), 1, listener));
    const std::string local = "[127.0.0.1]:" + std::to_string(own);
    owned_socket client(ombrel_open_connect_socket_ex(0, local.c_str(), 0, text.c_str(), 1, patience_ms));
    ASSERT_NE(-1, client);
    EXPECT_EQ(own, own_port(client));
}

TEST_F(SocketOpenTest, ConnectingTriesEveryAnswer) {
    owned_socket listener = bound(AF_INET, SOCK_STREAM);
    const int port = own_port(listener);
    ASSERT_EQ(0, ombrel_listen(listener, 4));
    EXPECT_TRUE(reaches("localhost", port, listener));
    listener.close();
    EXPECT_EQ(-1, ombrel_open_connect_socket("localhost", port, patience_ms));
}

TEST_F(SocketOpenTest, ConnectingUsesTheOwnAddress) {
    owned_socket listener(ombrel_open_listen_socket("127.0.0.1", 0));
    const int port = own_port(listener);
    const int own = own_port(bound(AF_INET, SOCK_STREAM));
    owned_socket client(
        ombrel_open_connect_socket_ex(AF_INET, "127.0.0.2", own, "127.0.0.1", port, patience_ms));
    ASSERT_NE(-1, client);
    EXPECT_EQ("127.0.0.2", own_address(client).text());
    EXPECT_EQ(own, own_port(client));
    owned_socket wildcard(ombrel_open_connect_socket_ex(0, "not numeric", 0, "127.0.0.1", port, patience_ms));
    ASSERT_NE(-1, wildcard);
    EXPECT_EQ("127.0.0.1", own_address(wildcard).text());
    EXPECT_EQ(-1, ombrel_open_connect_socket_ex(AF_INET6, nullptr, 0, "127.0.0.1", port, patience_ms));
}

TEST_F(SocketOpenTest, BadArgumentsAreRefused) {
    const int results[] = {
        ombrel_open_connect_socket(nullptr, 80, 0),
        ombrel_open_connect_socket("127.0.0.1", 0, 0),
        ombrel_open_connect_socket_ex(0, nullptr, -1, "127.0.0.1", 80, 0),
        ombrel_open_listen_socket("127.0.0.1", -1),
        ombrel_open_listen_socket("127.0.0.1", 65536),
        ombrel_open_listen_socket("localhost", 0),
        ombrel_open_udp_socket("127.0.0.1", -2),
        ombrel_open_udp_socket("127.0.0.1", 65536),
        ombrel_open_udp_socket_ex(0, "", 0, "127.0.0.1"),
        ombrel_open_udp_socket_ex(AF_INET6, "", 0, "224.0.0.1"),
        ombrel_open_udp_socket_ex(AF_INET, "", 0, "ff01::1"),
        ombrel_send_udp_packet(nullptr, 9, "x", 1, 0),
        ombrel_send_udp_packet("127.0.0.1", 0, "x", 1, 0),
        ombrel_send_udp_packet_ex(AF_INET6, nullptr, 0, "127.0.0.1", 9, -1, "x", 1, 0),
    };
    for (const int& result : results)
        EXPECT_EQ(-1, result) << &result - results;
}

TEST_F(SocketOpenTest, DatagramSocketsShareTheirAddress) {
    for (const char* address : {"127.0.0.1", "::1"}) {
        owned_socket first(ombrel_open_udp_socket(address, -1));
        if (first == -1 && !has_ipv6())
            continue;
        ASSERT_NE(-1, first);
        owned_socket second(ombrel_open_udp_socket(address, own_port(first)));
        EXPECT_NE(-1, second);
        EXPECT_EQ(address, own_address(first).text());
        const bool is_ipv6 = own_address(first).storage.ss_family == AF_INET6;
        if (is_ipv6) {
            int only = 0, size = sizeof only;
            EXPECT_EQ(0, ombrel_getsockopt(first, IPPROTO_IPV6, IPV6_V6ONLY, &only, &size));
            EXPECT_NE(0, only) << "IPv4 has sockets of its own";
        } else {
            in_addr by{};
            int size = sizeof by;
            // An emulator may know no such question.
            if (ombrel_getsockopt(first, IPPROTO_IP, IP_MULTICAST_IF, &by, &size) == 0) {
                EXPECT_EQ(htonl(INADDR_LOOPBACK), by.s_addr) << "what it sends to groups goes by it";
            }
        }
    }
}

#if !defined(_WIN32)

/// The hops that the next datagram had left; -1 without one.
int hops_of_next(int s) {
    char bytes[8], control[64];
    iovec piece{bytes, sizeof bytes};
    msghdr message{};
    message.msg_iov = &piece;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    if (ombrel_single_select(s, def_ombrel_select_read, patience_ms) <= 0 || recvmsg(s, &message, 0) < 0)
        return -1;
    int hops = -1;
    for (cmsghdr* one = CMSG_FIRSTHDR(&message); one != nullptr; one = CMSG_NXTHDR(&message, one))
        if (one->cmsg_level == IPPROTO_IP && one->cmsg_type == IP_TTL)
            memcpy(&hops, CMSG_DATA(one), sizeof hops);
    return hops;
}

TEST_F(SocketOpenTest, APacketHasTheHopsThatItWasGiven) {
    const owned_socket receiver = bound(AF_INET, SOCK_DGRAM);
    const int port = own_port(receiver), on = 1;
    ASSERT_EQ(0, ombrel_setsockopt(receiver, IPPROTO_IP, IP_RECVTTL, &on, sizeof on));
    EXPECT_EQ(1, ombrel_send_udp_packet("127.0.0.1", port, "x", 1, patience_ms));
    const int usual = hops_of_next(receiver);
    if (usual < 1)
        GTEST_SKIP() << "this host does not tell a datagram's hops";
    for (const auto& [hops, expected] : {std::pair{1, 1}, {37, 37}, {255, 255}, {256, usual}, {-1, usual}}) {
        EXPECT_EQ(
            1, ombrel_send_udp_packet_ex(AF_INET, nullptr, 0, "127.0.0.1", port, hops, "x", 1, patience_ms));
        EXPECT_EQ(expected, hops_of_next(receiver)) << hops;
    }
}

#endif

TEST_F(SocketOpenTest, APacketGoesToEveryAnswer) {
    owned_socket ipv4 = bound(AF_INET, SOCK_DGRAM);
    const int port = own_port(ipv4);
    owned_socket ipv6 = bound(AF_INET6, SOCK_DGRAM, port);
    bool ipv6_too = false;
    ombrel_resolver_t* const all = ombrel_open_resolver("localhost", port);
    for (const auto* one = all; one != nullptr; one = one->m_next)
        ipv6_too |= one->m_family == AF_INET6 && ipv6 != -1;
    ombrel_close_resolver(all);
    EXPECT_EQ(4, ombrel_send_udp_packet("localhost", port, "ping", 4, patience_ms));
    EXPECT_EQ("ping", received(ipv4));
    EXPECT_EQ(ipv6_too ? "ping" : "", ipv6_too ? received(ipv6) : "");
    const int own = own_port(bound(AF_INET, SOCK_DGRAM));
    EXPECT_EQ(
        2, ombrel_send_udp_packet_ex(AF_INET, "127.0.0.1", own, "localhost", port, 3, "hi", 2, patience_ms));
    socket_address from;
    char text[8];
    EXPECT_EQ(2, ombrel_recvfrom(ipv4, text, sizeof text, from.get(), &from.size, patience_ms));
    EXPECT_EQ(own, from.port());
}

} // namespace
