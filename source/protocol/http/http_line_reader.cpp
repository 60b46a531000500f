#include "protocol/http/http_line_reader.h"

#include <algorithm>
#include <cstring>

#include <ombrel/heap.h>

#include "protocol/http/http_character.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

/// Bytes of the text up to its first LF and with it; 0 without one.
size_t line_size(std::string_view text) {
    const void* const end = text.empty() ? nullptr : memchr(text.data(), '\n', text.size());
    return end == nullptr ? 0 : static_cast<size_t>(static_cast<const char*>(end) - text.data()) + 1;
}

bool is_blank(std::string_view line) {
    return line == "\n" || line == "\r\n";
}

} // namespace

void http_line_reader::release() {
    forget();
    room_ = 0;
    if (data_ != nullptr)
        ombrel_free_tag(data_, giver_.tag, giver_.line);
    data_ = nullptr;
}

bool http_line_reader::grow(size_t room) {
    constexpr size_t least = 256;
    room = std::max({room, least, 2 * room_});
    char* const larger = static_cast<char*>(ombrel_alloc_tag(room, giver_.tag, giver_.line));
    if (larger == nullptr)
        return false;
    put_text(larger, {data_, held_});
    const size_t held = held_, used = used_;
    release();
    data_ = larger;
    room_ = room;
    held_ = held;
    used_ = used;
    return true;
}

bool http_line_reader::hold(std::string_view text) {
    // One byte more is for the space of a fold.
    if (held_ + text.size() + 1 > room_ && !grow(held_ + text.size() + 1))
        return false;
    put_text(data_ + held_, text);
    held_ += text.size();
    return true;
}

// Holds what there is up to the next line end, which is there when this gives `line`.
http_line_step http_line_reader::read_on(http_piece& piece, size_t limit) {
    const std::string_view window = slice(piece.rest(), 0, limit - used_);
    if (piece.rest().empty())
        return http_line_step::more;
    const size_t size = line_size(window);
    if (size == 0 && used_ + window.size() == limit)
        return http_line_step::too_long;
    const std::string_view taken = size != 0 ? slice(window, 0, size) : window;
    if (!hold(taken))
        return http_line_step::no_memory;
    used_ += taken.size();
    piece.use(taken.size());
    return size != 0 ? http_line_step::line : http_line_step::more;
}

http_line_step http_line_reader::read(http_piece& piece, size_t limit, std::string_view& line) {
    const std::string_view rest = piece.rest();
    const size_t size = held_ == 0 ? line_size(slice(rest, 0, limit)) : 0;
    if (size != 0) {
        line = slice(rest, 0, size);
        used_ = size;
        piece.use(size);
        return http_line_step::line;
    }
    const http_line_step step = read_on(piece, limit);
    line = {data_, held_};
    return step;
}

void http_line_reader::begin_fold() {
    while (held_ != 0 && (is_http_space(data_[held_ - 1]) || is_one_of("\r\n", data_[held_ - 1])))
        held_--;
    data_[held_++] = ' ';
    in_fold_ = true;
}

// Passes over the white space at a folded line's beginning; `line` says that something else is there.
http_line_step http_line_reader::skip_fold(http_piece& piece, size_t limit) {
    for (; !piece.rest().empty(); piece.use(1), used_++) {
        if (!is_http_space(piece.rest().front())) {
            in_fold_ = false;
            return http_line_step::line;
        }
        if (used_ == limit)
            return http_line_step::too_long;
    }
    return http_line_step::more;
}

http_line_step http_line_reader::read_folded(http_piece& piece, size_t limit, bool takes_bare_lf,
                                             std::string_view& line) {
    for (;;) {
        http_line_step step = http_line_step::line;
        if (in_fold_)
            step = skip_fold(piece, limit);
        if (step == http_line_step::line && !is_complete())
            step = read_on(piece, limit);
        if (step != http_line_step::line)
            return step;
        line = {data_, held_};
        if (is_blank(line) || (!takes_bare_lf && (held_ < 2 || data_[held_ - 2] != '\r')))
            return http_line_step::line;
        if (piece.rest().empty())
            return http_line_step::more;
        if (!is_http_space(piece.rest().front()))
            return http_line_step::line;
        begin_fold();
    }
}

} // namespace ombrel::protocol
