// The matcher of regular expressions: where a part of the program ends that begins at a place of the subject.
//
// That is a function of the two alone, since captures influence nothing. Hence the answers can be found in
// any order and need to be found only once. A repetition is worked out from its last place backwards, so that
// what an answer depends on was worked out just before; the latest answers are kept in a small table. What
// the groups captured is found afterwards, by the tracer.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "text/regular_internal.h"

namespace ombrel::regular {

/// In the place of a place: there is none.
inline constexpr int nowhere = -1;

/// Where a repetition stops and where what follows it then ends; both nowhere when it matches at no place.
struct choice {
    int place;
    int end;

    bool made() const { return end != nowhere; }
};

inline constexpr choice no_choice = {nowhere, nowhere};

/// The parts of a repetition's instruction.
struct repetition {
    size_t counter; ///< of its opcode
    size_t atom;
    size_t rest; ///< what follows in its sequence
    bool once_at_least;
    bool lazy;
    bool single; ///< the atom is one character
};

class matcher {
public:
    matcher(const expression& program, const char* subject, int length)
        : program_(program), subject_(subject), length_(length), work_left_(most_work(length)) {}

    /// Returns where the first match begins, or nowhere.
    int search();

    /// Runs up to the next end instruction; returns where that is, or nowhere.
    int run(size_t counter, int at);

    /// One instruction of those that match characters or their absence.
    bool step(size_t& counter, int& at) const;

    uint8_t code(size_t counter) const;
    repetition read_repetition(size_t counter) const;

    /// Chooses where a repetition stops that has got to `at`, what it must have at least being behind it.
    choice repeat(const repetition& what, int at);

    /// Where one more repetition leads; nowhere when there is none, or it would not move on.
    int next_place(const repetition& what, int at);

    /// Whether this was asked before for a repetition and a place; it may have been forgotten.
    bool noted(size_t counter, int at);

    /// Hands the places of a repetition from `from` up to `stop`, or up to its last one, to the visitor: the
    /// last first. The visitor says `ends_at(place)` for a place to go no further than.
    template<typename Visitor>
    void visit_backwards(const repetition& what, int from, int stop, Visitor& visitor);

private:
    class chooser;

    /// What is known of a repetition of one character in a stretch of places.
    struct stretch {
        int first, last;
        choice
            chosen; ///< greedy: that of the places up to its own, those behind have none; lazy: that of all
    };

    /// One answer of a repetition that has got to a place.
    struct answer {
        uint32_t key;
        choice chosen;
    };

    int run_alternatives(size_t counter, int at);
    bool single_matches(size_t atom, int at) const;
    int single_run_end(size_t atom, int from, int limit) const;
    bool literal_matches(size_t counter, int at) const;
    int first_literal(size_t counter) const;
    bool may_begin(int first, int at) const;
    bool compares_case() const;

    choice repeat_single(const repetition& what, int at);
    choice repeat_single_lazily(const repetition& what, int at);
    choice repeat_group(const repetition& what, int at);
    choice repeat_group_lazily(const repetition& what, int at);

    stretch* known_stretch(size_t counter);
    stretch& new_stretch(size_t counter);
    void count_work();
    bool recall(size_t counter, int at, choice& chosen) const;
    void remember(size_t counter, int at, const choice& chosen);

    static constexpr size_t answer_count = 1792;
    static constexpr uint64_t work_before_remembering = 1024;

    // A bound for patterns that nobody has thought of: what is known to be worst takes a hundredth of it.
    static constexpr uint64_t most_work(int length) {
        return (uint64_t{1} << 32) + static_cast<uint64_t>(length) * code_capacity;
    }

    bool remembers() const { return work_left_ + work_before_remembering < most_work(length_); }
    bool exhausted() const { return work_left_ == 0; }

    const expression& program_;
    const char* subject_;
    int length_;
    uint64_t work_left_;
    // Most matches need neither of these, so they are made ready on first use.
    std::array<uint64_t, code_capacity / 2 / 64> stretch_known_{};
    std::array<stretch, code_capacity / 2> stretches_;
    std::array<answer, answer_count> answers_;
};

/// A repetition of tens of thousands of places is walked again for each part of it, as there is no room to
/// keep all places; the depth of this is the number's logarithm.
template<typename Visitor>
void matcher::visit_backwards(const repetition& what, int from, int stop, Visitor& visitor) {
    constexpr int capacity = 32;
    int places[capacity];
    int count = 0;
    int stride = 1;
    int index = 0;
    for (int here = from; here != stop && here != nowhere && !visitor.ends_at(here);
         here = next_place(what, here), index++) {
        if (count == capacity && index % stride == 0) {
            for (int i = 1; i < capacity / 2; i++)
                places[i] = places[2 * i];
            count /= 2;
            stride *= 2;
        }
        if (index % stride == 0)
            places[count++] = here;
    }
    while (count-- > 0) {
        if (stride == 1)
            visitor.visit(places[count]);
        else
            visit_backwards(what, places[count], stop, visitor);
        stop = places[count];
    }
}

} // namespace ombrel::regular
