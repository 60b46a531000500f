// Messages of netlink and the attributes in them, taken apart without trust in any length.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include <linux/netlink.h>
#include <linux/rtnetlink.h>

namespace ombrel::platform {

using netlink_bytes = std::span<const uint8_t>;

/// How bytes lie behind each other: each piece begins at a multiple of four.
constexpr size_t netlink_aligned(size_t size) {
    return (size + 3) & ~size_t{3};
}

/// A record of the kernel's at the front of some bytes; false when they are too few.
template<typename Record>
bool take_record(netlink_bytes& bytes, Record& record) {
    if (bytes.size() < sizeof record)
        return false;
    memcpy(&record, bytes.data(), sizeof record);
    const size_t used = netlink_aligned(sizeof record);
    bytes = bytes.subspan(used < bytes.size() ? used : bytes.size());
    return true;
}

/// Walks pieces that say their own size, be they messages or attributes. What does not fit ends the walk as a
/// malformed one.
template<typename Header>
class netlink_walk {
public:
    explicit netlink_walk(netlink_bytes bytes) : rest_(bytes) {}

    bool is_malformed() const { return malformed_; }

    bool next(Header& header, netlink_bytes& content) {
        if (rest_.empty() || malformed_)
            return false;
        malformed_ = true;
        if (rest_.size() < sizeof header)
            return false;
        memcpy(&header, rest_.data(), sizeof header);
        const size_t size = size_of(header);
        if (size < sizeof header || size > rest_.size())
            return false;
        malformed_ = false;
        content = rest_.subspan(sizeof header, size - sizeof header);
        const size_t whole = netlink_aligned(size);
        rest_ = rest_.subspan(whole < rest_.size() ? whole : rest_.size());
        return true;
    }

private:
    static size_t size_of(const nlmsghdr& header) { return header.nlmsg_len; }
    static size_t size_of(const rtattr& header) { return header.rta_len; }

    netlink_bytes rest_;
    bool malformed_ = false;
};

using message_walk = netlink_walk<nlmsghdr>;

/// The attributes of a message, with readers for what they hold. A reader that is given the wrong number of
/// bytes makes the whole malformed.
class attribute_walk {
public:
    explicit attribute_walk(netlink_bytes bytes) : walk_(bytes) {}

    bool next() {
        rtattr header;
        if (!is_good_ || !walk_.next(header, content_))
            return false;
        constexpr uint16_t notes = 0xC000; // that it is nested, and the order of its bytes
        type_ = static_cast<uint16_t>(header.rta_type & ~notes);
        return true;
    }
    /// To be asked at the end.
    bool is_good() const { return is_good_ && !walk_.is_malformed(); }
    void refuse() { is_good_ = false; }

    int type() const { return type_; }
    netlink_bytes content() const { return content_; }

    template<typename Number>
    Number number() {
        Number value = 0;
        if (content_.size() == sizeof value)
            memcpy(&value, content_.data(), sizeof value);
        else
            refuse();
        return value;
    }

    /// As much of a record as there is: kernels of other ages have shorter and longer ones.
    template<typename Record>
    Record record(size_t least) {
        Record value{};
        if (content_.size() < least)
            refuse();
        else
            memcpy(&value, content_.data(), content_.size() < sizeof value ? content_.size() : sizeof value);
        return value;
    }

    /// A text and its end within the content; one that is longer than the room is cut.
    template<size_t room>
    void text(char (&target)[room]) {
        const void* const end = memchr(content_.data(), 0, content_.size());
        if (content_.empty() || end == nullptr)
            return refuse();
        const auto length = static_cast<size_t>(static_cast<const uint8_t*>(end) - content_.data());
        const size_t kept = length < room ? length : room - 1;
        memcpy(target, content_.data(), kept);
        target[kept] = '\0';
    }

    /// A hardware address; none that is longer than the room.
    template<size_t room>
    void hardware(uint8_t (&target)[room], int& size) {
        if (content_.size() > room)
            return refuse();
        if (!content_.empty())
            memcpy(target, content_.data(), content_.size());
        size = static_cast<int>(content_.size());
    }

private:
    netlink_walk<rtattr> walk_;
    netlink_bytes content_;
    uint16_t type_ = 0;
    bool is_good_ = true;
};

/// A number of 32 bits and where it goes.
template<typename Record>
struct number_place {
    int type;
    uint32_t Record::*place;
};

/// Whether the attribute is one of these, which is read then.
template<typename Record, size_t count>
bool take_number(attribute_walk& attributes, const number_place<Record> (&places)[count], Record& record) {
    for (const number_place<Record>& one : places)
        if (one.type == attributes.type()) {
            record.*one.place = attributes.number<uint32_t>();
            return true;
        }
    return false;
}

} // namespace ombrel::platform
