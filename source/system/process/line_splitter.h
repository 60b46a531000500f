// Lines of bytes that come in pieces.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace ombrel::system {

/// Hands lines of up to `longest` bytes on whole, longer ones in parts of that size. Each is terminated.
template<size_t longest>
class line_splitter {
public:
    /// Calls `use(line, size)` for what has become whole.
    template<typename Use>
    void push(const char* data, size_t size, Use use) {
        while (size > 0) {
            // Only now: the byte behind a full line may be its end.
            if (size_ == longest && *data != '\n')
                hand_on(size_, use);
            const auto* const feed = static_cast<const char*>(memchr(data, '\n', size));
            const size_t wanted = feed != nullptr ? static_cast<size_t>(feed - data) : size;
            const size_t part = std::min(wanted, longest - size_);
            memcpy(line_ + size_, data, part);
            size_ += part;
            const bool is_line = feed == data + part;
            if (is_line)
                hand_on(size_ - has_return(), use);
            data += part + is_line;
            size -= part + is_line;
        }
    }

    /// Hands on a last line without an end.
    template<typename Use>
    void finish(Use use) {
        if (size_ > 0)
            hand_on(size_, use);
    }

private:
    bool has_return() const { return size_ > 0 && line_[size_ - 1] == '\r'; }

    template<typename Use>
    void hand_on(size_t size, Use use) {
        line_[size] = '\0';
        size_ = 0;
        use(line_, size);
    }

    size_t size_ = 0;
    char line_[longest + 1];
};

} // namespace ombrel::system
