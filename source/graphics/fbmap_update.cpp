#include <ombrel/fbmap.h>

#include <algorithm>

#include <ombrel/heap.h>
#include <ombrel/memory.h>

#include "core/node_list.h"
#include "graphics/fbmap_composite.h"

using namespace ombrel::fbmap;

namespace {

constexpr const char source_name[] = "source/fbmap_update";

// --- rectangle lists ------------------------------------------------------------------------------------

using rectangle_list = ombrel::node_list<rectangle_node>;

rectangle_node* new_rectangle_node(const rectangle& area, ombrel_fbmap_t* owner, uint32_t flags) {
    auto* node = static_cast<rectangle_node*>(
        ombrel_alloc_tag(sizeof(rectangle_node), "__ombrel_fbmap_new_rectangle_node_internal", __LINE__));
    if (node != nullptr)
        *node = {nullptr, nullptr, flags, owner, area};
    return node;
}

void remove(rectangle_node** list, rectangle_node* node) {
    rectangle_list(*list).unlink(*node);
}

void put_first(rectangle_node** list, rectangle_node* node) {
    rectangle_list(*list).prepend(*node);
}

void drop(rectangle_node** list, rectangle_node* node) {
    remove(list, node);
    ombrel_free_tag(node, "__ombrel_fbmap_free_rectangle_node_internal", __LINE__);
}

// Puts what of the node is outside the overlap behind it. A piece for which memory has run out is lost, and
// not repainted.
void keep_rest(rectangle_node** list, rectangle_node& node, const rectangle (&rest)[4]) {
    for (const rectangle& piece : rest)
        if (!is_empty(piece))
            if (rectangle_node* kept = new_rectangle_node(piece, node.m_owner, node.m_flags))
                rectangle_list(*list).insert_behind(node, *kept);
}

void cut_out(rectangle_node** list, const rectangle& area) {
    for (rectangle_node *node = *list, *next = nullptr; node != nullptr; node = next) {
        next = node->m_next;
        rectangle rest[4];
        if (ombrel_sep_overlap_window(&node->m_rectangle, &area, nullptr, rest) == 1) {
            keep_rest(list, *node, rest);
            drop(list, node);
        }
    }
}

// Whether it is not known yet what the lowest window is that the node shows.
bool is_open(const rectangle_node& node) {
    return node.m_owner == nullptr || (is_transparent(*node.m_owner) && (node.m_flags & settled) == 0);
}

bool is_exhausted(const rectangle_node* node) {
    while (node != nullptr && !is_open(*node))
        node = node->m_next;
    return node == nullptr;
}

// --- owners ---------------------------------------------------------------------------------------------

// Makes the window the owner of the node, or of a new one below the transparent owner that the node has.
// False when memory has run out.
bool adopt(rectangle_node** list, rectangle_node* node, ombrel_fbmap_t& window) {
    const uint32_t blending = is_transparent(window) ? needs_blending : 0;
    if (node->m_owner == nullptr) {
        node->m_owner = &window;
        node->m_flags |= blending;
        remove(list, node);
        put_first(list, node);
        return true;
    }
    rectangle_node* const lower = new_rectangle_node(node->m_rectangle, &window, node->m_flags | blending);
    if (lower == nullptr)
        return false;
    node->m_flags |= settled;
    put_first(list, lower);
    return true;
}

void own(rectangle_node** list, ombrel_fbmap_t& window, const rectangle& visible) {
    for (rectangle_node *node = *list, *next = nullptr; node != nullptr; node = next) {
        next = node->m_next;
        rectangle overlap;
        rectangle rest[4];
        if (!is_open(*node) || node->m_owner == &window ||
            ombrel_sep_overlap_window(&node->m_rectangle, &visible, &overlap, rest) != 1)
            continue;
        keep_rest(list, *node, rest);
        node->m_rectangle = overlap;
        if (!adopt(list, node, window)) {
            // The windows above cannot be shown either without what is below them.
            cut_out(list, overlap);
            next = *list;
        }
    }
}

// What an opaque window above the target covers is unchanged.
void meet(rectangle_node** list, ombrel_fbmap_t& window, bool reached) {
    const rectangle visible = locate(window, whole(window)).visible;
    if (is_empty(visible))
        return;
    if (is_transparent(window) || reached)
        own(list, window, visible);
    else
        cut_out(list, visible);
}

/// Goes through siblings and all below them, from the topmost to the lowest, children before their parent.
/// Without recursion: how deep windows nest is the caller's doing.
class descent {
public:
    descent(ombrel_fbmap_t* first_sibling, const ombrel_fbmap_t* target, uint32_t state)
        : parent_(first_sibling != nullptr ? first_sibling->m_parent : nullptr), target_(target),
          state_(state & def_ombrel_fbmap_redraw_reached) {
        arrive_above(first_sibling);
    }

