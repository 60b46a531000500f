// The header lines of an answer.
#pragma once

#include <cstddef>
#include <string_view>

/// Keeps the lines of the newest answer, up to a limit: what is beyond it is dropped.
class header_lines {
public:
    header_lines() = default;
    ~header_lines() { clear(); }
    header_lines(const header_lines&) = delete;
    header_lines& operator=(const header_lines&) = delete;

    /// False when memory runs out.
    bool add(std::string_view line);
    void clear();

    std::string_view all() const { return {text_, size_}; }
    /// The value of the first field of the name, in either case; with null data when there is none.
    std::string_view field(std::string_view name) const;

private:
    static constexpr size_t limit_ = 256 * 1024;
    char* text_ = nullptr;
    size_t size_ = 0, room_ = 0;
};
