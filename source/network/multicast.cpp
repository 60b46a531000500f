#include <ombrel/multicast.h>

#include <cstring>

#include <ombrel/address.h>
#include <ombrel/network_interface.h>
#include <ombrel/socket.h>

#include "network/endpoint.h"
#include "platform/multicast.h"

using namespace ombrel;
using platform::source_change;

namespace {

/// An interface as callers name it.
class interface_choice {
public:
    interface_choice(uint32_t index, const char* name) : index_(index), name_(name != nullptr ? name : "") {}

    bool is_system_choice() const { return index_ == 0 && *name_ == 0; }
    bool names(const ombrel_network_interface_t& one) const {
        return (index_ != 0 && one.m_index == index_) || strcmp(one.m_name, name_) == 0;
    }
    /// Looks the name up when there is no index; false for a name that nobody has.
    bool find_index(uint32_t& result) const {
        result = index_ != 0 ? index_ : ombrel_interface_name_to_index(name_);
        return result != 0 || is_system_choice();
    }

private:
    uint32_t index_;   ///< 0 when unknown
    const char* name_; ///< empty when unknown
};

/// The machine's interfaces for a scope.
class interface_list {
public:
    interface_list() : first_(ombrel_open_network_interface()) {}
    ~interface_list() { ombrel_close_network_interface(first_); }
    interface_list(const interface_list&) = delete;
    interface_list& operator=(const interface_list&) = delete;

    const ombrel_network_interface_t* first() const { return first_; }

private:
    ombrel_network_interface_t* first_;
};

const sockaddr* address_of(const ombrel_interface_address_t& one) {
    return reinterpret_cast<const sockaddr*>(&one.m_address);
}

/// The next address of a family that is not the wildcard, from `one` on.
const ombrel_interface_address_t* usable_address(const ombrel_interface_address_t* one, int family) {
    endpoint wildcard;
    wildcard.set_wildcard(family, 0);
    while (one != nullptr && (ombrel_sockaddr_domain(address_of(*one)) != family ||
                              ombrel_compare_sockaddr_address(address_of(*one), wildcard.get()) == 0))
        one = one->m_next;
    return one;
}

/// One request for each IPv4 address of the interface; one that succeeds is enough.
bool change_ipv4(int s, const sockaddr* group, const interface_choice& where, bool join) {
    if (where.is_system_choice())
        return platform::change_ipv4_membership(s, group, nullptr, join);
    const interface_list all;
    bool changed = false;
    for (const ombrel_network_interface_t* one = all.first(); one != nullptr; one = one->m_next) {
        if (!where.names(*one))
            continue;
        for (const auto* own = usable_address(one->m_address, AF_INET); own != nullptr;
             own = usable_address(own->m_next, AF_INET)) {
            if (platform::change_ipv4_membership(s, group, address_of(*own), join))
                changed = true;
        }
    }
    return changed;
}

/// Tries the family's own request first and the common one second.
bool change_membership(int s, const sockaddr* group, const interface_choice& where, bool join) {
    const int family = ombrel_sockaddr_domain(group);
    if (family == 0)
        return false;
    if (family == AF_INET && change_ipv4(s, group, where, join))
        return true;
    uint32_t index = 0;
    if (!where.find_index(index))
        return false;
    if (family == AF_INET6 && platform::change_ipv6_membership(s, group, index, join))
        return true;
    return platform::change_group(s, group, index, join);
}

bool change_source(int s, const sockaddr* group, const sockaddr* source, const interface_choice& where,
                   source_change change) {
    const int family = ombrel_sockaddr_domain(group);
    uint32_t index = 0;
    return family != 0 && ombrel_sockaddr_domain(source) == family && where.find_index(index) &&
           platform::change_source(s, group, source, index, change);
}

/// Makes a change on every multicast interface with an address of the family; -1 when none succeeded.
template<typename Change>
int change_on_all(int family, Change change) {
    const interface_list all;
    if (all.first() == nullptr)
        return change(interface_choice{0, nullptr}) ? 0 : -1;
    constexpr uint32_t takes_multicast = def_ombrel_interface_multicast | def_ombrel_interface_all_multicast;
    int result = -1;
    for (const ombrel_network_interface_t* one = all.first(); one != nullptr; one = one->m_next) {
        const bool suitable = (one->m_flags & def_ombrel_interface_up) != 0 &&
                              (one->m_flags & takes_multicast) != 0 &&
                              usable_address(one->m_address, family) != nullptr;
        if (suitable && change(interface_choice{one->m_index, one->m_name}))
            result = 0;
    }
    return result;
}

bool is_usable(int s, const sockaddr* group) {
    return s != def_ombrel_invalid_socket && ombrel_sockaddr_domain(group) != 0;
}

source_change join_change(int join) {
    return join != 0 ? source_change::join : source_change::leave;
}

source_change block_change(int block) {
    return block != 0 ? source_change::block : source_change::unblock;
}

int change_source_on_all(int s, const sockaddr* group, const sockaddr* source, source_change change) {
    if (!is_usable(s, group) || source == nullptr)
        return -1;
    return change_on_all(ombrel_sockaddr_domain(group), [&](const interface_choice& where) {
        return change_source(s, group, source, where, change);
    });
}

endpoint endpoint_of(int family, const void* raw) {
    endpoint result;
    result.set_raw(family, raw);
    return result;
}

} // namespace

