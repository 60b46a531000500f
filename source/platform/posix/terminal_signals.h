// What signals do to terminals that are not as they were found.
#pragma once

namespace ombrel::platform {

/// What is done in signal handlers, safely. Each leaves the last fault alone.
struct terminal_actions {
    void (*give_back)();       ///< at an end or a stop
    void (*enter_again)();     ///< those that were given back
    void (*enter_all_again)(); ///< the others too, after a stop of which nobody knew
    void (*resize)();          ///< there may be another size
};

/// Catches those signals that end, stop and continue the program or tell of a new size, and whose action is
/// the default. That action follows.
/// @param actions live for as long as the program
void catch_terminal_signals(const terminal_actions& actions);

/// Gives back those that nobody else has caught since.
void release_terminal_signals();

} // namespace ombrel::platform
