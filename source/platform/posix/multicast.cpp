#include "platform/multicast.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include "platform/common/multicast_option.h"

namespace ombrel::platform {

bool set_host_option(int s, int level, int name, const void* value, int size) {
    return setsockopt(s, level, name, value, static_cast<socklen_t>(size)) == 0;
}

bool set_multicast_interface(int s, int family, uint32_t interface_index) {
    const int index = static_cast<int>(interface_index);
    if (family == AF_INET6)
        return set_host_option(s, IPPROTO_IPV6, IPV6_MULTICAST_IF, index);
    ip_mreqn request{};
    request.imr_ifindex = index;
    return set_host_option(s, IPPROTO_IP, IP_MULTICAST_IF, request);
}

void take_own_groups_only(int s, int family) {
#if defined(IP_MULTICAST_ALL)
    if (family == AF_INET)
        set_host_option(s, IPPROTO_IP, IP_MULTICAST_ALL, 0);
#endif
#if defined(IPV6_MULTICAST_ALL)
    if (family == AF_INET6)
        set_host_option(s, IPPROTO_IPV6, IPV6_MULTICAST_ALL, 0);
#endif
    static_cast<void>(s), static_cast<void>(family);
}

} // namespace ombrel::platform
