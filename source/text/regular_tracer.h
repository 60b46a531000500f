// What the groups of a regular expression captured.
//
// A capture is written when its group closes, whatever comes of the attempt in which it does: the rest may
// not match, an alternative be given up, a later position be the one where the match begins. What a capture
// holds in the end is its last writing in the order in which all attempts are made. Hence the attempts are
// followed here in reverse order, with the matcher's answers, until every capture has been met.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include <ombrel/regular.h>

#include "text/regular_internal.h"
#include "text/regular_matcher.h"

namespace ombrel::regular {

class tracer {
public:
    /// The captures must be zeroed.
    tracer(const expression& program, matcher& finder, const char* subject,
           ombrel_regular_capture_t* captures, int slots);

    /// Follows the attempts from the match at `start` back to the subject's beginning; when it is nowhere,
    /// from the last of the `tried` positions. Returns false when an attempt came to a group that has no
    /// slot.
    bool follow(int start, int tried);

private:
    class place_tracer;

    bool done() const { return few_slots_ || work_left_ == 0 || (missing_ == 0 && !lacks_slots_); }
    bool wants(size_t from, size_t to) const;
    void trace(size_t counter, size_t limit, int at);
    void trace_repetition(const repetition& what, size_t limit, int at);
    void trace_greedy(const repetition& what, size_t limit, int at);
    void trace_lazy(const repetition& what, size_t limit, int at);
    void trace_alternation(size_t counter, size_t limit, int at);
    void trace_optional(size_t counter, size_t limit, int at);
    void trace_group_end(size_t counter, size_t limit, int at);
    bool open(size_t counter, int at);
    void settle(size_t number, int start, int length);

    const expression& program_;
    matcher& finder_;
    const char* subject_;
    ombrel_regular_capture_t* captures_;
    int slots_;
    bool lacks_slots_; ///< the pattern has a group for which there is no slot
    bool few_slots_ = false;
    uint64_t missing_; ///< a bit for each capture not met so far
    uint32_t work_left_;
    std::array<uint8_t, most_captures> close_at_{}; ///< of each group, its close instruction
    std::array<int, most_captures> opened_;         ///< where each group was opened in the attempt followed
};

} // namespace ombrel::regular
