#include "platform/signal.h"

#include <atomic>
#include <cstring>
#include <signal.h>
#include <unistd.h>

#include "platform/fault.h"

namespace ombrel::platform {

namespace {

struct caught_signal {
    std::atomic<signal_handler> handler; ///< read where a signal arrives, on any thread
    struct sigaction before;
};
constinit caught_signal caught[signal_limit]{};

bool is_fault(int number, const siginfo_t* info) {
    const bool can_be = number == SIGSEGV || number == SIGBUS || number == SIGFPE || number == SIGILL;
    return can_be && info != nullptr && info->si_code > 0;
}

struct named_signal {
    int number;
    const char* name;
};
constexpr named_signal names[] = {
    {SIGHUP, "SIGHUP"},       {SIGINT, "SIGINT"},   {SIGQUIT, "SIGQUIT"},   {SIGILL, "SIGILL"},
    {SIGTRAP, "SIGTRAP"},     {SIGABRT, "SIGABRT"}, {SIGBUS, "SIGBUS"},     {SIGFPE, "SIGFPE"},
    {SIGKILL, "SIGKILL"},     {SIGUSR1, "SIGUSR1"}, {SIGSEGV, "SIGSEGV"},   {SIGUSR2, "SIGUSR2"},
    {SIGPIPE, "SIGPIPE"},     {SIGALRM, "SIGALRM"}, {SIGTERM, "SIGTERM"},   {SIGCHLD, "SIGCHLD"},
    {SIGCONT, "SIGCONT"},     {SIGSTOP, "SIGSTOP"}, {SIGTSTP, "SIGTSTP"},   {SIGTTIN, "SIGTTIN"},
    {SIGTTOU, "SIGTTOU"},     {SIGURG, "SIGURG"},   {SIGXCPU, "SIGXCPU"},   {SIGXFSZ, "SIGXFSZ"},
    {SIGVTALRM, "SIGVTALRM"}, {SIGPROF, "SIGPROF"}, {SIGWINCH, "SIGWINCH"}, {SIGIO, "SIGIO"},
    {SIGSYS, "SIGSYS"}};

void on_signal(int number, siginfo_t* info, void*) {
    const fault_keeper kept;
    const bool fault = is_fault(number, info);
    caught[number].handler.load(std::memory_order_acquire)(number, fault);
    if (fault)
        signal(number, SIG_DFL);
}

} // namespace

bool catch_signal(int number, signal_handler handler) {
    if (number < 1 || number >= signal_limit)
        return false;
    struct sigaction action = {};
    action.sa_sigaction = on_signal;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    sigfillset(&action.sa_mask);
    caught[number].handler.store(handler, std::memory_order_release);
    return sigaction(number, &action, &caught[number].before) == 0;
}

void restore_signal(int number) {
    sigaction(number, &caught[number].before, nullptr);
}

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

bool is_signal_ignored(int number) {
    struct sigaction action;
    return sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

bool has_signal_handler(int number) {
    struct sigaction action;
    return sigaction(number, nullptr, &action) == 0 &&
           ((action.sa_flags & SA_SIGINFO) != 0 ||
            (action.sa_handler != SIG_DFL && action.sa_handler != SIG_IGN));
}

void end_by_signal(int number) {
    signal(number, SIG_DFL);
    raise(number);
}

void write_error_text(const char* text) {
    const ssize_t written = write(STDERR_FILENO, text, strlen(text));
    static_cast<void>(written);
}

} // namespace ombrel::platform
