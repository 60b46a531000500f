#include "protocol/ssdp/ssdp_cache.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <new>

#include "core/heap_ptr.h"

namespace ombrel::protocol {

namespace {

constexpr uint64_t ms_per_s = 1000;

/// @return whether it was another
template<size_t Room>
bool change_text(char (&to)[Room], const char (&text)[Room]) {
    const bool is_other = strcmp(to, text) != 0;
    memcpy(to, text, Room);
    return is_other;
}

bool change_number(int64_t& to, int64_t number) {
    const bool is_other = to != number;
    to = number;
    return is_other;
}

/// Takes over what a message says. @return whether anything but the time is another
bool change_entry(ombrel_ssdp_entry_t& entry, const ssdp_message& message, int64_t boot_id) {
    // Each is taken over, whether the one before it is another or not.
    const bool location = change_text(entry.m_location, message.location);
    const bool server = message.server[0] != '\0' && change_text(entry.m_server, message.server);
    const bool boot = boot_id >= 0 && change_number(entry.m_boot_id, boot_id);
    const bool configuration = message.config_id >= 0 && change_number(entry.m_config_id, message.config_id);
    return location || server || boot || configuration;
}

} // namespace

ssdp_cache::node** ssdp_cache::find_link(const char* usn) {
    node** link = &first_;
    while (*link != nullptr && strcmp((*link)->entry.m_usn, usn) != 0)
        link = &(*link)->next;
    return link;
}

bool ssdp_cache::has_room_for(const endpoint& from) const {
    size_t of_address = 0;
    for (const node* one = first_; one != nullptr; one = one->next)
        of_address += ombrel_compare_sockaddr_address(one->from.get(), from.get()) == 0 ? 1 : 0;
    return count_ < limits_.entries && of_address < limits_.of_address;
}

/// Null, and counted, where there is no room or memory for it.
ssdp_cache::node* ssdp_cache::add(const ssdp_message& message, const endpoint& from) {
    void* const room = has_room_for(from) ? ombrel_alloc_tag(sizeof(node), "ombrel_ssdp", __LINE__) : nullptr;
    if (room == nullptr) {
        dropped_++;
        return nullptr;
    }
    node* const made = new (room) node{first_, 0, from, {}};
    first_ = made;
    count_++;
    memcpy(made->entry.m_usn, message.usn, sizeof made->entry.m_usn);
    memcpy(made->entry.m_type, message.type, sizeof made->entry.m_type);
    made->entry.m_boot_id = made->entry.m_config_id = -1;
    return made;
}

/// Nobody withdraws or changes what another address has announced, unless the device has started anew there,
/// or does not tell starts and stays with the family.
bool ssdp_cache::may_speak_for(const node& known, const ssdp_message& message, const endpoint& from) {
    if (ombrel_compare_sockaddr_address(known.from.get(), from.get()) == 0)
        return true;
    if (message.kind == ssdp_kind::byebye || message.kind == ssdp_kind::updated)
        return false;
    const bool tells_no_start = message.boot_id < 0 && known.entry.m_boot_id < 0;
    return message.boot_id > known.entry.m_boot_id ||
           (tells_no_start && known.from.family() == from.family());
}

void ssdp_cache::take(const ssdp_message& message, const endpoint& from, uint64_t now, change& done) {
    done.event = 0;
    node** const link = find_link(message.usn);
    node* one = *link;
    if (one != nullptr && !may_speak_for(*one, message, from))
        return;
    if (message.kind == ssdp_kind::byebye) {
        if (one != nullptr)
            remove(link, done);
        return;
    }
    const bool is_update = message.kind == ssdp_kind::updated, is_new = one == nullptr;
    if (is_new && (is_update || (limits_.wanted != nullptr && !is_ssdp_match(limits_.wanted, message.type))))
        return;
    one = is_new ? add(message, from) : one;
    if (one == nullptr)
        return;
    const bool is_other =
        change_entry(one->entry, message, is_update ? message.next_boot_id : message.boot_id);
    if (!is_update) {
        one->entry.m_max_age_s = std::min(message.max_age_s, limits_.max_age_s);
        one->expiry = now + static_cast<uint64_t>(one->entry.m_max_age_s) * ms_per_s;
    }
    one->from = from;
    ombrel_inet_stop(from.get(), one->entry.m_address, sizeof one->entry.m_address);
    done.event = is_new ? def_ombrel_ssdp_added : is_other ? def_ombrel_ssdp_changed : 0;
    done.told = told(*one, now);
}

void ssdp_cache::remove(node** link, change& done) {
    node* const gone = *link;
    *link = gone->next;
    count_--;
    done.event = def_ombrel_ssdp_gone;
    done.told = gone->entry;
    ombrel_free_tag(gone, "ombrel_ssdp", __LINE__);
}

bool ssdp_cache::take_expired(uint64_t now, change& done) {
    node** link = &first_;
    while (*link != nullptr && (*link)->expiry > now)
        link = &(*link)->next;
    if (*link == nullptr)
        return false;
    remove(link, done);
    return true;
}

uint64_t ssdp_cache::next_expiry() const {
    uint64_t next = UINT64_MAX;
    for (const node* one = first_; one != nullptr; one = one->next)
        next = std::min(next, one->expiry);
    return next;
}

ombrel_ssdp_entry_t ssdp_cache::told(const node& one, uint64_t now) {
    ombrel_ssdp_entry_t entry = one.entry;
    const uint64_t left = one.expiry > now ? one.expiry - now : 0;
    entry.m_left_ms = static_cast<int>(std::min<uint64_t>(left, INT_MAX));
    return entry;
}

bool ssdp_cache::get_at(size_t index, uint64_t now, ombrel_ssdp_entry_t& entry) const {
    const node* one = first_;
    for (; one != nullptr && index > 0; index--)
        one = one->next;
    if (one != nullptr)
        entry = told(*one, now);
    return one != nullptr;
}

bool ssdp_cache::find(const char* usn, uint64_t now, ombrel_ssdp_entry_t& entry) const {
    const node* one = first_;
    while (one != nullptr && strcmp(one->entry.m_usn, usn) != 0)
        one = one->next;
    if (one != nullptr)
        entry = told(*one, now);
    return one != nullptr;
}

void ssdp_cache::clear() {
    change ignored;
    while (first_ != nullptr)
        remove(&first_, ignored);
}

} // namespace ombrel::protocol
