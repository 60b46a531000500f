// From one character set to another in pieces, up to what cannot be converted: what is done with that, and
// with marks of byte orders, stands above.
#pragma once

#include "text/charset/charset_form.h"

namespace ombrel {

/// Holds what has come of a character that a piece cuts. It writes whole characters only.
class charset_pump {
public:
    enum class outcome : uint8_t {
        more,    ///< the piece is used
        full,    ///< the character at the front does not fit
        wrong,   ///< bytes at the front are no character
        lacking, ///< the output's set does not have the character at the front
    };

    /// What stands where it stopped: the bytes, and the character if they are one.
    struct front_part {
        uint32_t code = 0;
        uint8_t size = 0;
        uint8_t bytes[def_ombrel_charset_character_limit] = {};
    };

    charset_pump(const charset_form* from, const charset_form* to) : from_(from), to_(to) {}

    /// Converts from `bytes + used` on into `out + written`, and counts both on.
    /// @param room bytes of `out`, `written` included
    outcome run(const uint8_t* bytes, size_t size, size_t& used, uint8_t* out, size_t room, size_t& written);

    /// After another outcome than `more`: what is at the front, of the same piece.
    const front_part& front() const { return front_; }
    /// Goes on behind it.
    void pass_front(size_t& used) { drop(front_.size, used); }

    /// The beginning of a character that no piece has completed.
    const uint8_t* held() const { return held_; }
    size_t held_size() const { return held_size_; }

    /// Takes a byte as the first of a character.
    void hold(uint8_t byte) { held_[held_size_++] = byte; }
    void drop_held() { held_size_ = 0; }

    void set_from(const charset_form* from) { from_ = from; }

private:
    /// Code points between both sets; they lie on the stack.
    static constexpr uint16_t block_limit = 512;

    struct piece {
        const uint8_t* bytes;
        size_t size;
        size_t& used;

        const uint8_t* at() const { return bytes + used; }
        size_t left() const { return size - used; }
    };
    struct space {
        uint8_t* out;
        size_t room;
        size_t& written;

        uint8_t* at() const { return out + written; }
        size_t left() const { return room - written; }
    };

    bool copy_run(piece& in, space& to);
    bool advance(piece& in, size_t used, space& to, size_t written);
    outcome run_held(piece& in, space& to);
    outcome run_block(piece& in, space& to);
    outcome stop_at(const uint8_t* bytes, const decoded_character& character, outcome why);
    outcome stop_encoding(piece& in, size_t characters, encode_stop why);
    outcome hold_rest(piece& in);
    void lengthen_blocks();
    void drop(size_t count, size_t& used);

    const charset_form* from_;
    const charset_form* to_;
    front_part front_;
    uint8_t held_[def_ombrel_charset_character_limit] = {};
    uint8_t held_size_ = 0;
    uint16_t limit_ = block_limit; ///< code points of the next block
};

} // namespace ombrel
