// The commands that the library brings.
#pragma once

#include <span>

#include <ombrel/multicall.h>

namespace ombrel::command {

/// By name.
std::span<const ombrel_multicall_command_t> own_multicall_commands();

/// The commands with their summaries, or their names alone.
void print_multicall_commands();
void print_multicall_names();

/// The command "get": writes what a URI names to standard output or to a file.
int run_get(int argc, char** argv);

} // namespace ombrel::command
