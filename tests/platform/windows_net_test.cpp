// What sockets are on Windows alone.
#if defined(_WIN32)

#include <atomic>
#include <cerrno>
#include <climits>
#include <set>
#include <thread>
#include <vector>

#include "platform/network_interface.h"
#include "platform/seam_support.h"
#include "platform/windows/descriptor.h"
#include "platform/windows/host_error.h"
#include "support/no_afd.h"

using namespace ombrel_test;
using platform::descriptor_kind;
using platform::poll_read;
using platform::poll_write;

namespace {

TEST(WindowsSockets, ErrorsAreToldInTheNumbersOfTheCLibrary) {
    const struct {
        uint32_t host;
        int number;
        fault_code code;
    } cases[] = {
        {WSAEWOULDBLOCK, EAGAIN, fault_code::would_block},
        {WSAEINPROGRESS, EINPROGRESS, fault_code::in_progress},
        {WSAEALREADY, EALREADY, fault_code::other},
        {WSAEINTR, EINTR, fault_code::interrupted},
        {WSAENOTSOCK, ENOTSOCK, fault_code::bad_descriptor},
        {WSAEMSGSIZE, EMSGSIZE, fault_code::invalid},
        {WSAEFAULT, EFAULT, fault_code::other},
        {WSAEMFILE, EMFILE, fault_code::no_descriptor},
        {WSAENOBUFS, ENOBUFS, fault_code::no_memory},
        {WSAEADDRINUSE, EADDRINUSE, fault_code::address_in_use},
        {WSAEADDRNOTAVAIL, EADDRNOTAVAIL, fault_code::address_not_available},
        {WSAECONNREFUSED, ECONNREFUSED, fault_code::refused},
        {WSAECONNRESET, ECONNRESET, fault_code::reset},
        {WSAECONNABORTED, ECONNABORTED, fault_code::aborted},
        {WSAESHUTDOWN, EPIPE, fault_code::closed},
        {WSAENOTCONN, ENOTCONN, fault_code::not_connected},
        {WSAETIMEDOUT, ETIMEDOUT, fault_code::timed_out},
        {WSAEHOSTUNREACH, EHOSTUNREACH, fault_code::unreachable},
        {WSAENETUNREACH, ENETUNREACH, fault_code::unreachable},
        {WSAEAFNOSUPPORT, EAFNOSUPPORT, fault_code::not_supported},
        {WSANOTINITIALISED, ENETDOWN, fault_code::unreachable},
        {WSABASEERR + 999, EIO, fault_code::input_output},
        {ERROR_SUCCESS, 0, fault_code::none},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(one.number, platform::error_number_of(one.host)) << one.host;
        EXPECT_EQ(one.code, platform::fault_of(one.number).code) << one.host;
    }
}

TEST(WindowsSockets, APendingErrorIsTranslatedToo) {
    const owned deaf = bound(SOCK_STREAM), s = open_stream();
    address nobody(own_port(deaf));
    ASSERT_EQ(platform::connect_state::in_progress, platform::start_connect(s, nobody.get(), nobody.size));
    EXPECT_EQ(EINPROGRESS, errno);
    EXPECT_EQ(poll_write, poll_once(s, poll_write, patience_ms));
    int error = 0, size = sizeof error;
    EXPECT_EQ(0, platform::get_option(s, SOL_SOCKET, SO_ERROR, &error, &size));
    EXPECT_EQ(ECONNREFUSED, error);
}

TEST(WindowsSockets, DuplicatesBlockAsTheirOriginals) {
    for (const bool blocks : {true, false}) {
        const owned s = bound(SOCK_DGRAM);
        EXPECT_EQ(0, platform::set_non_blocking(s, !blocks));
        const owned copy(platform::duplicate_descriptor(s));
        EXPECT_EQ(blocks, platform::is_blocking(copy));
        char byte;
        EXPECT_EQ(-1, platform::receive_at_once(copy, &byte, 1, nullptr, nullptr));
        EXPECT_EQ(-1, blocks ? -1 : platform::receive(s, &byte, 1, 0, nullptr, nullptr)) << "does not wait";
        EXPECT_EQ(fault_code::would_block, last_code());
    }
}

TEST(WindowsSockets, HandlesAndNumbersOfFilesAreToldApart) {
    const owned s = bound(SOCK_DGRAM);
    EXPECT_EQ(0, s % 4);
    EXPECT_EQ(descriptor_kind::socket, platform::kind_of(s));
    const pipe_ends ends = open_pipe();
    for (const owned* const end : {&ends.reader, &ends.writer}) {
        EXPECT_NE(0, *end % 4);
        EXPECT_EQ(descriptor_kind::pipe, platform::kind_of(*end));
    }
    for (const int none : {-1, -4, 8000, 8001, INT_MAX, INT_MIN})
        EXPECT_EQ(descriptor_kind::none, platform::kind_of(none)) << none;
}

TEST(WindowsSockets, NobodyTakesTheirPortAway) {
    const owned mine = open_stream(), thief = open_stream();
    address any(0);
    ASSERT_EQ(0, platform::claim_port(mine));
    ASSERT_EQ(0, platform::bind_socket(mine, any.get(), any.size));
    ASSERT_EQ(0, platform::listen_socket(mine, 1));
    address taken(own_port(mine));
    EXPECT_EQ(0, platform::set_option(thief, platform::socket_option::reuse_address, 1));
    EXPECT_NE(0, platform::bind_socket(thief, taken.get(), taken.size));
}

TEST(WindowsSockets, AnIPv6SocketServesIPv4Too) {
    const owned s = own_socket(platform::open_socket(AF_INET6, SOCK_STREAM, 0));
    if (s < 0)
        GTEST_SKIP() << "no IPv6";
    int only = -1;
    EXPECT_EQ(0, platform::get_option(s, platform::socket_option::ipv6_only, only));
    EXPECT_EQ(0, only);
}

TEST(WindowsSockets, ADatagramThatMetNobodyBreaksNoReceive) {
    const owned s = bound(SOCK_DGRAM);
    owned gone = bound(SOCK_DGRAM);
    address nobody(own_port(gone));
    gone.close();
    EXPECT_EQ(1, platform::send(s, "x", 1, 0, nobody.get(), nobody.size));
    EXPECT_EQ(0u, poll_once(s, poll_read, 50));
    char byte[1];
    EXPECT_EQ(-1, receive_at_once(s, byte));
    EXPECT_EQ(fault_code::would_block, last_code());
}

// The system tells nobody whether a socket blocks, so it is noted; a call that must not wait borrows the
// mode.
TEST(WindowsSockets, ABlockedReceiveOutlastsCallsThatDoNotWait) {
    const connected_pair pair = connect_pair();
    std::atomic<int> got{-2};
    std::thread waiter([&] {
        char byte[1];
        got = receive(pair.server, byte);
    });
    for (int i = 0; i < 200; i++) {
        char byte[1];
        EXPECT_EQ(-1, receive_at_once(pair.server, byte));
        EXPECT_EQ(fault_code::would_block, last_code());
    }
    EXPECT_EQ(-2, got);
    EXPECT_EQ(1, platform::send(pair.client, "x", 1, 0, nullptr, 0));
    waiter.join();
    EXPECT_EQ(1, got);
    EXPECT_TRUE(platform::is_blocking(pair.server));
}

// A receive that borrows the listener's mode must not let go of another socket's turn.
TEST(WindowsSockets, AcceptedSocketsBlockWhateverTheirNumber) {
    const owned listener = listening();
    address there(own_port(listener));
    std::vector<owned> kept;
    for (int i = 0; i < 40; i++) {
        kept.push_back(open_stream());
        ASSERT_EQ(platform::connect_state::connected,
                  platform::connect_socket(kept.back(), there.get(), there.size));
        ASSERT_TRUE(holds_soon([&] {
            const int accepted = platform::accept_at_once(listener, nullptr, nullptr);
            if (accepted >= 0)
                kept.push_back(own_socket(accepted));
            return accepted >= 0;
        }));
        EXPECT_TRUE(platform::is_blocking(kept.back()));
    }
}

TEST(WindowsPoll, ASocketThatWasClosedUnnoticedIsToldOnceAtMost) {
    platform::poll_set* const set = platform::open_poll_set();
    connected_pair pair = connect_pair();
    const int gone = pair.server;
    ASSERT_EQ(platform::watch_result::watched,
              platform::watch_descriptor(*set, gone, {poll_read, 1, false, false, false}));
    pair.server.close();
    platform::prepare_wait(*set, 1);
    const int count = platform::wait_for_descriptors(*set, 20);
    ASSERT_GE(1, count);
    if (count == 1) {
        EXPECT_EQ(0u, platform::ready_at(*set, 0).bits);
    }
    platform::prepare_wait(*set, 1);
    EXPECT_EQ(0, platform::wait_for_descriptors(*set, 5));
    platform::forget_descriptor(*set, gone);
    EXPECT_EQ(platform::watch_result::failed,
              platform::watch_descriptor(*set, gone, {poll_read, 1, false, false, true}));
    platform::close_poll_set(set);
}

// Without a wait in between, so that the system's answers to what was forgotten pile up unless they are
// fetched.
TEST(WindowsPoll, WatchingAndForgettingWithoutAWaitStaysSmall) {
    platform::poll_set* const set = platform::open_poll_set();
    const connected_pair pair = connect_pair();
    for (uint32_t i = 0; i < 3000; i++) {
        ASSERT_EQ(platform::watch_result::watched,
                  platform::watch_descriptor(*set, pair.server, {poll_read, i, false, false, i % 2 == 0}));
        if (i % 3 == 0)
            platform::forget_descriptor(*set, pair.server);
    }
    platform::watch_descriptor(*set, pair.server, {poll_read, 9999, true, false, false});
    EXPECT_EQ(1, platform::send(pair.client, "x", 1, 0, nullptr, 0));
    for (const int expected : {1, 0}) { // it was to be told once
        platform::prepare_wait(*set, 1);
        ASSERT_EQ(expected, platform::wait_for_descriptors(*set, expected != 0 ? patience_ms : 5));
    }
    EXPECT_EQ(9999u, platform::ready_at(*set, 0).generation);
    platform::close_poll_set(set);
}

TEST(WindowsInterfaces, OneOfThemIsTheLoopBackAndHasAnAddress) {
    platform::interface_list all;
    ASSERT_TRUE(all.is_open());
    std::set<uint32_t> loopbacks;
    ombrel_network_interface_t one;
    ombrel_interface_statistics_t statistics;
    bool has_statistics = false;
    constexpr uint32_t wanted = def_ombrel_interface_loopback | def_ombrel_interface_up;
    while (all.next(one, statistics, has_statistics) == 1)
        if ((one.m_flags & wanted) == wanted)
            loopbacks.insert(one.m_index);
    EXPECT_EQ(1u, loopbacks.size());
    uint32_t index = 0;
    ombrel_interface_address_t address;
    EXPECT_EQ(1, all.next_address(index, address));
    for (const char* const none : {"", "no such interface", "\xff\xfe"})
        EXPECT_EQ(0u, platform::interface_index(none));
}

} // namespace

#endif
