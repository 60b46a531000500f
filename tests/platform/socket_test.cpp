// Sockets, and waiting for descriptors.
#include <climits>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "platform/library_loader.h"
#include "platform/multicast.h"
#include "platform/seam_support.h"
#include "support/emulator.h"

using namespace ombrel_test;
using platform::connect_state;
using platform::poll_exception;
using platform::poll_read;
using platform::poll_write;

namespace {

constexpr unsigned all_kinds = poll_read | poll_write | poll_exception;

TEST(Sockets, ConnectionsStandOrFailAsTheStatesSay) {
    ASSERT_TRUE(platform::start_sockets());
    const owned listener = listening();
    address there(own_port(listener));
    EXPECT_EQ(-1, platform::accept_at_once(listener, nullptr, nullptr));
    EXPECT_EQ(fault_code::would_block, last_code());
    EXPECT_TRUE(platform::is_blocking(listener));

    const owned client = open_stream();
    EXPECT_FALSE(platform::is_connected(client));
    EXPECT_TRUE(platform::is_blocking(client));
    const connect_state begun = platform::start_connect(client, there.get(), there.size);
    EXPECT_TRUE(begun == connect_state::connected || begun == connect_state::in_progress);
    EXPECT_FALSE(platform::is_blocking(client));
    EXPECT_EQ(poll_write, poll_once(client, all_kinds, patience_ms));
    EXPECT_TRUE(platform::is_connected(client));
    EXPECT_EQ(connect_state::connected, platform::start_connect(client, there.get(), there.size));

    EXPECT_EQ(poll_read, poll_once(listener, all_kinds, patience_ms));
    address peer, own;
    const owned server = own_socket(platform::accept_at_once(listener, peer.get(), &peer.size));
    EXPECT_TRUE(platform::is_blocking(server)) << "whatever the listener is";
    EXPECT_EQ(own_port(client), peer.port());
    EXPECT_EQ(0, platform::peer_address(client, own.get(), &own.size));
    EXPECT_EQ(own_port(listener), own.port());

    const owned deaf = bound(SOCK_STREAM), refused = open_stream();
    address nobody(own_port(deaf));
    if (platform::start_connect(refused, nobody.get(), nobody.size) == connect_state::in_progress) {
        EXPECT_EQ(all_kinds, poll_once(refused, all_kinds, patience_ms));
    } else {
        EXPECT_EQ(fault_code::refused, last_code());
    }
    EXPECT_FALSE(platform::is_connected(refused));
    const owned waits = open_stream();
    EXPECT_EQ(connect_state::failed, platform::connect_socket(waits, nobody.get(), nobody.size));
    EXPECT_EQ(fault_code::refused, last_code());
    const owned second = open_stream();
    EXPECT_NE(0, platform::bind_socket(second, there.get(), there.size));
    EXPECT_EQ(fault_code::address_in_use, last_code());
    EXPECT_EQ(-1, platform::open_socket(-1, SOCK_STREAM, 0));
    platform::stop_sockets();
}

TEST(Sockets, StreamsCarryBytesUntilTheirSidesClose) {
    connected_pair pair = connect_pair();
    char text[16];
    EXPECT_EQ(-1, receive_at_once(pair.server, text));
    EXPECT_EQ(fault_code::would_block, last_code());
    EXPECT_TRUE(platform::is_blocking(pair.server));
    EXPECT_EQ(5, platform::send(pair.client, "hello", 5, 0, nullptr, 0));
    EXPECT_EQ(5, receive(pair.server, text)) << "which waits";
    EXPECT_EQ(0, platform::shutdown_socket(pair.client, platform::shutdown_side::send));
    EXPECT_EQ(0, receive(pair.server, text)) << "the end";
    EXPECT_EQ(3, platform::send_at_once(pair.server, "bye", 3, nullptr, 0)) << "the other way stays";
    EXPECT_EQ(3, receive(pair.client, text));

    const size_t sent = fill([&](const char* block, size_t size) {
        return platform::send_at_once(pair.server, block, size, nullptr, 0);
    });
    EXPECT_EQ(0u, poll_once(pair.server, poll_write, 0));
    static char room[65536];
    size_t got = 0;
    for (int part; got < sent && (part = receive(pair.client, room)) > 0;)
        got += static_cast<size_t>(part);
    EXPECT_EQ(sent, got);

    pair.client.close();
    EXPECT_TRUE(holds_soon([&] { return platform::send(pair.server, "x", 1, 0, nullptr, 0) == -1; }))
        << "and no signal";
    EXPECT_TRUE(last_code() == fault_code::closed || last_code() == fault_code::reset);
}

TEST(Sockets, DatagramsComeWholeAndWithTheirSender) {
    const owned first = bound(SOCK_DGRAM), second = bound(SOCK_DGRAM);
    address to(own_port(second)), from;
    char text[4];
    EXPECT_EQ(5, platform::send(first, "hello", 5, 0, to.get(), to.size));
    EXPECT_EQ(0, platform::send(first, "", 0, 0, to.get(), to.size));
    EXPECT_EQ(poll_read, poll_once(second, poll_read, patience_ms));
    EXPECT_NE(0, platform::receive(second, text, sizeof text, 0, from.get(), &from.size)) << "cut or refused";
    EXPECT_EQ(own_port(first), from.port());
    EXPECT_EQ(0, receive(second, text)) << "an empty one";
    EXPECT_EQ(-1, receive_at_once(second, text));
    EXPECT_EQ(fault_code::would_block, last_code());
}

TEST(Sockets, OptionsStayAsTheyWereSet) {
    using platform::socket_option;
    const owned stream = open_stream(), datagram = bound(SOCK_DGRAM);
    const struct {
        int s;
        socket_option option;
        int value, least, most;
    } cases[] = {{stream, socket_option::reuse_address, 1, 1, INT_MAX},
                 {stream, socket_option::reuse_address, 0, 0, 0},
                 {datagram, socket_option::broadcast, 1, 1, INT_MAX},
                 {datagram, socket_option::broadcast, 0, 0, 0},
                 {datagram, socket_option::ipv4_hops, 7, 7, 7},
                 {datagram, socket_option::ipv4_multicast_hops, 3, 3, 3},
                 {stream, socket_option::send_buffer, 32768, 32768, INT_MAX},
                 {stream, socket_option::receive_buffer, 32768, 32768, INT_MAX}};
    for (const auto& one : cases) {
        int value = -1;
        EXPECT_EQ(0, platform::set_option(one.s, one.option, one.value));
        EXPECT_EQ(0, platform::get_option(one.s, one.option, value));
        EXPECT_TRUE(one.least <= value && value <= one.most) << &one - cases;
    }
    int error = -1;
    EXPECT_EQ(0, platform::get_option(stream, socket_option::pending_error, error));
    EXPECT_EQ(0, error);
    EXPECT_EQ(0, platform::set_linger(stream, true, 1));
    EXPECT_EQ(0, platform::set_linger(stream, false, 0));
    if (platform::set_path_mtu_discovery(datagram, AF_INET, true) == 0) {
        EXPECT_EQ(0, platform::set_path_mtu_discovery(datagram, AF_INET, false));
    } else {
        EXPECT_EQ(fault_code::not_supported, last_code());
    }
    EXPECT_EQ(-1, platform::set_option(-1, socket_option::broadcast, 1));
    EXPECT_EQ(fault_code::bad_descriptor, last_code());
}

TEST(Sockets, WakeUpsNeverWait) {
    const connected_pair pair = connect_pair();
    platform::prepare_wakeup_socket(pair.client);
    for (const owned* const end : {&pair.client, &pair.server})
        platform::set_non_blocking(*end, true);
    for (int i = 0; i < 200; i++)
        platform::post_wakeup(pair.client);
    EXPECT_EQ(poll_read, poll_once(pair.server, poll_read, patience_ms));
    EXPECT_TRUE(holds_soon([&] {
        platform::drain_wakeups(pair.server);
        return poll_once(pair.server, poll_read, 5) == 0;
    }));
    fill([&](const char* block, size_t size) {
        return platform::send_at_once(pair.client, block, size, nullptr, 0);
    });
    platform::leave_fault(fault_code::exists);
    platform::post_wakeup(pair.client); // a full one needs no more
    EXPECT_EQ(fault_code::exists, last_code()) << "a signal handler disturbs nobody";
}

TEST(Sockets, MulticastGroupsAreJoinedOnceAndLeft) {
    const owned s = bound(SOCK_DGRAM);
    address group(0), loopback(0);
    reinterpret_cast<sockaddr_in&>(group.record).sin_addr.s_addr = htonl(0xEFFF2A07); // 239.255.42.7
    if (!platform::change_ipv4_membership(s, group.get(), loopback.get(), true))
        GTEST_SKIP() << "no multicast on the loop-back interface";
    EXPECT_FALSE(platform::change_ipv4_membership(s, group.get(), loopback.get(), true));
    EXPECT_TRUE(platform::change_ipv4_membership(s, group.get(), loopback.get(), false));
    EXPECT_FALSE(platform::change_ipv4_membership(s, group.get(), loopback.get(), false));
    EXPECT_FALSE(platform::change_group(s, loopback.get(), 0, true)) << "which is no group";
    if (refuses_multicast_interface())
        GTEST_SKIP() << "this emulator lets no interface be chosen for multicast";
    EXPECT_TRUE(platform::set_ipv4_multicast_interface(s, loopback.get()));
}

enum class kind { reader, writer, stream, listener, datagrams };

/// A descriptor in some state, and whatever keeps it there.
struct scene {
    const char* name;
    unsigned kinds;
    kind what;
    const char* text; ///< that was sent to it
    bool keeps_other;
};

const scene scenes[] = {
    {"empty pipe", 0, kind::reader, "", true},
    {"pipe with a byte", poll_read, kind::reader, "x", true},
    {"pipe without a writer", poll_read, kind::reader, "", false},
    {"pipe to write", poll_write, kind::writer, "", true},
    {"pipe without a reader", poll_read | poll_write, kind::writer, "", false},
    {"stream", poll_write, kind::stream, "", true},
    {"stream with a byte", poll_read | poll_write, kind::stream, "x", true},
    {"stream whose peer has closed", poll_read | poll_write, kind::stream, "", false},
    {"listener", 0, kind::listener, "", false},
    {"datagrams", poll_write, kind::datagrams, "", false},
};

/// The descriptor and, if it is kept, the other end.
connected_pair make(const scene& one) {
    if (one.what == kind::listener)
        return {owned(), listening()};
    if (one.what == kind::datagrams)
        return {owned(), bound(SOCK_DGRAM)};
    connected_pair pair;
    if (one.what == kind::stream) {
        pair = connect_pair();
        platform::send(pair.client, one.text, strlen(one.text), 0, nullptr, 0);
    } else {
        pipe_ends ends = open_pipe();
        platform::write_descriptor(ends.writer, one.text, strlen(one.text));
        const bool reads = one.what == kind::reader;
        pair = {std::move(reads ? ends.writer : ends.reader), std::move(reads ? ends.reader : ends.writer)};
    }
    if (!one.keeps_other)
        pair.client.close();
    return pair;
}

class watching : no_copy {
public:
    watching() : set_(platform::open_poll_set()) { EXPECT_NE(nullptr, set_); }
    ~watching() { platform::close_poll_set(set_); }
    platform::poll_set& set() { return *set_; }

