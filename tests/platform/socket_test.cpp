// Sockets, and waiting for descriptors.
#include <filesystem>
#include <memory>
#include <thread>
#include <vector>

#include "platform/multicast.h"
#include "platform/seam_support.h"

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

    const owned client = own_socket(platform::open_socket(AF_INET, SOCK_STREAM, 0));
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

    const owned deaf = bound(SOCK_STREAM),
                refused = own_socket(platform::open_socket(AF_INET, SOCK_STREAM, 0));
    address nobody(own_port(deaf));
    if (platform::start_connect(refused, nobody.get(), nobody.size) == connect_state::in_progress) {
        EXPECT_EQ(all_kinds, poll_once(refused, all_kinds, patience_ms));
    } else {
        EXPECT_EQ(fault_code::refused, last_code());
    }
    EXPECT_FALSE(platform::is_connected(refused));
    const owned waits = own_socket(platform::open_socket(AF_INET, SOCK_STREAM, 0));
    EXPECT_EQ(connect_state::failed, platform::connect_socket(waits, nobody.get(), nobody.size));
    EXPECT_EQ(fault_code::refused, last_code());
    const owned second = own_socket(platform::open_socket(AF_INET, SOCK_STREAM, 0));
    EXPECT_NE(0, platform::bind_socket(second, there.get(), there.size));
    EXPECT_EQ(fault_code::address_in_use, last_code());
    EXPECT_EQ(-1, platform::open_socket(-1, SOCK_STREAM, 0));
    platform::stop_sockets();
}

TEST(Sockets, StreamsCarryBytesUntilTheirSidesClose) {
    connected_pair pair = connect_pair();
    char text[16];
    EXPECT_EQ(-1, platform::receive_at_once(pair.server, text, sizeof text, nullptr, nullptr));
    EXPECT_EQ(fault_code::would_block, last_code());
    EXPECT_TRUE(platform::is_blocking(pair.server));
    EXPECT_EQ(5, platform::send(pair.client, "hello", 5, 0, nullptr, 0));
    EXPECT_EQ(5, platform::receive(pair.server, text, sizeof text, 0, nullptr, nullptr)) << "which waits";
    EXPECT_EQ(0, platform::shutdown_socket(pair.client, platform::shutdown_side::send));
    EXPECT_EQ(0, platform::receive(pair.server, text, sizeof text, 0, nullptr, nullptr)) << "the end";
    EXPECT_EQ(3, platform::send_at_once(pair.server, "bye", 3, nullptr, 0)) << "the other way stays";
    EXPECT_EQ(3, platform::receive(pair.client, text, sizeof text, 0, nullptr, nullptr));

    const std::string block(65536, 'x');
    size_t sent = 0, got = 0;
    int result;
    while ((result = platform::send_at_once(pair.server, block.data(), block.size(), nullptr, 0)) > 0 &&
           sent < (1u << 30))
        sent += static_cast<size_t>(result);
    EXPECT_EQ(-1, result);
    EXPECT_EQ(fault_code::would_block, last_code());
    EXPECT_EQ(0u, poll_once(pair.server, poll_write, 0));
    std::string room(65536, '\0');
    while (got < sent &&
           (result = platform::receive(pair.client, room.data(), room.size(), 0, nullptr, nullptr)) > 0)
        got += static_cast<size_t>(result);
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
    EXPECT_EQ(0, platform::receive(second, text, sizeof text, 0, nullptr, nullptr)) << "an empty one";
    EXPECT_EQ(-1, platform::receive_at_once(second, text, sizeof text, nullptr, nullptr));
    EXPECT_EQ(fault_code::would_block, last_code());
}