    ombrel_fbmap_t* at() const { return at_; }
    void go_on() {
        if (at_->m_next != nullptr)
            arrive_above(at_->m_next);
        else
            arrive(at_->m_parent == parent_ ? nullptr : at_->m_parent);
    }

    bool reached() const { return (state_ & def_ombrel_fbmap_redraw_reached) != 0; }
    void exhaust() { state_ |= def_ombrel_fbmap_redraw_exhausted; }
    uint32_t state() const { return state_; }

private:
    void arrive_above(ombrel_fbmap_t* window) {
        for (; window != nullptr && window->m_children != nullptr; window = window->m_children)
            // The target's children go where it goes. Those of one whose pixels are not its own count as
            // above it.
            if (window == target_ && (window->m_flags & def_ombrel_fbmap_own_map) != 0)
                state_ |= def_ombrel_fbmap_redraw_reached;
        arrive(window);
    }
    void arrive(ombrel_fbmap_t* window) {
        at_ = window;
        if (at_ == target_)
            state_ |= def_ombrel_fbmap_redraw_reached;
    }

    ombrel_fbmap_t* parent_;
    const ombrel_fbmap_t* target_;
    uint32_t state_;
    ombrel_fbmap_t* at_ = nullptr;
};

ombrel_fbmap_t& root_of(ombrel_fbmap_t& fbmap) {
    ombrel_fbmap_t* root = &fbmap;
    while (root->m_parent != nullptr)
        root = root->m_parent;
    return *root;
}

// --- recomposition --------------------------------------------------------------------------------------

int recompose(ombrel_fbmap_t& target, const rectangle& area, uint32_t mode) {
    if (is_empty(area))
        return 0;
    rectangle_node* list = new_rectangle_node(area, nullptr, 0);
    if (list == nullptr)
        return fail({source_name, "__ombrel_fbmap_redraw_region_with_transfer_internal", __LINE__},
                    "not enough memory ! __ombrel_fbmap_new_rectangle_node_internal failed !");
    __ombrel_fbmap_redraw_region_recursive_internal(root_of(target).m_children, &target, &list,
                                                    mode & def_ombrel_fbmap_redraw_reached);
    return 0;
}

int transfer_nothing(ombrel_fbmap_t*) {
    return 0;
}

int redraw_whole(ombrel_fbmap_t& fbmap) {
    fbmap.m_update_region = whole(fbmap);
    return __ombrel_fbmap_redraw_region_with_transfer_internal(&fbmap, &fbmap.m_update_region, 0);
}

// --- size -----------------------------------------------------------------------------------------------

bool take_size(ombrel_fbmap_t& fbmap, uint32_t resx, uint32_t resy) {
    ombrel_fbmap_t resized = fbmap;
    resized.m_resx = resx;
    resized.m_resy = resy;
    resized.m_map = nullptr;
    if (!measure(resized))
        return false;
    if (resized.m_map_size != 0) {
        resized.m_map = ombrel_calloc_tag(1, resized.m_map_size, "ombrel_fbmap_resize", __LINE__);
        if (resized.m_map == nullptr)
            return false;
    }
    if (resized.m_map != nullptr && fbmap.m_map != nullptr)
        ombrel_memcpy_blit(resized.m_map, fbmap.m_map, std::min(resized.m_line_length, fbmap.m_line_length),
                           resized.m_line_length, fbmap.m_line_length, std::min(resy, fbmap.m_resy));
    if ((fbmap.m_flags & def_ombrel_fbmap_own_map) != 0)
        ombrel_check_free_tag(fbmap.m_map, "ombrel_fbmap_resize", __LINE__);
    resized.m_flags |= def_ombrel_fbmap_own_map;
    fbmap = resized;
    return true;
}

// Shows a window at its new place, and what it has left at the old one.
int recompose_moved(ombrel_fbmap_t& fbmap, const rectangle& before, uint32_t mode) {
    const rectangle after = locate(fbmap, whole(fbmap)).visible;
    int result = recompose(fbmap, after, mode);
    rectangle uncovered[4] = {before, {}, {}, {}};
    ombrel_sep_overlap_window(&before, &after, nullptr, uncovered);
    for (const rectangle& piece : uncovered)
        if (recompose(fbmap, piece, mode) != 0)
            result = -1;
    return result;
}

} // namespace

uint32_t __ombrel_fbmap_redraw_region_recursive_internal(ombrel_fbmap_t* first_sibling,
                                                         ombrel_fbmap_t* target,
                                                         ombrel_fbmap_rectangle_node_t** list,
                                                         uint32_t state) {
    if (is_refused(target, {source_name, __func__, __LINE__}) || list == nullptr)
        return UINT32_MAX;
    descent walk(first_sibling, target, state);
    for (; walk.at() != nullptr; walk.go_on()) {
        // The children of a hidden window are shown: each is hidden by itself alone, meant so.
        if (!is_hidden(*walk.at()))
            meet(list, *walk.at(), walk.reached());
        if (is_exhausted(*list)) {
            walk.exhaust();
            break;
        }
    }
    if ((state & def_ombrel_fbmap_redraw_nested) == 0) {
        paint(root_of(*target), *list);
        while (*list != nullptr)
            drop(list, *list);
    }
    return walk.state();
}

