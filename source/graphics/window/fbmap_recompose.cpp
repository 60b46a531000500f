#include "graphics/window/fbmap_recompose.h"

#include "graphics/window/fbmap_descent.h"
#include "graphics/window/fbmap_region.h"

namespace ombrel::graphics {

namespace {

constexpr const char source_name[] = "source/fbmap_update";
constexpr const char recomposition[] = "__ombrel_fbmap_redraw_region_with_transfer_internal";

/// A window that may show in an area.
struct layer {
    ombrel_fbmap_t* window;
    rectangle visible; ///< what of it may show there
    bool reached;      ///< whether it may have changed
};

bool covers(const layer& above, const rectangle& area) {
    return !is_transparent(*above.window) && above.visible.m_x <= area.m_x && above.visible.m_y <= area.m_y &&
           right_of(above.visible) >= right_of(area) && bottom_of(above.visible) >= bottom_of(area);
}

ombrel_fbmap_t* lowest_child(const ombrel_fbmap_t& parent) {
    ombrel_fbmap_t* child = parent.m_children;
    while (child != nullptr && child->m_next != nullptr)
        child = child->m_next;
    return child;
}

/// The layers of an area, from the topmost to the lowest, and behind them those of its parts while these are
/// painted.
class layer_stack {
public:
    explicit layer_stack(ombrel_fbmap_t& root) : root_(root), layers_(recomposition) {}

    /// Takes the windows of the root. False when memory has run out.
    bool gather(const rectangle& area, const ombrel_fbmap_t& target, uint32_t mode) {
        descent walk(root_.m_children, &target, mode);
        for (; walk.at() != nullptr; walk.go_on()) {
            // The children of a hidden window are shown: each is hidden by itself alone, meant so.
            if (!is_shown(*walk.at()))
                continue;
            const layer found = {walk.at(), walk.visible(), walk.reached()};
            if (!put(found, area))
                return false;
            if (covers(found, area))
                break;
        }
        return !walk.has_failed();
    }

    /// Takes of a window and all that it holds the opaque ones, from the lowest to the topmost: where no
    /// other window is, the lowest opaque one is what stays when they leave. A root has its pixels as they
    /// are. False when memory has run out.
    bool gather_last_shown(ombrel_fbmap_t& top, const rectangle& area) {
        for (ombrel_fbmap_t* window = &top; window != nullptr;) {
            const bool stays = is_shown(*window) && !is_transparent(*window) && window->m_parent != nullptr;
            if (stays && !put({window, locate(*window, whole(*window)).visible, true}, area))
                return false;
            ombrel_fbmap_t* const inner = stays ? nullptr : lowest_child(*window);
            window = inner != nullptr ? inner : next_outside(*window, top, &ombrel_fbmap_t::m_prev);
        }
        return true;
    }

    /// Puts the layers of another stack below its own. False when memory has run out.
    bool put_below(layer_stack& others) {
        for (size_t i = 0; i < others.layers_.size(); i++)
            if (!layers_.push(others.layers_[i]))
                return false;
        return true;
    }

    /// Paints an area of whose windows all are there.
    bool paint(const rectangle& area) { return paint(0, area, 0); }

private:
    /// Where an area is cut in two.
    struct cut {
        rectangle parts[2];
        size_t copies; ///< of layers, for both parts
        bool helps;
    };

    // More of them are sorted by place first, so that not each is compared with each.
    static constexpr size_t crowd = 24;
    static constexpr int deepest = 48;

    bool put(const layer& found, const rectangle& area) {
        layer part = found;
        return !overlap(found.visible, area, part.visible) || layers_.push(part);
    }

    // Of the layers from the first on.
    bool paint(size_t first, const rectangle& area, int depth) {
        if (layers_.size() - first > crowd && depth < deepest) {
            const cut across = cut_at_middle(first, area, true), down = cut_at_middle(first, area, false);
            const cut& best = across.copies < down.copies ? across : down;
            if (best.helps) {
                const bool complete = paint_part(first, best.parts[0], depth);
                return paint_part(first, best.parts[1], depth) && complete;
            }
        }
        return paint_at_once(first, area);
    }

    // The layers stay, for the other part.
    bool paint_part(size_t first, const rectangle& part, int depth) {
        const size_t end = layers_.size();
        const bool sorted = put_again(first, part);
        if (!sorted)
            layers_.shrink_to(end);
        const bool complete = sorted ? paint(end, part, depth + 1) : paint_at_once(first, part);
        layers_.shrink_to(end);
        return complete;
    }

