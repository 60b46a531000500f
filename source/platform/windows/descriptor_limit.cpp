#include "platform/descriptor_limit.h"

namespace ombrel::platform {

/// Sockets are the system's handles, of which there is no such number.
void raise_descriptor_limit() {}

} // namespace ombrel::platform
