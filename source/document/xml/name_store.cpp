#include "document/xml/name_store.h"

#include <algorithm>
#include <new>
#include <utility>

#include "document/xml/namespace_scope.h"

namespace ombrel::document {

const node_name* name_store::take(std::string_view full, std::string_view uri) {
    if (uri.empty())
        return take(full, nullptr);
    if (last_uri_ == nullptr || last_uri_->full != uri)
        last_uri_ = take(uri, nullptr);
    return last_uri_ != nullptr ? take(full, last_uri_) : nullptr;
}

const node_name* name_store::take(std::string_view full, const node_name* uri) {
    const uint64_t hash = seeded_hash(key_, full) + (uri != nullptr ? 3 * uri->hash : 0);
    if (!slots_.empty())
        for (node_name* known = slot_of(hash); known != nullptr; known = known->next)
            if (known->hash == hash && known->uri == uri && known->full == full)
                return known;
    return add(full, uri, hash);
}

node_name* name_store::add(std::string_view full, const node_name* uri, uint64_t hash) {
    if (count_ >= slots_.size() && !grow())
        return nullptr;
    auto* const added = records_.make<node_name>();
    std::string_view prefix;
    if (added == nullptr || !records_.keep(full, added->full) || !records_.keep(prefix_of(full), prefix))
        return nullptr;
    added->prefix = prefix;
    added->local = local_of(added->full);
    added->uri = uri;
    added->hash = hash;
    added->next = std::exchange(slot_of(hash), added);
    count_++;
    memory_ += sizeof *added + full.size() + prefix.size() + 2 * sizeof(void*);
    return added;
}

bool name_store::grow() {
    constexpr size_t least = 32;
    const size_t old = slots_.size(), wanted = old == 0 ? least : 2 * old;
    if (!slots_.reserve(wanted - old))
        return false;
    slots_.extend(wanted - old);
    std::fill(slots_.begin() + old, slots_.end(), nullptr);
    // Each list parts in two: what stays, and what belongs into the slot that is as far behind.
    for (size_t i = 0; i < old; i++) {
        node_name* one = std::exchange(slots_[i], nullptr);
        while (one != nullptr) {
            node_name*& slot = slot_of(one->hash);
            one = std::exchange(one->next, std::exchange(slot, one));
        }
    }
    return true;
}

} // namespace ombrel::document
