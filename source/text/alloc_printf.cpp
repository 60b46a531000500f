#include <algorithm>
#include <cstring>

#include <ombrel/heap.h>
#include <ombrel/printf.h>

#include "core/call_site.h"
#include "core/wipe.h"

namespace {

using ombrel::call_site;

constexpr size_t first_size = 256;
constexpr size_t last_size = 65280;

// What was formatted may be secret: only the caller's copy of it remains.
void free_wiped(char* text, size_t size, call_site caller) {
    ombrel::wipe(text, size);
    ombrel_free_tag(text, caller.tag, caller.line);
}

// An exactly sized copy of a formatted text, which it replaces; without memory for it the text itself.
char* shrink(char* text, size_t length, call_site caller) {
    auto* exact = static_cast<char*>(ombrel_alloc_tag(length + 1, caller.tag, caller.line));
    if (exact == nullptr)
        return text;
    memcpy(exact, text, length + 1);
    free_wiped(text, length, caller);
    return exact;
}

char* format_new(const char* format, va_list ap, call_site caller) {
    // Doubled, as growing by a fixed step would format a long text hundreds of times.
    for (size_t size = first_size;; size = std::min(size * 2, last_size)) {
        auto* buffer = static_cast<char*>(ombrel_alloc_tag(size, caller.tag, caller.line));
        if (buffer == nullptr)
            return nullptr;
        va_list attempt;
        va_copy(attempt, ap);
        const auto stored = static_cast<size_t>(ombrel_vsnprintf(buffer, size, format, attempt));
        va_end(attempt);
        if (stored < size - 1)
            return shrink(buffer, stored, caller);
        free_wiped(buffer, size, caller);
        if (size == last_size)
            return nullptr;
    }
}

} // namespace

char* ombrel_alloc_vsprintf(const char* format, va_list ap) {
    return format_new(format, ap, {__func__, __LINE__});
}

char* ombrel_alloc_sprintf(const char* format, ...) {
    va_list ap;
    va_start(ap, format);
    char* text = format_new(format, ap, {__func__, __LINE__});
    va_end(ap);
    return text;
}

char* ombrel_realloc_vsprintf(char* old, const char* format, va_list ap) {
    ombrel_check_free_tag(old, __func__, __LINE__);
    return format_new(format, ap, {__func__, __LINE__});
}

char* ombrel_realloc_sprintf(char* old, const char* format, ...) {
    ombrel_check_free_tag(old, __func__, __LINE__);
    va_list ap;
    va_start(ap, format);
    char* text = format_new(format, ap, {__func__, __LINE__});
    va_end(ap);
    return text;
}
