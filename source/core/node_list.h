// Doubly linked lists whose members are known: changes in constant time.
#pragma once

#include "core/invariant.h"

namespace ombrel {

/// The ends of a doubly linked list of records with the given link fields. Unlike the public functions it
/// looks for nothing: a node that is said to be in the list must be.
template<typename Node, Node* Node::*prev = &Node::m_prev, Node* Node::*next = &Node::m_next>
class node_list {
public:
    /// @param tail null when no tail is kept
    explicit node_list(Node*& head, Node** tail = nullptr) : head_(head), tail_(tail) {}

    void prepend(Node& added) const { insert_between(nullptr, added, head_); }
    void insert_behind(Node& position, Node& added) const {
        insert_between(&position, added, position.*next);
    }
    /// Of a list with a tail.
    void append(Node& added) const {
        OMBREL_INVARIANT((head_ == nullptr) == (*tail_ == nullptr));
        insert_between(*tail_, added, nullptr);
    }

    void unlink(Node& node) const {
        OMBREL_INVARIANT(is_member(node));
        link(node.*prev, node.*next);
        clear_links(node);
    }

    void replace(Node& old_node, Node& new_node) const {
        OMBREL_INVARIANT(is_member(old_node));
        insert_between(old_node.*prev, new_node, old_node.*next);
        clear_links(old_node);
    }

private:
    // Whether both neighbours, or the ends of the list, lead to the node.
    bool is_member(const Node& node) const {
        return (node.*prev != nullptr ? (node.*prev)->*next : head_) == &node &&
               (node.*next != nullptr ? (node.*next)->*prev == &node
                : tail_ != nullptr    ? *tail_ == &node
                                      : true);
    }

    // Null stands for the list's ends.
    void link(Node* before, Node* after) const {
        (before != nullptr ? before->*next : head_) = after;
        if (after != nullptr)
            after->*prev = before;
        else if (tail_ != nullptr)
            *tail_ = before;
    }
    void insert_between(Node* before, Node& added, Node* after) const {
        link(&added, after);
        link(before, &added);
    }
    static void clear_links(Node& node) { node.*prev = node.*next = nullptr; }

    Node*& head_;
    Node** tail_;
};

} // namespace ombrel
