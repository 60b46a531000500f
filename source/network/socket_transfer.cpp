#include <ombrel/socket.h>

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstring>

#include <ombrel/printf.h>
#include <ombrel/select.h>
#include <ombrel/short_lock.h>

#include "core/deadline.h"
#include "core/fault.h"
#include "core/heap_ptr.h"
#include "platform/socket.h"

using namespace ombrel;

namespace {

/// Where a receive puts the sender's address; both null when nobody asks.
struct sender {
    sockaddr* address;
    int* size;
};

/// Waits before each attempt. A socket that polls ready may still have nothing: another thread was faster,
/// the datagram was damaged, or an error waits that a receive does not fetch. An attempt that waited then
/// would not keep to the limit.
int wait_and_receive(int s, void* buffer, size_t size, sender from, int timeout_ms) {
    const deadline limit(timeout_ms);
    for (;;) {
        const int ready = ombrel_single_select(s, def_ombrel_select_read, limit.left());
        if (ready <= 0)
            return ready == 0 ? def_ombrel_recv_timeout : -1;
        const int result = platform::receive_at_once(s, buffer, size, from.address, from.size);
        if (!failed_by(result, fault_code::would_block))
            return result;
        if (limit.passed())
            return def_ombrel_recv_timeout;
        ombrel_load_balance_short();
    }
}

int receive_within(int s, void* buffer, size_t size, sender from, int timeout_ms) {
    if (s == def_ombrel_invalid_socket)
        return -1;
    // What already arrived needs no wait; an empty request does, because receiving nothing always succeeds.
    if (size > 0) {
        const int result = platform::receive_at_once(s, buffer, size, from.address, from.size);
        // A listening socket waits like one that has nothing.
        if (!failed_by(result, fault_code::would_block) && !failed_by(result, fault_code::not_connected))
            return result;
    }
    return wait_and_receive(s, buffer, size, from, timeout_ms);
}

/// A stream takes the data in pieces as it finds room. What was taken when an error comes or the time runs
/// out is the result; when that is nothing, a time-out is 0 although a receive reports -2: the difference is
/// meant.
int send_pieces(int s, const char* data, size_t size, const sockaddr* to, int to_size, int timeout_ms) {
    const deadline limit(timeout_ms);
    const int wanted = static_cast<int>(std::min<size_t>(size, INT_MAX));
    for (int sent = 0;;) {
        const int ready = ombrel_single_select(s, def_ombrel_select_write, limit.left());
        if (ready <= 0)
            return sent > 0 || ready == 0 ? sent : -1;
        const int result =
            platform::send_at_once(s, data + sent, static_cast<size_t>(wanted - sent), to, to_size);
        if (failed_by(result, fault_code::would_block))
            ombrel_load_balance_short();
        else if (result <= 0)
            return sent > 0 ? sent : result;
        else if ((sent += result) == wanted)
            return sent;
        if (limit.passed())
            return sent;
    }
}

int attempt_result(int result) {
    return failed_by(result, fault_code::would_block) ? def_ombrel_socket_would_block : result;
}

int send_within(int s, const void* data, size_t size, const sockaddr* to, int to_size, int timeout_ms) {
    if (s == def_ombrel_invalid_socket)
        return -1;
    static_assert(def_ombrel_send_timeout == 0);
    return send_pieces(s, static_cast<const char*>(data), size, to, ombrel_sockaddr_size(to, to_size),
                       timeout_ms);
}

int fill(int s, void* buffer, size_t size, sender from, int timeout_ms) {
    const int wanted = static_cast<int>(std::min<size_t>(size, INT_MAX));
    const int sender_room = from.size != nullptr ? *from.size : 0;
    int count = 0;
    while (count < wanted) {
        // Time-outs can take the count below zero; the buffer still starts at its start.
        const int offset = std::max(count, 0);
        if (from.size != nullptr)
            *from.size = sender_room;
        const int result = receive_within(s, static_cast<char*>(buffer) + offset,
                                          static_cast<size_t>(wanted - offset), from, timeout_ms);
        if (result == -1)
            return -1;
        if (result == 0)
            return count;
        // The time-out code is added like a length, by design.
        count = std::max(count, INT_MIN + 2) + result;
    }
    return count;
}

int send_text(int s, const sockaddr* to, int to_size, int timeout_ms, const char* format, va_list args) {
    const heap_ptr<char> text(format != nullptr ? ombrel_alloc_vsprintf(format, args) : nullptr);
    return text ? send_within(s, text.get(), strlen(text.get()), to, to_size, timeout_ms) : -1;
}

} // namespace

int ombrel_recv(int s, void* buf, size_t size, int timeout_ms) {
    return receive_within(s, buf, size, {nullptr, nullptr}, timeout_ms);
}

int ombrel_recvfrom(int s, void* buf, size_t size, struct sockaddr* from, int* from_size, int timeout_ms) {
    return receive_within(s, buf, size, {from, from_size}, timeout_ms);
}

int ombrel_send(int s, const void* buf, size_t size, int timeout_ms) {
    return send_within(s, buf, size, nullptr, 0, timeout_ms);
}

int ombrel_sendto(int s, const void* buf, size_t size, const struct sockaddr* to, int to_size,
                  int timeout_ms) {
    return send_within(s, buf, size, to, to_size, timeout_ms);
}

int ombrel_recv_now(int s, void* buf, size_t size) {
    return ombrel_recvfrom_now(s, buf, size, nullptr, nullptr);
}

int ombrel_recvfrom_now(int s, void* buf, size_t size, struct sockaddr* from, int* from_size) {
    if (s == def_ombrel_invalid_socket)
        return -1;
    return attempt_result(platform::receive_at_once(s, buf, size, from, from_size));
}

int ombrel_send_now(int s, const void* buf, size_t size) {
    return ombrel_sendto_now(s, buf, size, nullptr, 0);
}

int ombrel_sendto_now(int s, const void* buf, size_t size, const struct sockaddr* to, int to_size) {
    if (s == def_ombrel_invalid_socket)
        return -1;
    return attempt_result(platform::send_at_once(s, buf, size, to, ombrel_sockaddr_size(to, to_size)));
}

int ombrel_recv_fill(int s, void* buf, size_t size, int timeout_ms) {
    return s == def_ombrel_invalid_socket ? -1 : fill(s, buf, size, {nullptr, nullptr}, timeout_ms);
}

int ombrel_recvfrom_fill(int s, void* buf, size_t size, struct sockaddr* from, int* from_size,
                         int timeout_ms) {
    return s == def_ombrel_invalid_socket ? -1 : fill(s, buf, size, {from, from_size}, timeout_ms);
}

int ombrel_send_message(int s, int timeout_ms, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int result = send_text(s, nullptr, 0, timeout_ms, format, args);
    va_end(args);
    return result;
}

int ombrel_sendto_message(int s, const struct sockaddr* to, int to_size, int timeout_ms, const char* format,
                          ...) {
    va_list args;
    va_start(args, format);
    const int result = send_text(s, to, to_size, timeout_ms, format, args);
    va_end(args);
    return result;
}
