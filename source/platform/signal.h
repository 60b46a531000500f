// Catching signals.
#pragma once

#include <string_view>

namespace ombrel::platform {

/// Signal numbers are 1 to signal_limit - 1.
inline constexpr int signal_limit = 65;

/// Called in the context of the signal; only what is safe there may be done. `fault` tells that the program
/// itself did it and cannot go on: the default action follows the call.
using signal_handler = void (*)(int number, bool fault);

/// Hands all deliveries of the signal to `handler` until restore_signal() and remembers the earlier
/// disposition. False for a number that is no signal's or cannot be caught.
bool catch_signal(int number, signal_handler handler);

/// Puts the earlier disposition back.
void restore_signal(int number);

/// The name such as "SIGTERM", or "signal" for one without.
const char* signal_name(int number);

/// The number of a name such as "SIGTERM"; -1 when the host has none of it.
int signal_number(std::string_view name);

bool is_segment_fault(int number);

/// Whether this process was told, or has told itself, to take no notice of it.
bool is_signal_ignored(int number);

/// Whether a function of this process is called when it arrives.
bool has_signal_handler(int number);

/// Takes the default action of a signal that ends programs; to be called by its handler, after whose return
/// the program ends, or at once.
void end_by_signal(int number);

/// Writes a text to standard error. May be called from signal handlers.
void write_error_text(const char* text);

} // namespace ombrel::platform
