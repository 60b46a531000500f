// The end of a command.
#pragma once

namespace ombrel::command {

/// Sees that all output is out; the exit code, or that of a failure when it is not.
int finish(const char* name, int exit_code);

} // namespace ombrel::command
