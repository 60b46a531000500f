// The memory of a tree: nodes and texts in blocks, and what texts that are changed take.
#pragma once

#include <cstddef>
#include <string_view>

#include "core/call_site.h"
#include "document/xml/xml_node.h"

namespace ombrel::document {

class node_store {
public:
    node_store(ombrel_xml_tree_t* tree, size_t limit, const call_site& giver)
        : tree_(tree), limit_(limit), giver_(giver) {}
    node_store(const node_store&) = delete;
    node_store& operator=(const node_store&) = delete;
    ~node_store();

    /// A node of a kind, bound to nothing, with an empty text if it is to have one; null after the fault
    /// no_memory or too_large was left.
    node* take(node_kind kind);
    /// Gives the text in a block of the store, for as long as the tree lives. False as for take().
    bool keep(node& one, std::string_view text);
    /// Gives the text in a block of its own, in place of another.
    bool replace(node& one, std::string_view text);
    /// Takes a node back with its text.
    void free(node& one);

    const call_site& giver() const { return giver_; }
    size_t memory() const { return memory_ + other_; }
    /// What is left of the limit.
    size_t room() const { return memory() < limit_ ? limit_ - memory() : 0; }
    int64_t count() const { return count_; }
    /// What the names take counts, too.
    void set_other_memory(size_t bytes) { other_ = bytes; }

    static ombrel_xml_tree_t* tree_of(const node& one);

private:
    struct block;
    struct chunk {
        chunk* next;
    };
    struct own_text {
        own_text *next, *previous;
        size_t room;
    };

    void* claim(size_t size);
    bool add_block();
    void free_text(node& one);

    ombrel_xml_tree_t* tree_;
    size_t limit_;
    call_site giver_;
    size_t memory_ = 0, other_ = 0;
    int64_t count_ = 0;
    block* blocks_ = nullptr;
    node* free_ = nullptr; ///< bound by m_next
    node *at_ = nullptr, *end_ = nullptr;
    size_t next_count_ = 8;
    chunk* chunks_ = nullptr;
    char *text_at_ = nullptr, *text_end_ = nullptr;
    size_t next_room_ = 256;
    own_text* own_texts_ = nullptr;
};

} // namespace ombrel::document
