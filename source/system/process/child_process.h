// Waiting for a child process to end.
#pragma once

#include "core/deadline.h"
#include "platform/process.h"

namespace ombrel {

/// platform::collect_process() as soon as the child has ended; false when it still runs at the end of the
/// limit.
bool wait_for_process(int process, const deadline& limit, platform::process_end& end);

} // namespace ombrel
