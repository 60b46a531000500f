// The frame of warnings that are written to standard error directly.
#pragma once

namespace ombrel {

/// Thirteen groups.
inline constexpr char rule_line[] =
    "-=*=- -=*=- -=*=- -=*=- -=*=- -=*=- -=*=- -=*=- -=*=- -=*=- -=*=- -=*=- -=*=-";

} // namespace ombrel
