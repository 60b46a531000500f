// Interfaces found by their names, indexes and addresses; their hardware addresses as text.
#include <ombrel/network_interface.h>

#include <cstring>

#include <ombrel/address.h>

#include "core/fault.h"
#include "platform/network_interface.h"

using namespace ombrel;

namespace {

const sockaddr* address_of(const ombrel_interface_address_t& one) {
    return reinterpret_cast<const sockaddr*>(&one.m_address);
}

bool has_address(const ombrel_network_interface_t& one, const sockaddr* address) {
    const ombrel_interface_address_t* own = one.m_address;
    while (own != nullptr && ombrel_compare_sockaddr_address(address_of(*own), address) != 0)
        own = own->m_next;
    return own != nullptr;
}

template<typename Fits>
const ombrel_network_interface_t* find(const ombrel_network_interface_t* list, Fits fits) {
    while (list != nullptr && !fits(*list))
        list = list->m_next;
    return list;
}

} // namespace

const ombrel_network_interface_t* ombrel_network_interface_find(const ombrel_network_interface_t* list,
                                                                const char* name) {
    return name == nullptr ? nullptr : find(list, [name](const ombrel_network_interface_t& one) {
        return strcmp(one.m_name, name) == 0;
    });
}

const ombrel_network_interface_t* ombrel_network_interface_find_index(const ombrel_network_interface_t* list,
                                                                      uint32_t index) {
    return find(list, [index](const ombrel_network_interface_t& one) { return one.m_index == index; });
}

const ombrel_network_interface_t*
ombrel_network_interface_find_address(const ombrel_network_interface_t* list,
                                      const struct sockaddr* address) {
    return address == nullptr ? nullptr : find(list, [address](const ombrel_network_interface_t& one) {
        return has_address(one, address);
    });
}

const ombrel_interface_address_t* ombrel_network_interface_get_address(const ombrel_network_interface_t* one,
                                                                       int family) {
    constexpr uint32_t unfit =
        def_ombrel_address_tentative | def_ombrel_address_duplicate | def_ombrel_address_deprecated;
    const ombrel_interface_address_t* best = nullptr;
    for (const auto* at = one != nullptr ? one->m_address : nullptr; at != nullptr; at = at->m_next)
        if (at->m_address.ss_family == family && (at->m_flags & unfit) == 0 &&
            (best == nullptr || at->m_reach < best->m_reach))
            best = at;
    return best;
}

uint32_t ombrel_interface_name_to_index(const char* name) {
    return name != nullptr ? platform::interface_index(name) : 0;
}

int ombrel_interface_index_to_name(uint32_t index, char* name, size_t size) {
    if (name == nullptr || size == 0)
        return leave_fault(fault_code::invalid), -1;
    *name = '\0';
    return platform::interface_name(index, name, size) ? 0 : -1;
}

char* ombrel_print_hardware_address(const uint8_t* bytes, size_t count, char* text, size_t size) {
    constexpr char digits[] = "0123456789abcdef";
    constexpr size_t letters = 3; // two digits and a colon, or the end
    if (bytes == nullptr || text == nullptr || count > def_ombrel_hardware_address_size ||
        size < (count != 0 ? count * letters : 1))
        return leave_fault(fault_code::invalid), nullptr;
    char* end = text;
    for (size_t i = 0; i < count; i++) {
        *end++ = digits[bytes[i] >> 4];
        *end++ = digits[bytes[i] & 15];
        *end++ = ':';
    }
    (count != 0 ? end[-1] : *end) = '\0';
    return text;
}
