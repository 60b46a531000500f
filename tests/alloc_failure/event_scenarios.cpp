// Event bases, events, their buffers and signals.
#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <ombrel/event.h>
#include <ombrel/event_base.h>
#include <ombrel/event_buffer.h>
#include <ombrel/event_process.h>
#include <ombrel/signal.h>
#include <ombrel/socket.h>

#include "alloc_failure/injection.h"

namespace ombrel_test {
namespace {

int calls;

void count_call(ombrel_event_t*, int, uint32_t result_flags, void*) {
    calls += (result_flags & def_ombrel_event_assigned) == 0;
}

/// A base and a connected pair of sockets, the first of which has something to read.
class loop_with_pair : no_copy {
public:
    loop_with_pair() : base(ombrel_new_event_base()) {
        EXPECT_EQ(0, ombrel_socket_pipe(pair));
        EXPECT_EQ(1, ombrel_send(pair[1], "x", 1, 1000));
        calls = 0;
    }
    ~loop_with_pair() {
        ombrel_free_event_base(base);
        ombrel_close_socket(pair[0]);
        ombrel_close_socket(pair[1]);
    }

    /// Runs what is ready now; gives the handlers called.
    int run_once() {
        calls = 0;
        EXPECT_EQ(0, ombrel_event_base_loop(base, def_ombrel_event_loop_non_block));
        return calls;
    }

    ombrel_event_base_t* base;
    int pair[2];
};

/// An event of the loop, assigned as long as the scope lasts.
class loop_event : no_copy {
public:
    loop_event(const loop_with_pair& loop, int s, uint32_t flags,
               ombrel_event_handler_t handler = count_call) {
        EXPECT_EQ(0, ombrel_assign_event(loop.base, &record_, s, flags, handler, nullptr));
    }
    /// One that asks for a name.
    explicit loop_event(const loop_with_pair& loop) {
        ombrel_assign_event_with_resolver(loop.base, &record_, -1, def_ombrel_event_with_resolver, count_call,
                                          nullptr, nullptr, -1, "127.0.0.1", 80);
    }
    ~loop_event() { ombrel_unassign_event(&record_); }

