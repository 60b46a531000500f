#include <ombrel/address.h>

#include "network/address_internal.h"

using namespace ombrel;

namespace {

const uint8_t* bytes_of(const in6_addr* address) {
    return reinterpret_cast<const uint8_t*>(address);
}

// Whether an address begins with `bits` bits of `prefix`.
bool has_prefix(const in6_addr* address, const uint8_t (&prefix)[ipv6_size], unsigned bits) {
    if (address == nullptr)
        return false;
    const uint8_t* const bytes = bytes_of(address);
    const unsigned whole = bits / 8;
    if (memcmp(bytes, prefix, whole) != 0)
        return false;
    return bits % 8 == 0 || ((bytes[whole] ^ prefix[whole]) & 0xff00u >> bits % 8 & 0xffu) == 0;
}

bool is_multicast_of_scope(const in6_addr* address, int scope) {
    return ombrel_in6addr_is_multicast(address) && ombrel_in6addr_multicast_scope(address) == scope;
}

constexpr uint8_t unspecified[ipv6_size] = {};
constexpr uint8_t loopback[ipv6_size] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
constexpr uint8_t link_local[ipv6_size] = {0xfe, 0x80};
constexpr uint8_t site_local[ipv6_size] = {0xfe, 0xc0};
constexpr uint8_t multicast[ipv6_size] = {0xff};
constexpr uint8_t v4_mapped[ipv6_size] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};

} // namespace

int ombrel_in6addr_compare(const struct in6_addr* a, const struct in6_addr* b) {
    if (a == nullptr || b == nullptr)
        return (a != nullptr) - (b != nullptr);
    const int order = memcmp(a, b, ipv6_size);
    return (order > 0) - (order < 0);
}

int ombrel_in6addr_copy(struct in6_addr* to, const struct in6_addr* from) {
    if (to == nullptr || from == nullptr)
        return -1;
    memmove(to, from, ipv6_size);
    return 0;
}

int ombrel_in6addr_is_unspecified(const struct in6_addr* a) {
    return has_prefix(a, unspecified, 128);
}

int ombrel_in6addr_is_loopback(const struct in6_addr* a) {
    return has_prefix(a, loopback, 128);
}

int ombrel_in6addr_is_link_local(const struct in6_addr* a) {
    return has_prefix(a, link_local, 10);
}

int ombrel_in6addr_is_site_local(const struct in6_addr* a) {
    return has_prefix(a, site_local, 10);
}

int ombrel_in6addr_is_multicast(const struct in6_addr* a) {
    return has_prefix(a, multicast, 8);
}

int ombrel_in6addr_is_v4_mapped(const struct in6_addr* a) {
    return has_prefix(a, v4_mapped, 96);
}

int ombrel_in6addr_is_v4_compatible(const struct in6_addr* a) {
    return has_prefix(a, unspecified, 96) && !ombrel_in6addr_is_unspecified(a) &&
           !ombrel_in6addr_is_loopback(a);
}

int ombrel_in6addr_multicast_scope(const struct in6_addr* a) {
    return a == nullptr ? 0 : bytes_of(a)[1] & 0x0f;
}

int ombrel_in6addr_is_multicast_node_local(const struct in6_addr* a) {
    return is_multicast_of_scope(a, def_ombrel_scope_interface_local);
}

int ombrel_in6addr_is_multicast_interface_local(const struct in6_addr* a) {
    return is_multicast_of_scope(a, def_ombrel_scope_interface_local);
}

int ombrel_in6addr_is_multicast_link_local(const struct in6_addr* a) {
    return is_multicast_of_scope(a, def_ombrel_scope_link_local);
}

int ombrel_in6addr_is_multicast_site_local(const struct in6_addr* a) {
    return is_multicast_of_scope(a, def_ombrel_scope_site_local);
}

int ombrel_in6addr_is_multicast_org_local(const struct in6_addr* a) {
    return is_multicast_of_scope(a, def_ombrel_scope_organization_local);
}

int ombrel_in6addr_is_multicast_global(const struct in6_addr* a) {
    return is_multicast_of_scope(a, def_ombrel_scope_global);
}

int ombrel_in6addr_is_scope_link_local(const struct in6_addr* a) {
    return ombrel_in6addr_is_link_local(a) || ombrel_in6addr_is_multicast_link_local(a);
}

int ombrel_in6addr_is_scope_embeddable(const struct in6_addr* a) {
    return ombrel_in6addr_is_scope_link_local(a) || ombrel_in6addr_is_multicast_interface_local(a);
}
