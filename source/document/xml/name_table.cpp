#include "document/xml/name_table.h"

#include <new>

#include "document/xml/character.h"
#include "text/slice.h"

namespace ombrel::document {

name* name_table::find(std::string_view text, uint64_t hash) const {
    if (slots_.empty())
        return nullptr;
    name* found = slot_of(hash);
    while (found != nullptr && (found->hash != hash || found->full != text))
        found = found->next;
    return found;
}

name* name_table::find(std::string_view text) const {
    return find(text, seeded_hash(key_, text));
}

name* name_table::take(std::string_view text) {
    const uint64_t hash = seeded_hash(key_, text);
    name* const known = find(text, hash);
    return known != nullptr ? known : add(text, hash);
}

name* name_table::add(std::string_view text, uint64_t hash) {
    if (count_ >= slots_.size() && !grow())
        return nullptr;
    auto* const added = store_.make<name>();
    if (added == nullptr || !store_.keep(text, added->full) || !split(*added))
        return nullptr;
    added->hash = hash;
    added->next = slot_of(hash);
    slot_of(hash) = added;
    count_++;
    return added;
}

// Parts have no colon where they count, so this goes one step deep.
bool name_table::split(name& added) {
    const size_t colon = added.full.find(':');
    added.is_qualified = is_qualified_name(added.full);
    added.local = &added;
    added.declares_namespace = added.full == "xmlns";
    if (colon == std::string_view::npos || !added.is_qualified)
        return true;
    added.prefix = take(slice(added.full, 0, colon));
    added.local = take(slice(added.full, colon + 1));
    added.declares_namespace = added.prefix != nullptr && added.prefix->full == "xmlns";
    return added.prefix != nullptr && added.local != nullptr;
}

bool name_table::grow() {
    constexpr size_t least = 64;
    const size_t old = slots_.size(), wanted = old == 0 ? least : 2 * old;
    growing_array<name*> larger(call_site{"ombrel_xml_parser_push", 0});
    std::swap(larger, slots_);
    if (!slots_.reserve(wanted)) {
        std::swap(larger, slots_);
        return false;
    }
    slots_.extend(wanted);
    std::fill(slots_.begin(), slots_.end(), nullptr);
    for (name* first : larger)
        while (first != nullptr) {
            name* const moved = std::exchange(first, first->next);
            moved->next = slot_of(moved->hash);
            slot_of(moved->hash) = moved;
        }
    return true;
}

void name_table::clear() {
    store_.clear();
    slots_.release();
    count_ = 0;
}

} // namespace ombrel::document
