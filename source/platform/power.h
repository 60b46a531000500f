// The end of the machine's run.
#pragma once

namespace ombrel::platform {

enum class host_end { restart, power_off };

/// Hands what was written to the devices, and ends the run. Without the right, false with its fault, and
/// nothing is done.
bool end_host(host_end how);

} // namespace ombrel::platform
