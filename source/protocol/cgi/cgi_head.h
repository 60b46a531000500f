// The head of what a program answers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "core/call_site.h"
#include "core/growing_text.h"

namespace ombrel::protocol {

class cgi_head {
public:
    cgi_head(size_t limit, call_site caller) : limit_(limit), caller_(caller) {}

    enum class step { more, complete, malformed, too_large, no_memory };

    /// Takes bytes, of which it says how many it read: all unless it is complete. Lines end with LF or CR LF.
    step push(std::string_view bytes, size_t& read);

    // Of a complete head:

    int status() const { return status_; }
    /// Null when there is none.
    const char* type() const { return type_; }
    /// -1 when the program names none.
    int64_t size() const { return size_; }

    /// Calls `use(name, value)` for the fields that are handed on, until that gives false. False then.
    template<typename Use>
    bool for_each_field(Use use) const {
        const char* at = text_.data();
        for (size_t i = 0; i < field_count_; i++) {
            const char* const value = at + strlen(at) + 1;
            if (!is_own(at) && !use(at, value))
                return false;
            at = value + strlen(value) + 1;
        }
        return true;
    }

private:
    static bool is_own(std::string_view name);

    bool read_line(std::string_view line);
    bool read_status(std::string_view value);
    bool read_field(std::string_view name, std::string_view value);
    bool take_apart();

    size_t limit_;
    call_site caller_;
    growing_text raw_;     ///< as it comes
    size_t open_line_ = 0; ///< bytes of a line whose end has not come
    growing_text text_;    ///< names and values, a zero behind each
    size_t field_count_ = 0;
    int status_ = 0;
    const char* type_ = nullptr;
    size_t type_at_ = 0; ///< one more than where its value begins; 0 for none
    int64_t size_ = -1;
    bool has_location_ = false, lacks_memory_ = false;
};

} // namespace ombrel::protocol
