#include "document/xml/namespace_scope.h"

#include "text/slice.h"

namespace ombrel::document {

std::string_view prefix_of(std::string_view name) {
    const size_t colon = name.find(':');
    return colon == std::string_view::npos ? std::string_view() : slice(name, 0, colon);
}

std::string_view local_of(std::string_view name) {
    const size_t colon = name.find(':');
    return colon == std::string_view::npos ? name : slice(name, colon + 1);
}

bool is_declaration(std::string_view name, std::string_view& prefix) {
    if (!starts_with(name, "xmlns") || (name.size() > 5 && name[5] != ':'))
        return false;
    prefix = slice(name, 6);
    return true;
}

bool may_bind(std::string_view prefix, std::string_view uri) {
    if (prefix == "xmlns" || uri == xmlns_uri)
        return false;
    if ((prefix == "xml") != (uri == xml_uri))
        return false;
    return prefix.empty() || !uri.empty();
}

bool namespace_scope::open() {
    // The binding 0 stands for none.
    return bindings_.push({}) && bind("xml", xml_uri) && bind("", "");
}

bool namespace_scope::keep(std::string_view text, range& where) {
    where = {texts_.size(), text.size()};
    return texts_.append(text.data(), text.size());
}

uint32_t* namespace_scope::slot_of(std::string_view prefix, uint64_t hash) const {
    auto at = static_cast<size_t>(hash);
    for (;; at++) {
        uint32_t& slot = slots_[at & (slots_.size() - 1)];
        if (slot == 0 || (prefixes_[slot - 1].hash == hash && text(prefixes_[slot - 1].text) == prefix))
            return &slot;
    }
}

bool namespace_scope::grow() {
    constexpr size_t least = 16;
    const size_t wanted = slots_.empty() ? least : 2 * slots_.size();
    if (!slots_.reserve(wanted - slots_.size()))
        return false;
    slots_.truncate(0);
    slots_.extend(wanted);
    std::fill(slots_.begin(), slots_.end(), 0u);
    for (uint32_t i = 0; i < prefixes_.size(); i++)
        *slot_of(text(prefixes_[i].text), prefixes_[i].hash) = i + 1;
    return true;
}

bool namespace_scope::add_prefix(std::string_view prefix, uint32_t& index) {
    if (2 * prefixes_.size() >= slots_.size() && !grow())
        return false;
    const uint64_t hash = seeded_hash(key_, prefix);
    uint32_t* const slot = slot_of(prefix, hash);
    if (*slot == 0) {
        range where;
        if (!keep(prefix, where) || !prefixes_.push({where, hash, unbound}))
            return false;
        *slot = static_cast<uint32_t>(prefixes_.size());
    }
    index = *slot - 1;
    return true;
}

bool namespace_scope::bind(std::string_view prefix, std::string_view uri) {
    uint32_t index = 0;
    range where;
    if (bindings_.size() >= UINT32_MAX || !add_prefix(prefix, index) || !keep(uri, where) ||
        !bindings_.push({index, prefixes_[index].newest, where}))
        return false;
    prefixes_[index].newest = static_cast<uint32_t>(bindings_.size() - 1);
    return true;
}

uint32_t namespace_scope::find(std::string_view prefix) const {
    if (slots_.empty())
        return unbound;
    const uint32_t slot = *slot_of(prefix, seeded_hash(key_, prefix));
    return slot == 0 ? unbound : prefixes_[slot - 1].newest;
}

uint32_t namespace_scope::find_uri(std::string_view uri) const {
    constexpr size_t looks = 64; // so that many bindings make no document slow; a new prefix does as well
    for (size_t i = bindings_.size(); i > 1 && bindings_.size() - i < looks; i--) {
        const binding& one = bindings_[i - 1];
        const known_prefix& by = prefixes_[one.prefix];
        if (by.newest == i - 1 && by.text.size > 0 && text(one.uri) == uri)
            return static_cast<uint32_t>(i - 1);
    }
    return unbound;
}

void namespace_scope::restore(uint32_t mark) {
    while (bindings_.size() > mark) {
        const binding& last = bindings_.last();
        prefixes_[last.prefix].newest = last.older;
        // Texts of prefixes that came later stay, and so does what is between them.
        if (last.uri.at + last.uri.size == texts_.size())
            texts_.truncate(last.uri.at);
        bindings_.truncate(bindings_.size() - 1);
    }
}

} // namespace ombrel::document
