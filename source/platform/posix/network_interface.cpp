#include "platform/network_interface.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <sys/socket.h>

namespace ombrel::platform {

interface_list::interface_list() {
    ifaddrs* list = nullptr;
    opened_ = getifaddrs(&list) == 0;
    first_ = position_ = list;
}

interface_list::~interface_list() {
    if (opened_)
        freeifaddrs(static_cast<ifaddrs*>(first_));
}

bool interface_list::next(interface_entry& entry) {
    const ifaddrs* current = static_cast<ifaddrs*>(position_);
    if (current == nullptr)
        return false;
    const unsigned flags = current->ifa_flags;
    entry = {
        .name = current->ifa_name,
        .index = interface_index(current->ifa_name),
        .up = (flags & IFF_UP) != 0,
        .loopback = (flags & IFF_LOOPBACK) != 0,
        .broadcast = (flags & IFF_BROADCAST) != 0,
        .point_to_point = (flags & IFF_POINTOPOINT) != 0,
        .multicast = (flags & IFF_MULTICAST) != 0,
        .all_multicast = (flags & IFF_ALLMULTI) != 0,
        .address = current->ifa_addr,
    };
    position_ = current->ifa_next;
    return true;
}

uint32_t interface_index(const char* name) {
    return if_nametoindex(name);
}

} // namespace ombrel::platform
