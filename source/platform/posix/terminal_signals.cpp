#include "platform/posix/terminal_signals.h"

#include <atomic>
#include <signal.h>

#include "platform/fault.h"

namespace ombrel::platform {

namespace {

std::atomic<const terminal_actions*> actions;

void take_default(int number) {
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    sigaction(number, &action, nullptr);
}

// The signal waits until the handler returns. A fault of the program happens again then, before it.
void on_end(int number) {
    const fault_keeper kept;
    actions.load()->give_back();
    take_default(number);
    raise(number);
}

void catch_by(int number, void (*handler)(int));

/// Lets the signal that a handler runs for come through, which stops the program for a while.
void be_stopped_by(int number) {
    sigset_t only, before;
    sigemptyset(&only);
    sigaddset(&only, number);
    take_default(number);
    raise(number);
    pthread_sigmask(SIG_UNBLOCK, &only, &before);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

bool is_waiting(int number) {
    sigset_t waiting;
    return sigpending(&waiting) == 0 && sigismember(&waiting, number) == 1;
}

void on_stop(int number) {
    const fault_keeper kept;
    actions.load()->give_back();
    be_stopped_by(number);
    catch_by(number, on_stop);
    if (!is_waiting(SIGCONT))
        actions.load()->enter_again();
}

void on_continue(int) {
    actions.load()->enter_all_again();
}

void on_resize(int) {
    actions.load()->resize();
}

struct caught {
    int number;
    void (*handler)(int);
};

constexpr caught signals[] = {
    {SIGTERM, on_end},  {SIGINT, on_end},       {SIGHUP, on_end},      {SIGQUIT, on_end}, {SIGPIPE, on_end},
    {SIGALRM, on_end},  {SIGUSR1, on_end},      {SIGUSR2, on_end},     {SIGABRT, on_end}, {SIGSEGV, on_end},
    {SIGBUS, on_end},   {SIGFPE, on_end},       {SIGILL, on_end},      {SIGXCPU, on_end}, {SIGXFSZ, on_end},
    {SIGTRAP, on_end},  {SIGSYS, on_end},       {SIGVTALRM, on_end},   {SIGPROF, on_end}, {SIGTSTP, on_stop},
    {SIGTTIN, on_stop}, {SIGCONT, on_continue}, {SIGWINCH, on_resize},
};

// On the alternate stack where there is one: the plain one may be what is used up.
void catch_by(int number, void (*handler)(int)) {
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART | SA_ONSTACK;
    sigfillset(&action.sa_mask);
    sigaction(number, &action, nullptr);
}

bool has_handler(int number, void (*handler)(int)) {
    struct sigaction action = {};
    return sigaction(number, nullptr, &action) == 0 && (action.sa_flags & SA_SIGINFO) == 0 &&
           action.sa_handler == handler;
}

} // namespace

void catch_terminal_signals(const terminal_actions& wanted) {
    actions.store(&wanted);
    for (const caught& one : signals)
        if (has_handler(one.number, SIG_DFL))
            catch_by(one.number, one.handler);
}

void release_terminal_signals() {
    for (const caught& one : signals)
        if (has_handler(one.number, one.handler))
            take_default(one.number);
}

} // namespace ombrel::platform
