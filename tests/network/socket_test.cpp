#include <ombrel/socket.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <functional>
#include <thread>
#include <vector>

#include <ombrel/heap.h>
#include <ombrel/select.h>
#include <ombrel/socket_open.h>

#include "loopback.h"
#include "support/capture.h"
#include "support/heap_balance.h"
#include "support/host_socket.h"

using namespace ombrel_test;

namespace {

class SocketTest : public balanced_test {};

int int_option(int s, int level, int name) {
    int value = -1, size = sizeof value;
    EXPECT_EQ(0, ombrel_getsockopt(s, level, name, &value, &size));
    return value;
}

/// What a receive that never waits gives once something has come.
int receive_now(int s, std::vector<char>& room) {
    EXPECT_EQ(def_ombrel_select_read, ombrel_single_select(s, def_ombrel_select_read, 20000));
    return ombrel_recv_now(s, room.data(), room.size());
}

// Those that would otherwise sleep, print or read nothing before the platform refuses.
TEST_F(SocketTest, NoSocketIsRefusedAtOnce) {
    char byte = 0;
    EXPECT_EQ(-1, ombrel_recv(-1, &byte, 1, -1));
    EXPECT_EQ(-1, ombrel_send(-1, &byte, 1, -1));
    EXPECT_EQ(-1, ombrel_accept(-1, nullptr, nullptr, 0));
    EXPECT_EQ(-1, ombrel_recv_fill(-1, &byte, 0, 0));
    EXPECT_EQ(-1, ombrel_accept_now(-1, nullptr, nullptr));
    EXPECT_EQ(-1, ombrel_recv_now(-1, &byte, 1));
    EXPECT_EQ(-1, ombrel_send_now(-1, &byte, 1));
    EXPECT_EQ(-1, ombrel_hops_socket(-1, -1, 0));
    int value = 0, size = sizeof value;
    for (const int result :
         {ombrel_getsockopt(-1, SOL_SOCKET, SO_TYPE, &value, &size),
          ombrel_setsockopt(-1, SOL_SOCKET, SO_REUSEADDR, &value, size),
          ombrel_getsockname(-1, nullptr, nullptr), ombrel_getpeername(-1, nullptr, nullptr),
          ombrel_listen(-1, 1), ombrel_set_non_block_socket(-1, 1), ombrel_set_broadcast_socket(-1, 1),
          ombrel_sys_recv(-1, &byte, 1, 0)})
        EXPECT_EQ(-1, result);
}

TEST_F(SocketTest, ClosingGivesNoSocketAndDescriptorsAreNotInherited) {
    const int s = ombrel_open_socket(AF_INET, SOCK_STREAM, 6);
    ASSERT_GE(s, 0);
    EXPECT_FALSE(is_inherited(s));
    EXPECT_EQ(-1, ombrel_close_socket(s));
    EXPECT_FALSE(is_open_socket(s));
}

TEST_F(SocketTest, AReceiveThatTimesOutIsMinusTwoAndASendZero) {
    connected_pair pair;
    char byte;
    EXPECT_EQ(-2, ombrel_recv(pair.a, &byte, 1, 0));
    EXPECT_EQ(-2, ombrel_recv(pair.a, &byte, 1, 10));
    EXPECT_EQ(-2, ombrel_recvfrom(pair.a, &byte, 1, nullptr, nullptr, 0));
    EXPECT_EQ(-2, ombrel_recv(pair.a, &byte, 0, 0)) << "an empty request waits too";
    fill_up(pair.a);
    EXPECT_EQ(0, ombrel_send(pair.a, "x", 1, 0));
    EXPECT_EQ(0, ombrel_send(pair.a, "x", 1, 10));
    EXPECT_EQ(0, ombrel_sendto(pair.a, "x", 1, nullptr, 0, 10));
}

TEST_F(SocketTest, AnAttemptThatNeverWaitsSaysThatItWould) {
    connected_pair pair;
    std::vector<char> room(65536);
    EXPECT_EQ(def_ombrel_socket_would_block, ombrel_recv_now(pair.b, room.data(), room.size()));
    EXPECT_EQ(5, ombrel_send_now(pair.a, "hello", 5));
    EXPECT_EQ(5, receive_now(pair.b, room));
    EXPECT_STREQ("hello", room.data());
    fill_up(pair.a);
    EXPECT_EQ(def_ombrel_socket_would_block, ombrel_send_now(pair.a, "x", 1));
    expect_blocking(true, pair.a);
    pair.a.close();
    int result;
    while ((result = receive_now(pair.b, room)) > 0) {
    }
    EXPECT_EQ(0, result) << "the end of the stream";
    const owned_socket unconnected(ombrel_open_socket(AF_INET, SOCK_STREAM, 0));
    EXPECT_EQ(-1, ombrel_recv_now(unconnected, room.data(), 1));
    EXPECT_EQ(-1, ombrel_send_now(unconnected, room.data(), 1));
    EXPECT_EQ(-1, ombrel_accept_now(unconnected, nullptr, nullptr));
}

TEST_F(SocketTest, TransferEndsWithThePeer) {
    connected_pair pair;
    char text[16] = {};
    EXPECT_EQ(5, ombrel_send(pair.a, "hello", 5, 1000));
    EXPECT_EQ(5, ombrel_recv(pair.b, text, sizeof text, -1));
    EXPECT_STREQ("hello", text);
    EXPECT_EQ(9, ombrel_send_message(pair.a, 1000, "%s %d!", "count", 42));
    EXPECT_EQ(9, ombrel_recv(pair.b, text, sizeof text, 1000));
    EXPECT_STREQ("count 42!", text);
    EXPECT_EQ(-1, ombrel_send_message(pair.a, 0, nullptr));
    EXPECT_EQ(0, ombrel_shutdown_socket(pair.a, 1));
    EXPECT_EQ(0, ombrel_recv(pair.b, text, sizeof text, 1000));
    EXPECT_EQ(1, ombrel_send(pair.b, "x", 1, 1000)) << "the other way is still open";
    EXPECT_EQ(1, ombrel_recv(pair.a, text, 1, 1000));
    EXPECT_EQ(0, ombrel_shutdown_socket(pair.a, 99)) << "any other value is the receive side";
    EXPECT_EQ(0, ombrel_recv(pair.a, text, 1, 1000));
}

TEST_F(SocketTest, APeerThatWentAwayRaisesNoSignal) {
    connected_pair pair;
    pair.b.close();
    int result = 1;
    for (int i = 0; i < 100 && result > 0; i++)
        result = ombrel_send(pair.a, "x", 1, 1000);
    EXPECT_EQ(-1, result);
    EXPECT_EQ(-1, ombrel_sys_send(pair.a, "x", 1, 0));
    EXPECT_EQ(-1, ombrel_send_now(pair.a, "x", 1));
}

TEST_F(SocketTest, DatagramsCarryTheirSender) {
    for (const int family : {AF_INET, AF_INET6}) {
        owned_socket a = bound(family, SOCK_DGRAM), b = bound(family, SOCK_DGRAM);
        if (a == -1)
            continue;
        socket_address to = own_address(b), from;
        char text[8] = {};
        EXPECT_EQ(3, ombrel_sendto(a, "one", 3, to.get(), 200, 1000)) << "the size is put right";
        EXPECT_EQ(3, ombrel_recvfrom(b, text, sizeof text, from.get(), &from.size, 1000));
        EXPECT_STREQ("one", text);
        EXPECT_EQ(own_port(a), from.port());
        EXPECT_EQ(-2, ombrel_recvfrom_now(b, text, sizeof text, nullptr, nullptr));
        EXPECT_EQ(3, ombrel_sendto_now(a, "two", 3, to.get(), 0));
        from = socket_address();
        EXPECT_EQ(def_ombrel_select_read, ombrel_single_select(b, def_ombrel_select_read, 20000));
        EXPECT_EQ(3, ombrel_recvfrom_now(b, text, sizeof text, from.get(), &from.size));
        EXPECT_STREQ("two", text);
        EXPECT_EQ(own_port(a), from.port());
        EXPECT_EQ(2, ombrel_sys_sendto(a, "no", 2, 0, to.get(), to.size));
        from = socket_address();
        EXPECT_EQ(2, ombrel_sys_recvfrom(b, text, sizeof text, 0, from.get(), &from.size));
        EXPECT_EQ(0, memcmp("no", text, 2));
        EXPECT_EQ(own_port(a), from.port());
        EXPECT_EQ(to.size, from.size);
        EXPECT_EQ(2, ombrel_sendto_message(a, to.get(), 0, 1000, "%02d", 7));
        std::array<char, 4> pair{};
        EXPECT_EQ(1, ombrel_sys_sendto(a, "8", 1, 0, to.get(), to.size));
        from = socket_address();
        EXPECT_EQ(3, ombrel_recvfrom_fill(b, pair.data(), 3, from.get(), &from.size, 1000));
        EXPECT_STREQ("078", pair.data());
        EXPECT_EQ(own_port(a), from.port());
    }
}

TEST_F(SocketTest, FillingGoesOnUntilTheBufferIsFullOrThePeerCloses) {
    connected_pair pair;
    char buffer[12];
    memset(buffer, '#', sizeof buffer);
    std::thread sender([&] {
        for (const char* part : {"abc", "defg", "hij"}) {
            ombrel_send(pair.a, part, strlen(part), 1000);
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    });
    EXPECT_EQ(10, ombrel_recv_fill(pair.b, buffer, 10, -1));
    sender.join();
    EXPECT_EQ(0, memcmp(buffer, "abcdefghij##", 12));
    ombrel_send(pair.a, "xyz", 3, 1000);
    ombrel_shutdown_socket(pair.a, 1);
    EXPECT_EQ(3, ombrel_recv_fill(pair.b, buffer, 10, -1));
    EXPECT_EQ(0, ombrel_recv_fill(pair.b, buffer, 0, 0));
}

// Each time-out takes two from the count; the bytes around the buffer must not notice.
TEST_F(SocketTest, FillingCountsTimeOutsAndStaysInsideTheBuffer) {
    connected_pair pair;
    char guarded[40];
    memset(guarded, '#', sizeof guarded);
    std::thread sender([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
        ombrel_send(pair.a, "abcdefghijklmnopqrst", 20, 1000);
        ombrel_shutdown_socket(pair.a, 1);
    });
    const int count = ombrel_recv_fill(pair.b, guarded + 16, 8, 5);
    sender.join();
    EXPECT_LE(count, 8);
    const std::string around(guarded, 16), behind(guarded + 24, 16);
    EXPECT_EQ(std::string(16, '#'), around);
    EXPECT_EQ(std::string(16, '#'), behind);
    if (count < 8) {
        EXPECT_EQ(0, count % 2) << "twenty bytes, less two for each time-out";
    }
}

/// Several threads `take` what `give` offers until all of it was given; each must come back by its limit.
void all_come_back(const std::function<void()>& take, const std::function<void()>& give, int gifts) {
    std::atomic<bool> done = false;
    std::atomic<int> taking = 4;
    std::vector<std::thread> takers;
    for (int i = taking; i > 0; i--) {
        takers.emplace_back([&] {
            while (!done)
                take();
            taking--;
        });
    }
    for (int i = 0; i < gifts; i++)
        give();
    done = true;
    for (int i = 0; i < 30000 && taking > 0; i++)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(0, taking);
    while (taking > 0)
        give();
    for (std::thread& taker : takers)
        taker.join();
}

// What arrives wakes all who wait; those that find it gone still keep to their limit.
TEST_F(SocketTest, ThreadsThatShareASocketKeepToTheirLimit) {
    owned_socket receiver = bound(AF_INET, SOCK_DGRAM), sender = bound(AF_INET, SOCK_DGRAM);
    socket_address to = own_address(receiver);
    all_come_back(
        [&] {
            char byte;
            ombrel_recv(receiver, &byte, 1, 5);
        },
        [&] { ombrel_sendto(sender, "x", 1, to.get(), to.size, 1000); }, 5000);
    owned_socket listener = bound(AF_INET, SOCK_STREAM);
    ASSERT_EQ(0, ombrel_listen(listener, 1000));
    to = own_address(listener);
    all_come_back([&] { owned_socket(ombrel_accept(listener, nullptr, nullptr, 5)); },
                  [&] {
                      owned_socket client(ombrel_open_socket(AF_INET, SOCK_STREAM, 0));
                      EXPECT_EQ(0, ombrel_connect(client, to.get(), to.size, -1));
                  },
                  500);
    expect_blocking(true, listener);
}

bool forbids_fragments(int s) {
#if defined(_WIN32)
    return int_option(s, IPPROTO_IP, IP_DONTFRAGMENT) != 0;
#else
    return int_option(s, IPPROTO_IP, IP_MTU_DISCOVER) == IP_PMTUDISC_DO;
#endif
}

TEST_F(SocketTest, OptionsReachThePlatform) {
    const owned_socket s(ombrel_open_socket(AF_INET, SOCK_DGRAM, 17));
    const owned_socket stream(ombrel_open_socket(AF_INET, SOCK_STREAM, 6));
#if !defined(_WIN32)
    for (const int on : {5, 0})
        if (const owned_socket ipv6(ombrel_open_socket(AF_INET6, SOCK_DGRAM, 17)); ipv6 != -1) {
            EXPECT_EQ(0, ombrel_set_pmtud_socket(ipv6, on));
            EXPECT_EQ(on != 0 ? IPV6_PMTUDISC_DO : IPV6_PMTUDISC_DONT,
                      int_option(ipv6, IPPROTO_IPV6, IPV6_MTU_DISCOVER));
        }
#endif
    for (const int on : {5, 0}) {
        EXPECT_EQ(0, ombrel_set_reuse_address_socket(s, on));
        EXPECT_EQ(on != 0, int_option(s, SOL_SOCKET, SO_REUSEADDR));
        EXPECT_EQ(0, ombrel_set_broadcast_socket(s, on));
        EXPECT_EQ(on != 0, int_option(s, SOL_SOCKET, SO_BROADCAST));
        EXPECT_EQ(0, ombrel_set_non_block_socket(s, on));
        expect_blocking(on == 0, s);
        EXPECT_EQ(0, ombrel_set_pmtud_socket(s, on));
        EXPECT_EQ(on != 0, forbids_fragments(s));
        EXPECT_EQ(0, ombrel_set_linger_socket(stream, on, 0x10003));
        linger value{0, 0};
        int size = sizeof value;
        EXPECT_EQ(0, ombrel_getsockopt(stream, SOL_SOCKET, SO_LINGER, &value, &size));
        EXPECT_EQ(on != 0, value.l_onoff);
        EXPECT_EQ(3, on != 0 ? value.l_linger : 3);
    }
    EXPECT_EQ(0, ombrel_set_tx_socket_buffer_size(s, 20000));
    EXPECT_GE(int_option(s, SOL_SOCKET, SO_SNDBUF), 20000);
    EXPECT_EQ(0, ombrel_set_rx_socket_buffer_size(s, 30000));
    EXPECT_GE(int_option(s, SOL_SOCKET, SO_RCVBUF), 30000);
}

TEST_F(SocketTest, HopsAreSetAndReadByFamilyAndKind) {
    const struct {
        int family, multicast, level, name;
    } cases[] = {{AF_INET, 0, IPPROTO_IP, IP_TTL},
                 {AF_INET, 1, IPPROTO_IP, IP_MULTICAST_TTL},
                 {AF_INET6, 0, IPPROTO_IPV6, IPV6_UNICAST_HOPS},
                 {AF_INET6, 1, IPPROTO_IPV6, IPV6_MULTICAST_HOPS}};
    for (const auto& one : cases) {
        owned_socket s(ombrel_open_socket(one.family, SOCK_DGRAM, 0));
        if (s == -1)
            continue;
        EXPECT_EQ(int_option(s, one.level, one.name), ombrel_hops_socket(s, -1, one.multicast));
        for (const int hops : {1, 37, 255}) {
            EXPECT_EQ(0, ombrel_hops_socket(s, hops, one.multicast));
            EXPECT_EQ(hops, int_option(s, one.level, one.name));
            EXPECT_EQ(hops, ombrel_hops_socket(s, -1, one.multicast));
        }
        EXPECT_EQ(-1, ombrel_hops_socket(s, 256, one.multicast));
        EXPECT_EQ(-1, ombrel_hops_socket(s, -2, one.multicast));
    }
    owned_socket local(ombrel_open_socket(AF_UNIX, SOCK_STREAM, 0));
    EXPECT_EQ(-1, ombrel_hops_socket(local, -1, 0));
    EXPECT_EQ(-1, ombrel_set_pmtud_socket(local, 1));
}

TEST_F(SocketTest, AcceptWaitsWithinItsLimit) {
    owned_socket listener = bound(AF_INET, SOCK_STREAM);
    ASSERT_EQ(0, ombrel_listen(listener, 4));
    EXPECT_EQ(-1, ombrel_accept(listener, nullptr, nullptr, 0));
    EXPECT_EQ(-1, ombrel_accept(listener, nullptr, nullptr, 10));
    EXPECT_EQ(def_ombrel_socket_would_block, ombrel_accept_now(listener, nullptr, nullptr));
    char byte;
    EXPECT_EQ(-2, ombrel_recv(listener, &byte, 1, 5));
    owned_socket client(ombrel_open_socket(AF_INET, SOCK_STREAM, 0));
    socket_address address = own_address(listener), peer;
    ASSERT_EQ(0, ombrel_connect(client, address.get(), 999, 1000));
    expect_blocking(true, client);
    owned_socket accepted(ombrel_accept(listener, peer.get(), &peer.size, 1000));
    ASSERT_NE(-1, accepted);
    EXPECT_FALSE(is_inherited(accepted));
    EXPECT_EQ(own_port(client), peer.port());
    EXPECT_EQ(static_cast<int>(sizeof(sockaddr_in)), peer.size);
    owned_socket second(ombrel_open_socket(AF_INET, SOCK_STREAM, 0));
    ASSERT_EQ(0, ombrel_connect(second, address.get(), address.size, 1000));
    peer = socket_address();
    EXPECT_EQ(def_ombrel_select_read, ombrel_single_select(listener, def_ombrel_select_read, 20000));
    const owned_socket taken(ombrel_accept_now(listener, peer.get(), &peer.size));
    EXPECT_EQ(own_port(second), peer.port());
    socket_address remote;
    EXPECT_EQ(0, ombrel_getpeername(client, remote.get(), &remote.size));
    EXPECT_EQ(address.port(), remote.port());
}

/// One that does not wait lets none that waits without limit go without a connection.
TEST_F(SocketTest, AcceptsOfSeveralThreadsDoNotDisturbEachOther) {
    constexpr int connections = 300;
    const owned_socket listener(ombrel_open_listen_socket("127.0.0.1", 0));
    std::atomic<int> accepted{0};
    std::atomic<bool> is_over{false};
    std::thread patient([&] {
        while (!is_over) {
            const owned_socket one(ombrel_accept(listener, nullptr, nullptr, -1));
            EXPECT_NE(-1, one) << errno;
            accepted++;
        }
    });
    const auto hurry = [&] {
        for (int i = 0; !is_over || i < 5000; i++)
            accepted += owned_socket(ombrel_accept(listener, nullptr, nullptr, 0)) != -1 ? 1 : 0;
    };
    std::thread hasty(hurry), as_hasty(hurry);
    for (int i = 0; i < connections; i++) {
        const owned_socket client(ombrel_open_connect_socket("127.0.0.1", own_port(listener), 10000));
        EXPECT_NE(-1, client);
        while (accepted <= i)
            std::this_thread::yield();
    }
    is_over = true;
    hasty.join();
    as_hasty.join();
    const owned_socket last(ombrel_open_connect_socket("127.0.0.1", own_port(listener), 10000));
    patient.join();
    EXPECT_EQ(connections + 1, accepted);
}

TEST_F(SocketTest, AConnectThatIsRefusedFails) {
    for (const int family : {AF_INET, AF_INET6}) {
        owned_socket nobody = bound(family, SOCK_STREAM);
        if (nobody == -1)
            continue;
        socket_address address = own_address(nobody);
        for (const int limit : {-1, 0, 1, 1000}) {
            owned_socket s(ombrel_open_socket(family, SOCK_STREAM, 0));
            EXPECT_EQ(-1, ombrel_connect(s, address.get(), address.size, limit)) << limit;
        }
    }
    owned_socket s(ombrel_open_socket(AF_INET, SOCK_STREAM, 0));
    socket_address nowhere(AF_INET6, "::1", 1);
    EXPECT_EQ(-1, ombrel_connect(s, nowhere.get(), nowhere.size, 1000))
        << "an error at once is no connection";
}

TEST_F(SocketTest, AConnectThatNobodyAnswersTimesOut) {
    owned_socket listener = bound(AF_INET, SOCK_STREAM);
    ASSERT_EQ(0, ombrel_listen(listener, 0));
    socket_address address = own_address(listener);
    std::vector<owned_socket> waiting;
    bool timed_out = false;
    for (int i = 0; i < 8 && !timed_out; i++) {
        waiting.emplace_back(ombrel_open_socket(AF_INET, SOCK_STREAM, 0));
        const uint64_t start = ombrel_time_stamp_msec();
        timed_out = ombrel_connect(waiting.back(), address.get(), address.size, 30) == -1;
        if (timed_out) {
            EXPECT_GE(ombrel_time_stamp_msec() - start, 30u);
        }
    }
    EXPECT_TRUE(timed_out);
}

TEST_F(SocketTest, PairsNeedAFamilyAndTypeThatConnect) {
    if (has_ipv6()) {
        int ends[2];
        ASSERT_EQ(0, ombrel_socket_pair(AF_INET6, SOCK_STREAM, 6, ends));
        owned_socket a(ends[0]), b(ends[1]);
        char byte = 0;
        EXPECT_EQ(1, ombrel_send(a, "a", 1, 1000));
        EXPECT_EQ(1, ombrel_recv(b, &byte, 1, 1000));
    }
    EXPECT_EQ(-1, ombrel_socket_pair(AF_INET, SOCK_STREAM, 6, nullptr));
    EXPECT_EQ(-1, ombrel_socket_pipe(nullptr));
    const struct {
        int family, type, protocol;
    } refused[] = {
        {0, SOCK_STREAM, 0}, {AF_UNIX, SOCK_STREAM, 0}, {AF_INET, SOCK_DGRAM, 0}, {AF_INET, SOCK_STREAM, 17}};
    for (const auto& one : refused) {
        int ends[2] = {0, 0};
        EXPECT_EQ(-1, ombrel_socket_pair(one.family, one.type, one.protocol, ends));
        EXPECT_EQ(-1, ends[0]);
        EXPECT_EQ(-1, ends[1]);
    }
}

#if defined(_WIN32)

TEST_F(SocketTest, APipeThatCannotBeHadIsAsserted) {
    GTEST_SKIP() << "Windows sets no limit to descriptors";
}

#else

TEST_F(SocketTest, APipeThatCannotBeHadIsAsserted) {
    capture errors(stderr);
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none{0, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    int ends[2] = {0, 0};
    const int result = ombrel_socket_pipe(ends);
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(-1, result);
    EXPECT_EQ(-1, ends[0]);
    EXPECT_EQ(-1, ends[1]);
    const std::string text = errors.text();
    EXPECT_NE(std::string::npos, text.find("<s_socket[0] != def_ombrel_invalid_socket>")) << text;
    EXPECT_NE(std::string::npos, text.find("<s_socket[1] != def_ombrel_invalid_socket>")) << text;
}

#endif

} // namespace
