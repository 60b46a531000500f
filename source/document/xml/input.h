// The document's bytes, in pieces, made into windows of text: each is valid UTF-8 and begins with what the
// reader left of the one before.
#pragma once

#include <string_view>

#include "document/xml/growing_array.h"
#include "text/charset/charset_decoder.h"

namespace ombrel::document {

class xml_input {
public:
    explicit xml_input(const call_site& giver) : head_(giver), kept_(giver) {}

    /// For a new document. @param charset what a protocol has told of it; 0 for nothing
    void begin(int charset);
    void give(std::string_view piece, bool is_end);

    struct window {
        std::string_view text;
        bool is_last;  ///< nothing of use follows it
        bool has_flaw; ///< because what follows is none of the encoding
    };
    /// False when there is nothing new, or memory has run out.
    bool next(window& text);
    /// How much of the window the reader used.
    bool keep_from(size_t used);

    int charset() const { return charset_; }
    int told() const { return told_; }
    size_t mark_size() const { return mark_; }
    bool ran_out() const { return ran_out_; }
    void release();

private:
    bool find_encoding();
    bool look(std::string_view bytes, bool is_all);
    bool next_utf8(window& text);
    bool next_converted(window& text);
    bool join();
    void measure(std::string_view text, size_t valid, window& made);
    bool note_memory(bool has_it) { return has_it || !(ran_out_ = true); }

    int told_ = 0, charset_ = 0;
    size_t mark_ = 0;
    charset_decoder decoder_;
    std::string_view piece_; ///< what is left of it
    bool is_end_ = false, was_last_ = false, ran_out_ = false;
    growing_array<char>
        head_; ///< the first bytes, while they do not tell the encoding, until they are decoded
    growing_array<char> kept_; ///< text that was left, and what was put behind it
    size_t valid_ = 0;         ///< bytes of kept_ that are known to be valid
    size_t old_ = 0;           ///< bytes of kept_ that are not of this piece's rest
    size_t join_step_ = 0;
    bool is_in_place_ = false; ///< the window lies in the piece
    bool is_fresh_ = false;    ///< kept_ has what no window had
};

} // namespace ombrel::document
