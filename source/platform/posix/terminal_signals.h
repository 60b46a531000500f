// What signals do to terminals that are not as they were found.
#pragma once

namespace ombrel::platform {

/// Catches those signals that end, stop and continue the program or tell of a new size, and whose action is
/// the default. That action follows.
void catch_terminal_signals();

/// Gives back those that nobody else has caught since.
void release_terminal_signals();

// What is done there, safely. It leaves the last fault alone.
void give_terminals_back();
void enter_terminals_again();     ///< those that were given back
void enter_all_terminals_again(); ///< the others too, after a stop of which nobody knew
void ring_terminals();

} // namespace ombrel::platform
