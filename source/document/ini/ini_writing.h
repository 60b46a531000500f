// Writing lines so that they are read back the same.
#pragma once

#include "document/ini/ini_document.h"

namespace ombrel::document {

/// What a key's line is made of.
struct ini_frame {
    std::string_view head;   ///< in front of it in its line
    std::string_view before; ///< up to the value
    std::string_view behind; ///< the value, the line end included or not
    std::string_view line_end;
    bool is_quoted = false; ///< rather in quotes
};

/// A line that was made: its text, and what it says.
struct ini_written {
    growing_text text, value;
    ini_line what;

    ini_piece piece() const { return {text.view(), what, what.is_bare ? "" : value.view()}; }
};

/// Writes a key with a value, or without one for null. Gives the reason when that cannot be.
int write_ini_key(const ini_t& ini, const ini_frame& frame, std::string_view key, const char* value,
                  ini_written& written);

/// The same with a value that is written already, as a list is.
int write_ini_key_as(const ini_t& ini, const ini_frame& frame, std::string_view key, std::string_view value,
                     ini_written& written);

/// Writes a section's head.
int write_ini_head(const ini_t& ini, std::string_view before, const ini_name& name, std::string_view behind,
                   ini_written& written);

/// Writes an item of a list; in quotes if need be or if that is wanted. False when memory has run out.
bool put_ini_item(ini_dialect dialect, std::string_view item, bool is_quoted, growing_text& to,
                  call_site caller);

} // namespace ombrel::document
