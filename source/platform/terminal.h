// The terminal behind a descriptor.
#pragma once

namespace ombrel::platform {

bool is_terminal(int descriptor);

/// The size of the terminal behind one of the standard descriptors; false, and nothing stored, without one.
bool terminal_size(int& columns, int& rows);

/// Whether terminals of this process's environment render escape sequences.
bool terminal_renders_escapes();

} // namespace ombrel::platform
