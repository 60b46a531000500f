// A list that stands the damage of its nodes.
#pragma once

#include "core/block_index.h"

namespace ombrel {

/// All live nodes, newest first, linked by their members m_newer and m_older.
///
/// A program's stray writes may have changed any word of a node. So a link is followed only to a live node,
/// and written only in a node that points back. The owner locks; only holds() may be asked without.
template<typename Node, block_kind kind>
class live_list {
public:
    bool holds(const Node* node) const { return index_of_blocks.holds(node, kind); }
    block_index::entry find(const Node* node) const { return index_of_blocks.find(node, kind); }
    size_t count() const { return count_; }
    Node* newest() const { return newest_; }

    /// The node before this one; null at the end, and where a damaged link leads nowhere.
    Node* older_than(const Node* node) const {
        return node->m_older != nullptr && holds(node->m_older) ? node->m_older : nullptr;
    }

    /// False when there is no memory to remember the node.
    bool add(Node* node) {
        if (!index_of_blocks.add(node, kind))
            return false;
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
    bool remove(Node* node) { return remove(node, find(node)); }

    /// The same with what find() gave for the node.
    bool remove(Node* node, const block_index::entry& entry) {
        if (!entry.is_held() || (!(newer_agrees(node) && older_agrees(node)) && is_misled(node)))
            return false;
        entry.clear();
        count_--;
        bypass(node, node->m_newer, node->m_older);
        return true;
    }

private:
    bool newer_agrees(const Node* node) const {
        const Node* newer = node->m_newer;
        return newer == nullptr ? newest_ == node : holds(newer) && newer->m_older == node;
    }

    bool older_agrees(const Node* node) const {
        const Node* older = node->m_older;
        return older == nullptr ? oldest_ == node : holds(older) && older->m_newer == node;
    }

    // Of a node and a neighbour that does not point back, the one whose word a third node confirms is right.
    [[gnu::noinline]] bool is_misled(const Node* node) const {
        const Node *newer = node->m_newer, *older = node->m_older;
        return (!newer_agrees(node) &&
                (newer == nullptr || node == newest_ || !holds(newer) || older_agrees(newer))) ||
               (!older_agrees(node) &&
                (older == nullptr || node == oldest_ || !holds(older) || newer_agrees(older)));
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
