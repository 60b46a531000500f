// The cost of an event as the number of watched sockets grows: bytes cascade from pair to pair, 100 at a
// time.
#include <algorithm>
#include <vector>

#include <benchmark/benchmark.h>
#include <event2/event.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <ombrel/event.h>
#include <ombrel/event_base.h>

namespace {

/// The descriptors that this process may have, after asking for as many as it can get.
rlim_t raise_descriptor_limit() {
    rlimit limit{65536, 65536};
    if (setrlimit(RLIMIT_NOFILE, &limit) == 0)
        return limit.rlim_cur;
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    return limit.rlim_cur;
}

/// 9000 pairs are what the usual hard limit of 20,000 descriptors leaves room for.
const int most_pairs = raise_descriptor_limit() >= 20100 ? 10000 : 9000;

constexpr size_t active_writers = 100;
constexpr size_t writes_in_a_round = 10000;

/// The socket pairs and the state of one round. Pair `i` is read at reader(i) and written at writer(i).
class cascade {
public:
    explicit cascade(size_t count) {
        for (size_t i = 0; i < count; i++) {
            int ends[2];
            if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends) != 0)
                break;
            readers_.push_back(ends[0]);
            writers_.push_back(ends[1]);
        }
    }
    ~cascade() {
        for (size_t i = 0; i < size(); i++) {
            close(readers_[i]);
            close(writers_[i]);
        }
    }
    cascade(const cascade&) = delete;
    cascade& operator=(const cascade&) = delete;

    size_t size() const { return readers_.size(); }
    int reader(size_t i) const { return readers_[i]; }

    void start() {
        left_ = writes_in_a_round;
        fired_ = received_ = 0;
        const size_t space = size() / active_writers;
        for (size_t i = 0; i < active_writers; i++)
            write_to(i * space);
    }
    bool is_done() const { return received_ == fired_; }

    void on_readable(size_t i) {
        char byte;
        received_ += static_cast<size_t>(std::max<ssize_t>(recv(reader(i), &byte, 1, 0), 0));
        if (left_ == 0)
            return;
        left_--;
        write_to(i + 1 < size() ? i + 1 : 0);
    }

private:
    void write_to(size_t i) { fired_ += send(writers_[i], "e", 1, 0) == 1 ? 1 : 0; }

    std::vector<int> readers_, writers_;
    size_t left_ = 0, fired_ = 0, received_ = 0;
};

struct place {
    cascade* of;
    size_t index;
    event* peer; ///< the other library's event
};

/// `persist` events stay registered; the others are added again by their handler.
template<bool persist>
class ombrel_loop {
public:
    void add(int fd, place& where) {
        const uint32_t flags = def_ombrel_event_read | (persist ? def_ombrel_event_persist : 0);
        auto* event = ombrel_new_event(base_, fd, flags, handle, &where);
        ombrel_add_event(event, -1);
        events_.push_back(event);
    }
    void run_once() { ombrel_event_base_loop(base_, def_ombrel_event_loop_once); }
    ~ombrel_loop() {
        for (auto* event : events_)
            ombrel_free_event(event);
        ombrel_free_event_base(base_);
    }

private:
    static void handle(ombrel_event_t* event, int, uint32_t result, void* context) {
        if (result == def_ombrel_event_assigned)
            return;
        auto& where = *static_cast<place*>(context);
        where.of->on_readable(where.index);
        if (!persist)
            ombrel_add_event(event, -1);
    }
    ombrel_event_base_t* base_ = ombrel_new_event_base();
    std::vector<ombrel_event_t*> events_;
};

template<bool persist>
class libevent_loop {
public:
    void add(int fd, place& where) {
        auto* event = event_new(base_, fd, persist ? EV_READ | EV_PERSIST : EV_READ, handle, &where);
        where.peer = event;
        event_add(event, nullptr);
        events_.push_back(event);
    }
    void run_once() { event_base_loop(base_, EVLOOP_ONCE); }
    ~libevent_loop() {
        for (auto* event : events_)
            event_free(event);
        event_base_free(base_);
    }

private:
    static void handle(evutil_socket_t, short, void* context) {
        auto& where = *static_cast<place*>(context);
        where.of->on_readable(where.index);
        if (!persist)
            event_add(where.peer, nullptr);
    }
    event_base* base_ = event_base_new();
    std::vector<event*> events_;
};

template<typename Loop>
void run_cascade(benchmark::State& state) {
    cascade pairs(static_cast<size_t>(state.range(0)));
    if (pairs.size() != static_cast<size_t>(state.range(0))) {
        state.SkipWithError("not enough descriptors");
        return;
    }
    std::vector<place> places(pairs.size());
    Loop loop;
    for (size_t i = 0; i < pairs.size(); i++) {
        places[i] = {&pairs, i, nullptr};
        loop.add(pairs.reader(i), places[i]);
    }
    for (auto _ : state) {
        pairs.start();
        while (!pairs.is_done())
            loop.run_once();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * (writes_in_a_round + active_writers)));
}

#define CASCADE(count, work, persist)                                                                        \
    BENCHMARK(run_cascade<ombrel_loop<persist>>)                                                             \
        ->Name(work "|ombrel")                                                                               \
        ->Arg(count)                                                                                         \
        ->Unit(benchmark::kMillisecond);                                                                     \
    BENCHMARK(run_cascade<libevent_loop<persist>>)                                                           \
        ->Name(work "|libevent")                                                                             \
        ->Arg(count)                                                                                         \
        ->Unit(benchmark::kMillisecond)

CASCADE(100, "event cascade", true);
CASCADE(1000, "event cascade", true);
CASCADE(most_pairs, "event cascade", true);
CASCADE(1000, "event cascade of one-shot events", false);

/// Timers that are armed anew all the time and hardly ever fire, as those of connections are.
constexpr int timer_count = 10000;

void ombrel_timers(benchmark::State& state) {
    ombrel_event_base_t* base = ombrel_new_event_base();
    std::vector<ombrel_event_t> events(timer_count);
    for (auto& event : events)
        ombrel_assign_event(base, &event, -1, 0, nullptr, nullptr);
    unsigned random = 1;
    for (auto _ : state)
        for (auto& event : events) {
            random = random * 1664525u + 1013904223u;
            ombrel_add_event(&event, static_cast<int>(10000 + (random >> 16)));
        }
    state.SetItemsProcessed(state.iterations() * timer_count);
    for (auto& event : events)
        ombrel_unassign_event(&event);
    ombrel_free_event_base(base);
}

void libevent_timers(benchmark::State& state) {
    event_base* base = event_base_new();
    std::vector<event*> events;
    for (int i = 0; i < timer_count; i++)
        events.push_back(event_new(
            base, -1, 0, [](evutil_socket_t, short, void*) {}, nullptr));
    unsigned random = 1;
    for (auto _ : state)
        for (auto* event : events) {
            random = random * 1664525u + 1013904223u;
            const unsigned limit = 10000 + (random >> 16);
            const timeval time{limit / 1000, static_cast<suseconds_t>(limit % 1000) * 1000};
            event_add(event, &time);
        }
    state.SetItemsProcessed(state.iterations() * timer_count);
    for (auto* event : events)
        event_free(event);
    event_base_free(base);
}

BENCHMARK(ombrel_timers)->Name("event arming of timers|ombrel")->Unit(benchmark::kMillisecond);
BENCHMARK(libevent_timers)->Name("event arming of timers|libevent")->Unit(benchmark::kMillisecond);

} // namespace