TEST(Sockets, OptionsStayAsTheyWereSet) {
    using platform::socket_option;
    const owned stream = own_socket(platform::open_socket(AF_INET, SOCK_STREAM, 0)),
                datagram = bound(SOCK_DGRAM);
    const struct {
        int s;
        socket_option option;
        int value;
    } cases[] = {
        {stream, socket_option::reuse_address, 1}, {stream, socket_option::reuse_address, 0},
        {datagram, socket_option::broadcast, 1},   {datagram, socket_option::broadcast, 0},
        {datagram, socket_option::ipv4_hops, 7},   {datagram, socket_option::ipv4_multicast_hops, 3}};
    for (const auto& one : cases) {
        int value = -1;
        EXPECT_EQ(0, platform::set_option(one.s, one.option, one.value));
        EXPECT_EQ(0, platform::get_option(one.s, one.option, value));
        EXPECT_EQ(one.value != 0, value != 0) << &one - cases;
        if (one.value > 1) {
            EXPECT_EQ(one.value, value);
        }
    }
    for (const socket_option buffer : {socket_option::send_buffer, socket_option::receive_buffer}) {
        int value = 0;
        EXPECT_EQ(0, platform::set_option(stream, buffer, 32768));
        EXPECT_EQ(0, platform::get_option(stream, buffer, value));
        EXPECT_LE(32768, value);
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
    const std::string block(65536, 'x');
    while (platform::send_at_once(pair.client, block.data(), block.size(), nullptr, 0) > 0)
        continue;
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
    EXPECT_TRUE(platform::set_ipv4_multicast_interface(s, loopback.get()));
    EXPECT_FALSE(platform::change_group(s, loopback.get(), 0, true)) << "which is no group";
}

/// A descriptor in some state, and whatever keeps it there.
struct scene {
    const char* name;
    unsigned kinds;
    std::function<owned(std::vector<owned>& others)> make;
};

owned kept_reader(std::vector<owned>& others, const char* text, bool keeps_writer) {
    pipe_ends ends = open_pipe();
    platform::write_descriptor(ends.writer, text, std::char_traits<char>::length(text));
    if (keeps_writer)
        others.push_back(std::move(ends.writer));
    return std::move(ends.reader);
}

owned kept_writer(std::vector<owned>& others, bool keeps_reader) {
    pipe_ends ends = open_pipe();
    if (keeps_reader)
        others.push_back(std::move(ends.reader));
    return std::move(ends.writer);
}

owned kept_stream(std::vector<owned>& others, const char* text, bool keeps_peer) {
    connected_pair pair = connect_pair();
    platform::send(pair.client, text, std::char_traits<char>::length(text), 0, nullptr, 0);
    if (keeps_peer)
        others.push_back(std::move(pair.client));
    return std::move(pair.server);
}

const scene scenes[] = {
    {"empty pipe", 0, [](auto& others) { return kept_reader(others, "", true); }},
    {"pipe with a byte", poll_read, [](auto& others) { return kept_reader(others, "x", true); }},
    {"pipe without a writer", poll_read, [](auto& others) { return kept_reader(others, "", false); }},
    {"pipe to write", poll_write, [](auto& others) { return kept_writer(others, true); }},
    {"pipe without a reader", poll_read | poll_write,
     [](auto& others) { return kept_writer(others, false); }},
    {"stream", poll_write, [](auto& others) { return kept_stream(others, "", true); }},
    {"stream with a byte", poll_read | poll_write,
     [](auto& others) { return kept_stream(others, "x", true); }},
    {"stream whose peer has closed", poll_read | poll_write,
     [](auto& others) { return kept_stream(others, "", false); }},
    {"listener", 0, [](auto&) { return listening(); }},
    {"datagrams", poll_write, [](auto&) { return bound(SOCK_DGRAM); }},
};

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
        std::vector<owned> others;
        const owned descriptor = one.make(others);
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
    const struct {
        unsigned bits;
        uint32_t generation;
    } steps[] = {
        {poll_write, 2}, {poll_read, 3}, {poll_read | poll_write, 4}, {poll_exception, 5}, {poll_read, 5}};
    EXPECT_EQ(poll_read, poll_once(s, poll_read, patience_ms));
    for (const auto& step : steps) {
        for (const bool once : {false, true}) {
            set.watch(s, step.bits, step.generation, once);
            const unsigned expected = step.bits & (poll_read | poll_write);
            EXPECT_EQ(expected, set.wait(s, expected != 0 ? patience_ms : 0, step.generation));
            if (!once) {
                EXPECT_EQ(expected, set.wait(s, 0, step.generation)) << "again and again";
            }
        }
    }
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
    const std::string path =
        (std::filesystem::temp_directory_path() / ("ombrel_poll_" + std::to_string(platform::thread_id())))
            .string();
    owned file(platform::open_file(path.c_str(), {true, true, false, true, false, true}));
    watching set;
    if (set.watch(file, poll_read | poll_write) == platform::watch_result::watched) {
        EXPECT_EQ(poll_read | poll_write, set.wait(file, patience_ms));
    }
    EXPECT_EQ(poll_read | poll_write, poll_once(file, poll_read | poll_write, patience_ms));
    file.close();
    std::filesystem::remove(path);
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
