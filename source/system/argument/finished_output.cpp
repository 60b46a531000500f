#include "system/argument/finished_output.h"

#include <atomic>
#include <cstdio>

#include <ombrel/output.h>

#include "core/fault.h"

namespace ombrel::system {

namespace {

/// What is left in the stream fails again.
constinit std::atomic<bool> is_told;

/// The first one's.
constinit std::atomic<fault_code> noted_code;
constinit std::atomic<int> noted_number;

fault take_noted_fault() {
    const int number = noted_number.exchange(0);
    return {noted_code.exchange(fault_code::none), number};
}

void complain(const char* name, const fault& why) {
    if (why.code == fault_code::closed || is_told.exchange(true))
        return;
    ombrel_error_printf("%s: standard output: write error%s%s\n", name, why ? ": " : "",
                        why ? fault_text(why) : "");
}

} // namespace

void note_failed_output() {
    const fault why = last_fault();
    fault_code none = fault_code::none;
    if (noted_code.compare_exchange_strong(none, why.code))
        noted_number = why.number;
}

// Texts and bytes have both gone through the C stream by now.
bool finish_program_output(const char* name) {
    leave_fault({});
    ombrel_puts(nullptr);
    const bool is_out = fflush(stdout) == 0 && ferror(stdout) == 0;
    const fault last = last_fault(), noted = take_noted_fault();
    if (is_out) {
        is_told = false;
        return true;
    }
    clearerr(stdout);
    complain(name, noted ? noted : last);
    return false;
}

} // namespace ombrel::system
