// Lines, with those that go on with them: which belong together, and what they say.
#pragma once

#include "core/growing_text.h"
#include "document/ini/ini_dialect.h"

namespace ombrel::document {

/// As walks tell them; a mark is the byte order mark.
enum class ini_kind : uint8_t { mark, section, key, comment, blank, malformed, include };

/// What a line says. Places and sizes are bytes of its text.
struct ini_line {
    ini_kind kind = ini_kind::blank;
    int fault = def_ombrel_ini_fault_none; ///< why it is malformed
    size_t fault_at = 0;
    size_t name_at = 0, name_size = 0; ///< of a section, between the brackets
    size_t head_size = 0;              ///< of a section behind whose head a key stands, up to that; else 0
    size_t key_at = 0, key_size = 0;
    size_t value_at = 0, value_size = 0; ///< as it stands; of an include line the path
    bool is_bare = false, is_quoted = false;
};

/// Reads a line with its line end and all that goes on with it. The value goes to `value`.
ini_line read_ini_line(ini_dialect dialect, std::string_view text, growing_text& value, call_site caller);

/// Reads a line that begins with a key, as one behind a head does.
ini_line read_ini_key_line(ini_dialect dialect, std::string_view text, growing_text& value, call_site caller);

/// Tells which lines go on with the one before.
class ini_joiner {
public:
    enum role { begins, goes_on, open };

    explicit ini_joiner(ini_dialect dialect) : dialect_(dialect) {}

    /// What the next line is, with its line end: one of its own, more of the one before, or, being blank or a
    /// comment, either, as a later one tells.
    role take(std::string_view line);
    /// Whether the next line is part of this one, whatever it is.
    bool is_joined() const { return is_joined_; }

private:
    static constexpr size_t none = static_cast<size_t>(-1);

    void begin(std::string_view line, size_t indent);

    ini_dialect dialect_;
    size_t indent_ = none; ///< of the key whose value may go on
    bool is_joined_ = false, is_quoted_ = false;
};

} // namespace ombrel::document
