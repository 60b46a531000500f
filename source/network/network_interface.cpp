#include <ombrel/network_interface.h>

#include <cstring>

#include <ombrel/address.h>
#include <ombrel/heap.h>

#include "platform/network_interface.h"

using namespace ombrel;

namespace {

size_t count_entries(platform::interface_list& list) {
    size_t count = 0;
    for (platform::interface_entry entry; list.next(entry);)
        count++;
    list.rewind();
    return count;
}

uint32_t flags_of(const platform::interface_entry& entry) {
    return (entry.up ? def_ombrel_interface_up : 0u) | (entry.loopback ? def_ombrel_interface_loopback : 0u) |
           (entry.broadcast ? def_ombrel_interface_broadcast : 0u) |
           (entry.point_to_point ? def_ombrel_interface_point_to_point : 0u) |
           (entry.multicast ? def_ombrel_interface_multicast : 0u) |
           (entry.all_multicast ? def_ombrel_interface_all_multicast : 0u);
}

/// Both kinds of records of the list, side by side in its one block: an entry needs at most one of each.
struct list_slot {
    ombrel_network_interface_t interface;
    ombrel_interface_address_t address;
};

class list_builder {
public:
    explicit list_builder(list_slot* slots) : next_interface_(slots), next_address_(slots) {}

    void add(const platform::interface_entry& entry) {
        ombrel_network_interface_t* const known = find(entry.index);
        ombrel_network_interface_t& target = known != nullptr ? *known : append(entry);
        if (entry.address != nullptr && ombrel_sockaddr_domain(entry.address) != 0)
            append(target, entry.address);
    }

    ombrel_network_interface_t* first() const { return first_; }

private:
    ombrel_network_interface_t* find(uint32_t index) const {
        // Entries of one interface mostly follow each other.
        if (last_ != nullptr && last_->m_index == index)
            return last_;
        ombrel_network_interface_t* one = first_;
        while (one != nullptr && one->m_index != index)
            one = one->m_next;
        return one;
    }

    ombrel_network_interface_t& append(const platform::interface_entry& entry) {
        ombrel_network_interface_t& one = (next_interface_++)->interface;
        one.m_index = entry.index;
        one.m_flags = flags_of(entry);
        const size_t length = strnlen(entry.name, sizeof one.m_name - 1);
        memcpy(one.m_name, entry.name, length);
        (last_ != nullptr ? last_->m_next : first_) = &one;
        last_ = &one;
        return one;
    }

    void append(ombrel_network_interface_t& target, const sockaddr* address) {
        ombrel_interface_address_t& one = (next_address_++)->address;
        one.m_address_size = ombrel_sockaddr_size(address, 0);
        memcpy(&one.m_address, address, static_cast<size_t>(one.m_address_size));
        ombrel_interface_address_t** link = &target.m_address;
        while (*link != nullptr)
            link = &(*link)->m_next;
        *link = &one;
    }

    list_slot* next_interface_;
    list_slot* next_address_;
    ombrel_network_interface_t* first_ = nullptr;
    ombrel_network_interface_t* last_ = nullptr;
};

} // namespace

ombrel_network_interface_t* ombrel_open_network_interface(void) {
    platform::interface_list list;
    const size_t count = list.is_open() ? count_entries(list) : 0;
    if (count == 0)
        return nullptr;
    // The first interface starts the block, so that freeing it frees the list.
    void* const block = ombrel_calloc_tag(count, sizeof(list_slot), __func__, __LINE__);
    if (block == nullptr)
        return nullptr;
    list_builder builder(static_cast<list_slot*>(block));
    for (platform::interface_entry entry; list.next(entry);)
        builder.add(entry);
    return builder.first();
}

int ombrel_close_network_interface(ombrel_network_interface_t* list) {
    return ombrel_check_free_tag(list, __func__, __LINE__);
}

uint32_t ombrel_interface_name_to_index(const char* name) {
    return name != nullptr ? platform::interface_index(name) : 0;
}
