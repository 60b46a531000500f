// Access to the parts of a socket address, whatever its alignment.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "platform/socket_address.h"

namespace ombrel {

inline constexpr size_t ipv4_size = 4;
inline constexpr size_t ipv6_size = 16;

/// Room for the printed form of any address, with its scope and terminating zero.
inline constexpr size_t address_text_size = 64;

/// Where the parts of a socket address of one family stand.
struct address_layout {
    size_t record_size;
    size_t address_offset;
    size_t address_size;
    size_t port_offset;
};

inline constexpr address_layout ipv4_layout{sizeof(sockaddr_in), offsetof(sockaddr_in, sin_addr), ipv4_size,
                                            offsetof(sockaddr_in, sin_port)};
inline constexpr address_layout ipv6_layout{sizeof(sockaddr_in6), offsetof(sockaddr_in6, sin6_addr),
                                            ipv6_size, offsetof(sockaddr_in6, sin6_port)};

/// The layout of a family, or null for one that the library does not know.
inline const address_layout* find_layout(int family) {
    return family == AF_INET ? &ipv4_layout : family == AF_INET6 ? &ipv6_layout : nullptr;
}

inline const address_layout* find_layout(const sockaddr* address) {
    return address == nullptr ? nullptr : find_layout(address->sa_family);
}

inline const uint8_t* address_bytes(const sockaddr* address, const address_layout& layout) {
    return reinterpret_cast<const uint8_t*>(address) + layout.address_offset;
}

inline uint8_t* address_bytes(sockaddr* address, const address_layout& layout) {
    return reinterpret_cast<uint8_t*>(address) + layout.address_offset;
}

inline int read_port(const sockaddr* address, const address_layout& layout) {
    const uint8_t* const port = reinterpret_cast<const uint8_t*>(address) + layout.port_offset;
    return port[0] << 8 | port[1];
}

inline void write_port(sockaddr* address, const address_layout& layout, int port) {
    uint8_t* const bytes = reinterpret_cast<uint8_t*>(address) + layout.port_offset;
    bytes[0] = static_cast<uint8_t>(port >> 8);
    bytes[1] = static_cast<uint8_t>(port);
}

inline constexpr int max_port = 65535;

inline constexpr bool is_port(int port) {
    return port >= 0 && port <= max_port;
}

/// What an address text says.
struct parsed_address {
    int family;
    uint8_t bytes[ipv6_size]; ///< the first four for IPv4
    uint32_t scope_id;        ///< 0 without one
    int port;                 ///< -1 without one
};

/// Reads a text of the family, of either for AF_UNSPEC; false when it is not an address.
bool parse_address(int family, const char* text, parsed_address& result);

/// Writes a socket address with a port; `size` is at least the family's record, the rest is zeroed.
void write_address(const parsed_address& parsed, int port, void* out, size_t size);

} // namespace ombrel
