// What a directory has, as lines of a listing, made in pieces.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "core/heap_ptr.h"
#include "protocol/ftp_server/ftp_line.h"
#include "protocol/ftp_server/ftp_path.h"
#include "system/tree/confined_tree.h"

namespace ombrel::protocol {

/// A listing under way. What cannot be asked for by its name is left out.
class ftp_listing {
public:
    ftp_listing(const line_style& style, size_t limit) : style_(style), left_(limit) {}
    ~ftp_listing() {
        if (directory_ != nullptr)
            platform::close_directory(directory_);
    }
    ftp_listing(const ftp_listing&) = delete;
    ftp_listing& operator=(const ftp_listing&) = delete;

    /// Lists what is in a directory, what matches the path's last name, or the one thing that is no
    /// directory. False with the fault left.
    /// @param asked what the client called it: names alone begin with it, as they are to be asked for so
    bool open(const system::confined_tree& tree, const ftp_path& path, std::string_view asked);

    /// Lines, as far as they fit and are quickly made: 0 bytes at the end or, which is_over() tells, for want
    /// of a line yet.
    size_t fill(char* text, size_t room);
    /// What is needed at least.
    static constexpr size_t line_room = 2 * ftp_path::longest + line_head_room;

    bool is_over() const { return is_over_; }
    bool was_cut_off() const { return was_cut_off_; }
    bool has_failed() const { return has_failed_; }

private:
    bool open_pattern(const system::confined_tree& tree, ftp_path path, std::string_view asked);
    bool keep(std::string_view prefix, std::string_view name);
    bool is_listed(const char* name) const;
    size_t put_next(char* text);
    size_t put_entry(char* text, const platform::found_entry& entry);
    size_t put_line(char* text, std::string_view name, const ombrel_file_info_t& info) const;

    line_style style_;
    size_t left_; ///< entries that may still come
    platform::open_directory* directory_ = nullptr;
    ombrel_file_info_t single_{};    ///< what is listed without a directory
    heap_ptr<char> texts_;           ///< which the next two are in
    std::string_view prefix_, name_; ///< a pattern or a name; empty for all
    bool is_over_ = false, was_cut_off_ = false, has_failed_ = false;
};

} // namespace ombrel::protocol
