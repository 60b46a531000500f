// The control operations and the properties of streams by their names.
#pragma once

#include "builtin/builtin_kind.h"

namespace ombrel::builtin {

/// The code of a control operation by its name; 0 when there is none.
uint32_t control_code(const char* name);

/// Prints a property that follows from the stream's operations into `room` bytes; false when it has none of
/// the name.
bool stream_property(builtin_ctx& ctx, const char* name, char* text, size_t room);

} // namespace ombrel::builtin
