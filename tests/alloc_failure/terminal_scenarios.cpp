// Terminals, programs in them and serial ports: what cannot be opened for want of memory leaves nothing open.
#include <ombrel/fault.h>
#include <ombrel/pseudo_terminal.h>
#include <ombrel/serial.h>
#include <ombrel/terminal.h>

#include "alloc_failure/injection.h"
#include "support/descriptor_balance.h"

namespace ombrel_test {
namespace {

/// A pair for the scope.
struct scenario_pair : ombrel_terminal_pair_t, no_copy {
    scenario_pair() { EXPECT_EQ(0, ombrel_init_terminal_pair(this)); }
    ~scenario_pair() { ombrel_uninit_terminal_pair(this); }
};

template<typename Release, typename Call>
void null_for_memory(injection& fail, Release release, Call call) {
    null_when_hit(fail, release, [&] {
        auto* result = call();
        EXPECT_TRUE(result != nullptr || ombrel_last_fault() == def_ombrel_fault_no_memory);
        return result;
    });
}

OMBREL_FAILURES(Terminal, terminal) {
    const descriptor_balance balance;
    const scenario_pair pair;
    null_for_memory(fail, ombrel_close_terminal,
                    [&] { return ombrel_open_terminal(pair.m_slave, pair.m_slave); });
    ombrel_terminal_t* terminal = ombrel_open_terminal(pair.m_slave, pair.m_slave);
    ASSERT_EQ(0, ombrel_terminal_enter(terminal, def_ombrel_terminal_paste));
    done_or_refused(
        fail, [&] { return ombrel_terminal_printf(terminal, "%600s", ""); }, 600);
    EXPECT_EQ(0, ombrel_close_terminal(terminal));
    char line[8];
    done_or_refused(
        fail, [&] { return ombrel_read_secret(pair.m_slave, "? ", line, sizeof line, 0); },
        def_ombrel_terminal_timeout);
}

OMBREL_FAILURES(Terminal, program) {
    const descriptor_balance balance;
    const char* const arguments[] = {"true", nullptr};
    null_for_memory(fail, ombrel_close_pseudo_terminal,
                    [&] { return ombrel_open_pseudo_terminal(arguments, nullptr); });
}

OMBREL_FAILURES(Terminal, serial) {
    const descriptor_balance balance;
    const scenario_pair pair;
    null_for_memory(fail, ombrel_close_serial, [&] { return ombrel_open_serial(pair.m_name, nullptr); });
    const auto pass = [](const ombrel_serial_port_t*, void*) { return 0; };
    done_or_refused(fail, [&] { return ombrel_walk_serial_ports(pass, nullptr); });
}

} // namespace
} // namespace ombrel_test
