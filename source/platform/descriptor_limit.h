// How many descriptors a process may have.
#pragma once

namespace ombrel::platform {

/// Lets this process have as many as its user may; a host without such a limit, and one that refuses, stay as
/// they are. For programs that serve many at a time.
void raise_descriptor_limit();

} // namespace ombrel::platform
