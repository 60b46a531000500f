// What the child of a launcher writes.
#pragma once

#include <ombrel/process.h>

#include "system/process/launcher_internal.h"

namespace ombrel::system {

/// Whether somebody wants it.
bool wants_output(const ombrel_launcher_t& launcher);

/// Takes a piece of each output that has some, and closes those that have ended; false when none had any.
bool take_output(ombrel_launcher_t& launcher, ombrel_process_t* child);

/// Takes what is left when the child has ended.
void finish_output(ombrel_launcher_t& launcher, ombrel_process_t* child);

} // namespace ombrel::system
