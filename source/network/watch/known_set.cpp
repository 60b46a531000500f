#include "network/watch/known_set.h"

#include <algorithm>
#include <cstring>

#include <ombrel/heap.h>

#include "core/fault.h"

namespace ombrel {

namespace {

bool is_before(const known_key& a, const known_key& b) {
    return memcmp(&a, &b, sizeof a) < 0;
}

} // namespace

known_key* known_set::place_of(const known_key& key) const {
    return std::lower_bound(keys_, keys_ + count_, key, is_before);
}

bool known_set::is_at(const known_key* place, const known_key& key) const {
    return place < keys_ + count_ && memcmp(place, &key, sizeof key) == 0;
}

bool known_set::grow() {
    constexpr size_t first_room = 32;
    const size_t room = std::min(std::max(first_room, room_ * 2), most_);
    auto* const keys =
        static_cast<known_key*>(ombrel_realloc_tag(keys_, room * sizeof(known_key), function_, line_));
    if (keys == nullptr)
        return leave_fault(fault_code::no_memory), false;
    keys_ = keys;
    room_ = room;
    return true;
}

known_set::entry known_set::enter(const known_key& key) {
    if (is_at(place_of(key), key))
        return entry::was_there;
    if (count_ == most_)
        return entry::is_new;
    if (count_ == room_ && !grow())
        return entry::no_memory;
    known_key* const place = place_of(key);
    std::copy_backward(place, keys_ + count_, keys_ + count_ + 1);
    *place = key;
    count_++;
    return entry::is_new;
}

void known_set::forget(const known_key& key) {
    known_key* const place = place_of(key);
    if (!is_at(place, key))
        return;
    std::copy(place + 1, keys_ + count_, place);
    count_--;
}

void known_set::clear() {
    ombrel_check_free_tag(keys_, function_, line_);
    keys_ = nullptr;
    count_ = room_ = 0;
}

} // namespace ombrel
