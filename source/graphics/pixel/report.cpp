#include "graphics/pixel/report.h"

#include <ombrel/assert.h>

namespace ombrel::graphics {

int fail(const report_site& site, const char* text) {
    ombrel_assert_fail_tag(site.source, site.caller.tag, site.caller.line, text);
    return -1;
}

} // namespace ombrel::graphics
