// Room for any socket address, filled from numeric texts, raw addresses or by the platform.
#pragma once

#include <ombrel/address.h>

#include "network/address_internal.h"

namespace ombrel {

class endpoint {
public:
    /// A port in the text replaces the one given.
    bool parse(int family, const char* text, int port) {
        return ombrel_inet_ptos(family, text, port, &storage_, sizeof storage_) == 0;
    }
    /// The 4 or 16 bytes of an IPv4 or IPv6 address, without a port.
    void set_raw(int family, const void* raw) {
        parsed_address parsed{family, {}, 0, 0};
        memcpy(parsed.bytes, raw, find_layout(family)->address_size);
        write_address(parsed, 0, &storage_, sizeof storage_);
    }
    bool set_wildcard(int family, int port) {
        return parse(family, family == AF_INET6 ? "::" : "0.0.0.0", port);
    }
    bool set_loopback(int family, int port) {
        return parse(family, family == AF_INET6 ? "::1" : "127.0.0.1", port);
    }

    sockaddr* get() { return reinterpret_cast<sockaddr*>(&storage_); }
    const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&storage_); }
    int family() const { return storage_.ss_family; }
    int size() const { return ombrel_sockaddr_size(get(), 0); }
    /// The room for an address that a call is to write.
    static constexpr int room() { return static_cast<int>(sizeof(sockaddr_storage)); }

    int port() const {
        const address_layout* const layout = find_layout(get());
        return layout != nullptr ? read_port(get(), *layout) : 0;
    }
    bool operator==(const endpoint& other) const {
        return ombrel_compare_sockaddr_address(get(), other.get()) == 0 && port() == other.port();
    }

private:
    sockaddr_storage storage_{};
};

} // namespace ombrel
