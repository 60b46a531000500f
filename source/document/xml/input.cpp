#include "document/xml/input.h"

#include <algorithm>

#include <ombrel/charset.h>

#include "document/xml/encoding.h"
#include "text/charset/utf8_run.h"
#include "text/slice.h"

namespace ombrel::document {

namespace {

constexpr size_t first_join_step = 256, last_join_step = 64 * 1024;
constexpr size_t decoded_step = 16 * 1024;
constexpr size_t head_step = 1024;

} // namespace

void xml_input::begin(int charset) {
    told_ = charset;
    charset_ = 0;
    mark_ = valid_ = old_ = 0;
    join_step_ = first_join_step;
    head_.clear();
    kept_.clear();
    piece_ = {};
    is_end_ = was_last_ = ran_out_ = is_in_place_ = is_fresh_ = false;
}

void xml_input::release() {
    head_.release();
    kept_.release();
    piece_ = {};
}

void xml_input::give(std::string_view piece, bool is_end) {
    piece_ = piece;
    is_end_ = is_end;
    was_last_ = false;
}

bool xml_input::look(std::string_view bytes, bool is_all) {
    const encoding_look found = look_for_encoding(bytes, told_, is_all);
    charset_ = found.charset;
    mark_ = found.mark;
    if (charset_ != 0)
        decoder_ = charset_decoder(charset_);
    return charset_ != 0;
}

// The first bytes are put aside only when they are too few.
bool xml_input::find_encoding() {
    if (head_.empty() && look(piece_, is_end_)) {
        piece_ = slice(piece_, mark_);
        return true;
    }
    for (bool is_all = false; !is_all;) {
        const size_t taken = std::min(piece_.size(), head_step);
        if (!note_memory(head_.append(piece_.data(), taken)))
            return false;
        piece_ = slice(piece_, taken);
        is_all = piece_.empty();
        if (!look({head_.data(), head_.size()}, is_all && is_end_))
            continue;
        head_.drop_front(mark_);
        if (charset_ != def_ombrel_charset_utf_8)
            return true;
        std::swap(head_, kept_);
        is_fresh_ = true;
        return true;
    }
    return false;
}

bool xml_input::next(window& text) {
    if (charset_ == 0 && !find_encoding())
        return false;
    if (was_last_)
        return false;
    return charset_ == def_ombrel_charset_utf_8 ? next_utf8(text) : next_converted(text);
}

void xml_input::measure(std::string_view text, size_t valid, window& made) {
    const size_t good = valid + utf8_run(text.data() + valid, text.size() - valid);
    const bool is_all = is_end_ && (is_in_place_ || piece_.empty());
    made.has_flaw =
        good < text.size() && (is_all || !utf8_flaw_at(text.data() + good, text.size() - good).is_cut);
    made.is_last = was_last_ = made.has_flaw || is_all;
    made.text = slice(text, 0, good);
}

// Behind what was left comes a part of the piece that is likely to complete it, not all of the piece.
bool xml_input::join() {
    const size_t taken = std::min(piece_.size(), join_step_);
    old_ = kept_.size();
    if (!note_memory(kept_.append(piece_.data(), taken)))
        return false;
    piece_ = slice(piece_, taken);
    join_step_ = std::min(2 * join_step_, last_join_step);
    return true;
}

bool xml_input::next_utf8(window& text) {
    if (piece_.empty() && !is_fresh_ && !is_end_)
        return false;
    is_in_place_ = kept_.empty();
    is_fresh_ = false;
    if (is_in_place_) {
        join_step_ = first_join_step;
        return measure(piece_, 0, text), true;
    }
    if (!join())
        return false;
    measure({kept_.data(), kept_.size()}, valid_, text);
    valid_ = text.text.size();
    return true;
}

bool xml_input::next_converted(window& text) {
    std::string_view source = head_.empty() ? piece_ : std::string_view(head_.data(), head_.size());
    if (source.empty() && !is_end_)
        return false;
    if (!note_memory(kept_.reserve(decoded_step)))
        return false;
    size_t used = 0, written = 0;
    const auto outcome = decoder_.decode(source.data(), std::min(source.size(), decoded_step), used,
                                         kept_.end(), kept_.room() - kept_.size(), written);
    kept_.extend(written);
    if (head_.empty())
        piece_ = slice(piece_, used);
    else
        head_.drop_front(used);
    const bool is_all =
        is_end_ && piece_.empty() && head_.empty() && outcome == charset_decoder::outcome::more;
    text.has_flaw = outcome == charset_decoder::outcome::invalid || (is_all && decoder_.held() != 0);
    text.is_last = was_last_ = is_all || text.has_flaw;
    text.text = {kept_.data(), kept_.size()};
    is_in_place_ = false;
    return true;
}

bool xml_input::keep_from(size_t used) {
    if (is_in_place_) {
        piece_ = slice(piece_, used);
        const std::string_view left = std::exchange(piece_, {});
        valid_ = 0;
        return note_memory(kept_.append(left.data(), left.size()));
    }
    if (charset_ == def_ombrel_charset_utf_8 && used >= old_ && old_ > 0) {
        // The rest is read where it lies.
        const size_t back = kept_.size() - used;
        piece_ = {piece_.data() - back, piece_.size() + back};
        kept_.clear();
        valid_ = 0;
        return true;
    }
    kept_.drop_front(used);
    valid_ -= std::min(valid_, used);
    return true;
}

} // namespace ombrel::document
