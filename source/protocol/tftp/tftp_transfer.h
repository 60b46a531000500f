// One transfer of a TFTP server: a socket of its own, a file, and what was sent last.
#pragma once

#include <cstdint>
#include <span>

#include <ombrel/event.h>
#include <ombrel/tftp_server.h>

#include "core/deadline.h"
#include "network/endpoint.h"
#include "network/socket_guard.h"
#include "protocol/tftp/netascii.h"
#include "protocol/tftp/tftp_packet.h"
#include "protocol/tftp/tftp_upload.h"
#include "protocol/tftp/tftp_window.h"
#include "protocol/transfer_error.h"

namespace ombrel::protocol {

class tftp_server;

/// A transfer counts against the limits until it is over, and lingers after an upload, as its last
/// acknowledgement may be lost. The server ends it, by any call that may find it `is_gone()`.
class tftp_transfer {
public:
    tftp_transfer(tftp_server& server, const endpoint& client, const tftp_request_packet& request);
    ~tftp_transfer();
    tftp_transfer(const tftp_transfer&) = delete;
    tftp_transfer& operator=(const tftp_transfer&) = delete;

    /// Opens the file and the socket, and answers. False when the request is refused: see error().
    bool begin(const endpoint& own, const tftp_request_packet& request);
    /// Answers once more a request that came again.
    void repeat();
    /// Takes note why it does not begin.
    void set_refused(fault_code fault, const char* text) { refuse(fault, text); }
    /// Breaks it off, telling the client.
    void cut_off(fault_code fault, const char* text);

    bool is_repeated_by(const tftp_request_packet& request) const;
    /// Whether the client has shown that it is where its request came from.
    bool is_confirmed() const { return confirmed_; }
    bool is_over() const { return stage_ == stage::over || stage_ == stage::lingering; }
    bool is_gone() const { return stage_ == stage::over; }
    bool is_upload() const { return upload_; }
    const endpoint& client() const { return client_; }
    const transfer_error& error() const { return error_; }
    uint64_t size() const { return size_; }
    /// Fills the record for handlers, as far as it does not need room of its own.
    void describe(ombrel_tftp_transfer_t& record) const;

    tftp_transfer *next = nullptr, *previous = nullptr; ///< among those of the server
    bool is_listed = false;

private:
    enum class stage { asked, moving, lingering, over };

    static void on_event(ombrel_event_t* event, int fd, uint32_t flags, void* context);
    bool open_socket(const endpoint& own);
    bool open_file();
    bool begin_reading(tftp_options& granted, const tftp_options& asked);
    bool begin_writing(tftp_options& granted, const tftp_options& asked);
    tftp_options grant(const tftp_options& asked);
    bool refuse(fault_code fault, const char* text = nullptr);

    void receive();
    void take_packet(std::span<uint8_t> bytes, const endpoint& from);
    void take_acknowledgement(uint16_t number);
    void take_data(const tftp_packet& packet, uint8_t* bytes);
    bool keep_block(std::span<const uint8_t> body, uint8_t* bytes, bool is_final);

    void send_blocks();
    int read_some(std::span<uint8_t> room);
    int read_text(std::span<uint8_t> room);
    void acknowledge();
    void write_acknowledgement();
    void send_new();
    void send_again();
    void send_last();
    void start_waiting();
    void look_at_time();
    void watch();

    void tell_error(const endpoint& to, tftp_error_code code, const char* text);
    void fail(fault_code fault, const char* text = nullptr);
    void finish();
    void release();

    tftp_server& server_;
    const endpoint client_;
    const bool upload_;
    const tftp_mode mode_;
    stage stage_ = stage::asked;
    bool confirmed_ = false;
    socket_guard socket_;
    ombrel_event_t event_{};
    int interval_ms_;
    bool grows_ = true; ///< the interval, unless the client chose it
    int times_sent_ = 0;
    deadline next_, end_;
    uint64_t started_;
    size_t block_size_ = plain_tftp_block;
    unsigned window_size_ = 1;
    uint8_t reply_[128];
    size_t reply_size_ = 0; ///< 0 while the window is what is sent
    int file_ = -1;         ///< of one that is read
    tftp_send_window window_;
    netascii_encoder encoder_;
    uint8_t text_[512]; ///< of the file, not encoded yet
    size_t text_at_ = 0, text_size_ = 0;
    tftp_block_order order_;
    netascii_decoder decoder_;
    tftp_upload stored_;
    uint64_t size_ = 0; ///< bytes moved
    transfer_error error_;
    char name_[most_tftp_request];
};

} // namespace ombrel::protocol
