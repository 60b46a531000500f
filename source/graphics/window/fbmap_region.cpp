#include "graphics/window/fbmap_region.h"

#include <ombrel/heap.h>

#include "core/node_list.h"

namespace ombrel::graphics {

namespace {

using rectangle_list = node_list<rectangle_node>;

rectangle_node* new_rectangle_node(const rectangle& area, ombrel_fbmap_t* owner, uint32_t flags) {
    auto* node = static_cast<rectangle_node*>(
        ombrel_alloc_tag(sizeof(rectangle_node), "__ombrel_fbmap_new_rectangle_node_internal", __LINE__));
    if (node != nullptr)
        *node = {nullptr, nullptr, flags, owner, area};
    return node;
}

// Whether it is not known yet what the lowest window is that the node shows.
bool is_open(const rectangle_node& node) {
    return node.m_owner == nullptr || (is_transparent(*node.m_owner) && (node.m_flags & settled) == 0);
}

} // namespace

bool region::add(const rectangle& area) {
    rectangle_node* const node = new_rectangle_node(area, nullptr, 0);
    if (node != nullptr)
        rectangle_list(head_).prepend(*node);
    return node != nullptr;
}

void region::drop(rectangle_node& node) {
    rectangle_list(head_).unlink(node);
    ombrel_free_tag(&node, "__ombrel_fbmap_free_rectangle_node_internal", __LINE__);
}

void region::clear() {
    while (head_ != nullptr)
        drop(*head_);
}

// Puts a piece of the node behind it.
void region::keep(rectangle_node& node, const rectangle& piece) {
    if (rectangle_node* kept = new_rectangle_node(piece, node.m_owner, node.m_flags))
        rectangle_list(head_).insert_behind(node, *kept);
    else
        lost_ = true;
}

// The node becomes the last of the pieces that are left.
void region::cut_out(const rectangle& area) {
    for (rectangle_node *node = head_, *next = nullptr; node != nullptr; node = next) {
        next = node->m_next;
        rectangle common;
        if (!overlap(node->m_rectangle, area, common))
            continue;
        const rectangle* last = nullptr;
        const surroundings rest = rest_of_(node->m_rectangle, common);
        for (const rectangle& piece : rest) {
            if (is_empty(piece))
                continue;
            if (last != nullptr)
                keep(*node, *last);
            last = &piece;
        }
        if (last != nullptr)
            node->m_rectangle = *last;
        else
            drop(*node);
    }
}

// Makes the window the owner of the node, or of a new one below the transparent owner that the node has.
// False when memory has run out.
bool region::adopt(rectangle_node& node, ombrel_fbmap_t& window) {
    const uint32_t blending = is_transparent(window) ? needs_blending : 0;
    if (node.m_owner == nullptr) {
        node.m_owner = &window;
        node.m_flags |= blending;
        rectangle_list(head_).unlink(node);
        rectangle_list(head_).prepend(node);
        return true;
    }
    rectangle_node* const lower = new_rectangle_node(node.m_rectangle, &window, node.m_flags | blending);
    if (lower == nullptr)
        return false;
    node.m_flags |= settled;
    rectangle_list(head_).prepend(*lower);
    return true;
}

void region::own(ombrel_fbmap_t& window, const rectangle& visible) {
    for (rectangle_node *node = head_, *next = nullptr; node != nullptr; node = next) {
        next = node->m_next;
        rectangle common;
        if (!is_open(*node) || node->m_owner == &window || !overlap(node->m_rectangle, visible, common))
            continue;
        for (const rectangle& piece : rest_of_(node->m_rectangle, common))
            if (!is_empty(piece))
                keep(*node, piece);
        node->m_rectangle = common;
        if (!adopt(*node, window)) {
            // The windows above cannot be shown either without what is below them.
            lost_ = true;
            cut_out(common);
            next = head_;
        }
    }
}

// What an opaque window above the target covers is unchanged. A window without pixels covers nothing.
void region::meet(ombrel_fbmap_t& window, const rectangle& visible, bool reached) {
    if (window.m_map == nullptr || is_empty(visible))
        return;
    if (is_transparent(window) || reached)
        own(window, visible);
    else
        cut_out(visible);
}

bool region::is_exhausted() const {
    const rectangle_node* node = head_;
    while (node != nullptr && !is_open(*node))
        node = node->m_next;
    return node == nullptr;
}

} // namespace ombrel::graphics
