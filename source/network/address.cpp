#include <ombrel/address.h>

#include <algorithm>

#include "network/address_internal.h"

using namespace ombrel;

int ombrel_sockaddr_domain(const struct sockaddr* addr) {
    return find_layout(addr) == nullptr ? 0 : addr->sa_family;
}

int ombrel_sockaddr_size(const struct sockaddr* addr, int size) {
    if (addr == nullptr)
        return 0;
    const address_layout* const layout = find_layout(addr);
    if (layout == nullptr)
        return size;
    const int whole = static_cast<int>(layout->record_size);
    return size >= 1 && size <= whole ? size : whole;
}

int ombrel_sockaddr_set_port(struct sockaddr* addr, int port) {
    if (addr == nullptr || !is_port(port))
        return -1;
    if (const address_layout* const layout = find_layout(addr))
        write_port(addr, *layout, port);
    return 0;
}

int ombrel_compare_sockaddr_address(const struct sockaddr* a, const struct sockaddr* b) {
    if (a == nullptr && b == nullptr)
        return 0;
    const address_layout* const layout = find_layout(a);
    if (layout == nullptr || b == nullptr || a->sa_family != b->sa_family)
        return -1;
    const bool equal =
        memcmp(address_bytes(a, *layout), address_bytes(b, *layout), layout->address_size) == 0;
    return equal ? 0 : -1;
}

int ombrel_prefix_sockaddr(struct sockaddr* addr, int prefix) {
    const address_layout* const layout = find_layout(addr);
    if (layout == nullptr || prefix < 0 || prefix > static_cast<int>(layout->address_size) * 8)
        return -1;
    uint8_t* const bytes = address_bytes(addr, *layout);
    for (size_t i = 0; i < layout->address_size; i++) {
        const int kept = std::clamp(prefix - static_cast<int>(i) * 8, 0, 8);
        bytes[i] = static_cast<uint8_t>(bytes[i] & 0xff00u >> kept);
    }
    return 0;
}

int ombrel_is_multicast(const struct sockaddr* addr) {
    const address_layout* const layout = find_layout(addr);
    if (layout == nullptr)
        return 0;
    const uint8_t first = *address_bytes(addr, *layout);
    return layout == &ipv4_layout ? (first & 0xf0) == 0xe0 : first == 0xff;
}

int ombrel_inet_is_multicast(const struct in_addr* in4) {
    return in4 != nullptr && (*reinterpret_cast<const uint8_t*>(in4) & 0xf0) == 0xe0;
}

int ombrel_inet6_is_multicast(const struct in6_addr* in6) {
    return ombrel_in6addr_is_multicast(in6);
}

namespace {

struct ipv4_range {
    uint8_t address[ipv4_size];
    int prefix;
    int scope;
};

// The first range that holds an address names its scope; all other addresses are global.
constexpr ipv4_range ipv4_scopes[] = {
    {{0, 0, 0, 0}, 32, def_ombrel_scope_none},
    {{127, 0, 0, 0}, 8, def_ombrel_scope_interface_local},
    {{169, 254, 0, 0}, 16, def_ombrel_scope_link_local},
    {{10, 0, 0, 0}, 8, def_ombrel_scope_site_local},
    {{172, 16, 0, 0}, 12, def_ombrel_scope_site_local},
    {{192, 168, 0, 0}, 16, def_ombrel_scope_site_local},
    {{224, 0, 0, 0}, 24, def_ombrel_scope_link_local},
    {{239, 255, 0, 0}, 16, def_ombrel_scope_site_local},
    {{239, 192, 0, 0}, 14, def_ombrel_scope_organization_local},
};

uint32_t ipv4_word(const uint8_t* bytes) {
    return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
}

int ipv4_scope(const uint8_t* bytes) {
    for (const ipv4_range& range : ipv4_scopes)
        if ((ipv4_word(bytes) ^ ipv4_word(range.address)) >> (32 - range.prefix) == 0)
            return range.scope;
    return def_ombrel_scope_global;
}

int ipv6_scope(const in6_addr* address) {
    if (ombrel_in6addr_is_unspecified(address))
        return def_ombrel_scope_none;
    if (ombrel_in6addr_is_multicast(address))
        return ombrel_in6addr_multicast_scope(address);
    if (ombrel_in6addr_is_loopback(address))
        return def_ombrel_scope_interface_local;
    if (ombrel_in6addr_is_link_local(address))
        return def_ombrel_scope_link_local;
    if (ombrel_in6addr_is_site_local(address))
        return def_ombrel_scope_site_local;
    if (ombrel_in6addr_is_v4_mapped(address) || ombrel_in6addr_is_v4_compatible(address))
        return ipv4_scope(reinterpret_cast<const uint8_t*>(address) + 12);
    return def_ombrel_scope_global;
}

} // namespace

int ombrel_sockaddr_scope(const struct sockaddr* addr) {
    const address_layout* const layout = find_layout(addr);
    if (layout == nullptr)
        return -1;
    const uint8_t* const bytes = address_bytes(addr, *layout);
    return layout == &ipv4_layout ? ipv4_scope(bytes) : ipv6_scope(reinterpret_cast<const in6_addr*>(bytes));
}

int ombrel_rfc1071_checksum(const void* data, size_t size) {
    const uint8_t* const bytes = static_cast<const uint8_t*>(data);
    if (bytes == nullptr)
        size = 0;
    uint32_t sum = 0;
    size_t at = 0;
    for (; at + 1 < size; at += 2) {
        uint16_t word;
        memcpy(&word, bytes + at, sizeof word);
        sum += word;
    }
    if (at < size)
        sum += bytes[at];
    sum = (sum >> 16) + (sum & 0xffff);
    sum = (sum >> 16) + (sum & 0xffff);
    return static_cast<uint16_t>(~sum);
}
