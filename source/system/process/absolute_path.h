// Paths that mean the same file wherever the process goes.
#pragma once

#include "core/call_site.h"
#include "core/heap_ptr.h"

namespace ombrel::system {

/// The path behind the current directory, or a copy of one that does not begin there; null with its fault.
heap_ptr<char> absolute_path(const char* path, const call_site& caller);

} // namespace ombrel::system
