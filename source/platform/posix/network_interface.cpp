#include "platform/network_interface.h"

#include <cstdlib>
#include <cstring>
#include <ifaddrs.h>
#include <net/if.h>
#include <sys/socket.h>

#include "platform/fault.h"

namespace ombrel::platform {

uint32_t interface_index(const char* name) {
    return if_nametoindex(name);
}

bool interface_name(uint32_t index, char* name, size_t size) {
    char found[IF_NAMESIZE];
    if (if_indextoname(index, found) == nullptr)
        return leave_fault(fault_code::not_found), false;
    const size_t length = strlen(found);
    if (length >= size)
        return leave_fault(fault_code::too_large), false;
    memcpy(name, found, length + 1);
    return true;
}

#if !defined(__linux__)

/// The C library's list has an entry for each address, and for some interfaces one without.
struct interface_list::state {
    ifaddrs* first;
    const ifaddrs* at;
    const ifaddrs* address;
};

namespace {

struct flag_meaning {
    unsigned host;
    uint32_t ours;
};

constexpr flag_meaning flags[] = {
    {IFF_UP, def_ombrel_interface_up},
    {IFF_LOOPBACK, def_ombrel_interface_loopback},
    {IFF_BROADCAST, def_ombrel_interface_broadcast},
    {IFF_POINTOPOINT, def_ombrel_interface_point_to_point},
    {IFF_MULTICAST, def_ombrel_interface_multicast},
    {IFF_ALLMULTI, def_ombrel_interface_all_multicast},
    {IFF_RUNNING, def_ombrel_interface_running},
    {IFF_PROMISC, def_ombrel_interface_promiscuous},
    {IFF_NOARP, def_ombrel_interface_no_arp},
};

bool is_first_of_its_name(const ifaddrs* first, const ifaddrs* entry) {
    while (first != entry && strcmp(first->ifa_name, entry->ifa_name) != 0)
        first = first->ifa_next;
    return first == entry;
}

bool is_ip(const sockaddr* address) {
    return address != nullptr && (address->sa_family == AF_INET || address->sa_family == AF_INET6);
}

/// The leading ones of a mask; -1 for none.
int prefix_length(int family, const sockaddr* mask) {
    if (mask == nullptr)
        return -1;
    const bool is_ipv4 = family == AF_INET;
    const auto* const bytes =
        is_ipv4 ? reinterpret_cast<const uint8_t*>(&reinterpret_cast<const sockaddr_in*>(mask)->sin_addr)
                : reinterpret_cast<const sockaddr_in6*>(mask)->sin6_addr.s6_addr;
    const int bits = is_ipv4 ? 32 : 128;
    int length = 0;
    while (length < bits && (bytes[length / 8] & (0x80 >> length % 8)) != 0)
        length++;
    return length;
}

int copy_address(void* target, const sockaddr* address) {
    const size_t size = address->sa_family == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
    memcpy(target, address, size);
    return static_cast<int>(size);
}

void describe(const ifaddrs& entry, ombrel_interface_address_t& one) {
    one = {};
    one.m_address_size = copy_address(&one.m_address, entry.ifa_addr);
    one.m_prefix_length = prefix_length(entry.ifa_addr->sa_family, entry.ifa_netmask);
    one.m_valid_s = one.m_preferred_s = -1;
    // One place for two meanings.
    if (!is_ip(entry.ifa_dstaddr))
        return;
    if ((entry.ifa_flags & IFF_BROADCAST) != 0)
        copy_address(&one.m_broadcast, entry.ifa_dstaddr);
    else if ((entry.ifa_flags & IFF_POINTOPOINT) != 0)
        copy_address(&one.m_peer, entry.ifa_dstaddr);
}

} // namespace

interface_list::interface_list() {
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0)
        return;
    state_ = static_cast<state*>(malloc(sizeof(state)));
    if (state_ == nullptr)
        freeifaddrs(list);
    else
        *state_ = {list, list, list};
}

interface_list::~interface_list() {
    if (state_ != nullptr)
        freeifaddrs(state_->first);
    free(state_);
}

void interface_list::rewind() {
    if (state_ != nullptr)
        state_->at = state_->address = state_->first;
}

int interface_list::next(ombrel_network_interface_t& one, ombrel_interface_statistics_t&,
                         bool& has_statistics) {
    const ifaddrs*& entry = state_->at;
    while (entry != nullptr && !is_first_of_its_name(state_->first, entry))
        entry = entry->ifa_next;
    if (entry == nullptr)
        return 0;
    one = {};
    memcpy(one.m_name, entry->ifa_name, strnlen(entry->ifa_name, sizeof one.m_name - 1));
    one.m_index = interface_index(entry->ifa_name);
    for (const flag_meaning& flag : flags)
        one.m_flags |= (entry->ifa_flags & flag.host) != 0 ? flag.ours : 0;
    if ((entry->ifa_flags & IFF_LOOPBACK) != 0)
        one.m_type = def_ombrel_interface_type_loopback;
    one.m_speed = -1;
    has_statistics = false;
    entry = entry->ifa_next;
    return 1;
}

int interface_list::next_address(uint32_t& index, ombrel_interface_address_t& address) {
    const ifaddrs*& entry = state_->address;
    while (entry != nullptr && !is_ip(entry->ifa_addr))
        entry = entry->ifa_next;
    if (entry == nullptr)
        return 0;
    index = interface_index(entry->ifa_name);
    describe(*entry, address);
    entry = entry->ifa_next;
    return 1;
}

void interface_list::ask_for_speed(ombrel_network_interface_t&) {}

#endif

} // namespace ombrel::platform
