#include <ombrel/regular.h>

#include <array>
#include <cstring>

#include <ombrel/assert.h>
#include <ombrel/printf.h>
#include <ombrel/scan.h>

#include "text/ctype_table.h"
#include "text/fold.h"
#include "text/regular_internal.h"

using namespace ombrel::regular;

namespace {

constexpr int slots_of_extraction = 20;
constexpr size_t most_captures = code_capacity / 4; // each takes two bytes to open and two to close

// A subject of any length can be searched once by the longest program; beyond that the work does not grow.
uint64_t steps_for(int length) {
    constexpr uint64_t base = 16'777'216;
    return base + static_cast<uint64_t>(length) * code_capacity;
}

// Runs a program on a subject. What it does is bounded by the step count, and how deep it calls itself by the
// program's size: each call begins further behind in it.
class matcher {
public:
    matcher(const expression& program, const char* subject, int length, ombrel_regular_capture_t* captures,
            int slots)
        : program_(program), subject_(subject), length_(length), captures_(captures), slots_(slots),
          steps_left_(steps_for(length)) {}

    int search() {
        if (program_.m_anchored != 0)
            return run_from(0);
        // No position of an empty subject is tried: meant so.
        int result = def_ombrel_regular_no_match;
        for (int start = 0; start < length_ && result == def_ombrel_regular_no_match && !exhausted(); start++)
            result = run_from(start);
        return result;
    }

private:
    int run_from(int start) {
        int position = start;
        if (run(0, position))
            return def_ombrel_regular_match;
        return few_slots_ ? def_ombrel_regular_few_slots : def_ombrel_regular_no_match;
    }

    bool exhausted() const { return steps_left_ == 0; }

    // Nothing matches any more once the steps are used up or a group has no slot.
    bool stopped() {
        if (few_slots_ || exhausted())
            return true;
        steps_left_--;
        return false;
    }

    uint8_t code(size_t counter) const {
        if (counter >= program_.m_code_size)
            ombrel_assert_fail_tag(source_name, "__ombrel_regular_match_recursive", __LINE__,
                                   "s_program_counter < s_regular->m_code_size");
        return counter < code_capacity ? program_.m_code[counter] : static_cast<uint8_t>(op_end);
    }

    // Executes up to the next end; the position moves only when all of it matched.
    bool run(size_t counter, int& position) {
        int at = position;
        for (uint8_t operation; (operation = code(counter)) != op_end;) {
            if (stopped() || !execute(operation, counter, at))
                return false;
        }
        position = at;
        return true;
    }

    bool execute(uint8_t operation, size_t& counter, int& at) {
        switch (operation) {
        case op_alternation:
            return alternate(counter, at);
        case op_literal:
            return literal(counter, at);
        case op_in_set:
        case op_not_in_set:
            return set(counter, at, operation == op_in_set);
        case op_open:
        case op_close:
            return capture(counter, at, operation == op_open);
        case op_star:
        case op_plus:
            return repeat(counter, at, operation == op_plus);
        case op_lazy_star:
        case op_lazy_plus:
            return repeat_lazily(counter, at, operation == op_lazy_plus);
        case op_optional:
            run(counter + 2, at);
            counter += code(counter + 1);
            return true;
        default:
            counter++;
            return single(operation, at);
        }
    }

    bool single(uint8_t operation, int& at) {
        if (operation == op_line_start)
            return at == 0;
        if (operation == op_line_end)
            return at == length_;
        if (at >= length_)
            return false;
        const int character = static_cast<unsigned char>(subject_[at++]);
        switch (operation) {
        case op_any:
            return true;
        case op_space:
            return ombrel::is_space(character);
        case op_non_space:
            return !ombrel::is_space(character);
        case op_digit:
            return ombrel::is_digit(character);
        default:
            ombrel_assertf_fail_tag(source_name, "__ombrel_regular_match_recursive", __LINE__,
                                    "unknown opcode %u", static_cast<unsigned>(operation));
            return false;
        }
    }

    bool literal(size_t& counter, int& at) {
        const uint8_t* data = program_.m_data + code(counter + 1);
        const int count = code(counter + 2);
        counter += 3;
        if (count > length_ - at)
            return false;
        const char* text = subject_ + at;
        at += count;
        if ((program_.m_flags & def_ombrel_regular_ignore_case) == 0)
            return memcmp(text, data, static_cast<size_t>(count)) == 0;
        for (int i = 0; i < count; i++)
            if (ombrel::to_lower(static_cast<unsigned char>(text[i])) != ombrel::to_lower(data[i]))
                return false;
        return true;
    }

    bool set(size_t& counter, int& at, bool wanted) {
        if (at >= length_)
            return false;
        const uint8_t* data = program_.m_data + code(counter + 1);
        const size_t count = code(counter + 2);
        counter += 3;
        const int character = static_cast<unsigned char>(subject_[at++]);
        return (count > 0 && memchr(data, character, count) != nullptr) == wanted;
    }

    bool capture(size_t& counter, int at, bool opens) {
        const int number = code(counter + 1);
        counter += 2;
        if (captures_ == nullptr)
            return true;
        if (opens && number >= slots_ - 1) {
            few_slots_ = true;
            return false;
        }
        if (number >= slots_) {
            ombrel_assert_fail_tag(source_name, "__ombrel_regular_match_recursive", __LINE__,
                                   "s_regular->m_code[s_program_counter + 1] < s_capture_count");
            return false;
        }
        // The slot is written when the group is complete: a repetition that fails half-way leaves the one
        // before it, and start and length always belong together.
        int& start = opened_[static_cast<size_t>(number)];
        if (opens)
            start = at;
        else
            captures_[number] = {subject_ + start, at - start};
        return true;
    }

