// What a filter says of what none of its patterns matches.
#pragma once

#include <ombrel/match_filter.h>

namespace ombrel::system {

bool includes_others(const ombrel_match_filter_t* filter);

} // namespace ombrel::system
