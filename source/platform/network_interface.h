// The machine's network interfaces and their addresses, as they were at one moment.
#pragma once

#include <cstddef>
#include <cstdint>

#include <ombrel/network_interface.h>

namespace ombrel::platform {

inline constexpr size_t most_interfaces = 65536;
inline constexpr size_t most_interface_addresses = 1048576;

/// What there was when it was made, walked as often as one likes. Walks end with 0, or with -1 and the fault
/// left; the pointers in records are null.
class interface_list {
public:
    /// With its fault left when it does not succeed.
    interface_list();
    ~interface_list();
    interface_list(const interface_list&) = delete;
    interface_list& operator=(const interface_list&) = delete;

    bool is_open() const { return state_ != nullptr; }
    void rewind();
    /// The next interface, each once, without the speed and duplex of its link.
    /// @param statistics receives what it has moved, when that is told
    int next(ombrel_network_interface_t& one, ombrel_interface_statistics_t& statistics,
             bool& has_statistics);
    /// The next address and the index of its interface; addresses of one interface and family follow each
    /// other.
    int next_address(uint32_t& interface_index, ombrel_interface_address_t& address);
    /// Asks for the speed and the duplex of a link that works.
    void ask_for_speed(ombrel_network_interface_t& one);

private:
    struct state;
    state* state_ = nullptr;
};

/// 0 when there is no such interface.
uint32_t interface_index(const char* name);

/// False when there is no such interface, or its name does not fit, with the fault left.
bool interface_name(uint32_t index, char* name, size_t size);

} // namespace ombrel::platform
