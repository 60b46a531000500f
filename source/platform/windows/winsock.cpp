#include "platform/windows/winsock.h"

#include "platform/fault.h"
#include "platform/windows/host_error.h"

namespace ombrel::platform {

bool start_winsock() {
    WSADATA found;
    const int error = WSAStartup(MAKEWORD(2, 2), &found);
    if (error != 0) {
        fail_by(static_cast<uint32_t>(error));
        return false;
    }
    if (found.wVersion == MAKEWORD(2, 2))
        return true;
    WSACleanup();
    leave_fault(fault_code::not_supported);
    return false;
}

namespace {

BOOL CALLBACK start_for_all(INIT_ONCE*, void*, void**) {
    return start_winsock() ? TRUE : FALSE;
}

} // namespace

bool start_winsock_unasked() {
    static INIT_ONCE once = INIT_ONCE_STATIC_INIT;
    return InitOnceExecuteOnce(&once, start_for_all, nullptr, nullptr) != FALSE;
}

} // namespace ombrel::platform
