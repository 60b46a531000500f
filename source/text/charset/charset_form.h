// The forms of the character sets: how blocks of bytes become code points, and code points bytes.
#pragma once

#include <cstddef>
#include <cstdint>

#include <ombrel/charset.h>

#include "text/charset/utf8_sequence.h"

namespace ombrel {

/// Why a block of bytes ends where it does.
enum class decode_stop : uint8_t {
    none,  ///< all is decoded that is there and fits
    cut,   ///< what is left, fewer bytes than the longest character has, begins a character
    wrong, ///< what is left begins with bytes that are no character
};

/// Where decoding stopped.
struct decode_result {
    const uint8_t* from;
    uint32_t* to;
    decode_stop stop = decode_stop::none;
    uint8_t wrong = 0; ///< how many bytes are no character
};

/// Why a block of code points ends where it does.
enum class encode_stop : uint8_t {
    none,    ///< all is encoded
    full,    ///< the next one does not fit as a whole
    lacking, ///< the set does not have the next one
};

/// Where encoding stopped.
struct encode_result {
    const uint32_t* from;
    uint8_t* to;
    encode_stop stop = encode_stop::none;
};

/// Decodes as many characters as there are and as fit, there being room for one at least.
using decode_function = decode_result (*)(const uint8_t* from, const uint8_t* end, uint32_t* to,
                                          uint32_t* to_end);

/// Encodes as many as fit whole. Code points are no surrogates and at most 0x10FFFF.
using encode_function = encode_result (*)(const uint32_t* from, const uint32_t* end, uint8_t* to,
                                          uint8_t* to_end);

/// Where a conversion from UTF-8 stopped, or did not care to go on.
struct direct_result {
    const uint8_t* from;
    uint8_t* to;
};

/// Encodes valid UTF-8 as far as that is quick and easy; the rest goes by code points.
using direct_function = direct_result (*)(const uint8_t* from, const uint8_t* end, uint8_t* to,
                                          uint8_t* to_end);

/// A character set.
struct charset_form {
    decode_function decode;
    encode_function encode;
    direct_function encode_utf_8_text; ///< null where it does not pay
    uint8_t unit;                      ///< least bytes of a character
    bool is_ascii_based;               ///< bytes below 0x80 are those characters, wherever characters begin
    bool is_marked;                    ///< the byte order is told by a mark
};

/// The form of a set; null for a number that has none.
const charset_form* find_charset_form(int charset);

/// One character, in the least pieces.
struct decoded_character {
    uint32_t code = 0;
    uint8_t size = 0; ///< bytes of the character or of what is wrong
    decode_stop stop = decode_stop::none;
};
decoded_character decode_one(const charset_form& form, const uint8_t* bytes, size_t size);

/// Writes up to 4 bytes and gives how many; 0 when the set does not have it.
size_t encode_one(const charset_form& form, uint32_t code, uint8_t* bytes);

// The functions of the forms.
#define OMBREL_CHARSET_FORM(name)                                                                            \
    decode_result decode_##name(const uint8_t*, const uint8_t*, uint32_t*, uint32_t*);                       \
    encode_result encode_##name(const uint32_t*, const uint32_t*, uint8_t*, uint8_t*)
OMBREL_CHARSET_FORM(us_ascii);
OMBREL_CHARSET_FORM(latin_1);
OMBREL_CHARSET_FORM(windows_1252);
OMBREL_CHARSET_FORM(utf_8);
OMBREL_CHARSET_FORM(utf_16le);
OMBREL_CHARSET_FORM(utf_16be);
OMBREL_CHARSET_FORM(utf_32le);
OMBREL_CHARSET_FORM(utf_32be);
OMBREL_CHARSET_FORM(euc_kr);
OMBREL_CHARSET_FORM(cp949);
OMBREL_CHARSET_FORM(shift_jis);
OMBREL_CHARSET_FORM(cp932);
OMBREL_CHARSET_FORM(euc_jp);
#undef OMBREL_CHARSET_FORM
direct_result utf_8_to_euc_kr(const uint8_t*, const uint8_t*, uint8_t*, uint8_t*);
direct_result utf_8_to_cp949(const uint8_t*, const uint8_t*, uint8_t*, uint8_t*);
direct_result utf_8_to_shift_jis(const uint8_t*, const uint8_t*, uint8_t*, uint8_t*);
direct_result utf_8_to_euc_jp(const uint8_t*, const uint8_t*, uint8_t*, uint8_t*);

} // namespace ombrel
