// Whether the rest of a token that a piece cut off has come, without reading it again each time.
#pragma once

#include <cstddef>
#include <string_view>

namespace ombrel::document {

class cut_token {
public:
    void begin() {
        *this = {};
        is_active_ = true;
    }
    void end() { is_active_ = false; }
    bool is_active() const { return is_active_; }
    /// Looks on where it stopped. True when it is worth while to read the token: it may be complete, or
    /// wrong.
    bool look(std::string_view token);

private:
    bool find(std::string_view token, std::string_view wanted, size_t least);
    bool find_close(std::string_view token, char also);
    bool find_other(std::string_view token);
    bool look_at_markup(std::string_view token);
    bool look_at_declaration(std::string_view token);

    bool is_active_ = false;
    size_t seen_ = 0;
    char quote_ = '\0';
};

} // namespace ombrel::document
