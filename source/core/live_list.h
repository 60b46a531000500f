// A list that stands the damage of its nodes.
#pragma once

#include "core/block_index.h"
#include "core/invariant.h"

namespace ombrel {

/// All live nodes, newest first, linked by their members m_newer and m_older.
///
/// A program's stray writes may have changed any word of a node. So a link is followed only to a live node,
/// and written only in a node that points back. The owner locks, but for what belongs to no list.
template<typename Node, block_kind kind>
class live_list {
public:
    static bool holds(const Node* node) { return index_of_blocks.holds(node, kind); }
    static block_index::entry find(const Node* node) { return index_of_blocks.find(node, kind); }
    size_t count() const { return count_; }
    Node* newest() const { return newest_; }

    /// The node before this one; null at the end, and where a damaged link leads nowhere.
    Node* older_than(const Node* node) const {
        return node->m_older != nullptr && holds(node->m_older) ? node->m_older : nullptr;
    }

    /// False when there is no memory to remember the node.
    bool add(Node* node) { return add(node, index_of_blocks.make(node, kind)); }

    /// The same with what find() gave for the node: false, too, when that memory is still to be had.
    bool add(Node* node, const block_index::entry& entry) {
        if (!entry.exists()) [[unlikely]]
            return false;
        OMBREL_INVARIANT((newest_ == nullptr) == (oldest_ == nullptr));
        entry.set();
        count_++;
        node->m_newer = nullptr;
        node->m_older = newest_;
        if (newest_ == nullptr)
            oldest_ = node;
        else if (newest_->m_newer == nullptr) // else it is damaged, and stays as it was found
            newest_->m_newer = node;
        newest_ = node;
        return true;
    }

    /// False for a node that is not there, or whose own links are damaged.
    bool remove(const Node* node) {
        const block_index::entry entry = find(node);
        return remove_agreed(node, entry) ||
               (entry.is_held() && !is_misled(node) && remove_beside_damage(node, entry));
    }

    /// The usual case of it, with what find() gave for the node: false, too, when a neighbour does not point
    /// back, whichever of them is damaged.
    bool remove_agreed(const Node* node, const block_index::entry& entry) {
        if (!entry.is_held()) [[unlikely]]
            return false;
        Node** const from_newer = link_from_newer(node);
        if (from_newer == nullptr || *from_newer != node) [[unlikely]]
            return false;
        Node** const from_older = link_from_older(node);
        if (from_older == nullptr || *from_older != node) [[unlikely]]
            return false;
        OMBREL_INVARIANT(count_ > 0);
        entry.clear();
        count_--;
        Node *newer = node->m_newer, *older = node->m_older;
        *from_newer = older;
        *from_older = newer;
        return true;
    }

private:
    // The word that leads to the node from its newer side; null when its own link there leads nowhere.
    Node** link_from_newer(const Node* node) {
        Node* newer = node->m_newer;
        return newer == nullptr ? &newest_ : holds(newer) ? &newer->m_older : nullptr;
    }

    Node** link_from_older(const Node* node) {
        Node* older = node->m_older;
        return older == nullptr ? &oldest_ : holds(older) ? &older->m_newer : nullptr;
    }

    bool newer_agrees(const Node* node) {
        Node* const* link = link_from_newer(node);
        return link != nullptr && *link == node;
    }

    bool older_agrees(const Node* node) {
        Node* const* link = link_from_older(node);
        return link != nullptr && *link == node;
    }

    // Of a node and a neighbour that does not point back, the one whose word a third node confirms is right.
    [[gnu::noinline]] bool is_misled(const Node* node) {
        const Node *newer = node->m_newer, *older = node->m_older;
        return (!newer_agrees(node) &&
                (newer == nullptr || node == newest_ || !holds(newer) || older_agrees(newer))) ||
               (!older_agrees(node) &&
                (older == nullptr || node == oldest_ || !holds(older) || newer_agrees(older)));
    }

    bool remove_beside_damage(const Node* node, const block_index::entry& entry) {
        OMBREL_INVARIANT(count_ > 0);
        entry.clear();
        count_--;
        bypass(node, node->m_newer, node->m_older);
        return true;
    }

    void bypass(const Node* node, Node* newer, Node* older) {
        if (node == newest_)
            newest_ = older;
        else if (newer->m_older == node)
            newer->m_older = older;
        if (node == oldest_)
            oldest_ = newer;
        else if (older->m_newer == node)
            older->m_newer = newer;
    }

    size_t count_;
    Node *newest_, *oldest_;
};

} // namespace ombrel