    operator ombrel_event_t*() { return &record_; }
    ombrel_event_t* operator->() { return &record_; }

private:
    ombrel_event_t record_{};
};

OMBREL_FAILURE_ONCE(Event, bases) {
    opened_or_hit(fail, ombrel_free_event_base, ombrel_new_event_base);
    const auto release = [](ombrel_event_base_t* base) {
        EXPECT_EQ(base, __g_ombrel_current_event_base);
        ombrel_free_event_base(base);
    };
    opened_or_hit(fail, release, [] { return ombrel_init_event_base(); });
    EXPECT_EQ(nullptr, __g_ombrel_current_event_base);
}

// The base keeps its priorities when it cannot have more.
OMBREL_FAILURE_ONCE(Event, init_priority) {
    loop_with_pair loop;
    const auto ask = [&] { return ombrel_event_base_init_priority(loop.base, 100); };
    const int result = done_or_refused(fail, ask);
    loop_event event(loop, loop.pair[0], def_ombrel_event_read);
    EXPECT_EQ(result == 0 ? 50u : 0u, event->m_priority);
    EXPECT_EQ(0, ombrel_add_event(event, -1));
    EXPECT_EQ(1, loop.run_once());
}

OMBREL_FAILURES(Event, new_event) {
    loop_with_pair loop;
    null_when_hit(fail, ombrel_free_event, [&] {
        return ombrel_new_event_with_resolver(loop.base, -1, 0, count_call, nullptr, "127.0.0.1", 0,
                                              "localhost", 80);
    });
}

OMBREL_FAILURES(Event, assign_event_with_resolver) {
    loop_with_pair loop;
    ombrel_event_t event{};
    const bool assigned = refused_when_hit(fail, [&] {
        return ombrel_assign_event_with_resolver(loop.base, &event, -1, 0, count_call, nullptr, "127.0.0.1",
                                                 0, "localhost", 80);
    });
    EXPECT_EQ(assigned, (event.m_flags & def_ombrel_event_assigned) != 0);
    if (assigned)
        ombrel_unassign_event(&event);
}

// A child that could not be watched is left alone.
OMBREL_FAILURES(Event, set_process) {
    loop_with_pair loop;
    const pid_t process = fork();
    if (process == 0)
        _exit(3);
    loop_event event(loop, -1, 0);
    const int result = fail.during([&] { return ombrel_event_set_process(event, process); });
    EXPECT_TRUE(result == 0 || fail.hit() || result == def_ombrel_event_not_supported);
    if (result != 0) {
        EXPECT_EQ(process, waitpid(process, nullptr, 0));
        return;
    }
    EXPECT_EQ(0, ombrel_add_event(event, -1));
    EXPECT_EQ(0, ombrel_event_base_loop(loop.base, def_ombrel_event_loop_once));
    EXPECT_EQ(3, event->m_exit_code);
}

// An event that could not be added is not registered, and can be added later.
OMBREL_FAILURES(Event, add_event) {
    loop_with_pair loop;
    // A number that the base has no room for yet.
    const int high = fcntl(loop.pair[0], F_DUPFD, 900);
    loop_event event(loop, high, def_ombrel_event_read);
    const int result = done_or_refused(fail, [&] { return ombrel_add_event(event, 10'000); });
    EXPECT_EQ(result == 0, (event->m_flags & def_ombrel_event_registered) != 0);
    if (result != 0) {
        EXPECT_EQ(0, ombrel_add_event(event, 10'000));
    }
    EXPECT_EQ(1, loop.run_once());
    ombrel_del_event(event);
    ombrel_close_socket(high);
}

OMBREL_FAILURES(Event, event_once) {
    loop_with_pair loop;
    const int high = fcntl(loop.pair[0], F_DUPFD, 900); // that the base has no room for yet
    const int result = done_or_refused(fail, [&] {
        return ombrel_event_base_once(loop.base, high, def_ombrel_event_read, count_call, nullptr, -1);
    });
    EXPECT_EQ(result == 0 ? 1 : 0, loop.run_once());
    ombrel_close_socket(high);
}

OMBREL_FAILURES(Event, exit_loop) {
    loop_with_pair loop;
    loop_event event(loop, loop.pair[1], def_ombrel_event_read | def_ombrel_event_persist);
    ombrel_add_event(event, -1);
    if (done_or_refused(fail, [&] { return ombrel_event_base_exit_loop(loop.base, 0); }) == 0) {
        EXPECT_EQ(0, ombrel_event_base_dispatch(loop.base));
    }
}

// The loop itself needs no memory to call its handlers, and none for what it traces; what it does need it
// gets with the next iteration.
OMBREL_FAILURES(Event, loop_iteration) {
    loop_with_pair loop;
    loop_event event(loop, loop.pair[0], def_ombrel_event_read);
    ombrel_add_event(event, -1);
    done_or_refused(fail, [&] {
        ombrel_event_debug_mode(1);
        const int ended = ombrel_event_base_loop(loop.base, def_ombrel_event_loop_non_block);
        ombrel_event_debug_mode(0);
        return ended;
    });
    if (calls == 0) {
        EXPECT_TRUE(fail.hit());
        EXPECT_EQ(1, loop.run_once());
    }
}

// Whatever becomes of the name, the handler is called once: with the answer or when the time has passed.
OMBREL_FAILURE_ONCE(Event, loop_with_name) {
    loop_with_pair loop;
    loop_event event(loop);
    ombrel_add_event(event, 100);
    const auto iterate = [&] { return ombrel_event_base_loop(loop.base, def_ombrel_event_loop_once); };
    EXPECT_EQ(0, fail.during_on_all_threads(iterate));
    EXPECT_EQ(1, calls);
}

// A name that cannot be queued is asked for later, not by whoever adds the event.
OMBREL_FAILURE_ONCE(Event, add_event_with_resolver) {
    loop_with_pair loop;
    loop_event event(loop);
    done_or_refused(fail, [&] { return ombrel_add_event(event, 10'000); });
    EXPECT_EQ(nullptr, event->m_resolver_info);
}

OMBREL_FAILURE_ONCE(Event, start_service) {
    loop_with_pair loop;
    if (done_or_refused(fail, [&] { return ombrel_event_base_start_service(loop.base); }) == 0) {
        EXPECT_EQ(0, ombrel_event_base_stop_service(loop.base));
    }
}

OMBREL_FAILURES(Event, add_signal) {
    loop_with_pair loop;
    loop_event event(loop, SIGUSR1, def_ombrel_event_signal);
    if (done_or_refused(fail, [&] { return ombrel_add_event(event, -1); }) == 0) {
        raise(SIGUSR1);
        EXPECT_EQ(1, loop.run_once());
    }
}

OMBREL_FAILURES(Event, open_worker) {
    null_when_hit(fail, ombrel_close_worker, [] { return ombrel_open_worker(); });
}

OMBREL_FAILURES(Event, enable_buffers) {
    loop_with_pair loop;
    loop_event event(loop, loop.pair[0], def_ombrel_event_read, nullptr);
    const auto enable = [&] { return ombrel_event_enable_buffer(event, def_ombrel_event_buffer_both); };
    if (done_or_refused(fail, enable) == 0) {
        EXPECT_TRUE(event->m_input_buffer != nullptr && event->m_output_buffer != nullptr);
    }
}

template<typename Push>
void pushes_what_it_tells(injection& fail, ptrdiff_t size, Push push) {
    loop_with_pair loop;
    loop_event event(loop, loop.pair[0], def_ombrel_event_read, nullptr);
    const ptrdiff_t pushed = fail.during([&] { return push(event); });
    EXPECT_TRUE(fail.hit() ? pushed >= -1 && pushed <= size : pushed == size) << pushed;
    if (pushed > 0) {
        EXPECT_EQ(pushed, ombrel_event_get_buffer_size(event, def_ombrel_event_buffer_both));
    }
}

OMBREL_FAILURES(Event, push_event_buffer) {
    const std::string data(6000, 'x');
    pushes_what_it_tells(fail, 12'000, [&](ombrel_event_t* event) {
        return ombrel_event_push_buffer(event, def_ombrel_event_buffer_both, data.data(), data.size());
    });
    pushes_what_it_tells(fail, 9, [](ombrel_event_t* event) {
        return ombrel_event_push_printf(event, def_ombrel_event_buffer_input, "%d things", 12);
    });
}

} // namespace
} // namespace ombrel_test
