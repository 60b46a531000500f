// Messages of the kernel's about its network, put together byte by byte, and addresses as their texts.
#pragma once

#include <arpa/inet.h>
#include <bit>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <sys/socket.h>

#include <gtest/gtest.h>

#include <ombrel/network_interface.h>

namespace ombrel_test {

inline std::string word(uint32_t value, size_t size) {
    return std::string(reinterpret_cast<const char*>(&value) +
                           (std::endian::native == std::endian::big ? 4 - size : 0),
                       size);
}

/// An attribute, of a length that may be another than its own.
inline std::string attribute(unsigned type, const std::string& content, unsigned length = 0) {
    const auto own = static_cast<unsigned>(content.size() + 4);
    return word(length != 0 ? length : own, 2) + word(type, 2) + content +
           std::string((4 - own % 4) % 4, '\0');
}

inline std::string raw(const char* address) {
    char bytes[16];
    const bool is_ipv6 = strchr(address, ':') != nullptr;
    EXPECT_EQ(1, inet_pton(is_ipv6 ? AF_INET6 : AF_INET, address, bytes));
    return std::string(bytes, is_ipv6 ? 16 : 4);
}

template<typename Address>
std::string shown(const Address& address) {
    ombrel_ip_address_t ip;
    memcpy(&ip, &address, sizeof ip);
    char text[64] = "none";
    if (ip.m_any.sa_family == AF_INET6)
        inet_ntop(AF_INET6, &ip.m_ipv6.sin6_addr, text, sizeof text);
    else if (ip.m_any.sa_family == AF_INET)
        inet_ntop(AF_INET, &ip.m_ipv4.sin_addr, text, sizeof text);
    const uint32_t scope = ip.m_any.sa_family == AF_INET6 ? ip.m_ipv6.sin6_scope_id : 0;
    return text + (scope != 0 ? "%" + std::to_string(scope) : "");
}

/// Numbers and then texts, a space behind each.
inline std::string facts(std::initializer_list<int64_t> numbers, std::initializer_list<std::string> texts) {
    std::string all;
    for (const int64_t number : numbers)
        all += std::to_string(number) + " ";
    for (const std::string& text : texts)
        all += text + " ";
    return all;
}

} // namespace ombrel_test
