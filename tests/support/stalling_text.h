// A text whose reader stays in the middle of its work until the test lets it go on.
#pragma once

#include <atomic>
#include <csignal>
#include <cstring>
#include <thread>

#include "support/no_copy.h"
#include "support/pages.h"

namespace ombrel_test {

/// Lies on a page that cannot be read from stall() to go_on(): the thread that tries waits where its fault is
/// handled, with whatever locks it holds. One at a time.
class stalling_text : no_copy {
public:
    explicit stalling_text(const char* text) {
        strcpy(page_.get(), text);
        current_ = this;
        begin_to_handle();
    }
    ~stalling_text() { end_to_handle(); }

    const char* get() const { return page_.get(); }
    void stall() { page_.close(0); }
    void await_reader() const {
        while (!read_)
            std::this_thread::yield();
    }
    void go_on() { goes_on_ = true; }

private:
    /// False for a fault elsewhere.
    static bool wait_at(const void* place) {
        auto& self = *current_;
        if (!self.page_.has(place))
            return false;
        self.read_ = true;
        while (!self.goes_on_)
            std::this_thread::yield();
        self.page_.open(0);
        return true;
    }

#if defined(_WIN32)
    static LONG CALLBACK handle(EXCEPTION_POINTERS* fault) {
        const EXCEPTION_RECORD& record = *fault->ExceptionRecord;
        return record.ExceptionCode == EXCEPTION_ACCESS_VIOLATION &&
                       wait_at(reinterpret_cast<const void*>(record.ExceptionInformation[1]))
                   ? EXCEPTION_CONTINUE_EXECUTION
                   : EXCEPTION_CONTINUE_SEARCH;
    }
    void begin_to_handle() {
        handler_ = AddVectoredExceptionHandler(1, handle);
    }
    void end_to_handle() {
        RemoveVectoredExceptionHandler(handler_);
    }

    void* handler_ = nullptr;
#else
    static void handle(int signal, siginfo_t* fault, void*) {
        if (!wait_at(fault->si_addr))
            std::signal(signal, SIG_DFL); // a real fault comes again
    }
    void begin_to_handle() {
        struct sigaction action {};
        action.sa_flags = SA_SIGINFO;
        action.sa_sigaction = handle;
        sigaction(SIGSEGV, &action, &before_);
    }
    void end_to_handle() {
        sigaction(SIGSEGV, &before_, nullptr);
    }

    struct sigaction before_ {};
#endif

    static inline stalling_text* current_;
    const pages page_{1};
    std::atomic<bool> read_{false}, goes_on_{false};
};

} // namespace ombrel_test
