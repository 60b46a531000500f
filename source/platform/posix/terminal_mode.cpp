#include "platform/terminal_mode.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include "platform/fault.h"
#include "platform/file.h"
#include "platform/posix/terminal_signals.h"
#include "platform/terminal.h"

namespace ombrel::platform {

namespace {

enum guard_state : uint32_t {
    is_free,
    changing, ///< by its thread, which no signal interrupts meanwhile, or by a signal handler
    entered,
    given_back, ///< to be entered again when the program goes on
};

struct guarded_terminal {
    std::atomic<uint32_t> state;
    std::atomic<uint32_t> features;
    std::atomic<bool> resumed;
    pid_t owner; ///< a child that was forked leaves the terminal alone
    int input, output;
    int bell[2]; ///< a pipe that wakes a reader
    termios found, wanted;
};
constinit guarded_terminal all[most_guarded_terminals]{};
std::atomic_flag changes_lock = ATOMIC_FLAG_INIT;

/// Keeps signals off the calling thread, and other threads from entering and leaving: handlers wait for
/// whoever changes a terminal, so that must not be the thread that they interrupted.
class undisturbed {
public:
    undisturbed() {
        sigset_t every;
        sigfillset(&every);
        pthread_sigmask(SIG_SETMASK, &every, &before_);
        while (changes_lock.test_and_set(std::memory_order_acquire))
            sched_yield();
    }
    ~undisturbed() {
        const fault_keeper kept;
        changes_lock.clear(std::memory_order_release);
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
    undisturbed(const undisturbed&) = delete;
    undisturbed& operator=(const undisturbed&) = delete;

private:
    sigset_t before_;
};

/// Whoever runs in the background has no say about the terminal. One that is not the process's own has no
/// background.
bool is_in_background(const guarded_terminal& terminal) {
    const pid_t group = tcgetpgrp(terminal.input);
    return group >= 0 && group != getpgrp();
}

// Safe in signal handlers. A terminal that takes nothing now does without the sequences.
void show_features(const guarded_terminal& terminal, uint32_t features, bool on) {
    constexpr int patience = 200;
    pollfd room{terminal.output, POLLOUT, 0};
    char text[feature_text_size];
    const size_t size = terminal.output < 0 ? 0 : put_features(features, on, text);
    if (size > 0 && poll(&room, 1, patience) == 1 && (room.revents & POLLOUT) != 0)
        static_cast<void>(!write(terminal.output, text, size));
}

bool set_mode(const guarded_terminal& terminal, const termios& mode) {
    int result;
    do
        result = tcsetattr(terminal.input, TCSANOW, &mode);
    while (result != 0 && errno == EINTR);
    return result == 0;
}

/// The change of a terminal from one state, if it is in it, to another.
template<typename Change>
bool change_from(guarded_terminal& terminal, uint32_t from, Change change) {
    // Somebody on another thread may be about it: not for long, unless it waits for the terminal's output.
    constexpr int most_looks = 1000;
    for (int look = 0; look < most_looks; look++) {
        uint32_t state = from;
        if (terminal.state.compare_exchange_strong(state, changing)) {
            terminal.state.store(change());
            return true;
        }
        if (state != changing)
            return false;
        poll(nullptr, 0, 1);
    }
    return false;
}

bool is_own(const guarded_terminal& terminal) {
    return terminal.state.load() != is_free && terminal.owner == getpid();
}

void give_back(guarded_terminal& terminal) {
    change_from(terminal, entered, [&]() -> uint32_t {
        if (!is_in_background(terminal)) {
            show_features(terminal, terminal.features.load(), false);
            set_mode(terminal, terminal.found);
        }
        return given_back;
    });
}

void ring(const guarded_terminal& terminal) {
    static_cast<void>(!write(terminal.bell[1], "", 1));
}

/// After a stop the terminal is as somebody else left it. What was not switched off is on, if nobody has
/// changed it; a title is put aside once only.
uint32_t enter_again(guarded_terminal& terminal, uint32_t but) {
    if (is_in_background(terminal))
        return given_back;
    set_mode(terminal, terminal.wanted);
    show_features(terminal, terminal.features.load() & ~but, true);
    terminal.resumed.store(true);
    ring(terminal);
    return entered;
}

bool resume(guarded_terminal& terminal) {
    return change_from(terminal, given_back, [&] { return enter_again(terminal, 0); });
}

void resume_after_any_stop(guarded_terminal& terminal) {
    if (!resume(terminal))
        change_from(terminal, entered, [&] { return enter_again(terminal, feature_title); });
}

template<typename Action>
void for_own(Action action) {
    const fault_keeper kept;
    for (guarded_terminal& terminal : all)
        if (is_own(terminal))
            action(terminal);
}

constexpr terminal_actions actions = {
    restore_terminals,
    [] { for_own(resume); },
    [] { for_own(resume_after_any_stop); },
    [] { for_own(ring); },
};

bool is_last() {
    for (const guarded_terminal& terminal : all)
        if (terminal.state.load() != is_free)
            return false;
    return true;
}

guarded_terminal* find_free() {
    for (guarded_terminal& terminal : all)
        if (terminal.state.load() == is_free)
            return &terminal;
    leave_fault(fault_code::busy);
    return nullptr;
}

termios in_mode(termios mode, terminal_mode which) {
    mode.c_iflag &= ~static_cast<tcflag_t>(BRKINT | PARMRK | ISTRIP | INLCR | IGNCR | ICRNL | IXON);
    mode.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL | ICANON | IEXTEN);
    if (which == terminal_mode::raw)
        mode.c_lflag &= ~static_cast<tcflag_t>(ISIG);
    mode.c_cc[VMIN] = 1;
    mode.c_cc[VTIME] = 0;
    return mode;
}

bool open_bell(int bell[2]) {
    if (!open_pipe(bell))
        return false;
    set_descriptor_blocking(bell[0], false);
    set_descriptor_blocking(bell[1], false);
    return true;
}

void close_bell(const int bell[2]) {
    close(bell[0]);
    close(bell[1]);
}

/// Once for the process.
bool restores_at_exit() {
    static std::atomic<bool> is_registered;
    return is_registered.exchange(true) || atexit(restore_terminals) == 0;
}

bool begin(guarded_terminal& terminal, int input, int output) {
    terminal.input = input;
    terminal.output = output;
    terminal.owner = getpid();
    terminal.features.store(0);
    terminal.resumed.store(false);
    return tcgetattr(input, &terminal.found) == 0 && restores_at_exit() && open_bell(terminal.bell);
}

/// Both the mode and the features are as wanted, or as they were.
bool apply(guarded_terminal& terminal, terminal_mode mode, uint32_t features) {
    const termios wanted = in_mode(terminal.found, mode);
    if (!set_mode(terminal, wanted))
        return false;
    terminal.wanted = wanted;
    const uint32_t before = terminal.features.exchange(features);
    if ((before & ~features) != 0)
        show_features(terminal, before & ~features, false);
    show_features(terminal, features & ~before, true);
    return true;
}

/// A background program is stopped when it changes the mode. That happens here, where signals come through,
/// before anything is held.
bool wait_for_foreground(int input) {
    termios mode;
    if (tcgetattr(input, &mode) != 0) {
        if (errno == ENOTTY)
            leave_fault(no_terminal);
        return false;
    }
    const pid_t group = tcgetpgrp(input);
    return group < 0 || group == getpgrp() || tcsetattr(input, TCSANOW, &mode) == 0;
}

/// The wakes of the bell are told once.
void take_rings(int bell) {
    char rings[64];
    while (read(bell, rings, sizeof rings) > 0) {
    }
}

int interrupted() {
    leave_fault(fault_code::interrupted);
    return -1;
}

int take_typed(int input, bool is_hung_up, void* buffer, size_t size) {
    const ssize_t bytes = read(input, buffer, size);
    if (bytes >= 0)
        return static_cast<int>(bytes);
    if (errno == EIO && is_hung_up)
        return 0;
    return errno == EINTR || errno == EAGAIN ? interrupted() : -1;
}

} // namespace

void restore_terminals() {
    for_own(give_back);
}

int enter_terminal_mode(int input, int output, terminal_mode mode, uint32_t features) {
    if (!wait_for_foreground(input))
        return -1;
    const undisturbed guard;
    const bool is_first = is_last();
    guarded_terminal* terminal = find_free();
    if (terminal == nullptr || !begin(*terminal, input, output))
        return -1;
    terminal->state.store(changing);
    if (is_first)
        catch_terminal_signals(actions);
    const bool is_good = apply(*terminal, mode, features);
    terminal->state.store(is_good ? entered : is_free);
    if (is_good)
        return static_cast<int>(terminal - all);
    close_bell(terminal->bell);
    if (is_first)
        release_terminal_signals();
    return -1;
}

bool change_terminal_mode(int guarded, terminal_mode mode, uint32_t features) {
    const undisturbed guard;
    guarded_terminal& terminal = all[guarded];
    bool is_good = false;
    const auto change = [&]() -> uint32_t {
        is_good = apply(terminal, mode, features | (terminal.features.load() & noted_features));
        return entered;
    };
    return (change_from(terminal, entered, change) || change_from(terminal, given_back, change)) && is_good;
}

bool note_terminal_feature(int guarded, terminal_feature feature, bool on) {
    std::atomic<uint32_t>& features = all[guarded].features;
    const uint32_t before = on ? features.fetch_or(feature) : features.fetch_and(~uint32_t{feature});
    return ((before & feature) != 0) != on;
}

bool leave_terminal_mode(int guarded) {
    const undisturbed guard;
    guarded_terminal& terminal = all[guarded];
    bool is_good = true;
    const auto change = [&]() -> uint32_t {
        if (terminal.owner == getpid() && !is_in_background(terminal)) {
            show_features(terminal, terminal.features.load(), false);
            is_good = set_mode(terminal, terminal.found);
        }
        return is_free;
    };
    if (!change_from(terminal, entered, change))
        terminal.state.store(is_free);
    const fault_keeper kept;
    close_bell(terminal.bell);
    if (is_last())
        release_terminal_signals();
    return is_good;
}

bool take_resumption(int guarded) {
    return all[guarded].resumed.exchange(false);
}

uint8_t backspace_of(int guarded) {
    const uint8_t erase = all[guarded].found.c_cc[VERASE];
    return erase == 8 ? erase : 127;
}

int read_terminal(int input, int guarded, void* buffer, size_t size, int timeout_milliseconds) {
    pollfd wanted[2] = {{input, POLLIN, 0}, {guarded >= 0 ? all[guarded].bell[0] : -1, POLLIN, 0}};
    const int ready = poll(wanted, 2, timeout_milliseconds);
    if (ready < 0)
        return errno == EINTR ? interrupted() : -1;
    if (ready == 0)
        leave_fault(fault_code::timed_out);
    if (wanted[1].revents != 0) {
        take_rings(wanted[1].fd);
        return interrupted();
    }
    if ((wanted[0].revents & POLLNVAL) != 0)
        leave_fault(fault_code::bad_descriptor);
    if (ready == 0 || (wanted[0].revents & POLLNVAL) != 0)
        return -1;
    return take_typed(input, (wanted[0].revents & (POLLHUP | POLLERR)) != 0, buffer, size);
}

void discard_typed(int input) {
    tcflush(input, TCIFLUSH);
}

} // namespace ombrel::platform
