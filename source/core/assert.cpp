#include <ombrel/assert.h>

#include <cstdio>

#include <ombrel/printf.h>
#include <ombrel/time.h>

#include "core/heap_ptr.h"

int ombrel_assert_fail_tag(const char* file, const char* function, unsigned long line,
                           const char* expression) {
    char time_text[32];
    ombrel_asctime(time_text, sizeof time_text, def_ombrel_asctime_milliseconds);
    fprintf(stderr, "ombrel [ASSERT:%s:%s:%lu] <%s> %s\n", file != nullptr ? file : "UNKNOWN",
            function != nullptr ? function : "UNKNOWN", line,
            expression != nullptr ? expression : "NO_MESSAGE", time_text);
    fflush(stderr);
    return 0;
}

int ombrel_vassert_fail_tag(const char* file, const char* function, unsigned long line, const char* format,
                            va_list args) {
    const ombrel::heap_ptr<char> message(format != nullptr ? ombrel_alloc_vsprintf(format, args) : nullptr);
    return ombrel_assert_fail_tag(file, function, line, message ? message.get() : format);
}

int ombrel_assertf_fail_tag(const char* file, const char* function, unsigned long line, const char* format,
                            ...) {
    va_list args;
    va_start(args, format);
    const int result = ombrel_vassert_fail_tag(file, function, line, format, args);
    va_end(args);
    return result;
}
