// A region that is to be repainted: rectangles, and the windows that each of them shows.
#pragma once

#include "graphics/window/fbmap_composite.h"

namespace ombrel::graphics {

/// A list of rectangles to which windows come from the topmost to the lowest. Rectangles for which memory
/// runs out are lost, and not repainted.
class region {
public:
    region(rectangle_node*& head, tiling rest_of) : head_(head), rest_of_(rest_of) {}

    /// False when memory has run out.
    bool add(const rectangle& area);

    /// Looks at the next window, or a part of it. One that has not been `reached` is unchanged.
    void meet(ombrel_fbmap_t& window, const rectangle& visible, bool reached);

    /// Whether the lowest window that shows is known everywhere.
    bool is_exhausted() const;

    bool has_lost_pieces() const { return lost_; }

    void clear();

private:
    void own(ombrel_fbmap_t& window, const rectangle& visible);
    bool adopt(rectangle_node& node, ombrel_fbmap_t& window);
    void cut_out(const rectangle& area);
    void keep(rectangle_node& node, const rectangle& piece);
    void drop(rectangle_node& node);

    rectangle_node*& head_;
    tiling rest_of_;
    bool lost_ = false;
};

} // namespace ombrel::graphics
