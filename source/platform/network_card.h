// What the hardware behind an interface is.
#pragma once

#include <ombrel/nic.h>

namespace ombrel::platform {

/// Fills a record that has a name and an index; false, with the fault left. What is not told keeps
/// what it has.
bool describe_card(ombrel_nic_t& nic);

} // namespace ombrel::platform
