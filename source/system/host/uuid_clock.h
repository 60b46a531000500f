// Identifiers that carry the time at which they were made.
#pragma once

#include <ombrel/uuid.h>

namespace ombrel::system {

/// Makes one of version 1, 6 or 7, later than all before it; false, with its fault, where the host gives no
/// random bytes.
bool make_clock_uuid(int version, ombrel_uuid_t& uuid);

} // namespace ombrel::system
