#include "text/regular_tracer.h"

#include <bit>

#include <ombrel/assert.h>

namespace ombrel::regular {

namespace {

static_assert(most_captures <= 64, "a bit for each");

// What an attempt leaves behind that came to nothing is not worth more than this.
constexpr uint32_t work_of_trace = 1u << 22;

constexpr std::array<uint8_t, opcode_count> instruction_sizes = {
    1, 3, 1, 3, 3, 3, 2, 2, 1, 1, 2, 2, 2, 2, 2, 1, 1, 1,
};

} // namespace

tracer::tracer(const expression& program, matcher& finder, const char* subject,
               ombrel_regular_capture_t* captures, int slots)
    : program_(program), finder_(finder), subject_(subject), captures_(captures), slots_(slots),
      lacks_slots_(program.m_capture_count >= slots - 1),
      missing_(~uint64_t{0} >> (63 - program.m_capture_count)), work_left_(work_of_trace) {
    for (size_t counter = 0; counter < program.m_code_size;
         counter += instruction_sizes[program.m_code[counter]])
        if (program.m_code[counter] == op_close)
            close_at_[program.m_code[counter + 1]] = static_cast<uint8_t>(counter);
}

bool tracer::follow(int start, int tried) {
    // What is no match captures nothing.
    if (start == nowhere && !lacks_slots_)
        return true;
    for (int at = start != nowhere ? start : tried - 1; at >= 0 && !done(); at--)
        trace(0, program_.m_code_size, at);
    return !few_slots_;
}

// Whether the instructions between two places may tell anything that is not known.
bool tracer::wants(size_t from, size_t to) const {
    if (done())
        return false;
    if (lacks_slots_)
        return true;
    for (uint64_t left = missing_; left != 0; left &= left - 1) {
        const size_t at = close_at_[static_cast<size_t>(std::countr_zero(left))];
        if (at >= from && at < to)
            return true;
    }
    return false;
}

// Follows an attempt at the instructions up to the end of their sequence, which is not behind `limit`. What
// comes last is followed first.
void tracer::trace(size_t counter, size_t limit, int at) {
    while (wants(counter, limit)) {
        work_left_--;
        switch (finder_.code(counter)) {
        case op_end:
            return;
        case op_open:
            if (!open(counter, at))
                return;
            counter += 2;
            break;
        case op_close:
            return trace_group_end(counter, limit, at);
        case op_alternation:
            return trace_alternation(counter, limit, at);
        case op_optional:
            return trace_optional(counter, limit, at);
        case op_star:
        case op_plus:
        case op_lazy_star:
        case op_lazy_plus:
            return trace_repetition(finder_.read_repetition(counter), limit, at);
        default:
            if (!finder_.step(counter, at))
                return;
        }
    }
}

bool tracer::open(size_t counter, int at) {
    const int number = finder_.code(counter + 1);
    few_slots_ = few_slots_ || number >= slots_ - 1;
    opened_[static_cast<size_t>(number)] = at;
    return !few_slots_;
}

void tracer::trace_group_end(size_t counter, size_t limit, int at) {
    const size_t number = finder_.code(counter + 1);
    const int start = opened_[number];
    trace(counter + 2, limit, at);
    settle(number, start, at - start);
}

void tracer::settle(size_t number, int start, int length) {
    const uint64_t bit = uint64_t{1} << number;
    if (done() || (missing_ & bit) == 0)
        return;
    missing_ &= ~bit;
    if (static_cast<int>(number) < slots_)
        captures_[number] = {subject_ + start, length};
    else
        ombrel_assert_fail_tag(source_name, "__ombrel_regular_match_recursive", __LINE__,
                               "s_regular->m_code[s_program_counter + 1] < s_capture_count");
}

void tracer::trace_alternation(size_t counter, size_t limit, int at) {
    const size_t next = counter + finder_.code(counter + 1);
    const size_t behind = counter + finder_.code(counter + 2);
    const int first_end = finder_.run(counter + 3, at);
    const int end = first_end != nowhere ? first_end : finder_.run(next, at);
    if (end != nowhere)
        trace(behind, limit, end);
    if (first_end == nowhere)
        trace(next, behind, at);
    trace(counter + 3, next, at);
}

void tracer::trace_optional(size_t counter, size_t limit, int at) {
    const size_t behind = counter + finder_.code(counter + 1);
    const int end = finder_.run(counter + 2, at);
    trace(behind, limit, end != nowhere ? end : at);
    trace(counter + 2, behind, at);
}

// What was followed once has nothing left to tell.
void tracer::trace_repetition(const repetition& what, size_t limit, int at) {
    if (finder_.noted(what.counter, at))
        return;
    const int first_end = what.once_at_least ? finder_.run(what.atom, at) : at;
    if (first_end != nowhere && what.lazy)
        trace_lazy(what, limit, first_end);
    else if (first_end != nowhere)
        trace_greedy(what, limit, first_end);
    if (what.once_at_least)
        trace(what.atom, what.rest, at);
}

/// Follows what is attempted at each place that a repetition comes to.
class tracer::place_tracer {
public:
    place_tracer(tracer& owner, const repetition& what, size_t limit, int from)
        : owner_(owner), what_(what), limit_(limit), from_(from) {}

    bool ends_at(int) const { return owner_.work_left_ == 0; }

    void visit(int place) {
        if (owner_.done())
            return;
        owner_.work_left_--;
        // A lazy repetition looks first whether the rest matches; a greedy one does so where it has come to.
        owner_.trace(what_.atom, what_.rest, place);
        if (what_.lazy || place != from_)
            owner_.trace(what_.rest, limit_, place);
    }

private:
    tracer& owner_;
    const repetition& what_;
    size_t limit_;
    int from_;
};

// The repetition went on to its last place, whatever place was chosen.
void tracer::trace_greedy(const repetition& what, size_t limit, int at) {
    const choice chosen = finder_.repeat(what, at);
    trace(what.rest, limit, chosen.made() ? chosen.place : at);
    if (!wants(what.atom, limit))
        return;
    place_tracer places(*this, what, limit, at);
    finder_.visit_backwards(what, at, nowhere, places);
}

void tracer::trace_lazy(const repetition& what, size_t limit, int at) {
    const choice chosen = finder_.repeat(what, at);
    if (chosen.made())
        trace(what.rest, limit, chosen.place);
    if (!wants(what.atom, limit))
        return;
    place_tracer places(*this, what, limit, at);
    finder_.visit_backwards(what, at, chosen.place, places);
}

} // namespace ombrel::regular
