// What the plug-ins here share: texts on the tagged heap, and options as numbers.
#pragma once

#include <charconv>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>
#include <system_error>

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

/// Reads a text that is nothing but a decimal number from `least` to `most`. False, with the number as it
/// was, for any other.
template<typename Number>
bool read_number(const char* text, Number& number, Number least = std::numeric_limits<Number>::min(),
                 Number most = std::numeric_limits<Number>::max()) {
    Number read;
    const char* const end = text + strlen(text);
    const auto [stop, error] = std::from_chars(text, end, read);
    if (error != std::errc{} || stop != end || read < least || read > most)
        return false;
    number = read;
    return true;
}

/// Reads an option that is a number; it stays where the option is not set. False for a text that is none.
template<typename Number>
bool read_option(int ctx, const char* name, Number& number, Number least = std::numeric_limits<Number>::min(),
                 Number most = std::numeric_limits<Number>::max()) {
    const char* const text = ombrel_ctx_get_option(ctx, name);
    return text == nullptr || read_number(text, number, least, most);
}

/// Reads an option that is on where it is a number other than 0. False for a text that is no number.
inline bool read_switch(int ctx, const char* name, bool& is_on) {
    int number = is_on ? 1 : 0;
    const bool is_read = read_option(ctx, name, number);
    is_on = number != 0;
    return is_read;
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
