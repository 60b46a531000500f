#include "platform/terminal_mode.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "platform/clock.h"
#include "platform/fault.h"
#include "platform/file.h"
#include "platform/terminal.h"
#include "platform/windows/console_handler.h"
#include "platform/windows/console_keys.h"
#include "platform/windows/descriptor.h"
#include "platform/windows/host_error.h"

namespace ombrel::platform {

namespace {

enum guard_state : uint32_t {
    is_free,
    changing,
    entered,
    given_back, ///< by an event of the console after which the program may go on
};

struct guarded_terminal {
    std::atomic<uint32_t> state;
    std::atomic<uint32_t> features;
    std::atomic<bool> resumed;
    HANDLE input, output; ///< output is null where there is no screen
    bool renders;
    DWORD found_input, found_output, wanted_input, wanted_output;
};
constinit guarded_terminal all[most_guarded_terminals]{};
constinit SRWLOCK changes_lock = SRWLOCK_INIT;
std::atomic<LPTOP_LEVEL_EXCEPTION_FILTER> filter_before;

class changes_guard {
public:
    changes_guard() { AcquireSRWLockExclusive(&changes_lock); }
    ~changes_guard() { ReleaseSRWLockExclusive(&changes_lock); }
    changes_guard(const changes_guard&) = delete;
    changes_guard& operator=(const changes_guard&) = delete;
};

void show_features(const guarded_terminal& terminal, uint32_t features, bool on) {
    char text[feature_text_size];
    const size_t size = terminal.renders ? put_features(features, on, text) : 0;
    DWORD written;
    if (size > 0)
        WriteConsoleA(terminal.output, text, static_cast<DWORD>(size), &written, nullptr);
}

bool set_modes(const guarded_terminal& terminal, DWORD input, DWORD output) {
    const bool is_good = SetConsoleMode(terminal.input, input) != 0;
    if (terminal.output != nullptr)
        SetConsoleMode(terminal.output, output);
    return is_good;
}

bool take_back(guarded_terminal& terminal) {
    show_features(terminal, terminal.features.load(), false);
    return set_modes(terminal, terminal.found_input, terminal.found_output);
}

/// One change at a time; whoever finds another one under way leaves it to that.
bool claim(guarded_terminal& terminal, uint32_t from) {
    return terminal.state.compare_exchange_strong(from, changing);
}

BOOL WINAPI on_console_event(DWORD) {
    restore_terminals();
    return FALSE;
}

LONG WINAPI on_fault(EXCEPTION_POINTERS* what) {
    restore_terminals();
    const auto before = filter_before.load();
    return before != nullptr ? before(what) : EXCEPTION_CONTINUE_SEARCH;
}

/// The C library has forgotten its handler, and ends the program.
void on_abort(int) {
    restore_terminals();
}

void guard_ends() {
    static std::atomic<bool> is_registered;
    if (!is_registered.exchange(true))
        atexit(restore_terminals);
    SetConsoleCtrlHandler(on_console_event, TRUE);
    const auto filter = SetUnhandledExceptionFilter(on_fault);
    if (filter != on_fault)
        filter_before.store(filter);
    const auto handler = signal(SIGABRT, on_abort);
    if (handler != SIG_DFL && handler != on_abort)
        signal(SIGABRT, handler);
}

// What came later stays, and calls ours, which then does nothing.
void cease_to_guard_ends() {
    remove_console_handler(on_console_event);
    const auto filter = SetUnhandledExceptionFilter(filter_before.load());
    if (filter != on_fault)
        SetUnhandledExceptionFilter(filter);
    const auto handler = signal(SIGABRT, SIG_DFL);
    if (handler != SIG_DFL && handler != on_abort)
        signal(SIGABRT, handler);
}

bool is_unused() {
    return std::all_of(all, all + most_guarded_terminals,
                       [](const guarded_terminal& one) { return one.state.load() == is_free; });
}

guarded_terminal* find_free() {
    for (guarded_terminal& terminal : all)
        if (terminal.state.load() == is_free)
            return &terminal;
    leave_fault(fault_code::busy);
    return nullptr;
}

bool begin(guarded_terminal& terminal, int input, int output) {
    terminal.input = handle_of(input);
    terminal.output = output >= 0 ? handle_of(output) : nullptr;
    terminal.features.store(0);
    terminal.resumed.store(false);
    terminal.renders = false;
    if (terminal.input == nullptr)
        return false;
    if (GetConsoleMode(terminal.input, &terminal.found_input) == 0) {
        leave_fault(no_terminal);
        return false;
    }
    if (terminal.output != nullptr && GetConsoleMode(terminal.output, &terminal.found_output) == 0)
        terminal.output = nullptr;
    return true;
}

/// Older consoles render no sequences: then everything is left out that would be one.
void make_rendering(guarded_terminal& terminal) {
    constexpr DWORD rendering = ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING;
    if (terminal.output == nullptr)
        return;
    terminal.wanted_output = terminal.found_output | rendering;
    terminal.renders = SetConsoleMode(terminal.output, terminal.wanted_output) != 0;
    if (!terminal.renders)
        terminal.wanted_output = terminal.found_output;
}

bool apply(guarded_terminal& terminal, terminal_mode mode, uint32_t features) {
    constexpr DWORD off = ENABLE_LINE_INPUT | ENABLE_ECHO_INPUT | ENABLE_PROCESSED_INPUT |
                          ENABLE_MOUSE_INPUT | 0x0200; // ENABLE_VIRTUAL_TERMINAL_INPUT: keys are told as keys
    const DWORD signals = mode == terminal_mode::raw_with_signals ? ENABLE_PROCESSED_INPUT : 0u;
    terminal.wanted_input = (terminal.found_input & ~off) | ENABLE_WINDOW_INPUT | signals;
    if (SetConsoleMode(terminal.input, terminal.wanted_input) == 0)
        return fail_by_last_error() == 0;
    make_rendering(terminal);
    const uint32_t before = terminal.features.exchange(features);
    if ((before & ~features) != 0)
        show_features(terminal, before & ~features, false);
    show_features(terminal, features & ~before, true);
    return true;
}

/// The program goes on after an event of the console that ends others.
void enter_again(guarded_terminal& terminal) {
    if (!claim(terminal, given_back))
        return;
    set_modes(terminal, terminal.wanted_input, terminal.wanted_output);
    show_features(terminal, terminal.features.load(), true);
    terminal.resumed.store(true);
    terminal.state.store(entered);
}

/// Half of a character that was typed last: there is one console.
wchar_t typed_half;

struct typed_bytes {
    char* to;
    size_t room, size;
    bool has_other_news; ///< of another size
};

void take(const INPUT_RECORD& record, typed_bytes& typed) {
    if (record.EventType == WINDOW_BUFFER_SIZE_EVENT)
        typed.has_other_news = true;
    if (record.EventType != KEY_EVENT)
        return;
    const KEY_EVENT_RECORD& key = record.Event.KeyEvent;
    char bytes[most_key_bytes];
    const size_t size = put_key(key, typed_half, bytes);
    // Of a key that is held longer than there is room for, the rest is dropped.
    for (WORD i = 0; i < std::max<WORD>(key.wRepeatCount, 1) && typed.size + size <= typed.room; i++) {
        memcpy(typed.to + typed.size, bytes, size);
        typed.size += size;
    }
}

bool take_all(HANDLE input, typed_bytes& typed) {
    for (DWORD left = 0; typed.room - typed.size >= most_key_bytes;) {
        INPUT_RECORD record;
        DWORD count;
        if (GetNumberOfConsoleInputEvents(input, &left) == 0)
            return false;
        if (left == 0)
            return true;
        if (ReadConsoleInputW(input, &record, 1, &count) == 0)
            return false;
        take(record, typed);
    }
    return true;
}

int fail_with(fault_code why) {
    leave_fault(why);
    return -1;
}

DWORD limit_of(uint64_t end) {
    const int left = milliseconds_until(end);
    return left < 0 ? INFINITE : static_cast<DWORD>(left);
}

} // namespace

void restore_terminals() {
    const fault_keeper kept;
    for (guarded_terminal& terminal : all)
        if (claim(terminal, entered)) {
            take_back(terminal);
            terminal.state.store(given_back);
        }
}

int enter_terminal_mode(int input, int output, terminal_mode mode, uint32_t features) {
    const changes_guard guard;
    const bool is_first = is_unused();
    guarded_terminal* terminal = find_free();
    if (terminal == nullptr || !begin(*terminal, input, output))
        return -1;
    if (is_first)
        guard_ends();
    terminal->state.store(changing);
    const bool is_good = apply(*terminal, mode, features);
    terminal->state.store(is_good ? entered : is_free);
    if (is_good)
        return static_cast<int>(terminal - all);
    if (is_first)
        cease_to_guard_ends();
    return -1;
}

bool change_terminal_mode(int guarded, terminal_mode mode, uint32_t features) {
    const changes_guard guard;
    guarded_terminal& terminal = all[guarded];
    enter_again(terminal);
    if (!claim(terminal, entered))
        return fail_with(fault_code::busy) == 0;
    const bool is_good = apply(terminal, mode, features | (terminal.features.load() & noted_features));
    terminal.state.store(entered);
    return is_good;
}

bool note_terminal_feature(int guarded, terminal_feature feature, bool on) {
    std::atomic<uint32_t>& features = all[guarded].features;
    const uint32_t before = on ? features.fetch_or(feature) : features.fetch_and(~uint32_t{feature});
    return ((before & feature) != 0) != on;
}

bool leave_terminal_mode(int guarded) {
    const changes_guard guard;
    guarded_terminal& terminal = all[guarded];
    const bool is_good = !claim(terminal, entered) || take_back(terminal);
    if (!is_good)
        fail_by_last_error();
    terminal.state.store(is_free);
    if (is_unused())
        cease_to_guard_ends();
    return is_good;
}

bool take_resumption(int guarded) {
    return all[guarded].resumed.exchange(false);
}

uint8_t backspace_of(int) {
    return 127; // as the keys are told here
}

int read_terminal(int input, int guarded, void* buffer, size_t size, int timeout_milliseconds) {
    HANDLE const handle = handle_of(input);
    if (handle == nullptr)
        return -1;
    if (guarded >= 0)
        enter_again(all[guarded]);
    const uint64_t end = moment_after(timeout_milliseconds);
    for (;;) {
        typed_bytes typed{static_cast<char*>(buffer), size, 0, false};
        const DWORD result = WaitForSingleObject(handle, limit_of(end));
        if (result == WAIT_FAILED || !take_all(handle, typed))
            return fail_by_last_error();
        if (typed.size > 0)
            return static_cast<int>(typed.size);
        if (typed.has_other_news)
            return fail_with(fault_code::interrupted);
        if (result == WAIT_TIMEOUT)
            return fail_with(fault_code::timed_out);
    }
}

void discard_typed(int input) {
    if (HANDLE const handle = handle_of(input))
        FlushConsoleInputBuffer(handle);
}

} // namespace ombrel::platform
