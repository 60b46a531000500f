#include <ombrel/socket.h>

#include <ombrel/address.h>
#include <ombrel/select.h>
#include <ombrel/short_lock.h>

#include "core/deadline.h"
#include "core/fault.h"
#include "core/short_lock_guard.h"
#include "platform/socket.h"

using namespace ombrel;

namespace {

/// One attempt that does not wait must not end while another relies on it.
ombrel_short_lock_t accept_lock;

int accept_at_once(int s, sockaddr* address, int* size) {
    const short_lock_guard guard(accept_lock);
    return platform::accept_at_once(s, address, size);
}

/// A listener that polls ready may have nobody any more: another thread was faster, or the peer has gone.
int accept_within(int s, sockaddr* address, int* size, int timeout_ms) {
    const deadline limit(timeout_ms);
    while (ombrel_single_select(s, def_ombrel_select_read, limit.left()) > 0) {
        const int accepted = accept_at_once(s, address, size);
        if (!failed_by(accepted, fault_code::would_block))
            return accepted;
        if (limit.passed())
            return -1;
        ombrel_load_balance_short();
    }
    return -1;
}

/// A limited accept of another thread may have kept this one from waiting for a moment.
int accept_without_limit(int s, sockaddr* address, int* size) {
    for (;;) {
        const int accepted = platform::accept_socket(s, address, size);
        if (!failed_by(accepted, fault_code::would_block))
            return accepted;
        const short_lock_guard guard(accept_lock);
        if (!platform::is_blocking(s)) {
            leave_fault(fault_code::would_block);
            return -1;
        }
    }
}

} // namespace

int ombrel_open_socket(int family, int type, int protocol) {
    return platform::open_socket(family, type, protocol);
}

int ombrel_close_socket(int s) {
    if (s != def_ombrel_invalid_socket)
        platform::close_socket(s);
    // Never 0, so that "s = ombrel_close_socket(s)" leaves the variable invalid.
    return -1;
}

int ombrel_shutdown_socket(int s, int how) {
    if (s == def_ombrel_invalid_socket)
        return -1;
    using platform::shutdown_side;
    return platform::shutdown_socket(s, how == def_ombrel_shutdown_send   ? shutdown_side::send
                                        : how == def_ombrel_shutdown_both ? shutdown_side::both
                                                                          : shutdown_side::receive);
}

int ombrel_bind(int s, const struct sockaddr* addr, int size) {
    if (s == def_ombrel_invalid_socket)
        return -1;
    return platform::bind_socket(s, addr, ombrel_sockaddr_size(addr, size));
}

int ombrel_listen(int s, int backlog) {
    return s == def_ombrel_invalid_socket ? -1 : platform::listen_socket(s, backlog);
}

int ombrel_accept(int s, struct sockaddr* addr, int* size_in_out, int timeout_ms) {
    if (s == def_ombrel_invalid_socket)
        return -1;
    return timeout_ms < 0 ? accept_without_limit(s, addr, size_in_out)
                          : accept_within(s, addr, size_in_out, timeout_ms);
}

int ombrel_accept_now(int s, struct sockaddr* addr, int* size_in_out) {
    if (s == def_ombrel_invalid_socket)
        return -1;
    const int accepted = accept_at_once(s, addr, size_in_out);
    return failed_by(accepted, fault_code::would_block) ? def_ombrel_socket_would_block : accepted;
}

int ombrel_getsockname(int s, struct sockaddr* addr, int* size_in_out) {
    return s == def_ombrel_invalid_socket ? -1 : platform::own_address(s, addr, size_in_out);
}

int ombrel_getpeername(int s, struct sockaddr* addr, int* size_in_out) {
    return s == def_ombrel_invalid_socket ? -1 : platform::peer_address(s, addr, size_in_out);
}

int ombrel_getsockopt(int s, int level, int name, void* value, int* size_in_out) {
    return s == def_ombrel_invalid_socket ? -1 : platform::get_option(s, level, name, value, size_in_out);
}

int ombrel_setsockopt(int s, int level, int name, const void* value, int size) {
    return s == def_ombrel_invalid_socket ? -1 : platform::set_option(s, level, name, value, size);
}

int ombrel_sys_recv(int s, void* buf, size_t size, int flags) {
    return ombrel_sys_recvfrom(s, buf, size, flags, nullptr, nullptr);
}

int ombrel_sys_recvfrom(int s, void* buf, size_t size, int flags, struct sockaddr* from, int* from_size) {
    return s == def_ombrel_invalid_socket ? -1 : platform::receive(s, buf, size, flags, from, from_size);
}

int ombrel_sys_send(int s, const void* buf, size_t size, int flags) {
    return ombrel_sys_sendto(s, buf, size, flags, nullptr, 0);
}

int ombrel_sys_sendto(int s, const void* buf, size_t size, int flags, const struct sockaddr* to,
                      int to_size) {
    if (s == def_ombrel_invalid_socket)
        return -1;
    return platform::send(s, buf, size, flags, to, ombrel_sockaddr_size(to, to_size));
}
