// Copies of lists of texts, as arguments and environments are.
#pragma once

#include "core/call_site.h"
#include "core/heap_ptr.h"

namespace ombrel::system {

/// The list, ended by null as the original is, and its texts behind it in one block; null for null and, with
/// its fault, when there is no memory.
heap_ptr<char*> copy_text_list(const char* const* texts, const call_site& caller);

} // namespace ombrel::system
