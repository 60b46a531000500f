// A text that the host gave, in memory of the C library.
#pragma once

#include <cstdlib>

namespace ombrel::platform {

/// Freed at the end of the scope. Null says that there is none, with its fault left.
class host_text {
public:
    explicit host_text(char* text) : text_(text) {}
    ~host_text() { free(text_); }
    host_text(const host_text&) = delete;
    host_text& operator=(const host_text&) = delete;

    const char* get() const { return text_; }

private:
    char* text_;
};

} // namespace ombrel::platform
