#include "platform/send_file.h"

#include "platform/fault.h"

namespace ombrel::platform {

/// TransmitFile sends to sockets that block, or asks for waits of its own kind; reading is as fast.
int send_file(int s, std::string_view head, int descriptor, int64_t offset, size_t size) {
    static_cast<void>(s), static_cast<void>(head), static_cast<void>(descriptor), static_cast<void>(offset),
        static_cast<void>(size);
    leave_fault(fault_code::not_supported);
    return -1;
}

} // namespace ombrel::platform
