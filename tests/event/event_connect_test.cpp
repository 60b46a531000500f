// Names that events wait for and connections that the loop makes.
#include <ombrel/event_buffer.h>
#include <ombrel/socket_open.h>
#include <ombrel/time.h>

#include "event/event_fixture.h"
#include "network/loopback.h"
#include "support/descriptor_balance.h"
#include "support/fake_names.h"
#include "support/time_travel.h"

namespace {

using namespace ombrel_test;

constexpr uint32_t with_resolver = def_ombrel_event_with_resolver;
constexpr uint32_t managed = def_ombrel_event_managed_connect | with_resolver;
constexpr uint32_t connected = managed | def_ombrel_event_connected | on_write;
constexpr uint32_t refused = managed | def_ombrel_event_connect_failed | on_exception;

sockaddr_in loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

class listener : no_copy {
public:
    listener() {
        sockaddr_in address = loopback(0);
        int size = sizeof address;
        EXPECT_EQ(0, ombrel_bind(descriptor, reinterpret_cast<sockaddr*>(&address), size));
        EXPECT_EQ(0, ombrel_getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size));
        port = ntohs(address.sin_port);
        EXPECT_EQ(0, ombrel_listen(descriptor, 64));
    }
    ~listener() { refuse(); }
    void refuse() { descriptor = ombrel_close_socket(descriptor); }
    int accept(sockaddr_in* peer = nullptr) const {
        int size = sizeof *peer;
        return ombrel_accept(descriptor, reinterpret_cast<sockaddr*>(peer), peer != nullptr ? &size : nullptr,
                             -1);
    }

    int port = 0, descriptor = ombrel_open_socket(AF_INET, SOCK_STREAM, 0);
};

/// Closes a socket that belongs to the caller, and so is still open.
void close_open(int s) {
    EXPECT_TRUE(is_open_socket(s));
    ombrel_close_socket(s);
}

class EventConnect : public event_test {
protected:
    void assign(recorder& event, int fd, uint32_t flags, const char* name, int port,
                const char* bind = nullptr) {
        ASSERT_EQ(0, ombrel_assign_event_with_resolver(base, &event.event, fd, flags, recorder::handle,
                                                       &event, bind, -1, name, port));
    }
    listener server;
};

TEST_F(EventConnect, NamesAreAnsweredOrEndWithTheirTimeLimit) {
    for (const char* name : {"127.0.0.1", "::1", "localhost", "no such name"}) {
        const bool is_name = strchr(name, ' ') == nullptr;
        recorder event;
        assign(event, -1, with_resolver, name, 80);
        EXPECT_EQ(0, event.add(is_name ? 10000 : 60));
        once();
        ASSERT_EQ(results{is_name ? with_resolver : on_timeout}, event.results) << name;
        if (is_name) {
            ASSERT_NE(nullptr, event.event.m_resolver_info);
            EXPECT_EQ(80, event.event.m_resolver_info->m_port);
        }
    }
}

TEST_F(EventConnect, AnEventOfTheLibraryConnectsOnce) {
    int s = -1;
    const ombrel_event_handler_t keep = [](ombrel_event_t*, int fd, uint32_t result, void* context) {
        EXPECT_EQ(connected, result);
        *static_cast<int*>(context) = fd;
    };
    EXPECT_EQ(0, ombrel_event_base_once_with_resolver(base, -1, managed, keep, &s, 20000, "127.0.0.1", -1,
                                                      "127.0.0.1", server.port));
    once();
    const int accepted = server.accept();
    EXPECT_LE(0, accepted);
    ombrel_close_socket(accepted);
    close_open(s);
}

TEST_F(EventConnect, AddingAsksForTheName) {
    recorder event;
    names_asked = 0;
    assign(event, -1, with_resolver, "added.test", 80);
    EXPECT_EQ(0, event.add(60000));
    EXPECT_TRUE(wait_until([] { return names_asked > 0; })) << "no loop runs";
    once();
    EXPECT_EQ(results{with_resolver}, event.results);
    // What the cache knows needs no look-up and no second iteration.
    recorder known;
    assign(known, -1, with_resolver, "added.test", 80);
    EXPECT_EQ(0, known.add(60000));
    poll();
    EXPECT_EQ(results{with_resolver}, known.results);
    EXPECT_EQ(1, names_asked);
}

