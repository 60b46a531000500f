// Commands that outlive those who read what they print.
#pragma once

#include "platform/signal.h"

namespace ombrel::command {

/// While it lives, a write to a pipe whose reader has gone fails, and does not end the program. Other
/// commands are ended by it, as their neighbours are. What the program itself has said of that signal holds.
class outlives_readers {
public:
    outlives_readers() : number_(platform::signal_number("SIGPIPE")) {
        const bool is_left =
            number_ < 0 || platform::has_signal_handler(number_) || platform::is_signal_ignored(number_);
        is_caught_ = !is_left && platform::catch_signal(number_, [](int, bool) {});
    }
    ~outlives_readers() {
        if (is_caught_)
            platform::restore_signal(number_);
    }
    outlives_readers(const outlives_readers&) = delete;
    outlives_readers& operator=(const outlives_readers&) = delete;

    /// Ends the program as one that does not outlive them, unless the signal was the program's own affair.
    void end_program() {
        if (is_caught_)
            platform::end_by_signal(number_);
    }

private:
    int number_;
    bool is_caught_;
};

} // namespace ombrel::command
