// The terminal behind a descriptor.
#pragma once

namespace ombrel::platform {

bool is_terminal(int descriptor);

/// The size of the terminal behind one of the standard descriptors; false, and nothing stored, without one.
bool terminal_size(int& columns, int& rows);

/// Whether texts for the terminal behind a descriptor go through write_terminal(), as it would take their
/// bytes for another encoding.
bool has_own_encoding(int descriptor);

/// Shows a text in UTF-8; false, and nothing shown, for other bytes. What a stream still holds must be out
/// before.
bool write_terminal(int descriptor, const char* text);

/// Whether terminals of this process's environment render escape sequences.
bool terminal_renders_escapes();

} // namespace ombrel::platform
