#include "core/readable.h"

#include <cstdint>
#include <cstring>

#include "platform/system.h"

namespace ombrel {

size_t copy_readable(void* to, const void* from, size_t size) {
    constexpr size_t page_size = 4096; // the smallest there is
    size_t copied = 0;
    while (copied < size) {
        const char* next = static_cast<const char*>(from) + copied;
        const size_t on_page = page_size - reinterpret_cast<uintptr_t>(next) % page_size;
        const size_t part = size - copied < on_page ? size - copied : on_page;
        if (!platform::copy_if_readable(static_cast<char*>(to) + copied, next, part))
            break;
        copied += part;
    }
    return copied;
}

readable_text::readable_text(const char* text) {
    const size_t size = text != nullptr ? copy_readable(copy_, text, limit) : 0;
    if (size == 0) {
        strcpy(copy_, text != nullptr ? "<unreadable>" : "(null)");
        is_whole_ = false;
        return;
    }
    copy_[size] = '\0';
    is_whole_ = strlen(copy_) < size;
    for (char* at = copy_; *at != '\0'; at++) {
        if (static_cast<unsigned char>(*at) >= 32 && static_cast<unsigned char>(*at) <= 126)
            continue;
        *at = '.';
        is_whole_ = false;
    }
}

} // namespace ombrel
