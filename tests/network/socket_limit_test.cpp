// Time limits of sockets that poll ready and then have nothing, or no room.
#include <ombrel/socket.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <functional>
#include <poll.h>
#include <sys/un.h>
#include <vector>

#include "loopback.h"
#include "support/heap_balance.h"
#include "support/no_copy.h"

using namespace ombrel_test;

namespace {

using hook = std::function<void(int round)>;

/// Stands around each poll of the library: `before` makes the socket ready, `after` takes it away again, as
/// another thread or process may. It gives up after many rounds, so that a call that never ends does.
class interference : no_copy {
public:
    explicit interference(hook before = {}, hook after = {})
        : before_(std::move(before)), after_(std::move(after)) {
        current = this;
    }
    ~interference() { current = nullptr; }

    int around(const std::function<int()>& poll) {
        constexpr int most_rounds = 1000;
        current = nullptr;
        const bool active = ++rounds <= most_rounds;
        if (active && before_)
            before_(rounds);
        const int result = poll();
        if (active && after_)
            after_(rounds);
        current = this;
        return result;
    }

    int rounds = 0;
    static inline interference* current = nullptr;

private:
    hook before_, after_;
};

void drain(int s) {
    std::vector<char> block(65536);
    while (ombrel_sys_recv(s, block.data(), block.size(), MSG_DONTWAIT) > 0) {
    }
}

/// Takes two thirds of what an int can count each time, without a look at it.
int greedy_socket = -1;

// A round that had nothing sleeps for a millisecond, so that more rounds than milliseconds are too many.
constexpr int limit_ms = 20, most_rounds_in_limit = limit_ms + 5;

/// What the call gives without and with a limit, each in no more rounds than that allows.
void keeps_to_its_limit(int expected, const interference& around, const std::function<int(int)>& call) {
    for (const int timeout : {0, limit_ms}) {
        const int rounds_before = around.rounds;
        EXPECT_EQ(expected, call(timeout));
        const int rounds = around.rounds - rounds_before;
        EXPECT_LE(1, rounds);
        EXPECT_GE(timeout == 0 ? 1 : most_rounds_in_limit, rounds);
    }
}

/// A receiver of datagrams, which stand there before each poll.
struct fed_receiver {
    owned_socket receiver = bound(AF_INET, SOCK_DGRAM), sender = bound(AF_INET, SOCK_DGRAM);
    socket_address to = own_address(receiver), from;
    hook feed = [this](int) { ombrel_sys_sendto(sender, "data", 4, 0, to.get(), to.size); };
};

TEST(SocketLimit, ADatagramThatIsGoneIsWaitedForNoLongerThanAsked) {
    fed_receiver fed;
    interference thief(fed.feed, [&](int) { drain(fed.receiver); });
    char text[8];
    keeps_to_its_limit(-2, thief,
                       [&](int limit) { return ombrel_recv(fed.receiver, text, sizeof text, limit); });
    keeps_to_its_limit(-2, thief, [&](int limit) {
        return ombrel_recvfrom(fed.receiver, text, sizeof text, fed.from.get(), &fed.from.size, limit);
    });
}

TEST(SocketLimit, AFillCountsEachDatagramThatIsGone) {
    for (const bool with_sender : {false, true}) {
        fed_receiver fed;
        interference thief(fed.feed, [&](int round) {
            if (round <= 2)
                drain(fed.receiver);
        });
        char text[4];
        // Twice less two, twice plus four.
        EXPECT_EQ(4, with_sender
                         ? ombrel_recvfrom_fill(fed.receiver, text, 4, fed.from.get(), &fed.from.size, 0)
                         : ombrel_recv_fill(fed.receiver, text, 4, 0));
        EXPECT_EQ(4, thief.rounds);
    }
}

TEST(SocketLimit, AnErrorThatAReceiveDoesNotFetchIsNoData) {
    const owned_socket s = bound(AF_INET, SOCK_DGRAM);
    const int on = 1;
    ASSERT_EQ(0, ombrel_setsockopt(s, IPPROTO_IP, IP_RECVERR, &on, sizeof on));
    owned_socket nobody = bound(AF_INET, SOCK_DGRAM);
    socket_address there = own_address(nobody);
    nobody.close();
    ASSERT_EQ(0, ombrel_connect(s, there.get(), there.size, -1));
    EXPECT_EQ(1, ombrel_send(s, "x", 1, 1000));
    char byte;
    EXPECT_EQ(-1, ombrel_recv(s, &byte, 1, 10000));
    EXPECT_EQ(ECONNREFUSED, errno);
    interference rounds;
    keeps_to_its_limit(-2, rounds, [&](int limit) { return ombrel_recv(s, &byte, 1, limit); });
}

TEST(SocketLimit, AConnectionThatIsGoneIsWaitedForNoLongerThanAsked) {
    const owned_socket listener = bound(AF_INET, SOCK_STREAM);
    ASSERT_EQ(0, ombrel_listen(listener, 4));
    socket_address to = own_address(listener);
    owned_socket client;
    {
        interference thief(
            [&](int) {
                client = owned_socket(ombrel_open_socket(AF_INET, SOCK_STREAM, 0));
                ombrel_connect(client, to.get(), to.size, -1);
            },
            [&](int) { owned_socket(ombrel_accept(listener, nullptr, nullptr, -1)); });
        keeps_to_its_limit(-1, thief,
                           [&](int limit) { return ombrel_accept(listener, nullptr, nullptr, limit); });
    }
    for (const int mode : {0, O_NONBLOCK}) {
        ASSERT_EQ(0, ombrel_set_non_block_socket(listener, mode));
        client = owned_socket(ombrel_open_socket(AF_INET, SOCK_STREAM, 0));
        ASSERT_EQ(0, ombrel_connect(client, to.get(), to.size, -1));
        const owned_socket accepted(ombrel_accept(listener, nullptr, nullptr, 10000));
        EXPECT_EQ(0, fcntl(accepted, F_GETFL) & O_NONBLOCK);
        EXPECT_EQ(mode, fcntl(listener, F_GETFL) & O_NONBLOCK) << "as it was";
    }
    EXPECT_EQ(-1, ombrel_accept(listener, nullptr, nullptr, -1));
    EXPECT_EQ(EAGAIN, errno);
}

TEST(SocketLimit, RoomThatIsGoneIsWaitedForNoLongerThanAsked) {
    connected_pair pair;
    interference thief([&](int) { drain(pair.b); }, [&](int) { fill_up(pair.a); });
    keeps_to_its_limit(0, thief, [&](int limit) { return ombrel_send(pair.a, "x", 1, limit); });
    keeps_to_its_limit(0, thief, [&](int limit) { return ombrel_send_message(pair.a, limit, "%d", 1); });
}

TEST(SocketLimit, AFullQueueOfDatagramsIsNoRoomAlthoughTheSocketPollsReady) {
    sockaddr_un name{};
    name.sun_family = AF_UNIX; // an abstract name
    snprintf(name.sun_path + 1, sizeof name.sun_path - 1, "ombrel-%ld", static_cast<long>(getpid()));
    const owned_socket receiver(ombrel_open_socket(AF_UNIX, SOCK_DGRAM, 0));
    const owned_socket sender(ombrel_open_socket(AF_UNIX, SOCK_DGRAM, 0));
    sockaddr* const to = reinterpret_cast<sockaddr*>(&name);
    ASSERT_EQ(0, ombrel_bind(receiver, to, sizeof name));
    int sent = 0;
    while (ombrel_sys_sendto(sender, "x", 1, MSG_DONTWAIT, to, sizeof name) == 1)
        sent++;
    interference rounds;
    keeps_to_its_limit(0, rounds,
                       [&](int limit) { return ombrel_sendto(sender, "x", 1, to, sizeof name, limit); });
    EXPECT_LT(0, sent);
    // An empty datagram waits for room like any other.
    interference reader({}, [&](int round) {
        if (round == 3)
            drain(receiver);
    });
    EXPECT_EQ(0, ombrel_sendto(sender, "", 0, to, sizeof name, 60'000));
    EXPECT_EQ(0, ombrel_sys_recv(receiver, nullptr, 0, MSG_DONTWAIT)) << "it arrived";
}

TEST(SocketLimit, NoMoreIsSentThanAResultCounts) {
    connected_pair pair;
    static const char data = 'x';
    greedy_socket = pair.a;
    EXPECT_EQ(INT_MAX, ombrel_send(pair.a, &data, size_t{INT_MAX} + 10, -1));
    greedy_socket = -1;
}

TEST(SocketLimit, LongDataAreSentAsFarAsTheLimitAllows) {
    const std::vector<char> data(8'000'000, 'x');
    connected_pair pair;
    const int taken = ombrel_send(pair.a, data.data(), data.size(), limit_ms);
    EXPECT_LT(0, taken);
    EXPECT_GT(8'000'000, taken) << "nobody reads";
    EXPECT_EQ(0, ombrel_send(pair.a, data.data(), data.size(), 0));
    drain(pair.b);
    for (const int timeout : {-1, 60'000}) {
        // The peer reads while the library waits for room.
        interference reader([&](int) { drain(pair.b); });
        EXPECT_EQ(8'000'000, ombrel_send(pair.a, data.data(), data.size(), timeout));
    }
}

} // namespace

// The host's function, in this program and in the library that it links.
extern "C" int poll(pollfd* asked, nfds_t count, int timeout) {
    static const auto host = reinterpret_cast<int (*)(pollfd*, nfds_t, int)>(dlsym(RTLD_NEXT, "poll"));
    const auto wait = [&] { return host(asked, count, timeout); };
    interference* const around = interference::current;
    return around != nullptr && count != 0 ? around->around(wait) : wait();
}

extern "C" ssize_t sendto(int s, const void* data, size_t size, int flags, const sockaddr* to,
                          socklen_t room) {
    static const auto host = reinterpret_cast<decltype(&sendto)>(dlsym(RTLD_NEXT, "sendto"));
    return s == greedy_socket ? static_cast<ssize_t>(std::min<size_t>(size, INT_MAX / 3 * 2))
                              : host(s, data, size, flags, to, room);
}
