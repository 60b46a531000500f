// What the public functions over two bitmaps share: their checks, and what becomes of memory that both have.
#pragma once

#include "core/fault.h"
#include "core/heap_ptr.h"
#include "graphics/pixel/bitmap_box.h"

namespace ombrel::graphics {

/// Leaves the fault. Gives -1.
inline int refuse(fault_code why) {
    leave_fault(why);
    return -1;
}

/// Why pixels of the bitmap cannot be looked at, if so.
fault_code fault_of(const ombrel_bitmap_t* bitmap);

/// Bytes of a row.
constexpr uint64_t row_bytes(uint64_t pixels, unsigned depth) {
    return (pixels * depth + 7) / 8;
}

/// What a function over two bitmaps was given.
struct box_call {
    ombrel_bitmap_t* to;
    rectangle target;
    const ombrel_bitmap_t* from;
    rectangle source;
    uint32_t mode;
    bool sensible; ///< whether its other arguments are
};

/// Why it cannot be done, if so.
fault_code fault_of(const box_call& call);

/// The source of a call, copied aside where it shares memory with the target.
class separate_source {
public:
    /// False when there is no memory for the copy.
    bool take(const box_call& call, const char* function);

    const ombrel_bitmap_t& bitmap() const { return bitmap_; }
    const rectangle& area() const { return area_; }

private:
    bool copy_aside(const rectangle& part, const char* function);

    ombrel_bitmap_t bitmap_;
    rectangle area_;
    heap_ptr<unsigned char> copy_;
};

/// Checks the arguments, lets `work` put the pixels, which gives what it wrote to, and gives the result.
/// Memory for a copy has the tag `function`.
template<typename Work>
int put_checked(const box_call& call, const char* function, Work work) {
    if (const fault_code why = fault_of(call); why != fault_code::none)
        return refuse(why);
    separate_source from;
    if (!from.take(call, function))
        return refuse(fault_code::no_memory);
    const box_job job = {*call.to, call.target, from.bitmap(), from.area(), call.mode, color_rule::nearest};
    return is_empty(work(job)) ? refuse(fault_code::not_found) : 0;
}

} // namespace ombrel::graphics
