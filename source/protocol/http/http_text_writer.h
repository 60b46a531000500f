// Texts written into a caller's buffer whole or not at all.
#pragma once

#include <cstdint>
#include <string_view>

#include "core/fault.h"
#include "text/integer_text.h"
#include "text/slice.h"

namespace ombrel::protocol {

/// Leaves the fault and gives -1.
inline int refuse_http(fault_code why) {
    leave_fault(why);
    return -1;
}

class http_text_writer {
public:
    http_text_writer(char* buf, size_t room) : buf_(buf), room_(buf != nullptr ? room : 0) {}

    void put(char c) { put(std::string_view(&c, 1)); }
    void put(std::string_view text) {
        if (text.size() >= room_ - size_ || size_ >= room_)
            fits_ = false;
        if (!fits_)
            return;
        put_text(buf_ + size_, text);
        size_ += text.size();
    }
    void put_number(int64_t number) {
        char digits[24];
        text_sink sink(digits, sizeof digits);
        const bool is_negative = number < 0;
        if (is_negative)
            sink.put('-');
        const auto magnitude = static_cast<uint64_t>(number);
        write_integer(sink, is_negative ? 0 - magnitude : magnitude, 10, 0, lower_digits);
        put(std::string_view(digits, sizeof digits - sink.room()));
    }

    std::string_view text() const { return {buf_, size_}; }
    void shrink_to(size_t size) { size_ = size; }

    /// Ends the text. Gives its bytes, or -1 with too_large where it did not fit.
    int64_t end() {
        if (!fits_ || size_ >= room_)
            return refuse(fault_code::too_large);
        buf_[size_] = '\0';
        return static_cast<int64_t>(size_);
    }
    /// Nobody is to take the part that was written for the whole. @return -1
    int64_t refuse(fault_code why) {
        if (room_ > 0)
            buf_[0] = '\0';
        return refuse_http(why);
    }

private:
    char* buf_;
    size_t room_, size_ = 0;
    bool fits_ = true;
};

} // namespace ombrel::protocol
