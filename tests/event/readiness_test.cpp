// What the loop and the select dispatcher take every kind of descriptor to be ready for.
#include <cstdio>
#include <fcntl.h>

#include <ombrel/pipe.h>
#include <ombrel/select.h>

#include "event/event_fixture.h"
#include "network/loopback.h"
#include "support/no_afd.h"
#include "support/temporary_path.h"

namespace {

using namespace ombrel_test;

/// Of a socket or of another kind, closed at the end of its life.
class owned_descriptor {
public:
    owned_descriptor(int descriptor) : descriptor_(descriptor) {}
    owned_descriptor(owned_descriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    ~owned_descriptor() { close(); }
    void close() {
        const int last = std::exchange(descriptor_, -1);
        if (is_open_socket(last))
            ombrel_close_socket(last);
        else if (last >= 0)
            ::close(last);
    }
    operator int() const { return descriptor_; }

private:
    int descriptor_;
};

/// A descriptor in a state, with what keeps it there: the first is the one that is waited for.
struct subject : std::vector<owned_descriptor> {
    subject(std::initializer_list<int> descriptors) : vector(descriptors.begin(), descriptors.end()) {}
    int fd() const { return front(); }
};

/// One of two ends, with the other one if it is kept.
subject end_of(const int (&ends)[2], int which, bool alone) {
    subject both{ends[which], ends[1 - which]};
    if (alone)
        both.pop_back();
    return both;
}

subject local_pair(bool alone = false) {
    int ends[2];
    EXPECT_EQ(0, connect_pair(ends));
    return end_of(ends, 0, alone);
}

subject tcp_pair() {
    int ends[2];
    EXPECT_EQ(0, ombrel_socket_pipe(ends));
    return end_of(ends, 0, false);
}

subject pipe_end(int which, bool alone, [[maybe_unused]] bool full = false) {
    int ends[2];
    EXPECT_EQ(0, ombrel_pipe(ends));
#if !defined(_WIN32)
    EXPECT_EQ(0, ::fcntl(ends[1], F_SETFL, O_NONBLOCK));
    const std::vector<char> bytes(65536);
    while (full && ::write(ends[1], bytes.data(), bytes.size()) > 0)
        continue;
#endif
    return end_of(ends, which, alone);
}

#if defined(_WIN32)
constexpr int goes_when_closed = O_TEMPORARY;
constexpr char null_device[] = "NUL";
#else
constexpr int goes_when_closed = 0;
constexpr char null_device[] = "/dev/null";

subject terminal(int which, bool alone) {
    const int master = ::posix_openpt(O_RDWR | O_NOCTTY);
    EXPECT_TRUE(::grantpt(master) == 0 && ::unlockpt(master) == 0);
    return end_of({master, ::open(::ptsname(master), O_RDWR | O_NOCTTY)}, which, alone);
}
#endif

int fresh_tcp() {
    const int s = ombrel_open_socket(AF_INET, SOCK_STREAM, 0);
    ombrel_set_non_block_socket(s, 1);
    return s;
}

int join(int s, int with) {
    socket_address there = own_address(with);
    return ombrel_connect(s, there.get(), there.size, -1);
}

/// Connects to a port where nobody listens; the refusal is there when it returns.
void connect_in_vain(int s) {
    EXPECT_EQ(-1, join(s, bound(AF_INET, SOCK_STREAM)));
    EXPECT_EQ(EINPROGRESS, errno);
}

subject refused_connection() {
    subject result{fresh_tcp()};
    connect_in_vain(result.fd());
    return result;
}

subject listening(bool wanted) {
    subject result{};
    result.emplace_back(bound(AF_INET, SOCK_STREAM).release());
    EXPECT_EQ(0, ombrel_listen(result.fd(), 1));
    if (wanted) {
        result.emplace_back(fresh_tcp());
        join(result[1], result[0]);
    }
    return result;
}

subject datagrams() {
    subject result{};
    for (int i = 0; i < 2; i++)
        result.emplace_back(bound(AF_INET, SOCK_DGRAM).release());
    EXPECT_EQ(0, join(result[0], result[1]));
    EXPECT_EQ(0, join(result[1], result[0]));
    return result;
}

subject file() {
    const std::string path = temporary_path();
    const int made = ::open(path.c_str(), O_RDWR | O_CREAT | goes_when_closed, 0600);
    std::remove(path.c_str());
    return {made};
}

/// What the other end does.
enum class act { send, send_urgent, shut, shut_own, reset, go };

subject after(subject one, act what) {
    switch (what) {
    case act::send:
        EXPECT_EQ(1, is_open_socket(one[1]) ? ombrel_send_now(one[1], "x", 1)
                                            : ombrel_pipe_write(one[1], "x", 1));
        break;
    case act::send_urgent:
        EXPECT_EQ(1, ombrel_sys_send(one[1], "x", 1, MSG_OOB));
        break;
    case act::shut:
        ombrel_shutdown_socket(one[1], def_ombrel_shutdown_send);
        break;
    case act::shut_own:
        ombrel_shutdown_socket(one.fd(), def_ombrel_shutdown_both);
        break;
    case act::reset:
        ombrel_set_linger_socket(one[1], 1, 0);
        one[1].close();
        break;
    case act::go: // what is sent next comes back as an error
        one[1].close();
        EXPECT_EQ(1, ombrel_sys_send(one.fd(), "x", 1, 0));
    }
    return one;
}

// Windows takes no notice of what a program did itself, and keeps errors of datagrams to itself here.
#if defined(_WIN32)
constexpr int shut_by_itself = 2, not_connected = 0, with_error = 2;
#else
constexpr int shut_by_itself = 3, not_connected = 3, with_error = 3;
#endif

const struct {
    const char* name;
    int ready; ///< of all three kinds
    subject (*make)();
} states[] = {
    {"local socket", 2, [] { return local_pair(); }},
    {"local socket with a byte", 3, [] { return after(local_pair(), act::send); }},
    {"local socket whose peer is gone", 3, [] { return local_pair(true); }},
    {"connection", 2, tcp_pair},
    {"connection with a byte", 3, [] { return after(tcp_pair(), act::send); }},
    {"connection with urgent data", 6, [] { return after(tcp_pair(), act::send_urgent); }},
    {"half-closed connection", 3, [] { return after(tcp_pair(), act::shut); }},
    {"connection whose end was shut", shut_by_itself, [] { return after(tcp_pair(), act::shut_own); }},
    {"reset connection", 7, [] { return after(tcp_pair(), act::reset); }},
    {"fresh socket", not_connected, [] { return subject{fresh_tcp()}; }},
    {"refused_connection connection", 7, refused_connection},
    {"listening socket", 0, [] { return listening(false); }},
    {"listening socket with a connection", 1, [] { return listening(true); }},
    {"datagrams", 2, datagrams},
    {"datagrams with one", 3, [] { return after(datagrams(), act::send); }},
    {"datagrams with a queued error", with_error, [] { return after(datagrams(), act::go); }},
    {"reading end", 0, [] { return pipe_end(0, false); }},
    {"reading end with a byte", 1, [] { return after(pipe_end(0, false), act::send); }},
    {"reading end alone", 1, [] { return pipe_end(0, true); }},
    {"writing end", 2, [] { return pipe_end(1, false); }},
#if !defined(_WIN32)
    {"writing end alone", 3, [] { return pipe_end(1, true); }},
    {"full pipe", 0, [] { return pipe_end(1, false, true); }},
    {"full pipe alone", 3, [] { return pipe_end(1, true, true); }},
    {"terminal's master", 2, [] { return terminal(0, false); }},
    {"terminal's master alone", 3, [] { return terminal(0, true); }},
    {"terminal", 2, [] { return terminal(1, false); }},
    {"terminal that was hung up", 7, [] { return terminal(1, true); }},
#endif
    {"regular file", 3, file},
    {"null device", 3, [] { return subject{::open(null_device, O_RDWR)}; }},
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
        poll();
        const size_t calls = event.results.size();
        poll();
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
            EXPECT_EQ(expected, told(one.fd(), interest, persist));
            EXPECT_EQ(expected, told(one.fd(), interest, 0));
        }
}

TEST_F(Readiness, InterestOutlastsAHangUpOfNoInterest) {
    for (uint32_t persist : {0u, persist}) {
        const owned_descriptor s(fresh_tcp());
        recorder event(base, s, on_exception | persist);
        EXPECT_EQ(0, event.add(20000));
        for (int i = 0; i < 3; i++)
            poll();
        EXPECT_TRUE(event.results.empty());
        connect_in_vain(s);
        once();
        if (persist != 0) {
            once();
        }
        EXPECT_EQ(std::vector<uint32_t>(persist != 0 ? 2 : 1, on_exception), event.results);
    }
}

TEST_F(Readiness, NothingOfInterestLetsTheLoopSleep) {
    std::vector<subject> quiet;
    std::vector<std::unique_ptr<recorder>> events;
    for (const auto& state : states)
        for (uint32_t persist : {0u, persist})
            if (const uint32_t others = 7u & ~static_cast<uint32_t>(state.ready)) {
                quiet.push_back(state.make());
                events.push_back(std::make_unique<recorder>(base, quiet.back().fd(), others | persist));
                EXPECT_EQ(0, events.back()->add());
            }
    expect_sleep();
    for (const auto& event : events)
        EXPECT_TRUE(event->results.empty());
}

} // namespace
