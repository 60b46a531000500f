// Formatted texts that may be longer than those of the allocating formatter.
#include <ombrel/printf.h>

#include "context/ctx_internal.h"

using namespace ombrel;

// Twice as large each time, as the formatter does not tell how long the whole would have been.
heap_ptr<char> ombrel::plugin::format_text(const char* format, va_list args, const char* tag) {
    constexpr size_t first_size = 256, largest_size = size_t{1} << 30;
    for (size_t size = first_size; size <= largest_size; size *= 2) {
        heap_ptr<char> text(static_cast<char*>(ombrel_alloc_tag(size, tag, __LINE__)));
        if (!text)
            return {};
        va_list attempt;
        va_copy(attempt, args);
        const int stored = ombrel_vsnprintf(text.get(), size, format, attempt);
        va_end(attempt);
        if (static_cast<size_t>(stored) < size - 1)
            return text;
    }
    return {};
}
