#include "platform/linux/netlink_socket.h"

#include <algorithm>
#include <cstdlib>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "platform/fault.h"

namespace ombrel::platform {

byte_pile::~byte_pile() {
    free(data_);
}

uint8_t* byte_pile::make_room(size_t more) {
    constexpr size_t least_room = 4096;
    if (more > SIZE_MAX / 2 - size_) {
        leave_fault(fault_code::too_large);
        return nullptr;
    }
    if (room_ - size_ < more) {
        const size_t room = std::max({least_room, size_ + more, room_ * 2});
        auto* const data = static_cast<uint8_t*>(realloc(data_, room));
        if (data == nullptr)
            return nullptr;
        data_ = data;
        room_ = room;
    }
    return data_ + size_;
}

void byte_pile::keep(size_t more) {
    size_ += more;
    while (size_ % 4 != 0 && size_ < room_)
        data_[size_++] = 0;
}

netlink_socket::~netlink_socket() {
    const fault_keeper kept;
    if (s_ >= 0)
        close(s_);
}

bool netlink_socket::open(uint32_t groups) {
    constexpr timeval patience{10, 0};
    s_ = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
    if (s_ < 0)
        return false;
    sockaddr_nl own{};
    own.nl_family = AF_NETLINK;
    own.nl_groups = groups;
    setsockopt(s_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    return bind(s_, reinterpret_cast<const sockaddr*>(&own), sizeof own) == 0 && find_port();
}

bool netlink_socket::find_port() {
    sockaddr_nl own{};
    socklen_t size = sizeof own;
    if (getsockname(s_, reinterpret_cast<sockaddr*>(&own), &size) != 0)
        return false;
    port_ = own.nl_pid;
    return true;
}

void netlink_socket::set_queue(int bytes) const {
    // The second one may exceed what users may have, where this one is privileged.
    setsockopt(s_, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
    setsockopt(s_, SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof bytes);
}

bool netlink_socket::send(netlink_bytes request) const {
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    ssize_t sent;
    do
        sent = sendto(s_, request.data(), request.size(), MSG_NOSIGNAL,
                      reinterpret_cast<const sockaddr*>(&kernel), sizeof kernel);
    while (sent < 0 && errno == EINTR);
    return sent == static_cast<ssize_t>(request.size());
}

// A datagram stays where it is until it lies whole in the pile; then it is passed over by a read of nothing.
bool netlink_socket::receive(byte_pile& pile, bool waits) const {
    // The kernel makes pieces as large as the room that it has seen: so the more there is, the larger they
    // become.
    constexpr size_t least_at_once = 8192, most_at_once = 32768;
    const int flags = waits ? 0 : MSG_DONTWAIT;
    size_t room = std::clamp(pile.bytes().size(), least_at_once, most_at_once);
    while (true) {
        bool is_whole = false, is_kernel = false;
        const ssize_t size = peek(pile.make_room(room), room, flags, is_whole, is_kernel);
        if (size < 0 && errno == EINTR)
            continue;
        if (size < 0 && waits && errno == EAGAIN)
            leave_fault(fault_code::timed_out);
        if (size < 0)
            return false;
        if (!is_whole) {
            room *= 2;
            continue;
        }
        recv(s_, nullptr, 0, MSG_DONTWAIT);
        // Other programs can send to the socket too: what does not come from the kernel is not looked at.
        if (!is_kernel || size == 0)
            continue;
        pile.keep(static_cast<size_t>(size));
        return true;
    }
}

ssize_t netlink_socket::peek(uint8_t* place, size_t room, int flags, bool& is_whole, bool& is_kernel) const {
    if (place == nullptr)
        return -1;
    sockaddr_nl sender{};
    iovec piece{place, room};
    msghdr message{};
    message.msg_name = &sender;
    message.msg_namelen = sizeof sender;
    message.msg_iov = &piece;
    message.msg_iovlen = 1;
    const ssize_t size = recvmsg(s_, &message, MSG_PEEK | flags);
    is_whole = (message.msg_flags & MSG_TRUNC) == 0;
    is_kernel = message.msg_namelen == sizeof sender && sender.nl_pid == 0;
    return size;
}

/// Whether it answers the last question, not an earlier one.
bool netlink_socket::is_answer(netlink_bytes datagram) const {
    nlmsghdr head;
    return take_record(datagram, head) && head.nlmsg_seq == sequence_ && head.nlmsg_pid == port_;
}

netlink_socket::progress netlink_socket::look_at(const nlmsghdr& head, netlink_bytes content, intake& state) {
    if ((head.nlmsg_flags & NLM_F_DUMP_INTR) != 0)
        state.was_interrupted = true;
    if (head.nlmsg_type == NLMSG_ERROR || head.nlmsg_type == NLMSG_DONE) {
        int error = 0;
        const bool is_told = take_record(content, error);
        if (head.nlmsg_type == NLMSG_DONE && (!is_told || error >= 0))
            return progress::done;
        if (is_told && error < 0)
            errno = -error;
        else
            leave_fault(fault_code::violation);
        return progress::failed;
    }
    if (state.left-- == 0)
        return leave_fault(fault_code::too_large), progress::failed;
    return state.is_dump ? progress::more : progress::done;
}

netlink_socket::progress netlink_socket::look_at(netlink_bytes datagram, intake& state) {
    message_walk messages(datagram);
    nlmsghdr head;
    netlink_bytes content;
    while (messages.next(head, content)) {
        const progress how = look_at(head, content, state);
        if (how != progress::more)
            return how;
    }
    if (!messages.is_malformed())
        return progress::more;
    leave_fault(fault_code::violation);
    return progress::failed;
}

netlink_socket::progress netlink_socket::gather(byte_pile& answer, intake& state) const {
    progress how = progress::more;
    while (how == progress::more) {
        const size_t before = answer.bytes().size();
        if (!receive(answer, true))
            return progress::failed;
        const netlink_bytes datagram = answer.bytes().subspan(before);
        if (is_answer(datagram))
            how = look_at(datagram, state);
        else
            answer.cut(before);
    }
    return how;
}

bool netlink_socket::ask(netlink_request& request, byte_pile& answer, size_t most) {
    constexpr int most_tries = 8;
    const size_t before = answer.bytes().size();
    for (int tries = 0; tries < most_tries; tries++) {
        answer.cut(before);
        intake state{request.is_dump(), most, false};
        if (!send(request.number(++sequence_)) || gather(answer, state) != progress::done)
            return false;
        if (!state.was_interrupted)
            return true;
    }
    leave_fault(fault_code::busy);
    return false;
}

} // namespace ombrel::platform
