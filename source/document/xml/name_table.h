// The different names of a document, each once, and what is known by them.
#pragma once

#include <cstdint>
#include <string_view>

#include "document/xml/growing_array.h"
#include "document/xml/record_store.h"
#include "document/xml/seeded_hash.h"

namespace ombrel::document {

struct attribute_declaration;
struct entity;

/// A name: of elements, attributes, prefixes, entities, and also that of a namespace.
struct name {
    std::string_view full;
    uint64_t hash;
    name* next;     ///< with the same slot
    name* follower; ///< the one that came behind it in tags the last time

    name* prefix; ///< null without one
    name* local;  ///< itself without a prefix
    bool is_qualified;
    bool declares_namespace; ///< xmlns or xmlns:PREFIX

    name* uri;     ///< what it is bound to as a prefix; null for nothing
    uint64_t seen; ///< the last tag in which it was an attribute's

    bool has_attributes;             ///< some are declared for elements of this name
    attribute_declaration* defaults; ///< those of them that have one
    attribute_declaration* last_default;
    attribute_declaration*
        declaration; ///< of the attribute, when this is an element's name, a space and its name
    entity* general;
    entity* parameter;
};

class name_table {
public:
    explicit name_table(const call_site& giver) : store_(giver), slots_(giver), key_(random_hash_key()) {}

    /// The name, which may be new; null when memory has run out.
    name* take(std::string_view text);
    /// The name if it is known.
    name* find(std::string_view text) const;
    size_t size() const { return count_; }
    void clear();

private:
    name* find(std::string_view text, uint64_t hash) const;
    name* add(std::string_view text, uint64_t hash);
    bool split(name& added);
    bool grow();
    name*& slot_of(uint64_t hash) const { return slots_[static_cast<size_t>(hash) & (slots_.size() - 1)]; }

    record_store store_;
    growing_array<name*> slots_; ///< a power of two
    hash_key key_;
    size_t count_ = 0;
};

} // namespace ombrel::document
