// A text whose reader stays in the middle of its work until the test lets it go on.
#pragma once

#include <atomic>
#include <csignal>
#include <cstring>

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mman.h>
#include <unistd.h>

#include "support/no_copy.h"

namespace ombrel_test {

/// Lies on a page that cannot be read from stall() to go_on(): the thread that tries waits in a signal's
/// handler, with whatever locks it holds. One at a time.
class stalling_text : no_copy {
public:
    explicit stalling_text(const char* text)
        : size_(static_cast<size_t>(sysconf(_SC_PAGESIZE))),
          page_(mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {
        EXPECT_NE(MAP_FAILED, page_);
        strcpy(static_cast<char*>(page_), text);
        current_ = this;
        struct sigaction action {};
        action.sa_flags = SA_SIGINFO;
        action.sa_sigaction = wait_in_handler;
        sigaction(SIGSEGV, &action, &before_);
    }
    ~stalling_text() {
        sigaction(SIGSEGV, &before_, nullptr);
        munmap(page_, size_);
    }

    const char* get() const { return static_cast<const char*>(page_); }
    void stall() { EXPECT_EQ(0, mprotect(page_, size_, PROT_NONE)); }
    void await_reader() const {
        while (!read_)
            sched_yield();
    }
    void go_on() { goes_on_ = true; }

private:
    static void wait_in_handler(int signal, siginfo_t* fault, void*) {
        auto& self = *current_;
        const auto place =
            reinterpret_cast<uintptr_t>(fault->si_addr) - reinterpret_cast<uintptr_t>(self.page_);
        if (place >= self.size_)
            std::signal(signal, SIG_DFL); // a real fault comes again
        else
            self.read_ = true;
        while (self.read_ && !self.goes_on_)
            sched_yield();
        mprotect(self.page_, self.size_, PROT_READ | PROT_WRITE);
    }

    static inline stalling_text* current_;
    size_t size_;
    void* page_;
    struct sigaction before_ {};
    std::atomic<bool> read_{false}, goes_on_{false};
};

} // namespace ombrel_test