TEST_F(EventConnect, ANameWithoutAnswerIsAskedAgain) {
    names_to_fail = 2; // a failed look-up is tried once more at once
    recorder first, second;
    for (recorder* event : {&first, &second}) {
        assign(*event, -1, managed, "late.test", server.port);
        EXPECT_EQ(0, event->add(60000));
    }
    while (first.results.empty() || second.results.empty())
        ASSERT_NO_FATAL_FAILURE(once());
    for (const recorder* event : {&first, &second}) {
        EXPECT_EQ(results{connected}, event->results);
        ombrel_close_socket(event->fds[0]);
    }
}

TEST_F(EventConnect, EventsThatShareANameMayGoWhileItIsAsked) {
    hanging_names names;
    std::array<recorder, 5> events;
    for (recorder& event : events) {
        assign(event, -1, with_resolver, "shared.test", 80);
        EXPECT_EQ(0, event.add(60000));
    }
    ASSERT_TRUE(names.wait_for_one());
    for (const size_t gone : {4u, 0u, 2u}) // the first, the last and one between in whatever order
        EXPECT_EQ(0, ombrel_unassign_event(&events[gone].event));
    names.release();
    while (events[1].results.empty() || events[3].results.empty())
        ASSERT_NO_FATAL_FAILURE(once());
    EXPECT_EQ(1, names_asked);
}

TEST_F(EventConnect, ABaseMayGoWhileANameIsAsked) {
    const size_t before = ombrel_get_alloc_count();
    {
        hanging_names names;
        ombrel_event_base_t* other = ombrel_new_event_base();
        recorder event;
        ASSERT_EQ(0,
                  ombrel_assign_event_with_resolver(other, &event.event, -1, with_resolver, recorder::handle,
                                                    &event, nullptr, -1, "gone.test", 80));
        EXPECT_EQ(0, event.add(60000));
        ASSERT_TRUE(names.wait_for_one());
        const capture errors(stderr);
        EXPECT_EQ(0, ombrel_free_event_base(other));
    }
    EXPECT_TRUE(wait_until([=] { return ombrel_get_alloc_count() == before; }));
}

// Each answer is a matter of the events that wait for it, however many wait for others.
TEST_F(EventConnect, ManyNamesCostWorkInProportion) {
    if (!can_travel)
        GTEST_SKIP() << "Windows lets nobody count the looks at its clock";
    constexpr size_t count = 500;
    std::vector<recorder> events(count);
    hanging_names names;
    for (size_t i = 0; i < count; i++) {
        assign(events[i], -1, with_resolver, (std::to_string(i) + ".test").c_str(), 80);
        EXPECT_EQ(0, events[i].add(600000));
    }
    clock_looks = 0;
    names_in_steps = true;
    for (size_t i = 0; i < count; i++) {
        names.release();
        ASSERT_NO_FATAL_FAILURE(once());
    }
    EXPECT_GT(50u * count, clock_looks);
}

TEST_F(EventConnect, TheLoopOpensTheSocketAndHandsItOver) {
    recorder event;
    assign(event, -1, managed | on_read | persist, "localhost", server.port, "127.0.0.2");
    EXPECT_EQ(0, event.add(5000));
    once();
    ASSERT_EQ(results{connected}, event.results);
    sockaddr_in peer{};
    const int socket = event.fds[0], accepted = server.accept(&peer);
    EXPECT_EQ(0x7F000002u, ntohl(peer.sin_addr.s_addr));
    EXPECT_EQ(1, ombrel_send_now(accepted, "x", 1));
    once();
    EXPECT_EQ(on_read, event.results.back()) << "it is an ordinary event from then on";
    EXPECT_EQ(0, ombrel_unassign_event(&event.event));
    close_open(socket);
    ombrel_close_socket(accepted);
}

TEST_F(EventConnect, RefusedConnectionsFailAndMayBeTriedAgain) {
    server.refuse();
    recorder event;
    assign(event, -1, managed, "127.0.0.1", server.port);
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(0, event.add(5000));
        capture errors(stderr);
        once();
        EXPECT_NE(std::string::npos, errors.text().find("connect failed !"));
        EXPECT_EQ(-1, event.fds.back());
    }
    // The answer came with the first try.
    EXPECT_EQ((results{refused, refused & ~with_resolver}), event.results);
}

