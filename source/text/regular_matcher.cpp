#include "text/regular_matcher.h"

#include <algorithm>
#include <cstring>

#include <ombrel/assert.h>
#include <ombrel/regular.h>

#include "text/ctype_table.h"
#include "text/fold.h"

namespace ombrel::regular {

namespace {

constexpr int no_literal = -1;

bool character_matches(uint8_t operation, int character) {
    switch (operation) {
    case op_any:
        return true;
    case op_space:
        return is_space(character);
    case op_non_space:
        return !is_space(character);
    case op_digit:
        return is_digit(character);
    default:
        ombrel_assertf_fail_tag(source_name, "__ombrel_regular_match_recursive", __LINE__,
                                "unknown opcode %u", static_cast<unsigned>(operation));
        return false;
    }
}

} // namespace

uint8_t matcher::code(size_t counter) const {
    if (counter >= program_.m_code_size) [[unlikely]]
        ombrel_assert_fail_tag(source_name, "__ombrel_regular_match_recursive", __LINE__,
                               "s_program_counter < s_regular->m_code_size");
    return counter < code_capacity ? program_.m_code[counter] : static_cast<uint8_t>(op_end);
}

bool matcher::compares_case() const {
    return (program_.m_flags & def_ombrel_regular_ignore_case) == 0;
}

int matcher::search() {
    if (program_.m_anchored != 0)
        return run(0, 0) != nowhere ? 0 : nowhere;
    const int first = first_literal(0);
    // No position of an empty subject is tried: meant so.
    for (int start = 0; start < length_; start++) {
        if (first != no_literal) {
            const void* found =
                memchr(subject_ + start, first, static_cast<size_t>(length_) - static_cast<size_t>(start));
            if (found == nullptr)
                return nowhere;
            start = static_cast<int>(static_cast<const char*>(found) - subject_);
        }
        if (run(0, start) != nowhere)
            return start;
    }
    return nowhere;
}

int matcher::run(size_t counter, int at) {
    count_work();
    while (!exhausted()) {
        switch (code(counter)) {
        case op_end:
            return at;
        case op_open:
        case op_close:
            counter += 2;
            break;
        case op_alternation:
            at = run_alternatives(counter, at);
            if (at == nowhere)
                return nowhere;
            counter += code(counter + 2);
            break;
        case op_optional:
            if (const int end = run(counter + 2, at); end != nowhere)
                at = end;
            counter += code(counter + 1);
            break;
        case op_star:
        case op_plus:
        case op_lazy_star:
        case op_lazy_plus: {
            const repetition what = read_repetition(counter);
            if (what.once_at_least)
                at = run(what.atom, at);
            return at != nowhere ? repeat(what, at).end : nowhere;
        }
        default:
            if (!step(counter, at))
                return nowhere;
        }
    }
    return nowhere;
}

// The alternative that matched is kept.
int matcher::run_alternatives(size_t counter, int at) {
    const int end = run(counter + 3, at);
    return end != nowhere ? end : run(counter + code(counter + 1), at);
}

bool matcher::step(size_t& counter, int& at) const {
    const uint8_t operation = code(counter);
    switch (operation) {
    case op_line_start:
        counter++;
        return at == 0;
    case op_line_end:
        counter++;
        return at == length_;
    case op_literal: {
        const bool matches = literal_matches(counter, at);
        at += matches ? code(counter + 2) : 0;
        counter += 3;
        return matches;
    }
    default:
        if (at >= length_ || !single_matches(counter, at))
            return false;
        counter += operation == op_in_set || operation == op_not_in_set ? 3 : 1;
        at++;
        return true;
    }
}

bool matcher::literal_matches(size_t counter, int at) const {
    const uint8_t* data = program_.m_data + code(counter + 1);
    const int count = code(counter + 2);
    if (count > length_ - at)
        return false;
    const char* text = subject_ + at;
    if (compares_case())
        return memcmp(text, data, static_cast<size_t>(count)) == 0;
    for (int i = 0; i < count; i++)
        if (to_lower(static_cast<unsigned char>(text[i])) != to_lower(data[i]))
            return false;
    return true;
}

// Whether the character at a place, which is not the end, is one that the instruction takes.
bool matcher::single_matches(size_t atom, int at) const {
    const uint8_t operation = code(atom);
    const int character = static_cast<unsigned char>(subject_[at]);
    if (operation == op_literal)
        return literal_matches(atom, at);
    if (operation != op_in_set && operation != op_not_in_set)
        return character_matches(operation, character);
    const size_t count = code(atom + 2);
    const bool member = count > 0 && memchr(program_.m_data + code(atom + 1), character, count) != nullptr;
    return member == (operation == op_in_set);
}

// How far, up to `limit`, every character matches.
int matcher::single_run_end(size_t atom, int from, int limit) const {
    if (code(atom) == op_any)
        return limit;
    while (from < limit && single_matches(atom, from))
        from++;
    return from;
}

// The byte that whatever matches from here must begin with.
int matcher::first_literal(size_t counter) const {
    while (code(counter) == op_open || code(counter) == op_close)
        counter += 2;
    return code(counter) == op_literal && compares_case() ? program_.m_data[code(counter + 1)] : no_literal;
}

bool matcher::may_begin(int first, int at) const {
    return first == no_literal || (at < length_ && static_cast<unsigned char>(subject_[at]) == first);
}

repetition matcher::read_repetition(size_t counter) const {
    const uint8_t operation = code(counter);
    const uint8_t atom = code(counter + 2);
    return {counter,
            counter + 2,
            counter + code(counter + 1),
            operation == op_plus || operation == op_lazy_plus,
            operation == op_lazy_star || operation == op_lazy_plus,
            atom == op_any || atom >= op_space || atom == op_in_set || atom == op_not_in_set ||
                (atom == op_literal && code(counter + 4) == 1)};
}

choice matcher::repeat(const repetition& what, int at) {
    if (what.single)
        return what.lazy ? repeat_single_lazily(what, at) : repeat_single(what, at);
    return what.lazy ? repeat_group_lazily(what, at) : repeat_group(what, at);
}

int matcher::next_place(const repetition& what, int at) {
    count_work();
    if (what.single)
        return at < length_ && single_matches(what.atom, at) ? at + 1 : nowhere;
    const int next = run(what.atom, at);
    return next > at ? next : nowhere;
}

// As often as possible: from the longest repetition back to the first that the rest matches behind. What was
// found for a stretch of characters holds for each place of it, so it is searched once and then only grows.
choice matcher::repeat_single(const repetition& what, int at) {
    stretch* known = known_stretch(what.counter);
    if (known == nullptr || at > known->last ||
        (at < known->first && single_run_end(what.atom, at, known->first) != known->first)) {
        choice chosen;
        if (recall(what.counter, at, chosen))
            return chosen;
        known = &new_stretch(what.counter);
        known->last = single_run_end(what.atom, at, length_);
        known->first = known->last + 1;
    }
    const int first = first_literal(what.rest);
    while (!known->chosen.made() && known->first > at) {
        const int place = --known->first;
        if (const int end = may_begin(first, place) ? run(what.rest, place) : nowhere; end != nowhere)
            known->chosen = {place, end};
    }
    known->first = std::min(known->first, at);
    const choice chosen = known->chosen.place >= at ? known->chosen : no_choice;
    remember(what.counter, at, chosen);
    return chosen;
}

// As few times as possible: the first place that the rest matches behind.
choice matcher::repeat_single_lazily(const repetition& what, int at) {
    const stretch* known = known_stretch(what.counter);
    choice chosen = no_choice;
    if (known != nullptr && at >= known->first && at <= known->last)
        return known->chosen;
    if (recall(what.counter, at, chosen))
        return chosen;
    const int first = first_literal(what.rest);
    int place = at;
    int last = nowhere;
    for (; last == nowhere; place++) {
        if (known != nullptr && place >= known->first && place <= known->last) {
            chosen = known->chosen;
            last = known->last;
        } else if (const int end = may_begin(first, place) ? run(what.rest, place) : nowhere;
                   end != nowhere) {
            chosen = {place, end};
            last = place;
        } else if (place == length_ || !single_matches(what.atom, place)) {
            last = place;
        }
    }
    new_stretch(what.counter) = {at, last, chosen};
    remember(what.counter, at, chosen);
    return chosen;
}

/// Works out, place by place from the last one, where a repetition stops.
class matcher::chooser {
public:
    chooser(matcher& owner, const repetition& what) : owner_(owner), what_(what) {}

