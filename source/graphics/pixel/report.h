// What functions of graphics report.
#pragma once

namespace ombrel::graphics {

/// Where a function reports from.
struct report_site {
    const char* source;
    const char* function;
    unsigned long line;
};

/// Reports an assertion of the given text. Gives -1.
int fail(const report_site& site, const char* text);

} // namespace ombrel::graphics