/// No address is tried from one that is none here.
TEST_F(EventConnect, WhatCannotBeginFailsAtOnce) {
    for (const char* const bind : {"nonsense", "::1", "192.0.2.1"}) {
        const descriptor_balance balance;
        recorder event;
        assign(event, -1, managed, "127.0.0.1", server.port, bind);
        EXPECT_EQ(0, event.add(5000));
        EXPECT_NE(std::string::npos, errors_of([&] { once(); }).find("immediately connect failed !")) << bind;
        EXPECT_EQ(results{refused}, event.results) << bind;
        EXPECT_EQ(-1, event.fds.back());
    }
}

TEST_F(EventConnect, ASocketThatIsConnectedAlreadyIsReady) {
    const owned_socket taken(ombrel_open_connect_socket("127.0.0.1", server.port, 10000));
    recorder event;
    assign(event, taken, managed, "127.0.0.1", server.port);
    EXPECT_EQ(0, event.add(5000));
    EXPECT_EQ("", errors_of([&] { once(); }));
    EXPECT_EQ(results{connected}, event.results);
    EXPECT_EQ(taken, event.fds.back());
    EXPECT_TRUE(is_open_socket(taken)) << "the caller's own";
}

/// The caller's socket is bound once, and tried again as it is.
TEST_F(EventConnect, TheCallersSocketIsBoundAsAsked) {
    const int own = own_port(bound(AF_INET, SOCK_STREAM));
    const int socket = ombrel_open_socket(AF_INET, SOCK_STREAM, 0);
    recorder event;
    ASSERT_EQ(0, ombrel_assign_event_with_resolver(base, &event.event, socket, managed, recorder::handle,
                                                   &event, nullptr, own, "127.0.0.1", server.port));
    EXPECT_EQ(0, event.add(5000));
    once();
    EXPECT_EQ(results{connected}, event.results);
    sockaddr_in peer{};
    ombrel_close_socket(server.accept(&peer));
    EXPECT_EQ(own, ntohs(peer.sin_port));
    close_open(socket);
}

// The first round opens what the base keeps.
TEST_F(EventConnect, NothingIsLeftOfTheAddressesThatRefused) {
    const int refused_port = listener().port;
    for (const bool warm : {false, true}) {
        const std::unique_ptr<descriptor_balance> balance(warm ? new descriptor_balance : nullptr);
        recorder event;
        assign(event, -1, managed, "127.0.0.1", server.port);
        ombrel_resolver_t** end = &event.event.m_resolver_info;
        for (const int port : {refused_port, refused_port, server.port}) {
            *end = ombrel_open_resolver("127.0.0.1", port);
            end = &(*end)->m_next;
        }
        EXPECT_EQ(0, event.add(20000));
        once();
        ASSERT_EQ(results{connected & ~with_resolver}, event.results);
        ombrel_close_socket(server.accept());
        close_open(event.fds[0]);
    }
}

TEST_F(EventConnect, TheCallersSocketStaysTheCallers) {
    const sockaddr_in there = loopback(server.port);
    const struct {
        bool is_named, is_begun;
        uint32_t expected;
    } cases[] = {
        {true, false, connected},
        {false, true, connected & ~with_resolver},
#if !defined(_WIN32) // which takes no notice of a socket that nobody connects
        {false, false, refused & ~with_resolver},
#endif
    };
    for (const auto& one : cases) {
        const int socket = ombrel_open_socket(AF_INET, SOCK_STREAM, 0);
        if (one.is_begun)
            ombrel_connect(socket, reinterpret_cast<const sockaddr*>(&there), sizeof there, 0);
        recorder event;
        const uint32_t wanted = one.is_named ? managed : managed & ~with_resolver;
        assign(event, socket, wanted | on_read | persist, one.is_named ? "127.0.0.1" : nullptr, server.port);
        EXPECT_EQ(0, event.add(5000));
        EXPECT_EQ(one.expected != (refused & ~with_resolver), errors_of([&] { once(); }).empty());
        poll(); // what failed is looked at no more
        EXPECT_EQ(results{one.expected}, event.results);
        close_open(socket);
    }
}

