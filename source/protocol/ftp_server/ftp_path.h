// Where a name that a client gives leads, from its account's "/" on.
#pragma once

#include <cstddef>
#include <string_view>

namespace ombrel::protocol {

/// "/" or "/a/b": names alone, as ".", ".." and what is empty are settled here and never reach the host.
class ftp_path {
public:
    static constexpr size_t longest = 4095;

    /// From a directory that was resolved before; ".." stays at the top. False for what becomes too long.
    bool resolve(std::string_view from, std::string_view name);

    const char* get() const { return is_root() ? "/" : text_; }
    std::string_view view() const {
        return is_root() ? std::string_view("/") : std::string_view(text_, size_);
    }
    bool is_root() const { return size_ == 0; }
    /// The last name; empty for the root.
    std::string_view name() const;
    /// Takes the last name off.
    void rise();

private:
    bool follow(std::string_view names);
    bool enter(std::string_view name);

    size_t size_ = 0;
    char text_[longest + 1];
};

} // namespace ombrel::protocol
