// Names of sections.
#pragma once

#include <string_view>

#include "core/growing_text.h"
#include "document/ini/ini_dialect.h"

namespace ombrel::document {

/// What stands between the brackets of a head, read.
struct ini_name {
    std::string_view name; ///< in the text that was read
    growing_text sub;      ///< of the sub-section
    bool has_sub = false;

    /// Reads it; gives def_ombrel_ini_fault_*.
    int read(ini_dialect dialect, std::string_view text, call_site caller);

    /// What names are compared by.
    bool put_identity(ini_dialect dialect, growing_text& to, call_site caller) const;
    /// How it is written between brackets.
    bool put_text(growing_text& to, call_site caller) const;
};

/// The place of the bracket that closes a head; npos when none does in its line.
size_t find_ini_head_end(ini_dialect dialect, std::string_view text, size_t at);

/// The name of a key as it is compared.
bool put_ini_key_identity(ini_dialect dialect, std::string_view key, growing_text& to, call_site caller);

/// The first character that a plain name may not have; its size when there is none.
size_t find_odd_ini_character(std::string_view name, bool with_dots);

/// Writes the name of a sub-section within quotes.
bool put_ini_sub_section(std::string_view sub, growing_text& to, call_site caller);

} // namespace ombrel::document
