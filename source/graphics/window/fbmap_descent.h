// The windows of a tree in the order in which they hide each other.
#pragma once

#include "core/scratch_array.h"
#include "graphics/window/fbmap_internal.h"

namespace ombrel::graphics {

/// Goes through siblings and all below them, from the topmost to the lowest, children before their parent.
/// Without recursion: how deep windows nest is the caller's doing.
class descent {
public:
    descent(ombrel_fbmap_t* first_sibling, const ombrel_fbmap_t* target, uint32_t state);

    /// The window in hand; null at the end, and when memory has run out.
    ombrel_fbmap_t* at() const { return at_; }
    bool has_failed() const { return failed_; }
    void go_on();

    /// What of the window in hand its ancestors do not clip, in coordinates of the root.
    rectangle visible() const { return inside(outer_, *at_).visible; }

    /// Whether the window in hand is the target or lies below it, or moves with it.
    bool reached() const { return (state_ & def_ombrel_fbmap_redraw_reached) != 0; }
    void exhaust() { state_ |= def_ombrel_fbmap_redraw_exhausted; }
    uint32_t state() const { return state_; }

private:
    struct level {
        place origin; // of a window in its root
        rectangle visible;
    };

    static level inside(const level& parent, const ombrel_fbmap_t& window);
    void arrive_above(ombrel_fbmap_t* window);
    void arrive(ombrel_fbmap_t* window);

    ombrel_fbmap_t* parent_;
    const ombrel_fbmap_t* target_;
    uint32_t state_;
    ombrel_fbmap_t* at_ = nullptr;
    level outer_;                        // the parent of the window in hand,
    scratch_array<level, 16> ancestors_; // and those of the parent
    bool failed_ = false;
};

} // namespace ombrel::graphics
