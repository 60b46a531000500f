// A TFTP server on an event base: where it listens, and which transfers go on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include <ombrel/tftp_server.h>

#include "core/heap_ptr.h"
#include "network/endpoint.h"
#include "protocol/tftp/tftp_packet.h"
#include "protocol/tftp/tftp_transfer.h"
#include "system/tree/confined_tree.h"

namespace ombrel::protocol {

/// All of it happens on the thread of the base's loop.
class tftp_server {
public:
    explicit tftp_server(ombrel_tftp_server_t* handle) : handle_(handle) {}
    ~tftp_server();
    tftp_server(const tftp_server&) = delete;
    tftp_server& operator=(const tftp_server&) = delete;

    /// False with the fault left.
    bool open(ombrel_event_base_t* base, const ombrel_tftp_server_options_t& options);
    /// @return the port, or -1 with the fault left
    int listen(const char* address, int port);
    char* alloc_url(size_t index, const char* function, unsigned long line) const;
    bool stop(int timeout_ms, ombrel_tftp_stop_handler_t handler, void* context);
    void get_counts(ombrel_tftp_server_counts_t& counts) const;
    bool is_in_handler() const { return in_handler_; }

    // For transfers.
    const ombrel_tftp_server_options_t& options() const { return options_; }
    const system::confined_tree& tree() const { return tree_; }
    ombrel_event_base_t* base() const { return base_; }
    /// Room for any packet, until the next is received.
    std::span<uint8_t> packet_room() const { return {packet_.get(), packet_size}; }
    /// Takes note that a transfer is over.
    void note_end(const tftp_transfer& transfer);
    /// Frees a transfer that is gone.
    void forget(tftp_transfer& transfer);

private:
    static constexpr size_t packet_size = tftp_header_size + most_tftp_block + 1;
    static constexpr size_t most_doors = 16; ///< "localhost" takes two

    struct door {
        tftp_server* owner;
        int socket;
        bool is_shown; ///< has a URL of its own
        ombrel_event_t event;
        endpoint own;
    };

    static void on_request(ombrel_event_t* event, int fd, uint32_t flags, void* context);
    static void on_stop(ombrel_event_t* event, int fd, uint32_t flags, void* context);
    int listen_at_loopbacks(int port);
    int open_door(const endpoint& at, bool is_shown);
    void shut_doors(size_t left);
    void take_request(const door& from, std::span<const uint8_t> bytes, const endpoint& client);
    void begin_transfer(const door& at, const tftp_request_packet& request, const endpoint& client);
    fault_code check_limits(const endpoint& client) const;
    bool admits(const tftp_transfer& transfer);
    void refuse(const door& at, tftp_transfer& transfer, fault_code fault, const char* text);
    void tell(const door& at, const endpoint& client, tftp_error_code code, const char* text) const;
    bool answer_known(const endpoint& client, const tftp_request_packet& request);
    void drop_lingering(const tftp_transfer& but);
    void add(tftp_transfer& transfer);
    void end_stop();
    int call(ombrel_tftp_server_handler_t handler, const tftp_transfer& transfer);

    ombrel_tftp_server_t* handle_;
    ombrel_event_base_t* base_ = nullptr;
    ombrel_tftp_server_options_t options_{};
    system::confined_tree tree_{};
    bool network_ = false, tree_open_ = false;
    heap_ptr<uint8_t> packet_;
    size_t door_count_ = 0;
    door doors_[most_doors]{};
    tftp_transfer *first_ = nullptr, *last_ = nullptr; ///< in the order in which they began
    size_t active_ = 0;                                ///< those that are not over
    ombrel_tftp_server_counts_t counts_{};
    bool in_handler_ = false, stopping_ = false;
    ombrel_event_t stop_event_{};
    ombrel_tftp_stop_handler_t stop_handler_ = nullptr;
    void* stop_context_ = nullptr;
};

} // namespace ombrel::protocol
