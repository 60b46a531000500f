// What the plug-ins here share: texts on the tagged heap, and options as numbers.
#pragma once

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <ombrel/ctx.h>
#include <ombrel/heap.h>

/// One or two texts as a terminated block for a scope; false without memory. It is overwritten at the end,
/// since it may hold a password.
class heap_text {
public:
    explicit heap_text(std::string_view text, std::string_view more = {})
        : text_(static_cast<char*>(ombrel_alloc_tag(text.size() + more.size() + 1, "heap_text", __LINE__))),
          size_(text.size() + more.size()) {
        if (text_ == nullptr)
            return;
        memcpy(text_, text.data(), text.size());
        if (!more.empty())
            memcpy(text_ + text.size(), more.data(), more.size());
        text_[text.size() + more.size()] = '\0';
    }
    ~heap_text() {
        if (text_ == nullptr)
            return;
        memset(text_, 0, size_);
        asm volatile("" : : "r"(text_) : "memory"); // the stores stay, though nobody looks at them
        ombrel_free(text_);
    }
    heap_text(const heap_text&) = delete;
    heap_text& operator=(const heap_text&) = delete;

    explicit operator bool() const { return text_ != nullptr; }
    const char* get() const { return text_; }

private:
    char* text_;
    size_t size_;
};

/// The number that a whole text is in decimal.
inline bool read_number(const char* text, int64_t& number) {
    char* end;
    errno = 0;
    const long long value = strtoll(text, &end, 10);
    if (end == text || *end != '\0' || errno != 0)
        return false;
    number = value;
    return true;
}

/// The number that an option is; the fallback when it is not set or is none.
inline int64_t option_number(int ctx, const char* name, int64_t fallback) {
    const char* const text = ombrel_ctx_get_option(ctx, name);
    int64_t number = fallback;
    return text != nullptr && read_number(text, number) ? number : fallback;
}

/// Stores what fits of a value with a terminator, for the operation that gives an environment. Its whole
/// size.
inline int store_env(std::string_view value, char* text, size_t room) {
    if (room > 0) {
        const size_t size = value.size() < room ? value.size() : room - 1;
        if (size > 0)
            memcpy(text, value.data(), size);
        text[size] = '\0';
    }
    return value.size() < INT32_MAX ? static_cast<int>(value.size()) : INT32_MAX;
}
