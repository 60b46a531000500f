#include "protocol/listener.h"

#include <ombrel/event_base.h>
#include <ombrel/fault.h>
#include <ombrel/heap.h>
#include <ombrel/socket_open.h>

#include "network/loopback.h"
#include "support/descriptor_shortage.h"
#include "support/heap_balance.h"

using namespace ombrel_test;
using ombrel::endpoint;
using ombrel::protocol::client_place;

namespace {

/// A server that keeps its clients and says nothing.
class Listener : public balanced_test {
protected:
    void open(size_t client_limit, size_t address_limit) {
        const ombrel::protocol::listener_settings settings{"test",        "full up\n", client_limit,
                                                           address_limit, keep,        this};
        ASSERT_TRUE(listener_.open(base_, settings));
    }
    ~Listener() override {
        for (client& one : clients_)
            ombrel_close_socket(one.socket);
        listener_.close();
        ombrel_free_event_base(base_);
    }
    static void keep(int socket, const endpoint& peer, void* context) {
        auto& self = *static_cast<Listener*>(context);
        client& added = self.clients_[self.kept_++];
        added.socket = socket;
        self.listener_.take_place(added.place, peer);
    }
    void turn() { ombrel_event_base_loop(base_, def_ombrel_event_loop_non_block); }
    std::string url(size_t index) {
        char* const text = listener_.alloc_url(index, "test", 0);
        const std::string result = text != nullptr ? text : "";
        ombrel_check_free(text);
        return result;
    }
    /// What a new client is told within a turn of the loop: nothing when it is kept.
    std::string greeting(const char* address, int port) {
        const owned_socket s(ombrel_open_connect_socket(address, port, 10000));
        char words[64];
        for (int tries = 0; tries < 100; tries++) {
            turn();
            const int got = ombrel_recv(s, words, sizeof words, listener_.clients() == kept_ ? 10 : 1);
            if (got >= 0)
                return {words, static_cast<size_t>(got)};
            if (kept_ + listener_.refused() > seen_)
                break;
        }
        seen_ = kept_ + listener_.refused();
        return "";
    }

    struct client {
        int socket = -1;
        client_place place{};
    };
    ombrel_event_base_t* base_ = ombrel_new_event_base();
    ombrel::protocol::listener listener_{};
    std::array<client, 8> clients_;
    size_t kept_ = 0;
    uint64_t seen_ = 0;
};

TEST_F(Listener, ListensAtNumericAddressesAndNamesThem) {
    open(8, 0);
    for (const char* wrong : {"", "nobody", "256.0.0.1", "127.0.0.1x", "[::1", "local host"}) {
        EXPECT_EQ(-1, listener_.listen(wrong, 0)) << wrong;
        EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault()) << wrong;
    }
    EXPECT_EQ(-1, listener_.listen("127.0.0.1", 65536));
    EXPECT_EQ(-1, listener_.listen("192.0.2.1", 0)); // nobody has it
    EXPECT_EQ(def_ombrel_fault_address_not_available, ombrel_last_fault());
    const int four = listener_.listen("127.0.0.1", 0), six = listener_.listen("::1", 0);
    const int both = listener_.listen("localhost", 0), all = listener_.listen("0.0.0.0", 0);
    ASSERT_LT(0, four);
    EXPECT_EQ(-1, listener_.listen("127.0.0.1", four));
    EXPECT_EQ(def_ombrel_fault_address_in_use, ombrel_last_fault());
    std::vector<std::string> expected{"test://127.0.0.1:" + std::to_string(four) + "/"};
    if (six > 0)
        expected.push_back("test://[::1]:" + std::to_string(six) + "/");
    expected.push_back("test://127.0.0.1:" + std::to_string(both) + "/");
    expected.push_back("test://localhost:" + std::to_string(all) + "/");
    expected.push_back("");
    for (size_t i = 0; i < expected.size(); i++)
        EXPECT_EQ(expected[i], url(i));
    for (const char* address : {"127.0.0.1", "::1"})
        if (six > 0 || address[0] != ':') {
            EXPECT_EQ("", greeting(address, both));
        }
    listener_.stop();
    EXPECT_EQ("", url(0));
    EXPECT_EQ(-1, ombrel_open_connect_socket("127.0.0.1", four, 1000));
}

TEST_F(Listener, RefusesClientsBeyondItsLimits) {
    open(3, 2);
    const int port = listener_.listen("0.0.0.0", 0);
    for (const char* expected : {"", "", "full up\n", "full up\n"})
        EXPECT_EQ(expected, greeting("127.0.0.1", port));
    listener_.leave_place(clients_[0].place);
    listener_.leave_place(clients_[0].place); // once is enough
    EXPECT_EQ(1u, listener_.clients());
    EXPECT_EQ("", greeting("127.0.0.1", port));
    EXPECT_EQ(2u, listener_.refused());
    EXPECT_EQ(3u, listener_.accepted());
    // One site counts as one, however many addresses it has; the last row meets the limit on all.
    static constexpr struct {
        const char* address;
        bool has_room;
    } cases[] = {{"::ffff:127.0.0.1", false}, {"127.0.0.2", true}, {"2001:db8::1", true}};
    for (const auto& [address, has_room] : cases) {
        endpoint peer;
        ASSERT_TRUE(peer.parse(AF_UNSPEC, address, 1));
        EXPECT_EQ(has_room, listener_.has_room_for(peer)) << address;
    }
}

TEST_F(Listener, CountsAnIpv6SiteAsOneClient) {
    open(8, 2);
    static constexpr const char* same[] = {"2001:db8:0:1::1", "2001:db8:0:1:ffff::2"};
    for (size_t i = 0; i < 2; i++) {
        endpoint peer;
        ASSERT_TRUE(peer.parse(AF_INET6, same[i], 1));
        EXPECT_TRUE(listener_.has_room_for(peer));
        listener_.take_place(clients_[i].place, peer);
    }
    for (const auto& [address, has_room] :
         {std::pair{"2001:db8:0:1:5::3", false}, {"2001:db8:0:2::1", true}}) {
        endpoint peer;
        ASSERT_TRUE(peer.parse(AF_INET6, address, 1));
        EXPECT_EQ(has_room, listener_.has_room_for(peer)) << address;
    }
}

TEST_F(Listener, TellsClientsForWhomNoDescriptorIsLeftAndGoesOnLater) {
#if defined(_WIN32)
    GTEST_SKIP() << "sockets are not counted with files";
#else
    open(8, 0);
    const int port = listener_.listen("127.0.0.1", 0);
    owned_socket first(ombrel_open_connect_socket("127.0.0.1", port, 10000));
    rlimit before;
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit no_more{static_cast<rlim_t>(dup(first)), before.rlim_max};
    close(static_cast<int>(no_more.rlim_cur));
    setrlimit(RLIMIT_NOFILE, &no_more);
    turn();
    char words[16];
    EXPECT_EQ(8, ombrel_recv(first, words, sizeof words, 10000));
    setrlimit(RLIMIT_NOFILE, &before);

    const owned_socket second(ombrel_open_connect_socket("127.0.0.1", port, 10000));
    {
        const descriptor_shortage not_even_the_reserve;
        turn();
        turn();
    }
    turn();
    EXPECT_EQ(0u, listener_.clients()) << "it rests";
    while (kept_ == 0)
        ombrel_event_base_loop(base_, def_ombrel_event_loop_once);
    EXPECT_EQ(1u, listener_.refused());
#endif
}

} // namespace