TEST_F(EventConnect, DeletingAnUnfinishedConnectionClosesItsSocket) {
    // An address that answers neither way; a host without a route refuses at once, which is as good here. The
    // first round opens what the base keeps.
    for (const bool warm : {false, true}) {
        const std::unique_ptr<descriptor_balance> balance(warm ? new descriptor_balance : nullptr);
        recorder event;
        assign(event, -1, managed, "192.0.2.1", 9);
        EXPECT_EQ(0, event.add(30));
        errors_of([&] { once(); });
        ASSERT_EQ(1u, event.results.size());
        EXPECT_EQ(-1, event.event.m_fd);
    }
}

/// An echo service and its clients on one loop; every connection is opened, used and closed by handlers.
struct echo_soak {
    ombrel_event_base_t* base;
    int port;
    int to_start, open = 0, done = 0;

    void connect() {
        to_start--;
        open++;
        const uint32_t flags = managed | persist;
        ombrel_event_t* client =
            ombrel_new_event_with_resolver(base, -1, flags, on_client, this, nullptr, -1, "127.0.0.1", port);
        EXPECT_EQ(0, ombrel_event_enable_buffer(client, def_ombrel_event_buffer_both));
        EXPECT_EQ(0, ombrel_add_event(client, 10000));
    }
    void close(ombrel_event_t* event, int fd) {
        EXPECT_EQ(0, ombrel_free_event(event));
        ombrel_close_socket(fd);
        if (--open == 0 && to_start == 0)
            ombrel_event_base_break_loop(base);
    }
    static void on_accept(ombrel_event_t*, int fd, uint32_t result, void* context) {
        auto& self = *static_cast<echo_soak*>(context);
        if (result != on_read)
            return;
        const int accepted = ombrel_accept(fd, nullptr, nullptr, -1);
        ASSERT_GE(accepted, 0);
        self.open++;
        ombrel_event_t* server = ombrel_new_event(self.base, accepted, persist, on_server, context);
        EXPECT_EQ(0, ombrel_event_enable_buffer(server, def_ombrel_event_buffer_both));
        EXPECT_EQ(0, ombrel_add_event(server, 10000));
    }
    static void on_server(ombrel_event_t* event, int fd, uint32_t result, void* context) {
        char bytes[64];
        if (result == def_ombrel_event_assigned)
            return;
        const ptrdiff_t size =
            ombrel_event_pop_buffer(event, def_ombrel_event_buffer_input, bytes, sizeof bytes);
        if (size > 0)
            ombrel_event_push_buffer(event, def_ombrel_event_buffer_output, bytes, static_cast<size_t>(size));
        else if ((result & (on_exception | on_timeout)) != 0)
            static_cast<echo_soak*>(context)->close(event, fd);
    }
    static void on_client(ombrel_event_t* event, int fd, uint32_t result, void* context) {
        auto& self = *static_cast<echo_soak*>(context);
        if (result == def_ombrel_event_assigned)
            return;
        if ((result & def_ombrel_event_connected) != 0) {
            EXPECT_EQ(4, ombrel_event_push_puts(event, def_ombrel_event_buffer_output, "ping"));
        } else if (ombrel_event_get_buffer_size(event, def_ombrel_event_buffer_input) >= 4 ||
                   (result & ~on_write) != 0) {
            self.done += (result & on_read) != 0 ? 1 : 0;
            if (self.to_start > 0)
                self.connect();
            self.close(event, fd);
        }
    }
};

TEST_F(EventConnect, ConnectionsComeAndGoWithoutATrace) {
    echo_soak soak{base, server.port, 1000};
    recorder acceptor;
    ASSERT_EQ(0, ombrel_assign_event(base, &acceptor.event, server.descriptor, on_read | persist,
                                     echo_soak::on_accept, &soak));
    EXPECT_EQ(0, acceptor.add());
    for (int i = 0; i < 20; i++)
        soak.connect();
    EXPECT_EQ(0, ombrel_event_base_dispatch(base));
    EXPECT_EQ(1000, soak.done);
}

} // namespace
