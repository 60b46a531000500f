// A walk over what a path finds.
//
// The steps between two ".." are taken together, in one walk through the nodes in their order. Each node gets
// two sets of bits: of the first bit count steps it is a result (active), or it or a node around it is
// (reach). They follow from those of its parent, so that a node is looked at once and found once, however
// many ways lead to it. Behind a ".." the walk begins anew, with the parents of what was found.
#pragma once

#include <cstdint>

#include "core/fault.h"
#include "document/xml/growing_array.h"
#include "document/xml/xml_path_record.h"

namespace ombrel::document {

class node_set {
public:
    explicit node_set(const call_site& giver) : giver_(giver), slots_(giver) {}

    /// False when memory has run out.
    bool add(const node* one);
    bool has(const node* one) const { return count_ > 0 && *slot_of(one) == one; }
    size_t size() const { return count_; }
    const node* any() const;
    void clear();
    void swap(node_set& other);

private:
    const node** slot_of(const node* one) const;
    bool grow();

    call_site giver_;
    growing_array<const node*> slots_; ///< a power of two, at most half of them used
    size_t count_ = 0;
};

class tree_walk {
public:
    tree_walk(const path& way, const node& from, const call_site& giver);
    /// 1 with a node, 0 at the end, -1 after the fault was left.
    int next(const node*& found);

private:
    /// What is known of a node whose children are looked at.
    struct frame {
        uint64_t active, reach;
    };
    /// Of a condition of position among the children of a node.
    struct counter {
        int64_t count;
        int64_t total; ///< -1 while it is not known
    };
    enum class state : uint8_t { on_node, in_attributes, at_end, failed };

    int fail(fault_code why);
    void begin_segment(uint8_t from, bool is_later);
    void begin_attributes();
    int end_segment();
    int next_in_segment(const node*& found);
    bool go_on();
    bool descend();
    bool climb();
    bool look();
    bool look_at_attributes();
    bool starts_here(const node& one) const;
    bool is_match(const step& asked, const node& one, frame& own, unsigned bit);
    bool passes_all(const step& asked, const node& one, counter* counters, bool is_alone);
    bool passes(const condition& one, const node& of, counter& place) const;
    bool is_met(const condition& one, const node& of) const;
    bool is_met_by(const condition& one, const node& subject, bool is_attribute) const;
    bool has_equal_text(const node& of, std::string_view text) const;
    int64_t count_all(const step& asked, unsigned conditions, const node* first, const counter* known) const;
    counter* counters_of_siblings() { return counters_.end() - path_.counter_count; }

    const path& path_;
    const node* top_;
    node_set starts_, parents_;
    growing_array<frame> frames_;
    growing_array<counter> counters_; ///< for each frame as many as the path has
    uint8_t first_ = 0, end_ = 0;     ///< the steps of the segment
    uint64_t child_mask_ = 0, deep_mask_ = 0;
    bool is_later_ = false;
    state state_ = state::on_node;
    const node* at_ = nullptr;
    const node* attribute_ = nullptr; ///< the next one
    frame own_ = {};                  ///< of the node
    mutable int64_t work_ = 0;
};

} // namespace ombrel::document
