// In which encoding a document is written, told by its first bytes.
#pragma once

#include <cstddef>
#include <string_view>

namespace ombrel::document {

struct encoding_look {
    int charset; ///< 0 while more bytes are needed
    size_t mark; ///< bytes of the byte order mark
};

/// What the first bytes tell: a byte order mark, the look of "<?xml", what that declares.
/// @param told what a protocol has told, a def_ombrel_charset_*, or 0
/// @param is_all whether nothing follows the bytes
encoding_look look_for_encoding(std::string_view bytes, int told, bool is_all);

/// Whether a document whose bytes are in one encoding may declare the other.
bool may_declare(int charset, int declared);

/// Bytes that a valid text takes in an encoding.
size_t encoded_size(std::string_view text, int charset);

} // namespace ombrel::document
