// The call of hosts without sockets of the link layer.
#include "platform/packet_socket.h"

#include "platform/fault.h"

#if !defined(__linux__)

namespace ombrel::platform {

bool send_frame(uint32_t, const uint8_t*, uint16_t, const void*, size_t) {
    leave_fault(fault_code::not_supported);
    return false;
}

} // namespace ombrel::platform

#endif
