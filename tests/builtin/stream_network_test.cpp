#include <algorithm>
#include <thread>

#include <ombrel/network_interface.h>
#include <ombrel/socket_open.h>

#include "network/loopback.h"
#include "stream_support.h"
#include "support/error_output.h"

using namespace ombrel_test;

namespace {

class TcpStreamTest : public stream_test {};
class UdpStreamTest : public stream_test {};

std::string url(const char* scheme, const char* host, int port) {
    return std::string(scheme) + host + ":" + std::to_string(port);
}

int port_of(const stream& s) {
    ombrel_stream_address_t address{};
    EXPECT_EQ(0, ombrel_ctx_xcontrol(s.handle(), "get_local_address", &address, sizeof address));
    return address.m_port;
}

TEST_F(TcpStreamTest, TwoStreamsTalk) {
    for (const char* host : {"127.0.0.1", "[::1]"}) {
        if (host[0] == '[' && !has_ipv6())
            continue;
        stream server(url("tcp://", host, 0), "r", {{"listen", "1"}});
        ASSERT_TRUE(server.is_open());
        EXPECT_EQ(0, ombrel_ctx_is_readable(server.handle(), 0)) << "nobody has come";
        stream client(url("", host, port_of(server)), "w", {}, "application/tuk_stream_tcp");
        ASSERT_TRUE(client.is_open());
        EXPECT_TRUE(client.is_writable());
        EXPECT_EQ(4, client.write("ping"));
        EXPECT_TRUE(server.is_readable());
        EXPECT_EQ("ping", server.read());
        EXPECT_EQ(0, ombrel_ctx_sync(client.handle()));
        EXPECT_EQ(client.property("local"), server.property("peer"));
        EXPECT_EQ(url("", host, port_of(server)), client.property("peer"));
        EXPECT_EQ(0, client.close_write());
        EXPECT_EQ("", server.read());
        EXPECT_EQ(4, server.write("pong"));
        EXPECT_EQ("pong", client.read());
        const stream late(url("tcp://", host, port_of(server)), "r");
        EXPECT_EQ(ctx_error::refused, late.error()) << "it takes one peer";
    }
}

TEST_F(TcpStreamTest, LargeDataComeThroughWhole) {
    const std::string much(8 << 20, 'x');
    stream server("tcp://127.0.0.1:0", "r", {{"listen", "1"}});
    stream client(url("tcp://", "127.0.0.1", port_of(server)), "r");
    std::thread sender([&] {
        EXPECT_EQ(static_cast<int>(much.size()), client.write(much));
        client.close_write();
    });
    EXPECT_TRUE(much == server.read_to_end());
    sender.join();
}

TEST_F(TcpStreamTest, ASilentPeerEndsNoCallLate) {
    stream server("tcp://127.0.0.1:0", "r", {{"listen", "1"}, {"timeout", "30"}});
    EXPECT_EQ("", server.read()) << "nobody has come";
    EXPECT_EQ(ctx_error::timed_out, server.error());
    stream client(url("tcp://", "127.0.0.1", port_of(server)), "r");
    EXPECT_TRUE(server.is_writable()) << "now it has its peer";
    ombrel_ctx_set_last_error(server.handle(), 0);
    EXPECT_EQ("", server.read());
    EXPECT_EQ(ctx_error::timed_out, server.error());
    const std::string much(64 << 20, 'x');
    const int written = server.write(much);
    EXPECT_TRUE(written > 0 && written < static_cast<int>(much.size())) << written;
    EXPECT_EQ(0, ombrel_ctx_set_env(server.handle(), "timeout", std::to_string(patience_ms).c_str()));
    EXPECT_EQ(0, client.close());
    int last;
    do
        last = server.write(much);
    while (last > 0);
    EXPECT_EQ(-1, last) << "and no signal";
    EXPECT_EQ(ctx_error::disconnected, server.error());
}

TEST_F(TcpStreamTest, RefusalsSayWhy) {
    const owned_socket deaf = bound(AF_INET, SOCK_STREAM);
    const std::string nobody = url("tcp://", "127.0.0.1", own_port(deaf));
    const refused_sources cases[] = {
        {ctx_error::refused, texts(nobody)},
        {ctx_error::busy, texts(nobody), "r", {{"listen", "1"}}},
        {ctx_error::invalid, texts("tcp://192.0.2.1:0"), "r", {{"listen", "1"}}},
        {ctx_error::unknown_host, texts("tcp://[1:2:3]:80", "udp://[1:2:3]:80")},
        {ctx_error::syntax, texts("tcp://127.0.0.1", "tcp://127.0.0.1:0", "tcp://:80",
                                  "tcp://127.0.0.1:65536", "tcp:127.0.0.1:80", "udp://127.0.0.1")},
        {ctx_error::syntax, texts("tcp://127.0.0.1"), "r", {{"listen", "1"}}}};
    for (const refused_sources& each : cases)
        each.expect();
    const error_output output;
    EXPECT_FALSE(stream(nobody, "r", {{"debug", "1"}}).is_open());
    EXPECT_NE(std::string::npos, output.text().find("open failed !"));
}

TEST_F(UdpStreamTest, SendsDatagramsAndRefusesToReadThem) {
    const owned_socket receiver = bound(AF_INET, SOCK_DGRAM);
    const std::string source = url("udp://", "127.0.0.1", own_port(receiver));
    stream s(source, "w", {{"ttl", "1"}});
    ASSERT_TRUE(s.is_open());
    EXPECT_TRUE(s.is_writable());
    EXPECT_EQ(4, s.write("tick"));
    EXPECT_EQ(3, s.write("tac"));
    EXPECT_EQ(0, ombrel_ctx_sync(s.handle()));
    ombrel_stream_address_t peer{};
    constexpr uint32_t get_peer = def_ombrel_stream_control_get_peer_address;
    EXPECT_EQ(0, ombrel_ctx_control(s.handle(), get_peer, &peer, sizeof peer));
    EXPECT_STREQ("127.0.0.1", peer.m_address);
    EXPECT_EQ(own_port(receiver), peer.m_port);
    char text[16];
    EXPECT_EQ(4, ombrel_recv(receiver, text, sizeof text, patience_ms));
    EXPECT_EQ(3, ombrel_recv(receiver, text, sizeof text, patience_ms));
    EXPECT_EQ(-1, s.write(std::string(70000, 'x')));
    EXPECT_EQ(ctx_error::invalid, s.error());
    const error_output output;
    EXPECT_EQ(-1, ombrel_ctx_read(s.handle(), text, sizeof text));
    EXPECT_EQ(ctx_error::not_supported, s.error());
    EXPECT_EQ(
        "need multicast stream ! (mime_type=\"\x1b[1;37mapplication/tuk_stream\x1b[0m\", url=\"\x1b[1;32m" +
            source + "\x1b[0m\")\n",
        output.text());
    EXPECT_FALSE(stream("udp://239.255.79.77:9", "w", {{"interface", "no-such-interface"}}).is_open());
    EXPECT_FALSE(stream(source, "w", {{"ttl", "256"}}).is_open());
}

TEST_F(UdpStreamTest, ReceivesMulticast) {
    // A port that was free a moment ago.
    const int port = own_port(bound(AF_INET, SOCK_DGRAM));
    const std::string source = url("udp://", "239.255.79.78", port);
    const char* const anywhere = nullptr;
    for (const char* interface : {"127.0.0.1", "lo", anywhere}) {
        stream receiver(source, "r", {{"interface", interface}, {"timeout", "0"}});
        stream sender(source, "w", {{"interface", interface != anywhere ? interface : "lo"}, {"ttl", "0"}});
        if (!receiver.is_open() || sender.write("tick") != 4 ||
            ombrel_ctx_is_readable(receiver.handle(), 1000) != 1)
            GTEST_SKIP() << "no multicast inside this machine";
        EXPECT_EQ("tick", receiver.read());
        // An empty datagram is no end of the stream.
        socket_address to(AF_INET, "127.0.0.1", port);
        EXPECT_EQ(0, ombrel_sys_sendto(bound(AF_INET, SOCK_DGRAM), "", 0, 0, to.get(), to.size));
        EXPECT_EQ("", receiver.read());
        EXPECT_EQ(ctx_error::timed_out, receiver.error());
    }
}

TEST_F(UdpStreamTest, TellsWhatItWaitsFor) {
    const std::string source = url("udp://", "239.255.79.79", own_port(bound(AF_INET, SOCK_DGRAM)));
    stream s(source, "r", {{"interface", "lo"}, {"timeout", "300"}, {"missed_time", "20"}});
    if (!s.is_open())
        GTEST_SKIP() << "no multicast inside this machine";
    const std::string start =
        "wait udp stream ! (mime_type=\"\x1b[1;37mapplication/tuk_stream\x1b[0m\", url=\"\x1b[1;32m" +
        source + "\x1b[0m\", ";
    for (const bool reads : {true, false}) {
        const error_output output;
        EXPECT_TRUE(reads ? s.read().empty() : ombrel_ctx_is_readable(s.handle(), 300) == 0);
        const std::string text = output.text();
        EXPECT_EQ(0u, text.find(start)) << text;
        EXPECT_EQ(" sec)\n", text.substr(text.size() - std::min<size_t>(text.size(), 6)));
    }
}

} // namespace
