// Values as they stand in a text, and what they say.
#pragma once

#include "core/growing_text.h"
#include "document/ini/ini_dialect.h"

namespace ombrel::document {

/// A value that was read.
struct ini_value_shape {
    size_t size = 0;        ///< bytes of the text, from the first to the last that says something
    bool is_quoted = false; ///< whether it stands in quotes as a whole
    int fault = def_ombrel_ini_fault_none;
    size_t fault_at = 0;
};

/// Reads the value that begins the text, which goes up to the end of the value's last line, comments and line
/// ends included.
ini_value_shape read_ini_value(ini_dialect dialect, std::string_view text, growing_text& value,
                               call_site caller);

/// Whether the line, whose value or another line of it begins at its front, goes on behind its end. The quote
/// that is open is remembered.
bool joins_next_ini_line(ini_dialect dialect, std::string_view line, bool& is_quoted);

/// Reads an item of a list, without white space around it: what its quotes hold, or all of it.
int read_ini_item(ini_dialect dialect, std::string_view text, growing_text& item, call_site caller);

/// The place behind the quote that closes the one at the text's front; npos when none does.
size_t find_ini_quote_end(ini_dialect dialect, std::string_view text);

/// Takes an item off the front of a list: up to a comma or a line end outside of quotes.
std::string_view take_ini_item(ini_dialect dialect, std::string_view& list);

} // namespace ombrel::document
