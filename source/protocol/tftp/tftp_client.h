// A TFTP client (RFC 1350 with the options of RFC 2347 to 2349 and 7440) that streams one file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "core/deadline.h"
#include "core/heap_ptr.h"
#include "network/endpoint.h"
#include "network/socket_guard.h"
#include "protocol/tftp/netascii.h"
#include "protocol/tftp/tftp_packet.h"
#include "protocol/tftp/tftp_window.h"
#include "protocol/transfer_error.h"

namespace ombrel::protocol {

/// What to transfer and how.
struct tftp_request {
    const char* host = nullptr;
    int port = 69;
    const char* name = nullptr; ///< the file's name as the server is to see it
    bool write = false;         ///< to the server
    size_t block_size = 1428;   ///< asked for, 8 to 65464; this one is not fragmented on an Ethernet
    unsigned window_size = 1;   ///< blocks asked for, 1 to most_tftp_window
    tftp_mode mode = tftp_mode::octet;
    int interval_ms = 1000; ///< the wait before a packet is sent again; doubled up to four times as long
    unsigned tries = 6;     ///< how often a packet is sent before the peer counts as gone
    int limit_ms = -1;      ///< for open() in all, and for close(); negative: as long as the tries take
    int total_ms = -1;      ///< for the transfer from open() to close()
    std::optional<uint64_t> size;       ///< of the file to write, where it is known
    std::optional<uint64_t> size_limit; ///< beyond it a file is not read further
};

/// One transfer at a time. Its memory is one window of blocks, one block where it reads, and small packets,
/// whatever the file's size.
///
/// One thread uses it at a time. No call waits longer than the tries of one packet take, but open() without a
/// limit for the host's name as long as the platform does.
class tftp_client {
public:
    tftp_client() = default;
    ~tftp_client() { close(); }
    tftp_client(const tftp_client&) = delete;
    tftp_client& operator=(const tftp_client&) = delete;

    /// Asks for the file and waits until the transfer has begun: for the first block when reading. What was
    /// opened before is closed.
    bool open(const tftp_request& request);

    /// Waits until read() or write() can do something without waiting.
    /// @param timeout_ms negative: until there is something, or the peer counts as gone
    /// @return 1 when it can (at the end of the file too), 0 when the time ran out, -1 after a failure
    int wait(int timeout_ms);

    /// Waits for the next block when none is left.
    /// @return bytes, 0 at the end, -1 after a failure, transfer_waited
    ptrdiff_t read(void* buffer, size_t size, int timeout_ms);

    /// Sends every block that the data fill; the rest waits for more.
    /// @return bytes taken, fewer when the time ran out; -1 after a failure; transfer_waited
    ptrdiff_t write(const void* data, size_t size, int timeout_ms);

    /// Ends the transfer: sends the last block and waits for its acknowledgement, or tells the server that no
    /// more is wanted. False when a failure, now or before, kept the file from being transferred in full.
    bool close();

    /// Gives the transfer up: tells the server, without a wait.
    void abandon();

    bool is_moving() const { return stage_ == stage::moving || stage_ == stage::ended; }
    bool is_writing() const { return writing_; }
    /// Bytes of the file, where the server told them.
    std::optional<uint64_t> size() const { return size_; }
    /// Bytes read or taken so far.
    uint64_t count() const { return count_; }
    const transfer_error& error() const { return error_; }

private:
    enum class stage { closed, asking, moving, ended };

    bool open_at(const tftp_request& request, const sockaddr* address, int address_size,
                 const deadline& limit);
    bool open_once(const tftp_request& request, const sockaddr* address, int address_size, bool with_options,
                   const deadline& limit);
    bool ask(const tftp_request& request, bool with_options);
    bool allocate(const tftp_request& request);
    void look_back();
    void release();

    bool is_ready() const;
    bool wait_for_peer(const deadline& limit);
    bool fail(fault_code fault, std::string_view text, int peer_code = 0);
    void fail_and_tell(fault_code fault, tftp_error_code code, const char* text);

    int receive_one(int timeout_ms);
    void take_packet(std::span<const uint8_t> bytes, const endpoint& from);
    void take_data(const tftp_packet& packet);
    void take_acknowledgement(const tftp_packet& packet);
    void take_options(const tftp_packet& packet);
    void take_error(const tftp_packet& packet);
    bool grant(const tftp_options& options);

    void begin(size_t block_size, unsigned window_size);
    void keep_block(std::span<const uint8_t> body, bool is_final);
    void write_acknowledgement();
    void acknowledge();
    size_t fill(const uint8_t* data, size_t size);
    bool send_rest(const deadline& limit);
    void send_window();
    void send_new(size_t size);
    void start_waiting();
    void send_last();
    void send_again();
    void tell_error(const endpoint& to, tftp_error_code code, const char* text);

    stage stage_ = stage::closed;
    bool writing_ = false;
    bool peer_known_ = false;
    bool outstanding_ = false; ///< writing: what was sent last waits for its acknowledgement
    bool netascii_ = false;
    socket_guard socket_;
    int interval_ms_ = 0;
    int limit_ms_ = -1;
    unsigned tries_ = 0;
    unsigned times_sent_ = 0;
    tftp_options asked_;
    endpoint peer_; ///< its port is the transfer's once the peer is known
    deadline next_sending_, end_;
    heap_ptr<uint8_t> outgoing_;  ///< a request or acknowledgement that is sent until it is answered
    size_t outgoing_size_ = 0;    ///< 0 while the window is
    uint8_t* incoming_ = nullptr; ///< the last packet that came
    size_t incoming_room_ = 0;
    tftp_send_window window_; ///< writing
    tftp_block_order order_;  ///< reading
    size_t block_size_ = plain_tftp_block;
    const uint8_t* data_ = nullptr; ///< reading: what is left of the block
    size_t data_size_ = 0;
    netascii_encoder encoder_;
    netascii_decoder decoder_;
    uint64_t count_ = 0;
    std::optional<uint64_t> size_, size_limit_;
    transfer_error error_;
};

} // namespace ombrel::protocol