    bool ends_at(int place) {
        choice known;
        const bool end = owner_.recall(what_.counter, place, known);
        if (end)
            chosen = known;
        return end;
    }

    void visit(int place) {
        if (!settled && (what_.lazy || !chosen.made()))
            if (const int end = owner_.run(what_.rest, place); end != nowhere)
                chosen = {place, end};
        // That a lazy repetition stops nowhere is known only behind its last part.
        if (settled || !what_.lazy || chosen.made())
            owner_.remember(what_.counter, place, chosen);
        visited++;
    }

    choice chosen = no_choice;
    int visited = 0;
    bool settled = false; ///< nothing is to be found any more, only to be remembered

private:
    matcher& owner_;
    const repetition& what_;
};

choice matcher::repeat_group(const repetition& what, int at) {
    chooser visitor(*this, what);
    visit_backwards(what, at, nowhere, visitor);
    return visitor.chosen;
}

// In parts of growing size, as its end may be near and the last place far away.
choice matcher::repeat_group_lazily(const repetition& what, int at) {
    chooser visitor(*this, what);
    int from = at;
    // Where much is asked, the next part is worth remembering too.
    for (int size = remembers() ? 4096 : 16; from != nowhere && !visitor.chosen.made();
         size += std::min(size, length_)) {
        int stop = from;
        for (int i = 0; i < size && stop != nowhere && !visitor.ends_at(stop); i++)
            stop = next_place(what, stop);
        const bool known = stop != nowhere && visitor.ends_at(stop);
        visit_backwards(what, from, stop, visitor);
        from = known ? nowhere : stop;
    }
    visitor.settled = true;
    if (!visitor.chosen.made() && visitor.visited > 1)
        visit_backwards(what, at, nowhere, visitor);
    return visitor.chosen;
}

matcher::stretch* matcher::known_stretch(size_t counter) {
    const size_t index = counter / 2;
    return (stretch_known_[index / 64] >> index % 64 & 1) != 0 ? &stretches_[index] : nullptr;
}

matcher::stretch& matcher::new_stretch(size_t counter) {
    const size_t index = counter / 2; // a repetition takes more than two bytes
    stretch_known_[index / 64] |= uint64_t{1} << index % 64;
    return stretches_[index] = {0, 0, no_choice};
}

// A short match is not worth the making of the table.
void matcher::count_work() {
    const bool remembered = remembers();
    work_left_ -= exhausted() ? 0 : 1;
    if (remembers() && !remembered)
        answers_.fill({0, no_choice});
}

namespace {

constexpr uint32_t places_remembered = 1u << 24;

// A repetition never stands at the beginning of the program, so no key is 0.
uint32_t key_of(size_t counter, int at) {
    return static_cast<uint32_t>(counter) << 24 | static_cast<uint32_t>(at);
}

// Scatters the keys at random. One in 256 has a slot that the others do not take: when all answers but the
// latest have given way, some of these are left for a later search to come upon.
size_t slot_of(uint32_t key, size_t count) {
    uint32_t hash = key * 2654435761u;
    hash = (hash ^ hash >> 15) * 2246822519u;
    const size_t rare = count / 4;
    const bool is_rare = (hash & 255) == 0;
    const size_t slot = static_cast<size_t>(uint64_t{hash} * (is_rare ? rare : count - rare) >> 32);
    return is_rare ? slot : rare + slot;
}

} // namespace

bool matcher::recall(size_t counter, int at, choice& chosen) const {
    if (!remembers() || static_cast<uint32_t>(at) >= places_remembered)
        return false;
    const uint32_t key = key_of(counter, at);
    const answer& known = answers_[slot_of(key, answer_count)];
    if (known.key != key)
        return false;
    chosen = known.chosen;
    return true;
}

void matcher::remember(size_t counter, int at, const choice& chosen) {
    if (!remembers() || static_cast<uint32_t>(at) >= places_remembered)
        return;
    const uint32_t key = key_of(counter, at);
    answers_[slot_of(key, answer_count)] = {key, chosen};
}

bool matcher::noted(size_t counter, int at) {
    const size_t operand = counter + 1; // no repetition of its own, so no answer has its key
    choice unused;
    const bool known = recall(operand, at, unused);
    remember(operand, at, no_choice);
    return known;
}

} // namespace ombrel::regular
