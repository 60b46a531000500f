// One block of the heap that holds records of several kinds, laid out by counting first.
#pragma once

#include <cstddef>
#include <cstdint>

#include <ombrel/heap.h>

#include "core/fault.h"

namespace ombrel {

/// The most records that the host may list where so many are wanted: what is not wanted lies between them and
/// does not count, but takes memory meanwhile.
inline size_t most_listed(int64_t wanted) {
    constexpr int64_t most_beside = 1048576;
    return static_cast<size_t>(wanted < INT32_MAX - most_beside ? wanted + most_beside : INT32_MAX);
}

/// Counts what a block is to hold, then gives it out piece by piece in the same order of kinds. All kinds
/// begin at multiples of 16.
class record_block {
public:
    template<typename Record>
    void plan(size_t count) {
        if (count > (most_bytes - size_) / sizeof(Record))
            is_too_large_ = true;
        else
            size_ = aligned(size_ + count * sizeof(Record));
    }
    /// Zeroed; false, with the fault left.
    bool allocate(const char* function, unsigned long line) {
        if (is_too_large_)
            return leave_fault(fault_code::too_large), false;
        start_ = static_cast<uint8_t*>(ombrel_calloc_tag(1, size_, function, line));
        if (start_ == nullptr)
            leave_fault(fault_code::no_memory);
        return start_ != nullptr;
    }
    /// The next records, as they were planned.
    template<typename Record>
    Record* take(size_t count) {
        auto* const records = reinterpret_cast<Record*>(start_ + taken_);
        taken_ = aligned(taken_ + count * sizeof(Record));
        return records;
    }

private:
    static constexpr size_t most_bytes = SIZE_MAX / 4;
    static constexpr size_t aligned(size_t size) { return (size + 15) & ~size_t{15}; }

    uint8_t* start_ = nullptr;
    size_t size_ = 0, taken_ = 0;
    bool is_too_large_ = false;
};

} // namespace ombrel
