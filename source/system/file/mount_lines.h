// The host's list of mounted file systems as records.
#pragma once

#include <string_view>

#include <ombrel/file.h>

#include "core/call_site.h"

namespace ombrel::system {

/// Reads lines as platform::mount_lines() gives them; those without a second word are passed over.
/// @param count receives the number of records; may be null
/// @return one block of the caller's with the records, one of nulls and the texts; null when memory runs out
ombrel_mount_t* parse_mount_lines(std::string_view lines, size_t* count, call_site caller);

} // namespace ombrel::system
