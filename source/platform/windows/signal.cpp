// Three sources are signals here: events of the console, each on a thread of its own that the system starts;
// faults that no handler of the program's takes; and what the program raises by the C library, which forgets
// a handler when it calls it.
#include "platform/signal.h"

#include <atomic>
#include <cstring>
#include <signal.h>

#include "platform/fault.h"
#include "platform/process.h"
#include "platform/windows/console_handler.h"
#include "platform/windows/descriptor.h"

namespace ombrel::platform {

namespace {

struct caught_signal {
    std::atomic<signal_handler>
        handler;         ///< null while it is not caught; read where a signal arrives, on any thread
    void (*before)(int); ///< what the C library did with it
};
constinit caught_signal caught[signal_limit]{};
std::atomic<LPTOP_LEVEL_EXCEPTION_FILTER> filter_before;

bool is_caught(int number) {
    return caught[number].handler.load(std::memory_order_acquire) != nullptr;
}

/// False when it is not caught.
bool deliver(int number, bool fault) {
    const fault_keeper kept;
    const signal_handler handler = caught[number].handler.load(std::memory_order_acquire);
    if (handler != nullptr)
        handler(number, fault);
    return handler != nullptr;
}

void on_raise(int number) {
    signal(number, on_raise);
    deliver(number, false);
}

/// A service hears of everybody's.
bool is_own_logoff() {
    DWORD session;
    return ProcessIdToSessionId(GetCurrentProcessId(), &session) != 0 && session != 0;
}

/// From before the program hears of its end on.
std::atomic<bool> is_ending;

/// The system ends the process when its handlers return, or after some seconds: those are the program's.
BOOL end_politely() {
    is_ending.store(true);
    if (deliver(SIGTERM, false))
        Sleep(INFINITE);
    is_ending.store(false);
    return FALSE;
}

BOOL WINAPI on_console_event(DWORD event) {
    switch (event) {
    case CTRL_C_EVENT:
        return deliver(SIGINT, false);
    // The polite way to end a group of processes; who does not tell it from the other ways hears that.
    case CTRL_BREAK_EVENT:
        return deliver(SIGBREAK, false) || deliver(SIGTERM, false);
    case CTRL_LOGOFF_EVENT:
        return is_own_logoff() ? end_politely() : FALSE;
    case CTRL_CLOSE_EVENT:
    case CTRL_SHUTDOWN_EVENT:
        return end_politely();
    default:
        return FALSE;
    }
}

int fault_number(DWORD exception) {
    switch (exception) {
    case EXCEPTION_ACCESS_VIOLATION:
    case EXCEPTION_IN_PAGE_ERROR:
    case EXCEPTION_STACK_OVERFLOW:
    case EXCEPTION_GUARD_PAGE:
    case EXCEPTION_DATATYPE_MISALIGNMENT:
    case EXCEPTION_ARRAY_BOUNDS_EXCEEDED:
        return SIGSEGV;
    case EXCEPTION_ILLEGAL_INSTRUCTION:
    case EXCEPTION_PRIV_INSTRUCTION:
        return SIGILL;
    case EXCEPTION_INT_DIVIDE_BY_ZERO:
    case EXCEPTION_INT_OVERFLOW:
    case EXCEPTION_FLT_DENORMAL_OPERAND:
    case EXCEPTION_FLT_DIVIDE_BY_ZERO:
    case EXCEPTION_FLT_INEXACT_RESULT:
    case EXCEPTION_FLT_INVALID_OPERATION:
    case EXCEPTION_FLT_OVERFLOW:
    case EXCEPTION_FLT_STACK_CHECK:
    case EXCEPTION_FLT_UNDERFLOW:
        return SIGFPE;
    default:
        return 0;
    }
}

// What a program handles itself, as several run-times do with faults that they provoke, does not come here.
LONG WINAPI on_fault(EXCEPTION_POINTERS* what) {
    if (const int number = fault_number(what->ExceptionRecord->ExceptionCode))
        deliver(number, true);
    const auto before = filter_before.load();
    return before != nullptr ? before(what) : EXCEPTION_CONTINUE_SEARCH;
}

bool is_of_console(int number) {
    return number == SIGINT || number == SIGBREAK || number == SIGTERM;
}

bool is_of_faults(int number) {
    return number == SIGSEGV || number == SIGILL || number == SIGFPE;
}

/// Whether one of a kind is caught.
bool is_any_caught(bool (*is_of_kind)(int)) {
    for (int number = 1; number < signal_limit; number++)
        if (is_of_kind(number) && is_caught(number))
            return true;
    return false;
}

void begin_to_filter() {
    const auto before = SetUnhandledExceptionFilter(on_fault);
    if (before != on_fault)
        filter_before.store(before);
}

// A filter that came later stays, and calls ours, which then does nothing.
void cease_to_filter() {
    const auto last = SetUnhandledExceptionFilter(filter_before.load());
    if (last != on_fault)
        SetUnhandledExceptionFilter(last);
}

} // namespace

void remove_console_handler(PHANDLER_ROUTINE handler) {
    if (!is_ending.load())
        SetConsoleCtrlHandler(handler, FALSE);
}

bool catch_signal(int number, signal_handler handler) {
    if (number < 1 || number >= signal_limit)
        return false;
    const tolerant_c_library guard;
    const fault_keeper kept;
    // A fault must not go to a handler of the C library's, which would have it happen again.
    const auto before = signal(number, is_of_faults(number) ? SIG_DFL : on_raise);
    if (before == SIG_ERR)
        return false;
    caught[number].before = before;
    if (is_of_console(number) && !is_any_caught(is_of_console))
        SetConsoleCtrlHandler(on_console_event, TRUE);
    if (is_of_faults(number) && !is_any_caught(is_of_faults))
        begin_to_filter();
    caught[number].handler.store(handler, std::memory_order_release);
    return true;
}

void restore_signal(int number) {
    caught[number].handler.store(nullptr, std::memory_order_release);
    signal(number, caught[number].before);
    if (is_of_console(number) && !is_any_caught(is_of_console))
        remove_console_handler(on_console_event);
    if (is_of_faults(number) && !is_any_caught(is_of_faults))
        cease_to_filter();
}

namespace {

struct named_signal {
    int number;
    const char* name;
};
/// Those of the C library, and what ends a process at once, as POSIX numbers it.
constexpr named_signal names[] = {{SIGINT, "SIGINT"},   {SIGILL, "SIGILL"},      {SIGFPE, "SIGFPE"},
                                  {SIGSEGV, "SIGSEGV"}, {SIGTERM, "SIGTERM"},    {SIGBREAK, "SIGBREAK"},
                                  {SIGABRT, "SIGABRT"}, {kill_signal, "SIGKILL"}};

} // namespace

const char* signal_name(int number) {
    for (const named_signal& one : names)
        if (one.number == number)
            return one.name;
    return "signal";
}

int signal_number(std::string_view name) {
    for (const named_signal& one : names)
        if (name == one.name)
            return one.number;
    return -1;
}

bool is_segment_fault(int number) {
    return number == SIGSEGV;
}

// The C library gives a handler away only for another.
bool is_signal_ignored(int) {
    return false;
}

// What the C library has is told by replacing it.
bool has_signal_handler(int number) {
    if (number < 1 || number >= signal_limit || is_caught(number))
        return number >= 1 && number < signal_limit;
    const tolerant_c_library guard;
    const fault_keeper kept;
    const auto before = signal(number, SIG_DFL);
    if (before == SIG_ERR)
        return false;
    signal(number, before);
    return before != SIG_DFL && before != SIG_IGN;
}

// As the system does for a program that does not handle the console's events.
void end_by_signal(int /* number */) {
    ExitProcess(static_cast<UINT>(STATUS_CONTROL_C_EXIT));
}

void write_error_text(const char* text) {
    DWORD written;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), text, static_cast<DWORD>(strlen(text)), &written, nullptr);
}

} // namespace ombrel::platform
