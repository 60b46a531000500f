// References to other places, as redirections have them.
#pragma once

#include "core/call_site.h"

namespace ombrel::protocol {

/// What a reference names that an answer from `base` has: a whole URI, the caller's. Null, with the fault
/// left, for what is none and when memory runs out. What stands behind a "#" is left out.
char* resolve_uri_reference(const char* base, const char* reference, call_site caller);

} // namespace ombrel::protocol
