#include "text/regular_internal.h"

#include <cstring>

#include <ombrel/assert.h>
#include <ombrel/regular.h>

namespace ombrel::regular {

namespace {

constexpr const char metacharacters[] = "|.^$*+?()[\\";
constexpr size_t no_atom = code_capacity + 1;
constexpr uint8_t offset_to_come = 255;
constexpr size_t longest_run = 255; // a length operand is one byte

struct escape {
    char name;
    bool is_class;
    uint8_t value; // a character, or a class's opcode
};

constexpr escape escapes[] = {{'n', false, '\n'},   {'r', false, '\r'},    {'t', false, '\t'},
                              {'0', false, '\0'},   {'s', true, op_space}, {'S', true, op_non_space},
                              {'d', true, op_digit}};

escape translate(char name) {
    for (const escape& known : escapes)
        if (known.name == name)
            return known;
    return {name, false, static_cast<uint8_t>(name)};
}

// Writes one program. Every step does nothing once an error is set, and reading stops there.
class compiler {
public:
    compiler(expression& into, const char* pattern) : program_(into), cursor_(pattern) {}

    void compile_pattern() {
        emit(op_open, 0);
        compile_sequence();
        if (*cursor_ == ')')
            fail(def_ombrel_regular_unopened);
        emit(op_close, 0);
        emit(op_end);
        emit(op_end);
    }

private:
    bool failed() const { return program_.m_error != 0; }

    void fail(int error) {
        if (!failed())
            program_.m_error = error;
    }

    void emit(uint8_t byte) {
        if (program_.m_code_size == code_capacity)
            fail(def_ombrel_regular_code_full);
        if (!failed())
            program_.m_code[program_.m_code_size++] = byte;
    }

    void emit(uint8_t operation, uint8_t operand) {
        emit(operation);
        emit(operand);
    }

    void emit(uint8_t operation, size_t data_index, size_t length) {
        emit(operation, static_cast<uint8_t>(data_index));
        emit(static_cast<uint8_t>(length));
    }

    void store(uint8_t byte) {
        if (program_.m_data_size == data_capacity)
            fail(def_ombrel_regular_data_full);
        if (!failed())
            program_.m_data[program_.m_data_size++] = byte;
    }

    void insert(size_t position, size_t count) {
        if (program_.m_code_size + count > code_capacity)
            fail(def_ombrel_regular_code_full);
        if (failed())
            return;
        uint8_t* at = program_.m_code + position;
        memmove(at + count, at, program_.m_code_size - position);
        program_.m_code_size += count;
    }

    // Writes into an instruction's operand how far a place lies from its opcode.
    void set_jump_offset(size_t operation, size_t operand, size_t target) {
        if (failed())
            return;
        if (target - operation > 255) {
            fail(def_ombrel_regular_too_far);
            return;
        }
        if (operation + operand >= program_.m_code_size) {
            ombrel_assert_fail_tag(source_name, "__ombrel_regular_set_jump_offset", __LINE__,
                                   "s_offset < s_regular->m_code_size");
            return;
        }
        program_.m_code[operation + operand] = static_cast<uint8_t>(target - operation);
    }

    // An alternation stands in front of all that its sequence had so far; its end is known when the sequence
    // or its next alternative ends.
    void end_alternative(size_t start, bool pending) {
        if (!pending)
            return;
        emit(op_end);
        set_jump_offset(start, 2, program_.m_code_size);
    }

    void begin_alternative(size_t start) {
        insert(start, 3);
        if (failed())
            return;
        program_.m_code[start] = op_alternation;
        program_.m_code[start + 2] = offset_to_come;
        emit(op_end);
        set_jump_offset(start, 1, program_.m_code_size);
    }

    // The nesting is bounded: each level has taken two bytes of the program.
    void compile_sequence() {
        const size_t start = program_.m_code_size;
        bool pending = false;
        last_atom_ = no_atom;
        while (!failed() && *cursor_ != '\0' && *cursor_ != ')') {
            if (*cursor_ == '|') {
                cursor_++;
                end_alternative(start, pending);
                begin_alternative(start);
                pending = true;
                last_atom_ = no_atom;
            } else {
                compile_item();
            }
        }
        end_alternative(start, pending);
    }

