// What a report may show of memory that may be damaged or gone.
#pragma once

#include <cstddef>

namespace ombrel {

/// Copies what can be read of [from, from + size), up to the first byte that cannot, and gives its size.
size_t copy_readable(void* to, const void* from, size_t size);

/// A text for a report, wherever the pointer leads: cut to its limit, a full stop for each byte that is no
/// printable character, and words in angle brackets where nothing can be read.
class readable_text {
public:
    explicit readable_text(const char* text);

    const char* get() const { return copy_; }

    /// Whether the text can be printed as it stands.
    bool is_whole() const { return is_whole_; }

private:
    static constexpr size_t limit = 255;

    char copy_[limit + 1];
    bool is_whole_ = true;
};

} // namespace ombrel
