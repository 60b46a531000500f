#include "document/xml/node_store.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include <ombrel/heap.h>

#include "core/fault.h"
#include "text/slice.h"

namespace ombrel::document {

struct node_store::block {
    ombrel_xml_tree_t* tree;
    block* next;

    node* nodes() { return reinterpret_cast<node*>(this + 1); }
};

ombrel_xml_tree_t* node_store::tree_of(const node& one) {
    const node* const first = &one - one.m_place;
    return (reinterpret_cast<const block*>(first) - 1)->tree;
}

node_store::~node_store() {
    while (own_text* const first = own_texts_) {
        own_texts_ = first->next;
        ombrel_free_tag(first, giver_.tag, giver_.line);
    }
    while (chunk* const first = chunks_) {
        chunks_ = first->next;
        ombrel_free_tag(first, giver_.tag, giver_.line);
    }
    while (block* const first = blocks_) {
        blocks_ = first->next;
        ombrel_free_tag(first, giver_.tag, giver_.line);
    }
}

void* node_store::claim(size_t size) {
    if (size > room())
        return leave_fault(fault_code::too_large), nullptr;
    void* const claimed = ombrel_alloc_tag(size, giver_.tag, giver_.line);
    if (claimed == nullptr)
        return leave_fault(fault_code::no_memory), nullptr;
    memory_ += size;
    return claimed;
}

bool node_store::add_block() {
    constexpr size_t most = 1023; // a block of 64 KiB
    auto* const added = static_cast<block*>(claim(sizeof(block) + next_count_ * sizeof(node)));
    if (added == nullptr)
        return false;
    *added = {tree_, blocks_};
    blocks_ = added;
    at_ = added->nodes();
    end_ = at_ + next_count_;
    next_count_ = std::min(2 * next_count_, most);
    return true;
}

node* node_store::take(node_kind kind) {
    node* taken = free_;
    uint16_t place = 0;
    if (taken != nullptr) {
        free_ = taken->m_next;
        place = taken->m_place;
    } else {
        if (at_ == end_ && !add_block())
            return nullptr;
        taken = at_++;
        place = static_cast<uint16_t>(taken - blocks_->nodes());
    }
    *taken = {};
    taken->m_kind = kind;
    taken->m_place = place;
    if (has_text(*taken)) {
        taken->m_text = "";
        taken->m_size = 0;
    }
    count_++;
    return taken;
}

bool node_store::keep(node& one, std::string_view text) {
    constexpr size_t largest = 64 * 1024;
    if (text.empty())
        return true;
    const size_t size = text.size() + 1;
    char* to = text_at_;
    if (size > static_cast<size_t>(text_end_ - text_at_)) {
        // What is large has a chunk of its own, so that the rest of the one in use is not lost.
        const bool is_large = size > next_room_ / 4;
        const size_t room = is_large ? size : next_room_;
        auto* const added = static_cast<chunk*>(claim(sizeof(chunk) + room));
        if (added == nullptr)
            return false;
        added->next = chunks_;
        chunks_ = added;
        to = reinterpret_cast<char*>(added + 1);
        if (!is_large) {
            text_at_ = to;
            text_end_ = to + room;
        }
        next_room_ = std::min(2 * next_room_, largest);
    }
    if (to == text_at_)
        text_at_ += size;
    *put_text(to, text) = '\0';
    one.m_text = to;
    one.m_size = text.size();
    return true;
}

void node_store::free_text(node& one) {
    if (!(one.m_flags & owned_text))
        return;
    own_text* const freed = reinterpret_cast<own_text*>(const_cast<char*>(one.m_text)) - 1;
    (freed->previous != nullptr ? freed->previous->next : own_texts_) = freed->next;
    if (freed->next != nullptr)
        freed->next->previous = freed->previous;
    memory_ -= sizeof(own_text) + freed->room;
    one.m_flags &= static_cast<uint8_t>(~owned_text);
    ombrel_free_tag(freed, giver_.tag, giver_.line);
}

bool node_store::replace(node& one, std::string_view text) {
    const size_t room = text.size() + 1;
    own_text* own = nullptr;
    if (!text.empty()) {
        own = static_cast<own_text*>(claim(sizeof(own_text) + room));
        if (own == nullptr)
            return false;
        *own = {own_texts_, nullptr, room};
        *put_text(reinterpret_cast<char*>(own + 1), text) = '\0';
    }
    free_text(one); // only now, as the text may be a part of the old one
    if (own != nullptr) {
        own->next = own_texts_;
        if (own_texts_ != nullptr)
            own_texts_->previous = own;
        own_texts_ = own;
        one.m_flags |= owned_text;
    }
    one.m_text = own != nullptr ? reinterpret_cast<char*>(own + 1) : "";
    one.m_size = text.size();
    return true;
}

void node_store::free(node& one) {
    if (has_text(one))
        free_text(one);
    one.m_kind = free_node;
    one.m_next = free_;
    free_ = &one;
    count_--;
}

} // namespace ombrel::document
