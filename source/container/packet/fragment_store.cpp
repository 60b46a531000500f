#include "container/packet/fragment_store.h"

#include <new>

namespace ombrel {

namespace {

using datagram_key = std::array<unsigned char, 12>;

datagram_key key_of(uint64_t sender, uint32_t identifier) {
    datagram_key key;
    memcpy(key.data(), &sender, sizeof sender);
    memcpy(key.data() + sizeof sender, &identifier, sizeof identifier);
    return key;
}

auto datagrams_of(fragment_sender& sender) {
    return node_list<held_datagram, &held_datagram::m_before, &held_datagram::m_behind>(sender.first,
                                                                                        &sender.last);
}

} // namespace

fragment_store::~fragment_store() {
    for (const by_age& age : ages_)
        while (age.first != nullptr)
            remove(*age.first);
    ombrel_close_hash(datagrams_);
    ombrel_close_hash(senders_);
}

bool fragment_store::open_tables() {
    ombrel_hash_options_t options;
    ombrel_init_hash_options(&options);
    options.m_flags = def_ombrel_hash_borrow;
    if (datagrams_ == nullptr)
        datagrams_ = ombrel_open_hash_tag(&options, caller_.tag, caller_.line);
    if (senders_ == nullptr)
        senders_ = ombrel_open_hash_tag(&options, caller_.tag, caller_.line);
    return datagrams_ != nullptr && senders_ != nullptr;
}

fragment_sender* fragment_store::find_sender(const void* key, size_t size) const {
    return senders_ != nullptr ? static_cast<fragment_sender*>(ombrel_hash_get(senders_, key, size))
                               : nullptr;
}

held_datagram* fragment_store::find(const fragment_sender* sender, uint32_t identifier) const {
    if (sender == nullptr)
        return nullptr;
    const datagram_key key = key_of(sender->number, identifier);
    return static_cast<held_datagram*>(ombrel_hash_get(datagrams_, key.data(), key.size()));
}

fragment_sender* fragment_store::obtain_sender(const void* key, size_t size) {
    if (fragment_sender* const found = find_sender(key, size))
        return found;
    heap_ptr<fragment_sender> made(allocate_record<fragment_sender>(caller_.tag, caller_.line));
    if (!made)
        return nullptr;
    *made = {nullptr, nullptr, nullptr, nullptr, 0, 0, next_number_++, size, {}};
    if (size > 0)
        memcpy(made->key.data(), key, size);
    if (ombrel_hash_set(senders_, made->key.data(), size, made.get()) != 0)
        return nullptr;
    node_list<fragment_sender>(first_sender_).prepend(*made);
    sender_count_++;
    bytes_ += sizeof(fragment_sender);
    return made.release();
}

void fragment_store::drop_if_idle(fragment_sender& sender) {
    if (sender.count > 0)
        return;
    node_list<fragment_sender>(first_sender_).unlink(sender);
    ombrel_hash_remove(senders_, sender.key.data(), sender.key_size);
    ombrel_free(&sender);
    sender_count_--;
    bytes_ -= sizeof(fragment_sender);
}

void fragment_store::count_bytes(fragment_sender& sender, size_t before, size_t after) {
    bytes_ += after - before;
    sender.bytes += after - before;
}

bool fragment_store::make_room(size_t bytes, size_t places) {
    if (bytes > limits_.m_memory_limit)
        return false;
    while (count_ > 0 && bytes > limits_.m_memory_limit - std::min(limits_.m_memory_limit, bytes_))
        evict_one(false);
    while (count_ + places > limits_.m_datagram_limit)
        evict_one(true);
    return true;
}

/// What was given is remembered for convenience alone. Else who holds most loses the oldest; of equals that
/// is who came first, so that one that has just come is not always the one to lose.
void fragment_store::evict_one(bool for_place) {
    held_datagram* victim = ages_[static_cast<size_t>(datagram_state::given)].first;
    if (victim == nullptr) {
        const fragment_sender* most = first_sender_;
        for (const fragment_sender* each = first_sender_; each != nullptr; each = each->m_next)
            if (for_place ? each->count >= most->count : each->bytes >= most->bytes)
                most = each;
        // NOLINTNEXTLINE(clang-analyzer-core.NullDereference): somebody holds what is counted
        victim = most->first;
    }
    const bool is_lost = victim->state == datagram_state::gathering;
    (is_lost ? statistics_.m_evicted : statistics_.m_forgotten)++;
    remove(*victim);
}

held_datagram* fragment_store::add(const void* sender, size_t sender_size, uint32_t identifier,
                                   uint32_t total, int64_t now) {
    fragment_sender* const from = open_tables() ? obtain_sender(sender, sender_size) : nullptr;
    if (from == nullptr)
        return nullptr;
    void* const block = ombrel_alloc_tag(sizeof(held_datagram), caller_.tag, caller_.line);
    auto* const made = block != nullptr ? new (block) held_datagram() : nullptr;
    if (made != nullptr) {
        made->key = key_of(from->number, identifier);
        if (ombrel_hash_set(datagrams_, made->key.data(), made->key.size(), made) == 0) {
            made->sender = from;
            made->since = now;
            made->total = total;
            datagrams_of(*from).append(*made);
            list_of(datagram_state::gathering).append(*made);
            from->count++;
            count_++;
            count_bytes(*from, 0, made->held());
            return made;
        }
        ombrel_free(made);
    }
    drop_if_idle(*from);
    return nullptr;
}

bool fragment_store::add_piece(held_datagram& datagram, uint32_t offset, const void* data, size_t size) {
    const size_t before = datagram.held();
    const bool good = datagram.pieces.add(offset, data, size, caller_);
    count_bytes(*datagram.sender, before, datagram.held());
    return good;
}

void fragment_store::settle(held_datagram& datagram, datagram_state state, int64_t now) {
    const size_t before = datagram.held();
    datagram.pieces.clear();
    count_bytes(*datagram.sender, before, datagram.held());
    list_of(datagram.state).unlink(datagram);
    datagram.state = state;
    datagram.since = now;
    list_of(state).append(datagram);
}

void fragment_store::remove(held_datagram& datagram) {
    fragment_sender& sender = *datagram.sender;
    ombrel_hash_remove(datagrams_, datagram.key.data(), datagram.key.size());
    list_of(datagram.state).unlink(datagram);
    datagrams_of(sender).unlink(datagram);
    count_bytes(sender, datagram.held(), 0);
    sender.count--;
    count_--;
    datagram.~held_datagram();
    ombrel_free(&datagram);
    drop_if_idle(sender);
}

int64_t fragment_store::expire(int64_t now) {
    int64_t removed = 0;
    for (const by_age& age : ages_)
        while (age.first != nullptr && now - age.first->since >= limits_.m_time_limit) {
            statistics_.m_expired += age.first->state == datagram_state::gathering ? 1 : 0;
            remove(*age.first);
            removed++;
        }
    return removed;
}

int64_t fragment_store::wait(int64_t now) const {
    int64_t least = -1;
    for (const by_age& age : ages_)
        if (age.first != nullptr) {
            const int64_t left = std::max<int64_t>(0, limits_.m_time_limit - (now - age.first->since));
            least = least < 0 ? left : std::min(least, left);
        }
    return least;
}

} // namespace ombrel