int __ombrel_fbmap_redraw_region_with_transfer_internal(ombrel_fbmap_t* fbmap,
                                                        ombrel_fbmap_rectangle_t* region, uint32_t mode) {
    if (is_refused(fbmap, {source_name, __func__, __LINE__}) || region == nullptr)
        return -1;
    const placement place = locate(*fbmap, *region);
    if (is_empty(place.visible))
        return 0;
    const rectangle asked = *region;
    *region = {};
    if (recompose(*fbmap, place.visible, mode) != 0) {
        *region = asked; // so that the caller may try again
        return -1;
    }
    return __ombrel_fbmap_transfer_internal(place.root);
}

int __ombrel_fbmap_transfer_internal(ombrel_fbmap_t* fbmap) {
    if (is_refused(fbmap, {source_name, __func__, __LINE__}))
        return -1;
    const by_depth<ombrel_fbmap_transfer_t> none = {transfer_nothing, transfer_nothing, transfer_nothing,
                                                    transfer_nothing};
    const ombrel_fbmap_transfer_t transfer = operation(
        *fbmap, &ombrel_fbmap_t::m_transfer, ombrel_fbmap_transfer, none, {source_name, __func__, __LINE__});
    if (transfer == nullptr)
        return -1;
    const int result = transfer(fbmap);
    // A window's region is what is still to be recomposed, which no transfer does.
    if (result != -1 && fbmap->m_parent == nullptr)
        fbmap->m_update_region = {};
    return result;
}

int __ombrel_fbmap_update_internal(ombrel_fbmap_t* fbmap) {
    if (is_refused(fbmap, {source_name, __func__, __LINE__}))
        return -1;
    if (is_empty(fbmap->m_update_region))
        return 0;
    if (fbmap->m_parent == nullptr)
        return __ombrel_fbmap_transfer_internal(fbmap);
    return __ombrel_fbmap_redraw_region_with_transfer_internal(fbmap, &fbmap->m_update_region, 0);
}

int __ombrel_fbmap_show_internal(ombrel_fbmap_t* fbmap) {
    if (is_refused(fbmap, {source_name, __func__, __LINE__}))
        return -1;
    if (!is_hidden(*fbmap) || fbmap->m_parent == nullptr)
        return 0;
    fbmap->m_flags &= ~def_ombrel_fbmap_hidden;
    return redraw_whole(*fbmap);
}

int __ombrel_fbmap_hide_internal(ombrel_fbmap_t* fbmap) {
    if (is_refused(fbmap, {source_name, __func__, __LINE__}))
        return -1;
    if (is_hidden(*fbmap) || fbmap->m_parent == nullptr)
        return 0;
    fbmap->m_flags |= def_ombrel_fbmap_hidden;
    return redraw_whole(*fbmap);
}

int __ombrel_fbmap_move_internal(ombrel_fbmap_t* fbmap, int32_t x, int32_t y) {
    if (is_refused(fbmap, {source_name, __func__, __LINE__}))
        return -1;
    return __ombrel_fbmap_resize_internal(fbmap, x, y, fbmap->m_resx, fbmap->m_resy);
}

int __ombrel_fbmap_resize_internal(ombrel_fbmap_t* fbmap, int32_t x, int32_t y, uint32_t resx,
                                   uint32_t resy) {
    if (is_refused(fbmap, {source_name, __func__, __LINE__}))
        return -1;
    const bool same_size = resx == fbmap->m_resx && resy == fbmap->m_resy;
    if (fbmap->m_parent == nullptr || (same_size && x == fbmap->m_x && y == fbmap->m_y))
        return 0;
    // Children of a window without pixels of its own count as above it, but move with it, too.
    const uint32_t mode =
        (fbmap->m_flags & def_ombrel_fbmap_own_map) != 0 ? 0 : def_ombrel_fbmap_redraw_reached;
    const rectangle before = locate(*fbmap, whole(*fbmap)).visible;
    fbmap->m_x = x;
    fbmap->m_y = y;
    int result = 0;
    if (!same_size && !take_size(*fbmap, resx, resy))
        result = fail({source_name, __func__, __LINE__}, "not enough memory ! resize failed !");
    if (recompose_moved(*fbmap, before, mode) != 0)
        result = -1;
    const int transferred = __ombrel_fbmap_transfer_internal(&root_of(*fbmap));
    return result != 0 ? result : transferred;
}