    void compile_item() {
        const size_t atom = program_.m_code_size;
        switch (*cursor_) {
        case '*':
        case '+':
        case '?':
            if (last_atom_ != no_atom) {
                compile_quantifier();
                return;
            }
            compile_literal();
            break;
        case '.':
            compile_simple(op_any);
            break;
        case '^':
            compile_simple(op_line_start);
            break;
        case '$':
            compile_simple(op_line_end);
            break;
        case '(':
            compile_group();
            break;
        case '[':
            compile_set();
            break;
        case '\\':
            compile_escape();
            break;
        default:
            compile_literal();
        }
        last_atom_ = atom;
    }

    void compile_simple(opcode operation) {
        cursor_++;
        emit(operation);
    }

    void compile_group() {
        cursor_++;
        const int number = ++program_.m_capture_count;
        emit(op_open, static_cast<uint8_t>(number));
        compile_sequence();
        if (*cursor_ == ')')
            cursor_++;
        else
            fail(def_ombrel_regular_unclosed);
        emit(op_close, static_cast<uint8_t>(number));
    }

    void compile_set() {
        cursor_++;
        opcode operation = op_in_set;
        if (*cursor_ == '^') {
            cursor_++;
            operation = op_not_in_set;
        }
        const size_t index = program_.m_data_size;
        while (!failed() && *cursor_ != ']') {
            if (*cursor_ == '\0') {
                fail(def_ombrel_regular_unclosed);
                return;
            }
            store_member();
        }
        const size_t length = program_.m_data_size - index;
        if (length > longest_run)
            fail(def_ombrel_regular_data_full);
        cursor_++;
        emit(operation, index, length);
    }

    void store_member() {
        if (*cursor_ != '\\' || cursor_[1] == '\0') {
            store(static_cast<uint8_t>(*cursor_++));
            return;
        }
        const escape meant = translate(cursor_[1]);
        cursor_ += 2;
        // A class in a set is kept as two plain bytes that no class test reads: meant so.
        if (meant.is_class)
            store(0);
        store(meant.value);
    }

    void compile_escape() {
        if (cursor_[1] == '\0') {
            compile_literal();
            return;
        }
        const escape meant = translate(cursor_[1]);
        cursor_ += 2;
        if (meant.is_class) {
            emit(meant.value);
            return;
        }
        const size_t index = program_.m_data_size;
        store(meant.value);
        emit(op_literal, index, 1);
    }

    // The first character is literal whatever it is.
    void compile_literal() {
        const size_t index = program_.m_data_size;
        do
            store(static_cast<uint8_t>(*cursor_++));
        while (!failed() && *cursor_ != '\0' && strchr(metacharacters, *cursor_) == nullptr &&
               program_.m_data_size - index < longest_run);
        emit(op_literal, index, program_.m_data_size - index);
    }

    opcode read_quantifier() {
        const char sign = *cursor_++;
        if (sign == '?')
            return op_optional;
        const bool lazy = *cursor_ == '?';
        if (lazy)
            cursor_++;
        if (sign == '*')
            return lazy ? op_lazy_star : op_star;
        return lazy ? op_lazy_plus : op_plus;
    }

    // Only the last character of a literal run is quantified.
    void split_last_character() {
        uint8_t* literal = program_.m_code + last_atom_;
        if (literal[0] != op_literal || literal[2] < 2)
            return;
        const size_t last = static_cast<size_t>(literal[1]) + --literal[2];
        last_atom_ = program_.m_code_size;
        emit(op_literal, last, 1);
    }

    void compile_quantifier() {
        const opcode operation = read_quantifier();
        split_last_character();
        insert(last_atom_, 2);
        if (failed())
            return;
        program_.m_code[last_atom_] = operation;
        emit(op_end);
        set_jump_offset(last_atom_, 1, program_.m_code_size);
    }

    expression& program_;
    const char* cursor_;
    size_t last_atom_ = no_atom; // where the atom begins that a quantifier would repeat
};

} // namespace

int compile(expression& into, uint32_t flags, const char* pattern) {
    into.m_flags = flags;
    into.m_error = 0;
    into.m_anchored = *pattern == '^' ? 1 : 0;
    into.m_code_size = 0;
    into.m_data_size = 0;
    into.m_capture_count = 0;
    compiler(into, pattern).compile_pattern();
    return into.m_error;
}

} // namespace ombrel::regular