    platform::watch_result watch(int descriptor, unsigned bits, uint32_t generation = 1, bool once = false) {
        watched_++;
        return platform::watch_descriptor(*set_, descriptor, {bits, generation, once, false, false});
    }
    int count_ready(int timeout_ms) {
        platform::prepare_wait(*set_, watched_);
        return platform::wait_for_descriptors(*set_, timeout_ms);
    }
    /// The bits that a descriptor is ready for, of one generation; 0 when none are told.
    unsigned wait(int descriptor, int timeout_ms, uint32_t generation = 1) {
        const int count = count_ready(timeout_ms);
        EXPECT_LE(0, count);
        unsigned bits = 0;
        for (int i = 0; i < count; i++) {
            const platform::ready_descriptor ready = platform::ready_at(*set_, i);
            if (ready.descriptor == descriptor) {
                EXPECT_EQ(generation, ready.generation);
                bits |= ready.bits;
            }
        }
        return bits;
    }

private:
    platform::poll_set* set_;
    size_t watched_ = 1; // one more than are, as another thread may add one
};

TEST(Poll, BothWaysOfWaitingSeeTheSame) {
    for (const scene& one : scenes) {
        SCOPED_TRACE(one.name);
        const connected_pair pair = make(one);
        const int descriptor = pair.server;
        // What was sent is on its way.
        EXPECT_TRUE(holds_soon([&] { return poll_once(descriptor, all_kinds, 0) == one.kinds; }));
        for (const unsigned kind : {poll_read, poll_write, poll_exception}) {
            const int wait = (one.kinds & kind) != 0 ? patience_ms : 0;
            EXPECT_EQ(one.kinds & kind, poll_once(descriptor, kind, wait));
            watching set;
            EXPECT_EQ(platform::watch_result::watched, set.watch(descriptor, kind));
            EXPECT_EQ(one.kinds & kind, set.wait(descriptor, wait) & kind);
        }
        watching set;
        set.watch(descriptor, all_kinds);
        EXPECT_EQ(one.kinds, set.wait(descriptor, one.kinds != 0 ? patience_ms : 0));
    }
}

TEST(Poll, MistakesAreToldAndMarkNothing) {
    EXPECT_EQ(0, platform::poll_descriptors(nullptr, 0, 1));
    pipe_ends ends = open_pipe();
    const int gone = ends.reader;
    ends.reader.close();
    EXPECT_EQ(~0u, poll_once(gone, poll_read, patience_ms));
    EXPECT_EQ(fault_code::bad_descriptor, last_code());
    std::vector<platform::poll_request> many(platform::most_poll_requests + 1,
                                             {ends.writer, platform::readiness::write, false});
    EXPECT_EQ(-1, platform::poll_descriptors(many.data(), many.size(), 0));
    EXPECT_EQ(static_cast<int>(platform::most_poll_requests),
              platform::poll_descriptors(many.data() + 1, many.size() - 1, 0))
        << "one descriptor may stand in all of them";
}

TEST(Poll, AWaitWithoutLimitEndsByWhatComes) {
    const pipe_ends ends = open_pipe();
    watching set;
    set.watch(ends.reader, poll_read, 7);
    for (const bool by_set : {false, true}) {
        std::thread writer([&] {
            platform::sleep_milliseconds(20);
            platform::write_descriptor(ends.writer, "x", 1);
        });
        EXPECT_EQ(poll_read, by_set ? set.wait(ends.reader, -1, 7) : poll_once(ends.reader, poll_read, -1));
        writer.join();
        char byte;
        EXPECT_EQ(1, platform::read_descriptor(ends.reader, &byte, 1));
    }
    EXPECT_EQ(0, set.count_ready(1));
}

TEST(PollSet, HoldsWhatWasWatchedLast) {
    watching set;
    const connected_pair pair = connect_pair();
    platform::send(pair.client, "x", 1, 0, nullptr, 0);
    const int s = pair.server;
    const std::pair<unsigned, uint32_t> steps[] = {
        {poll_write, 2}, {poll_read, 3}, {poll_read | poll_write, 4}, {poll_exception, 5}, {poll_read, 5}};
    EXPECT_EQ(poll_read, poll_once(s, poll_read, patience_ms));
    for (const auto& [bits, generation] : steps)
        for (const bool once : {false, true}) {
            set.watch(s, bits, generation, once);
            const unsigned expected = bits & (poll_read | poll_write);
            EXPECT_EQ(expected, set.wait(s, expected != 0 ? patience_ms : 0, generation));
            if (!once) {
                EXPECT_EQ(expected, set.wait(s, 0, generation)) << "again and again";
            }
        }
    set.watch(s, poll_read); // which stands, whatever a single report did to the last one
    platform::forget_descriptor(set.set(), s);
    EXPECT_EQ(0u, set.wait(s, 0));
    set.watch(s, poll_read);
    EXPECT_TRUE(platform::renew_poll_set(set.set()));
    EXPECT_EQ(0u, set.wait(s, 0));

    pipe_ends ends = open_pipe();
    platform::write_descriptor(ends.writer, "x", 1);
    set.watch(ends.reader, poll_read);
    const int gone = ends.reader;
    ends.reader.close();
    EXPECT_EQ(0u, set.wait(gone, 0)) << "it was closed";
    platform::forget_descriptor(set.set(), gone);
    platform::forget_descriptor(set.set(), gone);
    EXPECT_EQ(platform::watch_result::failed, set.watch(gone, poll_read));
}

TEST(PollSet, FilesAreAlwaysReady) {
    const owned file(platform::open_file_for_reading(platform::own_library_path()));
    watching set;
    if (set.watch(file, poll_read | poll_write) == platform::watch_result::watched) {
        EXPECT_EQ(poll_read | poll_write, set.wait(file, patience_ms));
    }
    EXPECT_EQ(poll_read | poll_write, poll_once(file, poll_read | poll_write, patience_ms));
}

TEST(PollSet, HoldsManyAndTellsAllThatAreReady) {
    constexpr size_t count = 300;
    watching set;
    std::vector<owned> sockets;
    for (size_t i = 0; i < count; i++) {
        sockets.push_back(bound(SOCK_DGRAM));
        set.watch(sockets.back(), i % 3 == 0 ? poll_write : poll_read, static_cast<uint32_t>(i));
    }
    EXPECT_EQ(static_cast<int>(count / 3), set.count_ready(patience_ms));
    for (size_t i = 0; i < count / 3; i++) {
        const platform::ready_descriptor ready = platform::ready_at(set.set(), static_cast<int>(i));
        EXPECT_EQ(0u, ready.generation % 3);
        EXPECT_EQ(sockets[ready.generation], ready.descriptor);
    }
}

TEST(PollSet, AWaitUnderWayNoticesChangesWhereItSaysSo) {
    if (!platform::wait_sees_changes())
        GTEST_SKIP() << "this way of waiting is begun again";
    watching set;
    const pipe_ends ends = open_pipe();
    std::thread other([&] {
        platform::sleep_milliseconds(20);
        platform::watch_descriptor(set.set(), ends.writer, {poll_write, 9, false, false, false});
    });
    EXPECT_EQ(poll_write, set.wait(ends.writer, -1, 9));
    other.join();
}

} // namespace
