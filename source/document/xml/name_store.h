// The names of a tree, each once.
#pragma once

#include "document/xml/growing_array.h"
#include "document/xml/record_store.h"
#include "document/xml/seeded_hash.h"
#include "document/xml/xml_node.h"

namespace ombrel::document {

class name_store {
public:
    explicit name_store(const call_site& giver) : records_(giver), slots_(giver), key_(random_hash_key()) {}

    /// The name in a namespace, "" for none; null when memory has run out.
    const node_name* take(std::string_view full, std::string_view uri);
    /// About how many bytes it takes.
    size_t memory() const { return memory_; }

private:
    const node_name* take(std::string_view full, const node_name* uri);
    node_name* add(std::string_view full, const node_name* uri, uint64_t hash);
    bool grow();
    node_name*& slot_of(uint64_t hash) const {
        return slots_[static_cast<size_t>(hash) & (slots_.size() - 1)];
    }

    record_store records_;
    growing_array<node_name*> slots_; ///< a power of two
    hash_key key_;
    size_t count_ = 0, memory_ = 0;
    const node_name* last_uri_ = nullptr; ///< most names have the same as the one before
};

} // namespace ombrel::document
