// What the compiler and the matcher of regular expressions share: the program.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ombrel::regular {

enum opcode : uint8_t {
    op_end,         // ends the program, or one alternative, or a repeated atom
    op_alternation, // offset of the next alternative, offset of the end
    op_any,
    op_literal, // data index, length
    op_in_set,  // data index, length
    op_not_in_set,
    op_open,  // capture number
    op_close, // capture number
    op_line_start,
    op_line_end,
    op_star, // offset behind the repeated atom, for this and the next four
    op_plus,
    op_lazy_star,
    op_lazy_plus,
    op_optional,
    op_space,
    op_non_space,
    op_digit,
    opcode_count
};

inline constexpr size_t code_capacity = 256;
inline constexpr size_t data_capacity = 256;
inline constexpr size_t most_captures = code_capacity / 4; // each takes two bytes to open and two to close
inline constexpr const char source_name[] = "regular";

/// A compiled expression. Offsets count from the opcode of their instruction.
struct expression {
    uint32_t m_flags;
    int32_t m_error;
    int32_t m_anchored;
    size_t m_code_size;
    uint8_t m_code[code_capacity];
    size_t m_data_size;
    uint8_t m_data[data_capacity];
    int32_t m_capture_count;
};

/// Compiles; returns and stores 0 or an error.
int compile(expression& into, uint32_t flags, const char* pattern);

} // namespace ombrel::regular
