#include "system/file/file_internal.h"

#include <cstring>

#include "platform/path.h"
#include "text/slice.h"

namespace ombrel::system {

char* allocate_text(size_t size, call_site caller) {
    auto* const text = static_cast<char*>(ombrel_alloc_tag(size, caller.tag, caller.line));
    if (text == nullptr)
        leave_fault(fault_code::no_memory);
    return text;
}

char* joined_text(std::string_view first, std::string_view second, std::string_view third, call_site caller) {
    char* const text = allocate_text(first.size() + second.size() + third.size() + 1, caller);
    if (text != nullptr)
        *put_text(put_text(put_text(text, first), second), third) = '\0';
    return text;
}

char* joined_text(std::string_view first, std::string_view second, call_site caller) {
    return joined_text(first, second, {}, caller);
}

char* copied_text(const platform::host_text& text, call_site caller) {
    return text.get() != nullptr ? joined_text(text.get(), {}, caller) : nullptr;
}

std::string_view folder_part(const char* path) {
    constexpr std::string_view separators = platform::has_drives ? "/\\:" : "/";
    const std::string_view whole(path);
    return slice(whole, 0, whole.find_last_of(separators) + 1);
}

int64_t write_some(int descriptor, bool is_regular, const void* data, size_t size) {
    if (is_regular)
        return platform::write_file(descriptor, data, size);
    int result;
    do
        result = platform::write_descriptor(descriptor, data, size);
    while (failed_by(result, fault_code::interrupted));
    return result;
}

bool write_whole(int descriptor, const void* data, size_t size) {
    const auto* bytes = static_cast<const char*>(data);
    while (size > 0) {
        const int written = platform::write_file(descriptor, bytes, size);
        if (written < 0)
            return false;
        bytes += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

} // namespace ombrel::system
