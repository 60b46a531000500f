// The commands that the library brings.
#pragma once

#include <span>

#include <ombrel/multicall.h>

namespace ombrel::plugin {

/// By name.
std::span<const ombrel_multicall_command_t> own_multicall_commands();

/// The commands with their summaries, or their names alone.
void print_multicall_commands();
void print_multicall_names();

} // namespace ombrel::plugin
