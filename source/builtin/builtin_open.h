// From options to an open context of the built-in plug-in.
#pragma once

#include "builtin/builtin_kind.h"

namespace ombrel::builtin {

/// The kind that serves a context of a MIME type with its options, open; null, with the error set, when it is
/// refused. Closed by close_builtin().
builtin_ctx* open_builtin(int handle, const context::option_list& options, const char* mime_type);

/// Closes it and frees it: 0, or -1 when something that was written is lost.
int close_builtin(builtin_ctx* ctx);

} // namespace ombrel::builtin
