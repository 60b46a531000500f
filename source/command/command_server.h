// What the commands that serve have in common: an event base that ends by a signal, the line that tells where
// they listen, a stop that lets clients finish.
//
//     server_loop loop("httpd");
//     file_server server(loop); // closes its server before the loop goes
//     return exit_code(loop.open() && server.open(...) && server.listen(...) &&
//                      loop.tell("serving", directory, server.alloc_url()) &&
//                      loop.run([&] { return server.stop(); })); // has loop.end() called when it has stopped
#pragma once

#include <cstdio>
#include <cstring>
#include <iterator>
#include <utility>

#include <ombrel/event_base.h>
#include <ombrel/fault.h>
#include <ombrel/heap.h>
#include <ombrel/output.h>
#include <ombrel/process.h>

#include "command/closed_pipe.h"
#include "command/command_input.h"
#include "command/command_options.h"
#include "core/fault.h"
#include "platform/descriptor_limit.h"
#include "platform/poll.h"

namespace ombrel::command {

/// Where a server listens.
constexpr ombrel_argument_option_t address_option(size_t offset) {
    return {.m_letter = 'a',
            .m_name = "address",
            .m_kind = def_ombrel_argument_text,
            .m_offset = offset,
            .m_value = "ADDRESS",
            .m_help = "numeric address to listen at, 0.0.0.0 or :: for all (default 127.0.0.1)"};
}

/// @param help names the default
constexpr ombrel_argument_option_t port_option(size_t offset, const char* help) {
    return {.m_letter = 'p',
            .m_name = "port",
            .m_kind = def_ombrel_argument_integer,
            .m_offset = offset,
            .m_value = "PORT",
            .m_help = help,
            .m_least = 0,
            .m_most = 65535};
}

class server_loop {
public:
    /// How long clients may take to finish.
    static constexpr int stop_ms = 2000;

    explicit server_loop(const char* name) : name_(name) {}
    ~server_loop() {
        for (ombrel_event_t& event : events_)
            if ((event.m_flags & def_ombrel_event_assigned) != 0)
                ombrel_unassign_event(&event);
        if (base_ != nullptr)
            ombrel_free_event_base(base_);
    }
    server_loop(const server_loop&) = delete;
    server_loop& operator=(const server_loop&) = delete;

    /// False after a complaint.
    bool open() {
        static constexpr int numbers[] = {def_ombrel_process_terminate, def_ombrel_process_interrupt};
        platform::raise_descriptor_limit();
        base_ = ombrel_new_event_base();
        bool good = base_ != nullptr;
        for (size_t i = 0; good && i < std::size(numbers); i++)
            good = ombrel_assign_event(base_, &events_[i], numbers[i],
                                       def_ombrel_event_signal | def_ombrel_event_persist, on_signal,
                                       this) == 0 &&
                   ombrel_add_event(&events_[i], -1) == 0;
        return good || fails_by("signals");
    }

    ombrel_event_base_t* base() const { return base_; }

    /// Whether none but this machine's own clients come to an address.
    static bool is_loopback(const char* address) {
        return strcmp(address, "localhost") == 0 || strcmp(address, "::1") == 0 ||
               strncmp(address, "127.", 4) == 0;
    }

    /// Prints "NAME: DOING WHAT at URL" at once. The URL is freed. False after a complaint.
    bool tell(const char* doing, const char* what, char* url) const {
        if (url == nullptr)
            return fails_by(what);
        ombrel_printf("%s: %s %s at %s\n", name_, doing, what, url);
        ombrel_puts(nullptr);
        ombrel_free(url);
        return true;
    }

    /// Prints a line about a client. Where nobody reads them, lines are left out and counted, as a server
    /// does not wait for its log.
    void log(const char* line) {
        constexpr int standard_output = 1;
        platform::poll_request room{standard_output, platform::readiness::write, false};
        if (platform::poll_descriptors(&room, 1, 0) == 0) {
            lines_left_out_++;
            return;
        }
        if (lines_left_out_ > 0)
            ombrel_printf("%s: %llu lines were left out\n", name_, std::exchange(lines_left_out_, 0));
        ombrel_printf("%s\n", line);
        ombrel_puts(nullptr);
        clearerr(stdout); // a reader who is gone is no failure of the server
    }
    /// The same as a handler, whose context is the loop.
    static int log_line(const char* line, void* loop) {
        static_cast<server_loop*>(loop)->log(line);
        return 0;
    }

    /// Runs the server until a signal comes, then calls `stop()`, which has end() called when the server has
    /// stopped; a second signal does not wait for that. False after a complaint.
    template<typename Stop>
    bool run(Stop stop) {
        stop_ = [](void* call) { return (*static_cast<Stop*>(call))(); };
        stop_call_ = &stop;
        int result;
        do // a signal that is nobody's, as of a debugger or of going on after a stop, ends the wait alone
            result = ombrel_event_base_dispatch(base_);
        while (failed_by(result, fault_code::interrupted));
        // NOLINTNEXTLINE(clang-analyzer-core.StackAddressEscape): nobody calls it any more
        return result == 0 || fails_by("loop");
    }
    void end() { ombrel_event_base_exit_loop(base_, 0); }

    /// "NAME: WHAT: WHY", by the last fault. @return false
    bool fails_by(const char* what) const {
        complain(name_, what, ombrel_fault_text());
        return false;
    }

private:
    static void on_signal(ombrel_event_t*, int, uint32_t result_flags, void* context) {
        auto& self = *static_cast<server_loop*>(context);
        if ((result_flags & def_ombrel_event_signal) == 0)
            return;
        if (self.stop_call_ == nullptr || self.is_stopping_ || self.stop_(self.stop_call_) != 0)
            self.end();
        self.is_stopping_ = true;
    }

    const char* name_;
    outlives_readers outlives_;
    ombrel_event_base_t* base_ = nullptr;
    ombrel_event_t events_[2] = {};
    int (*stop_)(void* call) = nullptr;
    void* stop_call_ = nullptr;
    bool is_stopping_ = false;
    unsigned long long lines_left_out_ = 0;
};

} // namespace ombrel::command
