// What the loop and the select dispatcher take every kind of descriptor to be ready for.
#include <cstdlib>
#include <fcntl.h>

#include <ombrel/select.h>

#include "event/event_fixture.h"
#include "network/loopback.h"

namespace {

using namespace ombrel_test;

/// A descriptor in a state, with what keeps it there.
struct subject {
    int fd() const { return all.front(); }
    std::vector<owned_socket> all; ///< the first is the one that is waited for
};

subject of(std::initializer_list<int> descriptors) {
    subject result;
    for (int fd : descriptors)
        result.all.emplace_back(fd);
    return result;
}

/// The ends in the order given by `first`, the other end closed if wanted.
subject ends_of(const int (&ends)[2], int first, bool alone = false) {
    if (!alone)
        return of({ends[first], ends[1 - first]});
    ::close(ends[1 - first]);
    return of({ends[first]});
}

subject local_pair(bool alone) {
    int ends[2];
    EXPECT_EQ(0, ::socketpair(AF_UNIX, SOCK_STREAM, 0, ends));
    return ends_of(ends, 0, alone);
}

subject tcp_pair() {
    int ends[2];
    EXPECT_EQ(0, ombrel_socket_pipe(ends));
    return ends_of(ends, 0);
}

subject pipe_end(int first, bool alone) {
    int ends[2];
    EXPECT_EQ(0, ::pipe(ends));
    return ends_of(ends, first, alone);
}

subject full_pipe(bool alone) {
    int ends[2];
    EXPECT_EQ(0, ::pipe2(ends, O_NONBLOCK));
    const std::vector<char> bytes(65536);
    while (::write(ends[1], bytes.data(), bytes.size()) > 0) {
    }
    return ends_of(ends, 1, alone);
}

subject terminal(int first, bool alone) {
    const int master = ::posix_openpt(O_RDWR | O_NOCTTY);
    EXPECT_TRUE(::grantpt(master) == 0 && ::unlockpt(master) == 0);
    const int ends[] = {master, ::open(::ptsname(master), O_RDWR | O_NOCTTY)};
    return ends_of(ends, first, alone);
}

int fresh_tcp() {
    const int s = ombrel_open_socket(AF_INET, SOCK_STREAM, 0);
    ombrel_set_non_block_socket(s, 1);
    return s;
}

/// Connects to a port where nobody listens; the refusal is there when it returns.
void connect_in_vain(int s) {
    const owned_socket refusing = bound(AF_INET, SOCK_STREAM);
    socket_address address = own_address(refusing);
    EXPECT_EQ(-1, ::connect(s, address.get(), static_cast<socklen_t>(address.size)));
    EXPECT_EQ(EINPROGRESS, errno);
}

subject refused() {
    subject result = of({fresh_tcp()});
    connect_in_vain(result.fd());
    return result;
}

subject after(subject result, void (*act)(subject&)) {
    act(result);
    return result;
}

void send_byte(subject& to) {
    EXPECT_EQ(1, ::send(to.all[1], "x", 1, 0));
}

void send_urgent(subject& to) {
    EXPECT_EQ(1, ::send(to.all[1], "x", 1, MSG_OOB));
}

void reset(subject& of) {
    const linger at_once{1, 0};
    ::setsockopt(of.all[1], SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    of.all[1].close();
}

void write_byte(subject& to) {
    EXPECT_EQ(1, ::write(to.all[1], "x", 1));
}

subject listening(bool wanted) {
    subject result;
    result.all.push_back(bound(AF_INET, SOCK_STREAM));
    EXPECT_EQ(0, ::listen(result.fd(), 1));
    if (wanted) {
        socket_address address = own_address(result.fd());
        result.all.emplace_back(fresh_tcp());
        ::connect(result.all[1], address.get(), static_cast<socklen_t>(address.size));
    }
    return result;
}

subject datagrams(void (*act)(subject&)) {
    owned_socket peer = bound(AF_INET, SOCK_DGRAM), own = bound(AF_INET, SOCK_DGRAM);
    socket_address there = own_address(peer), here = own_address(own);
    EXPECT_EQ(0, ::connect(own, there.get(), static_cast<socklen_t>(there.size)));
    EXPECT_EQ(0, ::connect(peer, here.get(), static_cast<socklen_t>(here.size)));
    subject result;
    result.all.push_back(std::move(own));
    result.all.push_back(std::move(peer));
    act(result);
    return result;
}

void lose_a_datagram(subject& from) {
    from.all[1].close();
    EXPECT_EQ(1, ::send(from.fd(), "x", 1, 0));
}

const struct {
    const char* name;
    int ready; ///< of all three kinds
    subject (*make)();
} states[] = {
    {"local socket", 2, [] { return local_pair(false); }},
    {"local socket with a byte", 3, [] { return after(local_pair(false), send_byte); }},
    {"local socket whose peer is gone", 3, [] { return local_pair(true); }},
    {"connection", 2, tcp_pair},
    {"connection with a byte", 3, [] { return after(tcp_pair(), send_byte); }},
    {"connection with urgent data", 6, [] { return after(tcp_pair(), send_urgent); }},
    {"half-closed connection", 3,
     [] { return after(tcp_pair(), [](subject& of) { ::shutdown(of.all[1], SHUT_WR); }); }},
    {"connection whose end was shut", 3,
     [] { return after(tcp_pair(), [](subject& of) { ::shutdown(of.fd(), SHUT_RDWR); }); }},
    {"reset connection", 7, [] { return after(tcp_pair(), reset); }},
    {"fresh socket", 3, [] { return of({fresh_tcp()}); }},
    {"refused connection", 7, refused},
    {"listening socket", 0, [] { return listening(false); }},
    {"listening socket with a connection", 1, [] { return listening(true); }},
    {"datagrams", 2, [] { return datagrams([](subject&) {}); }},
    {"datagrams with one", 3, [] { return datagrams(send_byte); }},
    {"datagrams with a queued error", 3, [] { return datagrams(lose_a_datagram); }},
    {"reading end", 0, [] { return pipe_end(0, false); }},
    {"reading end with a byte", 1, [] { return after(pipe_end(0, false), write_byte); }},
    {"reading end alone", 1, [] { return pipe_end(0, true); }},
    {"writing end", 2, [] { return pipe_end(1, false); }},
    {"writing end alone", 3, [] { return pipe_end(1, true); }},
    {"full pipe", 0, [] { return full_pipe(false); }},
    {"full pipe alone", 3, [] { return full_pipe(true); }},
    {"terminal's master", 2, [] { return terminal(0, false); }},
    {"terminal's master alone", 3, [] { return terminal(0, true); }},
    {"terminal", 2, [] { return terminal(1, false); }},
    {"terminal that was hung up", 7, [] { return terminal(1, true); }},
    {"regular file", 3, [] { return of({::open("/proc/self/exe", O_RDONLY)}); }},
    {"null device", 3, [] { return of({::open("/dev/null", O_RDWR)}); }},
};

class Readiness : public event_test {
protected:
    /// What an event with the interest is told in two iterations: each time the same.
    int told(int fd, int interest, uint32_t persist) {
        recorder event(base, fd, static_cast<uint32_t>(interest) | persist, [persist](recorder& self) {
            if (persist == 0)
                self.add();
        });
        EXPECT_EQ(0, event.add());
        EXPECT_EQ(0, poll());
        const size_t calls = event.results.size();
        EXPECT_EQ(0, poll());
        EXPECT_EQ(2 * calls, event.results.size());
        return calls == 0 ? 0 : static_cast<int>(event.results.back());
    }
};

int dispatched(int fd, int interest) {
    ombrel_select_t* record = ombrel_open_select();
    ombrel_set_select(record, fd, interest);
    const int count = ombrel_select_dispatch(record, 0);
    const int ready = ombrel_is_select(record, fd, 7);
    EXPECT_EQ(__builtin_popcount(static_cast<unsigned>(ready)), count);
    ombrel_close_select(record);
    return ready;
}

TEST_F(Readiness, TheLoopAndTheDispatcherAgree) {
    for (const auto& state : states)
        for (int interest = 1; interest <= 7; interest++) {
            SCOPED_TRACE(std::string(state.name) + " for " + std::to_string(interest));
            const subject one = state.make();
            ASSERT_GE(one.fd(), 0);
            const int expected = state.ready & interest;
            EXPECT_EQ(expected, ombrel_single_select(one.fd(), interest, 0));
            EXPECT_EQ(expected, dispatched(one.fd(), interest));
            EXPECT_EQ(expected, told(one.fd(), interest, def_ombrel_event_persist));
            EXPECT_EQ(expected, told(one.fd(), interest, 0));
        }
}

TEST_F(Readiness, InterestOutlastsAHangUpOfNoInterest) {
    for (uint32_t persist : {0u, def_ombrel_event_persist}) {
        const owned_socket s(fresh_tcp());
        recorder event(base, s, def_ombrel_event_exception | persist);
        EXPECT_EQ(0, event.add(20000));
        for (int i = 0; i < 3; i++)
            EXPECT_EQ(0, poll());
        EXPECT_TRUE(event.results.empty());
        connect_in_vain(s);
        EXPECT_EQ(0, once());
        if (persist != 0) {
            EXPECT_EQ(0, once()) << "and again, as it stands";
        }
        EXPECT_EQ(std::vector<uint32_t>(persist != 0 ? 2 : 1, def_ombrel_event_exception), event.results);
    }
}

TEST_F(Readiness, NothingOfInterestLetsTheLoopSleep) {
    std::vector<subject> quiet;
    std::vector<std::unique_ptr<recorder>> events;
    for (const auto& state : states)
        for (uint32_t persist : {0u, def_ombrel_event_persist})
            if (const uint32_t others = 7u & ~static_cast<uint32_t>(state.ready)) {
                quiet.push_back(state.make());
                events.push_back(std::make_unique<recorder>(base, quiet.back().fd(), others | persist));
                EXPECT_EQ(0, events.back()->add());
            }
    EXPECT_EQ(0, ombrel_event_base_exit_loop(base, 200));
    const int before = processor_milliseconds();
    EXPECT_EQ(0, ombrel_event_base_dispatch(base));
    EXPECT_LT(processor_milliseconds() - before, 25);
    for (const auto& event : events)
        EXPECT_TRUE(event->results.empty());
}

} // namespace
