// Sockets of netlink: questions to the kernel and its answers.
#pragma once

#include <sys/types.h>

#include "platform/linux/netlink_message.h"

namespace ombrel::platform {

/// Bytes that grow, from the C library.
class byte_pile {
public:
    byte_pile() = default;
    ~byte_pile();
    byte_pile(const byte_pile&) = delete;
    byte_pile& operator=(const byte_pile&) = delete;

    netlink_bytes bytes() const { return {data_, size_}; }
    /// Takes back all behind the first so many.
    void cut(size_t size) { size_ = size; }
    /// Room for so many bytes behind what is there; null, with the fault left, when there is none.
    uint8_t* make_room(size_t more);
    /// Keeps so many bytes of the room, and fills up to where the next piece begins.
    void keep(size_t more);

private:
    uint8_t* data_ = nullptr;
    size_t size_ = 0, room_ = 0;
};

/// A question, put together in place: a message, its record, and attributes.
class netlink_request {
public:
    template<typename Record>
    netlink_request(uint16_t type, uint16_t flags, const Record& record) {
        size_ = sizeof(nlmsghdr);
        append(&record, sizeof record);
        head_.nlmsg_type = type;
        head_.nlmsg_flags = static_cast<uint16_t>(NLM_F_REQUEST | flags);
    }
    void add(uint16_t type, const void* data, size_t size) {
        rtattr attribute{};
        attribute.rta_len = static_cast<uint16_t>(sizeof attribute + size);
        attribute.rta_type = type;
        append(&attribute, sizeof attribute);
        append(data, size);
    }
    bool is_dump() const { return (head_.nlmsg_flags & NLM_F_DUMP) == NLM_F_DUMP; }
    /// The bytes to send, with the number by which the answer is known.
    netlink_bytes number(uint32_t sequence) {
        head_.nlmsg_len = static_cast<uint32_t>(size_);
        head_.nlmsg_seq = sequence;
        memcpy(bytes_, &head_, sizeof head_);
        return {bytes_, size_};
    }

private:
    void append(const void* data, size_t size) {
        if (size_ + netlink_aligned(size) > sizeof bytes_)
            return;
        memcpy(bytes_ + size_, data, size);
        size_ += netlink_aligned(size);
    }

    nlmsghdr head_{};
    size_t size_ = 0;
    uint8_t bytes_[192]{};
};

class netlink_socket {
public:
    netlink_socket() = default;
    ~netlink_socket();
    netlink_socket(const netlink_socket&) = delete;
    netlink_socket& operator=(const netlink_socket&) = delete;

    /// Opens it, a member of groups of the kernel's news. False, with the fault left.
    bool open(uint32_t groups = 0);
    int descriptor() const { return s_; }
    /// Lets so many bytes of news wait, as far as the host allows.
    void set_queue(int bytes) const;

    /// Puts the next datagram of the kernel behind what is in the pile. False, with the fault left:
    /// would_block when it must not wait and nothing is there, timed_out when the kernel is silent for long.
    bool receive(byte_pile& pile, bool waits) const;

    /// Has a question answered: the pile gets whole messages of the kernel's to it. A list that changed while
    /// it was made is asked for again, some times. False, with the fault left: too_large beyond `most`
    /// messages.
    bool ask(netlink_request& request, byte_pile& answer, size_t most);

private:
    enum class progress { more, done, failed };
    /// An answer that is coming in.
    struct intake {
        bool is_dump;
        size_t left; ///< messages that may still come
        bool was_interrupted;
    };
    bool send(netlink_bytes request) const;
    bool find_port();
    /// What lies before the others, which stays there.
    ssize_t peek(uint8_t* place, size_t room, int flags, bool& is_whole, bool& is_kernel) const;
    bool is_answer(netlink_bytes datagram) const;
    progress gather(byte_pile& answer, intake& state) const;
    static progress look_at(netlink_bytes datagram, intake& state);
    static progress look_at(const nlmsghdr& head, netlink_bytes content, intake& state);

    int s_ = -1;
    uint32_t port_ = 0, sequence_ = 0;
};

} // namespace ombrel::platform
