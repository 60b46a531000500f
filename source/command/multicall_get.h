// The command "get".
#pragma once

namespace ombrel::plugin {

/// Writes what a URI names to standard output or to a file.
int run_get(int argc, char** argv);

} // namespace ombrel::plugin
