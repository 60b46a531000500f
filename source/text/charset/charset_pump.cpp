#include "text/charset/charset_pump.h"

#include <algorithm>
#include <cstring>

#include "text/charset/utf8_run.h"

namespace ombrel {

namespace {

/// Behind what cannot be converted the next blocks are short, as it seldom comes alone.
constexpr uint16_t block_limit_after_stop = 4;

/// Bytes of UTF-8 for each code point of a block that are looked at before they are converted.
constexpr size_t direct_factor = 16;
/// Shorter runs of ASCII are converted with what is around them.
constexpr size_t long_run = 16;

} // namespace

charset_pump::outcome charset_pump::run(const uint8_t* bytes, size_t size, size_t& used, uint8_t* out,
                                        size_t room, size_t& written) {
    piece in{bytes, size, used};
    space to{out, room, written};
    outcome result = outcome::more;
    while (held_size_ > 0 && result == outcome::more) {
        const size_t before = held_size_;
        result = run_held(in, to);
        if (held_size_ >= before)
            return result;
    }
    while (result == outcome::more && in.left() > 0)
        if (!copy_run(in, to))
            result = run_block(in, to);
    return result;
}

/// What is the same in both sets, or goes from one to the other by a shorter way, needs no code points
/// between.
bool charset_pump::copy_run(piece& in, space& to) {
    const auto* const from = reinterpret_cast<const char*>(in.at());
    auto* const target = reinterpret_cast<char*>(to.at());
    const size_t size = std::min(in.left(), to.left());
    if (from_->is_ascii_based && to_->is_ascii_based && size > 0 && *in.at() < 0x80)
        if (const size_t count = copy_ascii(target, from, size); count >= long_run)
            return advance(in, count, to, count);
    if (from_->decode != decode_utf_8 || (to_ != from_ && to_->encode_utf_8_text == nullptr))
        return false;
    const size_t valid = utf8_run(from, std::min(size, direct_factor * limit_));
    if (to_ == from_) {
        memcpy(target, from, valid);
        return advance(in, valid, to, valid);
    }
    const direct_result done = to_->encode_utf_8_text(in.at(), in.at() + valid, to.at(), to.at() + to.left());
    return advance(in, static_cast<size_t>(done.from - in.at()), to, static_cast<size_t>(done.to - to.at()));
}

/// Whether it went on.
bool charset_pump::advance(piece& in, size_t used, space& to, size_t written) {
    in.used += used;
    to.written += written;
    if (used > 0)
        lengthen_blocks();
    return used > 0;
}

/// Completes the character that earlier pieces began.
charset_pump::outcome charset_pump::run_held(piece& in, space& to) {
    uint8_t bytes[def_ombrel_charset_character_limit];
    std::copy_n(held_, held_size_, bytes);
    const size_t more = std::min(in.left(), sizeof bytes - held_size_);
    std::copy_n(in.at(), more, bytes + held_size_);
    const decoded_character next = decode_one(*from_, bytes, held_size_ + more);
    if (next.stop == decode_stop::cut) {
        memcpy(held_, bytes, held_size_ + more);
        held_size_ = static_cast<uint8_t>(held_size_ + more);
        in.used += more;
        return outcome::more;
    }
    if (next.stop == decode_stop::wrong)
        return stop_at(bytes, next, outcome::wrong);
    const encode_result made = to_->encode(&next.code, &next.code + 1, to.at(), to.at() + to.left());
    if (made.stop != encode_stop::none)
        return stop_at(bytes, next, made.stop == encode_stop::full ? outcome::full : outcome::lacking);
    to.written += static_cast<size_t>(made.to - to.at());
    drop(next.size, in.used);
    return outcome::more;
}

charset_pump::outcome charset_pump::run_block(piece& in, space& to) {
    uint32_t codes[block_limit];
    // A block of more characters than there is room for would be decoded again.
    const size_t count = std::max<size_t>(1, std::min<size_t>(limit_, to.left() / to_->unit));
    const decode_result read = from_->decode(in.at(), in.bytes + in.size, codes, codes + count);
    const encode_result made = to_->encode(codes, read.to, to.at(), to.at() + to.left());
    to.written += static_cast<size_t>(made.to - to.at());
    if (made.stop != encode_stop::none)
        return stop_encoding(in, static_cast<size_t>(made.from - codes), made.stop);
    in.used = static_cast<size_t>(read.from - in.bytes);
    lengthen_blocks();
    if (read.stop == decode_stop::wrong)
        return stop_at(in.at(), {0, read.wrong, decode_stop::wrong}, outcome::wrong);
    return read.stop == decode_stop::cut ? hold_rest(in) : outcome::more;
}

/// The output stopped within a block: the input stops behind as many characters.
charset_pump::outcome charset_pump::stop_encoding(piece& in, size_t characters, encode_stop why) {
    uint32_t codes[block_limit];
    if (characters > 0)
        in.used = static_cast<size_t>(
            from_->decode(in.at(), in.bytes + in.size, codes, codes + characters).from - in.bytes);
    const decoded_character next = decode_one(*from_, in.at(), in.left());
    if (why == encode_stop::full)
        return stop_at(in.at(), next, outcome::full);
    limit_ = block_limit_after_stop;
    return stop_at(in.at(), next, outcome::lacking);
}

charset_pump::outcome charset_pump::stop_at(const uint8_t* bytes, const decoded_character& character,
                                            outcome why) {
    front_ = {character.code, character.size};
    memcpy(front_.bytes, bytes, character.size);
    return why;
}

void charset_pump::lengthen_blocks() {
    limit_ = std::min<uint16_t>(static_cast<uint16_t>(2 * limit_), block_limit);
}

charset_pump::outcome charset_pump::hold_rest(piece& in) {
    held_size_ = static_cast<uint8_t>(in.left());
    memcpy(held_, in.at(), held_size_);
    in.used = in.size;
    return outcome::more;
}

/// Passes over bytes from the front, of which those held come first.
void charset_pump::drop(size_t count, size_t& used) {
    const size_t of_held = std::min<size_t>(count, held_size_);
    memmove(held_, held_ + of_held, held_size_ - of_held);
    held_size_ = static_cast<uint8_t>(held_size_ - of_held);
    used += count - of_held;
}

} // namespace ombrel