    bool alternate(size_t& counter, int& at) {
        const size_t next = counter + code(counter + 1);
        const size_t end = counter + code(counter + 2);
        const bool matched = run(counter + 3, at) || run(next, at);
        counter = end;
        return matched;
    }

    bool matches_from(size_t counter, int at) { return run(counter, at); }

    // As often as possible, back to the longest repetition that the rest of the sequence matches behind.
    bool repeat(size_t& counter, int& at, bool once_at_least) {
        const size_t atom = counter + 2;
        const size_t rest = counter + code(counter + 1);
        if (once_at_least && !run(atom, at))
            return false;
        int result = at;
        for (int here = at, next = at; run(atom, next) && next > here; here = next)
            if (matches_from(rest, next))
                result = next;
        at = result;
        counter = rest;
        return true;
    }

    bool repeat_lazily(size_t& counter, int& at, bool once_at_least) {
        const size_t atom = counter + 2;
        const size_t rest = counter + code(counter + 1);
        if (once_at_least && !run(atom, at))
            return false;
        for (int next = at; !matches_from(rest, at) && run(atom, next) && next > at;)
            at = next;
        counter = rest;
        return true;
    }

    const expression& program_;
    const char* subject_;
    int length_;
    ombrel_regular_capture_t* captures_;
    int slots_;
    std::array<int, most_captures> opened_; // where each group was opened last
    bool few_slots_ = false;
    uint64_t steps_left_;
};

int match(expression& program, unsigned flags, const char* pattern, const char* subject, int length,
          ombrel_regular_capture_t* captures, int slots) {
    for (int i = 0; captures != nullptr && i < slots; i++)
        captures[i] = {nullptr, 0};
    const int error = compile(program, flags, pattern != nullptr ? pattern : "");
    if (error != 0)
        return error;
    return matcher(program, subject, subject != nullptr && length > 0 ? length : 0, captures, slots).search();
}

// The scanner's view of a capture, which has no terminator.
struct capture_reader {
    const char* cursor;
    const char* end;
};

int peek_capture(void* context) {
    const auto* reader = static_cast<const capture_reader*>(context);
    return reader->cursor < reader->end ? static_cast<unsigned char>(*reader->cursor) : 0;
}

int pop_capture(void* context) {
    const int character = peek_capture(context);
    auto* reader = static_cast<capture_reader*>(context);
    if (reader->cursor < reader->end)
        reader->cursor++;
    return character;
}

int scan_capture(const ombrel_regular_capture_t& capture, const char* format, ...) {
    capture_reader reader{capture.m_start, capture.m_start + capture.m_length};
    va_list args;
    va_start(args, format);
    const int fields = ombrel_context_scanf(peek_capture, pop_capture, &reader, format, args);
    va_end(args);
    return fields;
}

int take_string(const ombrel_regular_capture_t& capture, int size, void* destination) {
    if (size <= capture.m_length)
        return def_ombrel_regular_string_size;
    const auto length = static_cast<size_t>(capture.m_length);
    auto* text = static_cast<char*>(destination);
    if (length > 0)
        memcpy(text, capture.m_start, length);
    text[length] = '\0';
    return 0;
}

int take_integer(const ombrel_regular_capture_t& capture, int size, void* destination) {
    // The two short sizes name no conversion, so that their scans always fail: meant so.
    constexpr struct {
        int size;
        const char* suffix;
    } suffixes[] = {{1, "hh"}, {2, "h"}, {4, "d"}, {8, "lld"}};
    for (const auto& known : suffixes) {
        if (known.size != size)
            continue;
        char format[32];
        ombrel_snprintf(format, sizeof format, "%%%lu%s", static_cast<unsigned long>(capture.m_length),
                        known.suffix);
        return scan_capture(capture, format, destination) == 1 ? 0 : def_ombrel_regular_integer;
    }
    return def_ombrel_regular_integer_size;
}

int take_capture(const ombrel_regular_capture_t& capture, int type, int size, void* destination) {
    switch (type) {
    case def_ombrel_regular_type_string:
        return take_string(capture, size, destination);
    case def_ombrel_regular_type_integer:
        return take_integer(capture, size, destination);
    default:
        return def_ombrel_regular_capture_type;
    }
}

} // namespace

int ombrel_regular_match(unsigned flags, const char* pattern, const char* subject, int length,
                         ombrel_regular_capture_t* captures, int capture_slots) {
    expression program;
    return match(program, flags, pattern, subject, length, captures, capture_slots);
}

int ombrel_regular(unsigned flags, const char* pattern, const char* subject, int length, ...) {
    expression program;
    // A group without a slot can still stand in an alternative that was not tried: it reads as empty.
    ombrel_regular_capture_t captures[most_captures] = {};
    const int result = match(program, flags, pattern, subject, length, captures, slots_of_extraction);
    if (result != 0)
        return result;
    va_list args;
    va_start(args, length);
    const int extracted = ombrel_regular_vcapture(captures + 1, program.m_capture_count, args);
    va_end(args);
    return extracted;
}

int ombrel_regular_capture(const ombrel_regular_capture_t* captures, int count, ...) {
    va_list args;
    va_start(args, count);
    const int result = ombrel_regular_vcapture(captures, count, args);
    va_end(args);
    return result;
}

int ombrel_regular_vcapture(const ombrel_regular_capture_t* captures, int count, va_list args) {
    int result = 0;
    // The last result is the answer, whatever the earlier ones were: meant so.
    for (int i = 0; i < count; i++) {
        const int type = va_arg(args, int);
        const int size = va_arg(args, int);
        void* destination = va_arg(args, void*);
        result = take_capture(captures[i], type, size, destination);
    }
    return result;
}
