// The terminal behind a descriptor.
#pragma once

#include "platform/fault.h"

namespace ombrel::platform {

/// Why a call for terminals fails on what is none.
inline constexpr fault no_terminal{fault_code::not_supported, ENOTSUP};

bool is_terminal(int descriptor);

/// The size of the terminal behind one of the standard descriptors; false, and nothing stored, without one.
bool terminal_size(int& columns, int& rows);

/// The size of the terminal behind a descriptor; false, with its fault, for what is none or cannot tell.
bool size_of_terminal(int descriptor, int& columns, int& rows);

/// Changes it, of which the programs in the terminal are told; false with its fault.
bool set_size_of_terminal(int descriptor, int columns, int rows);

enum class terminal_side { input, output };

/// One side of the terminal that the process has whatever its standard descriptors are, or -1 with its fault:
/// `not_found` for a process without one.
int open_own_terminal(terminal_side side);

/// Whether texts for the terminal behind a descriptor go through write_terminal(), as it would take their
/// bytes for another encoding.
bool has_own_encoding(int descriptor);

/// Shows a text in UTF-8; false, and nothing shown, for other bytes. What a stream still holds must be out
/// before.
bool write_terminal(int descriptor, const char* text);

/// Whether terminals of this process's environment render escape sequences.
bool terminal_renders_escapes();

/// Whether the one behind a descriptor renders them as it is now.
bool terminal_renders_escapes(int descriptor);

} // namespace ombrel::platform
