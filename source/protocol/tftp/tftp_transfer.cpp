#include "protocol/tftp/tftp_transfer.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include <ombrel/file.h>
#include <ombrel/printf.h>
#include <ombrel/socket.h>
#include <ombrel/time.h>

#include "platform/file.h"
#include "platform/socket.h"
#include "protocol/listen_address.h"
#include "protocol/tftp/tftp_error.h"
#include "protocol/tftp/tftp_server.h"

namespace ombrel::protocol {

namespace {

constexpr int packets_at_once = 64;
constexpr int longest_interval_factor = 4;
/// A client's own interval is granted up to so many seconds: a transfer whose client has gone lasts for some.
constexpr unsigned longest_interval_s = 30;
/// Clients repeat their last block after some seconds, if at all.
constexpr int linger_ms = 6000;
constexpr size_t window_memory = 128 << 10;

} // namespace

tftp_transfer::tftp_transfer(tftp_server& server, const endpoint& client, const tftp_request_packet& request)
    : server_(server), client_(client), upload_(request.opcode == tftp_opcode::write_request),
      mode_(request.mode), interval_ms_(server.options().m_retry_ms), end_(server.options().m_whole_ms),
      started_(ombrel_time_stamp_msec()) {
    // The parser has seen to the zero behind it.
    ombrel_snprintf(name_, sizeof name_, "%s", request.name.data());
}

tftp_transfer::~tftp_transfer() {
    release();
    if ((event_.m_flags & def_ombrel_event_assigned) != 0)
        ombrel_unassign_event(&event_);
}

bool tftp_transfer::begin(const endpoint& own, const tftp_request_packet& request) {
    if (!open_file() || !open_socket(own))
        return false;
    const tftp_options granted = grant(request.options);
    if (error_)
        return false;
    if (upload_ && window_size_ > 1)
        ombrel_set_rx_socket_buffer_size(socket_.get(), tftp_receive_buffer);
    window_.begin(block_size_, window_size_);
    order_.begin(window_size_);
    if (granted.is_any()) {
        reply_size_ = write_tftp_option_acknowledgement(reply_, granted);
        send_new();
    } else if (upload_) {
        acknowledge();
    } else {
        stage_ = stage::moving;
        send_blocks();
    }
    watch();
    return !error_;
}

bool tftp_transfer::refuse(fault_code fault, const char* text) {
    const char* const words =
        text != nullptr ? text : text_of_tftp_error(static_cast<uint16_t>(tftp_error_of(fault)));
    return error_.set(fault, words);
}

bool tftp_transfer::open_file() {
    const uint32_t flags = server_.options().m_flags;
    if (!upload_) {
        file_ = server_.tree().open_file(name_, {.read = true}, nullptr);
        return file_ != -1 || refuse(last_fault().code);
    }
    if ((flags & def_ombrel_tftp_server_write) == 0)
        return refuse(fault_code::access_denied, "files are not stored here");
    const bool replace = (flags & def_ombrel_tftp_server_overwrite) != 0;
    return tftp_upload::may_store(server_.tree(), name_, replace) || refuse(last_fault().code);
}

bool tftp_transfer::open_socket(const endpoint& own) {
    endpoint any = own;
    ombrel_sockaddr_set_port(any.get(), 0);
    socket_.reset(ombrel_open_socket(own.family(), SOCK_DGRAM, 0));
    if (socket_ && own.family() == AF_INET6)
        platform::set_option(socket_.get(), platform::socket_option::ipv6_only, is_wildcard(own) ? 0 : 1);
    if (!socket_ || ombrel_bind(socket_.get(), any.get(), any.size()) != 0)
        return refuse(last_fault().code, "no socket is left");
    if (ombrel_assign_event(server_.base(), &event_, socket_.get(),
                            def_ombrel_event_read | def_ombrel_event_persist, on_event, this) != 0)
        return refuse(fault_code::no_memory, "memory ran out");
    return true;
}

/// Chooses the block's size and all that goes with it; sets the error where that cannot be.
tftp_options tftp_transfer::grant(const tftp_options& asked) {
    const ombrel_tftp_server_options_t& options = server_.options();
    tftp_options granted;
    if (asked.block_size)
        granted.block_size = block_size_ = std::min(*asked.block_size, options.m_block_size_limit);
    if (asked.timeout_seconds && *asked.timeout_seconds <= longest_interval_s) {
        granted.timeout_seconds = asked.timeout_seconds;
        interval_ms_ = static_cast<int>(*asked.timeout_seconds) * 1000;
        grows_ = false;
    }
    if (asked.window_size) {
        const size_t most = std::max<size_t>(window_memory / (block_size_ + tftp_header_size), 1);
        const unsigned limit = static_cast<unsigned>(std::min(most, options.m_window_size_limit));
        granted.window_size = window_size_ = std::min(*asked.window_size, limit);
    }
    const bool begun = upload_ ? begin_writing(granted, asked) : begin_reading(granted, asked);
    return begun ? granted : tftp_options();
}

bool tftp_transfer::begin_reading(tftp_options& granted, const tftp_options& asked) {
    // How long a text becomes is not known before it is encoded; some clients take a size of 0 for nonsense.
    const int64_t size = platform::file_size(file_);
    if (asked.transfer_size && mode_ == tftp_mode::octet && size > 0)
        granted.transfer_size = static_cast<uint64_t>(size);
    return window_.reserve(block_size_, window_size_, "ombrel_tftp_server") ||
           refuse(fault_code::no_memory, "memory ran out");
}

bool tftp_transfer::begin_writing(tftp_options& granted, const tftp_options& asked) {
    granted.transfer_size = asked.transfer_size;
    const int64_t limit = server_.options().m_upload_limit;
    return limit < 0 || !asked.transfer_size || *asked.transfer_size <= static_cast<uint64_t>(limit) ||
           refuse(fault_code::too_large, "the file is too large");
}

bool tftp_transfer::is_repeated_by(const tftp_request_packet& request) const {
    return upload_ == (request.opcode == tftp_opcode::write_request) && request.name == name_;
}

void tftp_transfer::repeat() {
    send_last();
}

void tftp_transfer::describe(ombrel_tftp_transfer_t& record) const {
    record.m_port = client_.port();
    record.m_name = name_;
    record.m_is_upload = upload_ ? 1 : 0;
    record.m_mode = static_cast<int>(mode_);
    record.m_size = static_cast<int64_t>(size_);
    record.m_duration_ms = static_cast<int64_t>(ombrel_time_stamp_msec() - started_);
    record.m_error = error_ || is_over() ? &error_.record() : nullptr;
}

void tftp_transfer::on_event(ombrel_event_t*, int, uint32_t flags, void* context) {
    tftp_transfer& self = *static_cast<tftp_transfer*>(context);
    if ((flags & def_ombrel_event_assigned) != 0)
        return;
    if ((flags & def_ombrel_event_read) != 0)
        self.receive();
    self.look_at_time();
    self.watch();
    if (self.is_gone())
        self.server_.forget(self);
}

void tftp_transfer::receive() {
    const std::span<uint8_t> room = server_.packet_room();
    for (int i = 0; i < packets_at_once && !is_gone(); i++) {
        endpoint from;
        int from_size = endpoint::room();
        const int size = ombrel_recvfrom_now(socket_.get(), room.data(), room.size(), from.get(), &from_size);
        if (size == def_ombrel_socket_would_block)
            return;
        // What came back of a packet that reached nobody is no end; the tries are.
        if (size >= 0)
            take_packet(room.first(static_cast<size_t>(size)), from);
    }
}

void tftp_transfer::take_packet(std::span<uint8_t> bytes, const endpoint& from) {
    tftp_packet packet;
    if (!parse_tftp_packet(bytes, packet))
        return;
    if (!(from == client_)) {
        // Answering errors with errors could go on for ever.
        if (packet.opcode != tftp_opcode::error)
            tell_error(from, tftp_error_code::unknown_transfer, "unknown transfer");
        return;
    }
    confirmed_ = true;
    if (packet.opcode == tftp_opcode::error && !is_over()) {
        const std::string_view text = packet.text.empty() ? text_of_tftp_error(packet.number) : packet.text;
        error_.set(fault_of_tftp_error(packet.number), text, packet.number);
        finish();
    } else if (packet.opcode == tftp_opcode::acknowledgement && !upload_) {
        take_acknowledgement(packet.number);
    } else if (packet.opcode == tftp_opcode::data && upload_) {
        take_data(packet, bytes.data());
    }
}

/// A repeated acknowledgement is not answered with its blocks again: each would be doubled for ever.
void tftp_transfer::take_acknowledgement(uint16_t number) {
    if (stage_ == stage::asked && number == 0) {
        stage_ = stage::moving;
        return send_blocks();
    }
    if (stage_ != stage::moving || window_.acknowledge(number) == 0)
        return;
    if (window_.has_ended() && window_.is_empty())
        finish();
    else
        send_blocks();
}

/// Fills the window with what comes next of the file, and sends it. Blocks behind a lost one go once more.
void tftp_transfer::send_blocks() {
    while (!window_.is_full()) {
        const int count = read_some(window_.room());
        if (count < 0)
            return fail(last_fault().code);
        if (count == 0)
            window_.end();
        else
            window_.add(static_cast<size_t>(count));
    }
    reply_size_ = 0;
    send_new();
}

/// @return bytes for the network, 0 at the end of the file, -1 on failure
int tftp_transfer::read_some(std::span<uint8_t> room) {
    const int count = mode_ == tftp_mode::netascii
                          ? read_text(room)
                          : platform::read_descriptor(file_, room.data(), room.size());
    size_ += static_cast<uint64_t>(std::max(count, 0));
    return count;
}

int tftp_transfer::read_text(std::span<uint8_t> room) {
    if (text_at_ == text_size_ && !encoder_.is_waiting()) {
        const int count = platform::read_descriptor(file_, text_, sizeof text_);
        if (count <= 0)
            return count;
        text_at_ = 0;
        text_size_ = static_cast<size_t>(count);
    }
    const netascii_encoder::step done = encoder_.encode({text_ + text_at_, text_size_ - text_at_}, room);
    text_at_ += done.taken;
    return static_cast<int>(done.made);
}

void tftp_transfer::take_data(const tftp_packet& packet, uint8_t* bytes) {
    if (is_over() || !order_.is_next(packet.number)) {
        if (order_.is_acknowledged_again(packet.number)) {
            write_acknowledgement();
            send_last();
        }
        return;
    }
    stage_ = stage::moving;
    if (packet.body.size() > block_size_)
        return fail(fault_code::violation, "the block is too long");
    const bool is_final = packet.body.size() < block_size_;
    if (!keep_block(packet.body, bytes, is_final))
        return;
    if (order_.take(is_final))
        acknowledge();
    else
        start_waiting();
    if (is_final)
        finish();
}

/// The file is made for the first block, so that requests alone make none.
bool tftp_transfer::keep_block(std::span<const uint8_t> body, uint8_t* bytes, bool is_final) {
    const bool replace = (server_.options().m_flags & def_ombrel_tftp_server_overwrite) != 0;
    if (!stored_.is_begun() && !stored_.begin(server_.tree(), name_, replace)) {
        fail(last_fault().code);
        return false;
    }
    if (mode_ == tftp_mode::netascii) {
        uint8_t* const front = bytes + tftp_header_size - netascii_decoder::growth;
        body = {front, decoder_.decode(body, front, is_final)};
    }
    const int64_t limit = server_.options().m_upload_limit;
    if (limit >= 0 && body.size() > static_cast<uint64_t>(limit) - size_) {
        fail(fault_code::too_large, "the file is too large");
        return false;
    }
    size_ += body.size();
    if (!stored_.write(body) || (is_final && !stored_.commit())) {
        fail(last_fault().code);
        return false;
    }
    return true;
}

void tftp_transfer::write_acknowledgement() {
    order_.note_acknowledgement();
    reply_size_ =
        write_tftp_block_header(reply_, tftp_opcode::acknowledgement, static_cast<uint16_t>(order_.last()));
}

void tftp_transfer::acknowledge() {
    write_acknowledgement();
    send_new();
}

void tftp_transfer::send_new() {
    times_sent_ = 0;
    send_again();
}

/// Who has not shown that he is there is sent nothing again, as his address may be forged; he may ask again.
void tftp_transfer::send_again() {
    if (times_sent_ == server_.options().m_tries)
        return fail(fault_code::timed_out, "no answer in time");
    // Blocks may have come since the last acknowledgement, and others of their window were lost.
    if (upload_ && stage_ == stage::moving)
        write_acknowledgement();
    if (times_sent_ == 0 || confirmed_)
        send_last();
    const int growth = 1 << std::min(times_sent_, 8);
    const int factor = grows_ ? std::min(growth, longest_interval_factor) : 1;
    times_sent_++;
    next_ = deadline(interval_ms_ > INT_MAX / factor ? INT_MAX : interval_ms_ * factor);
}

/// The client goes on: the wait for it begins anew.
void tftp_transfer::start_waiting() {
    times_sent_ = 1;
    next_ = deadline(interval_ms_);
}

/// A packet for which there is no room now counts as lost on the way.
void tftp_transfer::send_last() {
    if (reply_size_ > 0)
        ombrel_sendto_now(socket_.get(), reply_, reply_size_, client_.get(), client_.size());
    for (size_t i = 0; reply_size_ == 0 && i < window_.count(); i++) {
        const std::span<const uint8_t> packet = window_.packet(i);
        ombrel_sendto_now(socket_.get(), packet.data(), packet.size(), client_.get(), client_.size());
    }
}

void tftp_transfer::look_at_time() {
    if (stage_ == stage::lingering && next_.passed())
        stage_ = stage::over;
    if (is_over())
        return;
    if (end_.passed())
        fail(fault_code::timed_out, "the transfer took too long");
    else if (next_.passed())
        send_again();
}

/// The loop looks here when something comes, or the next time is over.
void tftp_transfer::watch() {
    if (!is_gone())
        ombrel_add_event(&event_, is_over() ? next_.left() : shorter_wait(next_.left(), end_.left()));
}

void tftp_transfer::tell_error(const endpoint& to, tftp_error_code code, const char* text) {
    uint8_t packet[64];
    const size_t size = write_tftp_error(packet, code, text);
    ombrel_sendto_now(socket_.get(), packet, size, to.get(), to.size());
}

void tftp_transfer::fail(fault_code fault, const char* text) {
    refuse(fault, text);
    if (confirmed_ || times_sent_ == 0)
        tell_error(client_, tftp_error_of(fault), error_.text());
    finish();
}

void tftp_transfer::cut_off(fault_code fault, const char* text) {
    if (!is_over())
        fail(fault, text);
    stage_ = stage::over;
}

void tftp_transfer::finish() {
    const bool may_be_asked_again = upload_ && !error_;
    stage_ = may_be_asked_again ? stage::lingering : stage::over;
    next_ = deadline(linger_ms);
    release();
    server_.note_end(*this);
}

void tftp_transfer::release() {
    stored_.drop();
    window_.release();
    if (file_ != -1)
        platform::close_file(file_);
    file_ = -1;
}

} // namespace ombrel::protocol
