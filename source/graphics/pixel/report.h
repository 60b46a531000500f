// What functions of graphics report.
#pragma once

#include "core/call_site.h"

namespace ombrel::graphics {

/// Where a function reports from.
struct report_site {
    const char* source;
    call_site caller;
};

/// Reports an assertion of the given text. Gives -1.
int fail(const report_site& site, const char* text);

} // namespace ombrel::graphics
