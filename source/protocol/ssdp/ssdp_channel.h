// The sockets of one family: one that hears the groups, and one that sends, to which answers come.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include <ombrel/event.h>
#include <ombrel/ssdp.h>

#include "network/endpoint.h"

namespace ombrel::protocol {

/// Where a service works, of what its options say.
struct ssdp_place {
    int family;
    const char* interface_name; ///< null for the system's choice
    const char* address;        ///< the own one, or null
    const char* groups;         ///< separated by spaces
    int port;
    int hops, answer_hops;
    bool loop, listen;
};

class ssdp_channel {
public:
    /// Called when there is something to read.
    using handler = void (*)(ssdp_channel& channel, bool is_own, int socket, void* context);

    ssdp_channel() = default;
    ~ssdp_channel() { close(); }
    ssdp_channel(const ssdp_channel&) = delete;
    ssdp_channel& operator=(const ssdp_channel&) = delete;

    /// False with the fault left, and nothing open.
    bool open(ombrel_event_base_t* base, const ssdp_place& place, handler on_packet, void* context);
    void close();

    bool is_open() const { return own_ != -1; }
    /// The first group with its port, as a field Host has it.
    const char* group_text() const { return group_text_; }
    /// What cannot be sent counts as lost on the way.
    bool send_to_group(std::span<const char> packet) const { return send(packet, group_); }
    bool send(std::span<const char> packet, const endpoint& to) const;

private:
    static constexpr size_t most_groups = 4;

    bool open_own(const ssdp_place& place, uint32_t index);
    bool open_listening(const ssdp_place& place, uint32_t index);
    bool join(int s, const ssdp_place& place, uint32_t index, const endpoint& group) const;
    bool read_groups(const ssdp_place& place);
    bool watch(ombrel_event_base_t* base, ombrel_event_t& event, int s, ombrel_event_handler_t on_event);

    int own_ = -1, listening_ = -1;
    ombrel_event_t own_event_{}, listening_event_{};
    endpoint group_, own_address_;
    endpoint groups_[most_groups];
    size_t group_count_ = 0;
    char group_text_[80] = "";
    handler on_packet_ = nullptr;
    void* context_ = nullptr;
};

} // namespace ombrel::protocol
