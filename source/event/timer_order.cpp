#include "event/timer_order.h"

#include <utility>

namespace ombrel {

namespace {

// m_timer_child is a node's first child, m_timer_next its next sibling, m_timer_prev its previous sibling or,
// for a first child, its parent.
ombrel_event_t* merge(ombrel_event_t* a, ombrel_event_t* b) {
    if (a == nullptr || b == nullptr)
        return a != nullptr ? a : b;
    if (b->m_timer_key < a->m_timer_key)
        std::swap(a, b);
    b->m_timer_prev = a;
    b->m_timer_next = a->m_timer_child;
    if (a->m_timer_child != nullptr)
        a->m_timer_child->m_timer_prev = b;
    a->m_timer_child = b;
    a->m_timer_prev = a->m_timer_next = nullptr;
    return a;
}

ombrel_event_t* take_next(ombrel_event_t*& siblings) {
    ombrel_event_t* node = siblings;
    if (node != nullptr) {
        siblings = node->m_timer_next;
        node->m_timer_prev = node->m_timer_next = nullptr;
    }
    return node;
}

// Pairs the siblings from the left, then merges the pairs from the right.
ombrel_event_t* merge_siblings(ombrel_event_t* siblings) {
    ombrel_event_t* pairs = nullptr;
    while (siblings != nullptr) {
        ombrel_event_t* a = take_next(siblings);
        ombrel_event_t* b = take_next(siblings);
        ombrel_event_t* pair = merge(a, b);
        pair->m_timer_next = pairs;
        pairs = pair;
    }
    ombrel_event_t* root = nullptr;
    while (pairs != nullptr)
        root = merge(root, take_next(pairs));
    return root;
}

} // namespace

void timer_order::insert(ombrel_event_t& event) {
    event.m_timer_prev = event.m_timer_next = event.m_timer_child = nullptr;
    event.m_timer_key = event.m_expiry;
    root_ = merge(root_, &event);
}

void timer_order::remove(ombrel_event_t& event) {
    ombrel_event_t* children = merge_siblings(event.m_timer_child);
    if (root_ == &event) {
        root_ = children;
    } else {
        ombrel_event_t*& link = event.m_timer_prev->m_timer_child == &event
                                    ? event.m_timer_prev->m_timer_child
                                    : event.m_timer_prev->m_timer_next;
        link = event.m_timer_next;
        if (event.m_timer_next != nullptr)
            event.m_timer_next->m_timer_prev = event.m_timer_prev;
        root_ = merge(root_, children);
    }
    event.m_timer_prev = event.m_timer_next = event.m_timer_child = nullptr;
}

} // namespace ombrel
