// The order of an argument vector that is being read.
#pragma once

#include <algorithm>

namespace ombrel::system {

/// Brings the slots of a vector, which are told one after the other, into the order options, operands, each
/// in the order in which they came. It needs no memory: runs that are in order are joined with a neighbour of
/// about their length, so that each slot moves as often as the number of slots has bits.
class slot_order {
public:
    /// @param slots the first is at 0
    explicit slot_order(char** slots) : slots_(slots) {}

    void add_options(int count) { add(count, 0); }
    void add_operand() { add(0, 1); }

    /// Puts all in order; how many options there are.
    int finish() {
        while (count_ > 1)
            join();
        return count_ == 0 ? 0 : runs_[0].operands;
    }

private:
    /// Options from `begin` on, operands from `operands` to `end`.
    struct run {
        int begin, operands, end;
        int size() const { return end - begin; }
    };

    void add(int options, int operands) {
        const int begin = count_ == 0 ? 0 : runs_[count_ - 1].end;
        runs_[count_++] = {begin, begin + options, begin + options + operands};
        while (count_ > 1 && runs_[count_ - 2].size() <= 2 * runs_[count_ - 1].size())
            join();
    }

    // The options of the last run go before the operands of the one before it.
    void join() {
        run& to = runs_[count_ - 2];
        const run& from = runs_[--count_];
        std::rotate(slots_ + to.operands, slots_ + from.begin, slots_ + from.operands);
        to = {to.begin, to.operands + (from.operands - from.begin), from.end};
    }

    char** slots_;
    run runs_[32]; ///< each more than twice as long as the next
    int count_ = 0;
};

} // namespace ombrel::system