int ombrel_multicast_join(int s, const struct sockaddr* group_addr, uint32_t interface_index,
                          const char* interface_name, int join) {
    if (!is_usable(s, group_addr))
        return -1;
    return change_membership(s, group_addr, {interface_index, interface_name}, join != 0) ? 0 : -1;
}

int ombrel_multicast_join_source_group(int s, const struct sockaddr* group, const struct sockaddr* source,
                                       uint32_t interface_index, const char* interface_name, int join) {
    if (source == nullptr)
        return ombrel_multicast_join(s, group, interface_index, interface_name, join);
    if (!is_usable(s, group))
        return -1;
    return change_source(s, group, source, {interface_index, interface_name}, join_change(join)) ? 0 : -1;
}

int ombrel_multicast_block_source_group(int s, const struct sockaddr* group, const struct sockaddr* source,
                                        uint32_t interface_index, const char* interface_name, int block) {
    if (!is_usable(s, group) || source == nullptr)
        return -1;
    return change_source(s, group, source, {interface_index, interface_name}, block_change(block)) ? 0 : -1;
}

int ombrel_multicast_join_all(int s, const struct sockaddr* group_addr, int join) {
    if (!is_usable(s, group_addr))
        return -1;
    return change_on_all(ombrel_sockaddr_domain(group_addr), [&](const interface_choice& where) {
        return change_membership(s, group_addr, where, join != 0);
    });
}

int ombrel_multicast_join_source_group_all(int s, const struct sockaddr* group, const struct sockaddr* source,
                                           int join) {
    if (source == nullptr)
        return ombrel_multicast_join_all(s, group, join);
    return change_source_on_all(s, group, source, join_change(join));
}

int ombrel_multicast_block_source_all(int s, const struct sockaddr* group, const struct sockaddr* source,
                                      int block) {
    return change_source_on_all(s, group, source, block_change(block));
}

int ombrel_inet_multicast_join(int s, const struct in_addr* group_in4, const struct in_addr* interface_in4,
                               int join) {
    if (s == def_ombrel_invalid_socket || group_in4 == nullptr)
        return -1;
    const endpoint group = endpoint_of(AF_INET, group_in4);
    if (interface_in4 == nullptr)
        return ombrel_multicast_join_all(s, group.get(), join);
    const endpoint own = endpoint_of(AF_INET, interface_in4);
    return platform::change_ipv4_membership(s, group.get(), own.get(), join != 0) ? 0 : -1;
}

int ombrel_inet6_multicast_join(int s, const struct in6_addr* group_in6, int interface_index, int join) {
    if (s == def_ombrel_invalid_socket || group_in6 == nullptr)
        return -1;
    const endpoint group = endpoint_of(AF_INET6, group_in6);
    if (interface_index == -1)
        return ombrel_multicast_join_all(s, group.get(), join);
    return ombrel_multicast_join(s, group.get(), static_cast<uint32_t>(interface_index), nullptr, join);
}
