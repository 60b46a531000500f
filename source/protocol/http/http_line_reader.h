// Lines out of pieces: in place where they lie whole in one, else put together.
#pragma once

#include <cstdint>
#include <string_view>

#include "core/call_site.h"

namespace ombrel::protocol {

/// The piece that is being read.
struct http_piece {
    const char* data;
    size_t size;
    size_t& at; ///< bytes of it that are used

    std::string_view rest() const { return {data + at, size - at}; }
    void use(size_t count) { at += count; }
};

enum class http_line_step { more, line, too_long, no_memory };

class http_line_reader {
public:
    explicit http_line_reader(const call_site& giver) : giver_(giver) {}
    http_line_reader(const http_line_reader&) = delete;
    http_line_reader& operator=(const http_line_reader&) = delete;
    ~http_line_reader() { release(); }

    /// Reads on to the next LF. The line, with its end, stays until the next call or the piece's end.
    /// @param limit its longest, with all that was joined before
    http_line_step read(http_piece& piece, size_t limit, std::string_view& line);
    /// The same where lines are folded: a line is complete when the next does not begin with white space, and
    /// each fold becomes one space. Without `takes_bare_lf` a line that ends with LF alone is not joined.
    http_line_step read_folded(http_piece& piece, size_t limit, bool takes_bare_lf, std::string_view& line);

    /// Bytes of the line that is under way, as they were sent.
    size_t under_way() const { return used_; }
    /// Begins with the next line; the last one's text stays.
    void forget() {
        held_ = used_ = 0;
        in_fold_ = false;
    }
    /// Counts a line that its user read in place.
    void pass(size_t size) { used_ = size; }
    void release();

private:
    bool hold(std::string_view text);
    bool grow(size_t room);
    bool is_complete() const { return held_ != 0 && data_[held_ - 1] == '\n'; }
    http_line_step read_on(http_piece& piece, size_t limit);
    http_line_step skip_fold(http_piece& piece, size_t limit);
    void begin_fold();

    call_site giver_;
    char* data_ = nullptr;
    size_t held_ = 0, room_ = 0;
    size_t used_ = 0;
    bool in_fold_ = false;
};

} // namespace ombrel::protocol
