#include "platform/packet_socket.h"

#include <arpa/inet.h>
#include <cstring>
#include <linux/if_packet.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/fault.h"

namespace ombrel::platform {

bool send_frame(uint32_t interface_index, const uint8_t* to, uint16_t ether_type, const void* data,
                size_t size) {
    const int s = socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (s < 0)
        return false;
    sockaddr_ll receiver{};
    receiver.sll_family = AF_PACKET;
    receiver.sll_protocol = htons(ether_type);
    receiver.sll_ifindex = static_cast<int>(interface_index);
    receiver.sll_halen = link_address_size;
    memcpy(receiver.sll_addr, to, link_address_size);
    const ssize_t sent =
        sendto(s, data, size, MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&receiver), sizeof receiver);
    const fault_keeper kept;
    close(s);
    return sent == static_cast<ssize_t>(size);
}

} // namespace ombrel::platform
