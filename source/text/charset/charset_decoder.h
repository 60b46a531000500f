// Texts of any character set as UTF-8, in pieces and strictly: for parsers.
#pragma once

#include "text/charset/charset_pump.h"

namespace ombrel {

/// It knows no marks of byte orders: U+FEFF is a character.
class charset_decoder {
public:
    /// @param charset a def_ombrel_charset_*; the ones whose byte order is told by a mark are little-endian
    explicit charset_decoder(int charset = def_ombrel_charset_utf_8)
        : pump_(find_charset_form(charset), find_charset_form(def_ombrel_charset_utf_8)) {}

    enum class outcome : uint8_t {
        more,    ///< all is used; the beginning of a character may be held
        full,    ///< the next character does not fit, for which there is always room in 4 bytes
        invalid, ///< what comes next is no character, and all before it is written
    };

    /// @param used    receives how many bytes were used, those of what is invalid not among them
    /// @param written receives how many were written, always whole characters
    outcome decode(const void* bytes, size_t size, size_t& used, char* text, size_t room, size_t& written) {
        used = written = 0;
        switch (pump_.run(static_cast<const uint8_t*>(bytes), size, used, reinterpret_cast<uint8_t*>(text),
                          room, written)) {
        case charset_pump::outcome::more:
            return outcome::more;
        case charset_pump::outcome::full:
            return outcome::full;
        default:
            return outcome::invalid;
        }
    }

    /// How many bytes of a character have come that is not complete. What is invalid may begin with them, and
    /// then began in earlier pieces.
    size_t held() const { return pump_.held_size(); }

private:
    charset_pump pump_;
};

} // namespace ombrel
