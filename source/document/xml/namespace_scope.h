// Which prefixes are bound to which namespaces, element within element.
#pragma once

#include <cstdint>
#include <string_view>

#include "document/xml/growing_array.h"
#include "document/xml/seeded_hash.h"

namespace ombrel::document {

inline constexpr std::string_view xml_uri = "http://www.w3.org/XML/1998/namespace";
inline constexpr std::string_view xmlns_uri = "http://www.w3.org/2000/xmlns/";

/// The prefix of a name, empty without one.
std::string_view prefix_of(std::string_view name);
/// The name behind its prefix.
std::string_view local_of(std::string_view name);
/// Whether an attribute of this name declares a namespace, and for which prefix.
bool is_declaration(std::string_view name, std::string_view& prefix);
/// Whether namespaces allow a prefix to be bound so: xml and xmlns are bound for good, and only the default
/// can be bound to nothing.
bool may_bind(std::string_view prefix, std::string_view uri);

/// Looking a prefix up takes the same time however many there are.
class namespace_scope {
public:
    static constexpr uint32_t unbound = 0; ///< "xml" is bound by binding 1, the default to none by 2

    explicit namespace_scope(const call_site& giver)
        : texts_(giver), bindings_(giver), prefixes_(giver), slots_(giver), key_(random_hash_key()) {}

    /// False when memory has run out, as for bind().
    bool open();
    bool bind(std::string_view prefix, std::string_view uri);
    /// The binding in force, or unbound.
    uint32_t find(std::string_view prefix) const;
    std::string_view uri(uint32_t which) const { return text(bindings_[which].uri); }
    std::string_view prefix(uint32_t which) const { return text(prefixes_[bindings_[which].prefix].text); }
    /// A binding in force, by a prefix that is not empty, of the newest ones; or unbound.
    uint32_t find_uri(std::string_view uri) const;

    /// Bindings from here on are those of the next element.
    uint32_t mark() const { return static_cast<uint32_t>(bindings_.size()); }
    /// Ends all bindings since a mark.
    void restore(uint32_t mark);

private:
    struct range {
        size_t at, size;
    };
    struct binding {
        uint32_t prefix, older; ///< what the prefix was bound by before
        range uri;
    };
    struct known_prefix {
        range text;
        uint64_t hash;
        uint32_t newest; ///< its binding
    };

    std::string_view text(const range& where) const { return {texts_.data() + where.at, where.size}; }
    bool keep(std::string_view text, range& where);
    uint32_t* slot_of(std::string_view prefix, uint64_t hash) const;
    bool grow();
    bool add_prefix(std::string_view prefix, uint32_t& index);

    growing_array<char> texts_;
    growing_array<binding> bindings_;
    growing_array<known_prefix> prefixes_; ///< each once, for good
    growing_array<uint32_t> slots_;        ///< of a table with open addressing: 1 + index, or 0
    hash_key key_;
};

} // namespace ombrel::document