    bool put_again(size_t first, const rectangle& part) {
        for (size_t i = first, end = layers_.size(); i < end; i++) {
            if (!put(layers_[i], part))
                return false;
            if (covers(layers_[i], part))
                break;
        }
        return true;
    }

    // Cuts where the middle of the layers is on one axis.
    cut cut_at_middle(size_t first, const rectangle& area, bool across) {
        const size_t count = layers_.size() - first;
        int64_t sum = 0;
        for (size_t i = first; i < layers_.size(); i++) {
            const rectangle& visible = layers_[i].visible;
            sum += int64_t{across ? visible.m_x : visible.m_y} + (across ? visible.m_w : visible.m_h) / 2;
        }
        // NOLINTNEXTLINE(clang-analyzer-core.DivideZero): some layer is left
        const int64_t middle = sum / static_cast<int64_t>(count);
        const int64_t x = across ? middle : right_of(area), y = across ? bottom_of(area) : middle;
        cut made = {{between(area.m_x, area.m_y, x, y),
                     between(across ? x : area.m_x, across ? area.m_y : y, right_of(area), bottom_of(area))},
                    0,
                    true};
        for (const rectangle& part : made.parts) {
            size_t inside = 0;
            rectangle common;
            for (size_t i = first; i < layers_.size(); i++)
                inside += overlap(layers_[i].visible, part, common);
            made.copies += inside;
            made.helps = made.helps && inside < count;
        }
        made.helps = made.helps && made.copies <= count + count / 2;
        return made;
    }

    bool paint_at_once(size_t first, const rectangle& area) {
        rectangle_node* list = nullptr;
        region shown(list, tile_by_rows);
        if (!shown.add(area))
            return false;
        for (size_t i = first; i < layers_.size(); i++) {
            const layer& next = layers_[i];
            shown.meet(*next.window, next.visible, next.reached);
            if (!is_transparent(*next.window) && shown.is_exhausted())
                break;
        }
        const bool painted = paint_nodes(root_, list);
        shown.clear();
        return painted && !shown.has_lost_pieces();
    }

    ombrel_fbmap_t& root_;
    scratch_array<layer, 64> layers_;
};

int report(bool complete) {
    return complete ? 0
                    : fail({source_name, {recomposition, __LINE__}},
                           "not enough memory ! __ombrel_fbmap_new_rectangle_node_internal failed !");
}

void hide_all(ombrel_fbmap_t& top) {
    for_each_within(top, [](ombrel_fbmap_t& window) {
        if (window.m_parent != nullptr)
            window.m_flags |= def_ombrel_fbmap_hidden;
    });
}

} // namespace

int recompose(ombrel_fbmap_t& target, const rectangle& area, uint32_t mode) {
    if (is_empty(area))
        return 0;
    layer_stack layers(root_of(target));
    return report(layers.gather(area, target, mode) && layers.paint(area));
}

int conceal(ombrel_fbmap_t& window) {
    const placement at = locate(window, whole(window));
    layer_stack layers(*at.root), last_shown(*at.root);
    const bool known = last_shown.gather_last_shown(window, at.visible);
    hide_all(window);
    if (is_empty(at.visible))
        return 0;
    const int result = report(known && layers.gather(at.visible, window, 0) && layers.put_below(last_shown) &&
                              layers.paint(at.visible));
    const int transferred = __ombrel_fbmap_transfer_internal(at.root);
    return result != 0 ? result : transferred;
}

} // namespace ombrel::graphics

using namespace ombrel::graphics;

uint32_t __ombrel_fbmap_redraw_region_recursive_internal(ombrel_fbmap_t* first_sibling,
                                                         ombrel_fbmap_t* target,
                                                         ombrel_fbmap_rectangle_node_t** list,
                                                         uint32_t state) {
    if (is_refused(target, {source_name, {__func__, __LINE__}}) || list == nullptr)
        return UINT32_MAX;
    region shown(*list, tile_by_turns);
    descent walk(first_sibling, target, state);
    for (; walk.at() != nullptr; walk.go_on()) {
        if (is_shown(*walk.at()))
            shown.meet(*walk.at(), walk.visible(), walk.reached());
        if (shown.is_exhausted()) {
            walk.exhaust();
            break;
        }
    }
    if ((state & def_ombrel_fbmap_redraw_nested) == 0) {
        if (!walk.has_failed())
            paint_nodes(root_of(*target), *list);
        shown.clear();
    }
    return walk.state();
}
