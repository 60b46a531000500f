// What the bytes behind Escape mean, once a sequence is complete.
#pragma once

#include <string_view>

#include <ombrel/terminal_key.h>

namespace ombrel::system {

/// A code that no key has: a sequence that says nothing, as the release of a key.
inline constexpr int32_t no_key = -1;

/// A control character or a character as it is typed.
ombrel_key_t key_of_byte(uint8_t byte, uint8_t backspace);

/// The sequence "ESC [" with its parameters and its last byte.
ombrel_key_t key_of_control_sequence(std::string_view parameters, char last, uint8_t backspace);

/// The sequence "ESC O" with its last byte and, from some terminals, a digit for modifiers between them; an
/// unknown key for another byte.
ombrel_key_t key_of_single_shift(std::string_view parameters, char last);

/// The sequence "ESC [ [" of the Linux console.
ombrel_key_t key_of_linux_function(char last);

} // namespace ombrel::system
