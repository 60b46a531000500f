// Lines of lists, taken apart.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

#include <ombrel/ftp.h>

#include "text/slice.h"

namespace ombrel::protocol {

/// Where the texts of an entry go. They are parts of its line, so room for that and their ends is enough.
class ftp_text_room {
public:
    ftp_text_room(char* room, size_t size) : at_(room), left_(size) {}

    /// A terminated copy; "" when there is no room, which is remembered.
    const char* put(std::string_view text) {
        if (text.size() >= left_) {
            is_full_ = true;
            return "";
        }
        char* const start = at_;
        at_ = put_text(at_, text);
        *at_++ = '\0';
        left_ -= text.size() + 1;
        return start;
    }
    bool is_full() const { return is_full_; }

private:
    char* at_;
    size_t left_;
    bool is_full_ = false;
};

/// A line whose parts are known so far.
struct ftp_entry_reading {
    ombrel_ftp_entry_t& entry;
    ftp_text_room& room;
    const ombrel_instant_t& now; ///< years that are not told are guessed by it
};

/// Each is false for a line of another form.
bool read_ftp_facts(std::string_view line, ftp_entry_reading& to);
bool read_ftp_unix_line(std::string_view line, ftp_entry_reading& to);
bool read_ftp_dos_line(std::string_view line, ftp_entry_reading& to);

/// "20261122124205" and parts of a second behind a point, in UTC.
bool parse_ftp_time(std::string_view text, ombrel_instant_t& time);

/// Room for such a text without parts of a second.
inline constexpr size_t ftp_time_room = 16;
/// False for a year that has not four digits.
bool write_ftp_time(const ombrel_instant_t& time, char (&text)[ftp_time_room]);

/// A civil time in UTC that exists.
bool make_ftp_instant(const ombrel_civil_time_t& civil, ombrel_instant_t& time);

/// Whether a line of LIST tells of no entry: an empty one, or "total 12".
bool is_ftp_heading(std::string_view line);

} // namespace ombrel::protocol
