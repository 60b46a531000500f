#include "graphics/window/fbmap_descent.h"

namespace ombrel::graphics {

descent::descent(ombrel_fbmap_t* first_sibling, const ombrel_fbmap_t* target, uint32_t state)
    : parent_(first_sibling != nullptr ? first_sibling->m_parent : nullptr), target_(target),
      state_(state & def_ombrel_fbmap_redraw_reached), outer_{}, ancestors_("__ombrel_fbmap_redraw_region") {
    if (parent_ != nullptr) {
        const placement at = locate(*parent_, whole(*parent_));
        outer_ = {at.origin, at.visible};
    } else if (first_sibling != nullptr) {
        outer_.visible = whole(*first_sibling);
    }
    arrive_above(first_sibling);
}

void descent::go_on() {
    if (at_->m_next != nullptr) {
        arrive_above(at_->m_next);
    } else if (at_->m_parent == parent_) {
        arrive(nullptr);
    } else {
        ancestors_.shrink_to(ancestors_.size() - 1);
        outer_ = ancestors_[ancestors_.size()];
        arrive(at_->m_parent);
    }
}

descent::level descent::inside(const level& parent, const ombrel_fbmap_t& window) {
    const bool is_root = window.m_parent == nullptr;
    const place origin = {parent.origin.x + (is_root ? 0 : window.m_x),
                          parent.origin.y + (is_root ? 0 : window.m_y)};
    level found = {origin, {}};
    const rectangle area = between(origin.x, origin.y, origin.x + window.m_resx, origin.y + window.m_resy);
    overlap(parent.visible, area, found.visible);
    return found;
}

void descent::arrive_above(ombrel_fbmap_t* window) {
    for (; window != nullptr && window->m_children != nullptr; window = window->m_children) {
        // The target's children go where it goes. Those of one whose pixels are not its own count as above
        // it.
        if (window == target_ && (window->m_flags & def_ombrel_fbmap_own_map) != 0)
            state_ |= def_ombrel_fbmap_redraw_reached;
        failed_ = !ancestors_.push(outer_);
        if (failed_)
            return arrive(nullptr);
        outer_ = inside(outer_, *window);
    }
    arrive(window);
}

void descent::arrive(ombrel_fbmap_t* window) {
    at_ = window;
    if (at_ == target_)
        state_ |= def_ombrel_fbmap_redraw_reached;
}

} // namespace ombrel::graphics
