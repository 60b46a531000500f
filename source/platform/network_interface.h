// The machine's network interfaces and their addresses.
#pragma once

#include <cstddef>
#include <cstdint>

struct sockaddr;

namespace ombrel::platform {

/// What one entry of the list says; several entries tell of one interface.
struct interface_entry {
    const char* name;
    uint32_t index;
    bool up, loopback, broadcast, point_to_point, multicast, all_multicast;
    const sockaddr* address; ///< null, or an address of any family
};

/// The list at one moment, walked with next().
class interface_list {
public:
    interface_list();
    ~interface_list();
    interface_list(const interface_list&) = delete;
    interface_list& operator=(const interface_list&) = delete;

    bool is_open() const { return opened_; }
    void rewind() { position_ = first_; }
    /// Fills the entry, whose pointers live as long as the list; false at the end.
    bool next(interface_entry& entry);

private:
    bool opened_ = false;
    void* first_ = nullptr;
    void* position_ = nullptr;
};

/// 0 when there is no such interface.
uint32_t interface_index(const char* name);

} // namespace ombrel::platform
