// What a terminal in use keeps.
#pragma once

#include <cstddef>
#include <string_view>

#include <ombrel/terminal.h>

#include "core/deadline.h"

struct ombrel_terminal_ts {
    int m_input, m_output;
    bool m_owns_input, m_owns_output;
    bool m_renders; ///< escape sequences
    int m_colors;
    int m_guarded;         ///< the number of its guard; -1 when it is as it was found
    int m_columns, m_rows; ///< as they were told last
    int m_escape_limit;
    ombrel::deadline m_escape_end;
    ombrel_key_decoder_t m_decoder;
    size_t m_typed_begin, m_typed_end;
    unsigned char m_typed[256];
    size_t m_drawn_size;
    char m_drawn[4096 + 1]; ///< with room for a terminator
};

namespace ombrel::system {

/// Draws a text that is no sequence.
int draw(ombrel_terminal_t& terminal, std::string_view text);

/// Draws a sequence where the terminal renders them.
int draw_sequence(ombrel_terminal_t& terminal, std::string_view sequence);

/// Asks again what the terminal can show, as its mode has changed.
void learn_abilities(ombrel_terminal_t& terminal);

} // namespace ombrel::system
