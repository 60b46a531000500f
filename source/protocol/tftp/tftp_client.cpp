#include "protocol/tftp/tftp_client.h"

#include <algorithm>
#include <cstring>

#include <ombrel/socket.h>

#include "protocol/patient_resolver.h"
#include "protocol/tftp/tftp_error.h"

namespace ombrel::protocol {

namespace {

constexpr size_t small_packet = 1024;
/// Tries at an address that another one follows.
constexpr unsigned passing_tries = 2;
constexpr int longest_interval_factor = 4;

/// Whether a server that knows no options may answer them so.
bool is_dislike_of_options(const transfer_error& error) {
    return error.peer_code() == static_cast<int>(tftp_error_code::option_refused) ||
           error.peer_code() == static_cast<int>(tftp_error_code::illegal_operation);
}

tftp_options options_of(const tftp_request& request) {
    tftp_options options;
    if (request.block_size != plain_tftp_block)
        options.block_size = request.block_size;
    if (request.interval_ms >= 1000)
        options.timeout_seconds = static_cast<unsigned>(std::min(request.interval_ms / 1000, 255));
    if (request.mode == tftp_mode::octet)
        options.transfer_size = request.write ? request.size : std::optional<uint64_t>(0);
    if (request.window_size > 1)
        options.window_size = request.window_size;
    return options;
}

} // namespace

bool tftp_client::open(const tftp_request& request) {
    close();
    error_.clear();
    size_.reset();
    const deadline limit(request.limit_ms);
    writing_ = request.write;
    interval_ms_ = std::max(request.interval_ms, 1);
    limit_ms_ = request.limit_ms;
    end_ = deadline(request.total_ms);
    netascii_ = request.mode == tftp_mode::netascii;
    size_limit_ = request.size_limit;
    count_ = 0;
    if (request.block_size < least_tftp_block || request.block_size > most_tftp_block)
        return error_.set(fault_code::rejected, "the block size is out of range");
    if (!allocate(request))
        return error_.set(fault_code::no_memory, "out of memory");
    const patient_answers answers(request.host, request.port, limit);
    if (answers.first() == nullptr)
        return answers.refuse(error_);
    for (const ombrel_resolver_t* answer = answers.first(); answer != nullptr; answer = answer->m_next) {
        const unsigned tries = std::max(request.tries, 1u);
        tries_ = answer->m_next != nullptr ? std::min(tries, passing_tries) : tries;
        const bool opened = open_at(request, answer->m_address, answer->m_address_size, limit);
        tries_ = tries;
        if (opened || peer_known_ || limit.passed() || error_.fault() == fault_code::invalid)
            return opened;
    }
    return false;
}

bool tftp_client::open_at(const tftp_request& request, const sockaddr* address, int address_size,
                          const deadline& limit) {
    if (open_once(request, address, address_size, true, limit))
        return true;
    return is_dislike_of_options(error_) && open_once(request, address, address_size, false, limit);
}

bool tftp_client::allocate(const tftp_request& request) {
    // A server that refuses the options sends blocks of the plain size.
    const size_t block_size = std::max(request.block_size, plain_tftp_block);
    // One byte more than a block, so that one that is too long shows; netascii grows to the front.
    incoming_room_ = std::max(small_packet, writing_ ? 0 : tftp_header_size + block_size + 1);
    outgoing_.reset(
        static_cast<uint8_t*>(ombrel_alloc_tag(small_packet + incoming_room_, "tftp_client", __LINE__)));
    incoming_ = outgoing_.get() + small_packet;
    return outgoing_ && (!writing_ || window_.reserve(block_size, request.window_size, "tftp_client"));
}

bool tftp_client::open_once(const tftp_request& request, const sockaddr* address, int address_size,
                            bool with_options, const deadline& limit) {
    error_.clear();
    // A number of its own for each attempt keeps answers to earlier ones away.
    socket_.reset(ombrel_open_socket(address->sa_family, SOCK_DGRAM, 0));
    if (!socket_)
        return error_.set(socket_fault(), "no socket");
    if (!writing_ && request.window_size > 1)
        ombrel_set_rx_socket_buffer_size(socket_.get(), tftp_receive_buffer);
    memcpy(peer_.get(), address, static_cast<size_t>(address_size));
    peer_known_ = false;
    stage_ = stage::asking;
    return ask(request, with_options) && wait_for_peer(limit);
}

/// The tries end the wait too, where they are through before the limit.
bool tftp_client::wait_for_peer(const deadline& limit) {
    const int ready = wait(limit.left());
    if (ready == 0)
        fail_and_tell(fault_code::timed_out, tftp_error_code::not_defined, "no answer in time");
    return ready == 1;
}

bool tftp_client::ask(const tftp_request& request, bool with_options) {
    asked_ = with_options ? options_of(request) : tftp_options();
    const size_t size = write_tftp_request({outgoing_.get(), most_tftp_request},
                                           writing_ ? tftp_opcode::write_request : tftp_opcode::read_request,
                                           request.name, asked_, request.mode);
    if (size == 0)
        return error_.set(fault_code::invalid, "the name cannot be asked for");
    outstanding_ = true;
    send_new(size);
    return true;
}

int tftp_client::wait(int timeout_ms) {
    const deadline limit(timeout_ms);
    while (!error_ && !is_ready()) {
        const int longest = shorter_wait(next_sending_.left(), end_.left());
        const int size = receive_one(shorter_wait(limit.left(), longest));
        if (size == -1 && !failed_by(size, fault_code::interrupted))
            fail(fault_code::closed, "receiving failed");
        if (error_ || is_ready())
            break;
        if (end_.passed())
            fail_and_tell(fault_code::timed_out, tftp_error_code::not_defined, "the transfer took too long");
        else if (next_sending_.passed())
            send_again();
        // What is there already has been looked at once, even when the time had run out before.
        else if (limit.passed())
            return 0;
    }
    return error_ ? -1 : 1;
}

bool tftp_client::is_ready() const {
    switch (stage_) {
    case stage::asking:
        return false;
    case stage::moving:
        return writing_ ? !outstanding_ : data_size_ > 0;
    default:
        return true;
    }
}

/// @return -1 on an error; anything else when a packet was taken or none came
int tftp_client::receive_one(int timeout_ms) {
    endpoint from;
    int from_size = endpoint::room();
    const int size =
        ombrel_recvfrom(socket_.get(), incoming_, incoming_room_, from.get(), &from_size, timeout_ms);
    if (size >= 0)
        take_packet({incoming_, static_cast<size_t>(size)}, from);
    return size;
}

void tftp_client::take_packet(std::span<const uint8_t> bytes, const endpoint& from) {
    tftp_packet packet;
    if (!parse_tftp_packet(bytes, packet))
        return;
    const bool from_server = ombrel_compare_sockaddr_address(from.get(), peer_.get()) == 0;
    if (!from_server || (peer_known_ && from.port() != peer_.port())) {
        // Answering errors with errors could go on for ever.
        if (packet.opcode != tftp_opcode::error)
            tell_error(from, tftp_error_code::unknown_transfer, "unknown transfer");
        return;
    }
    if (!peer_known_) {
        peer_ = from;
        peer_known_ = true;
    }
    switch (packet.opcode) {
    case tftp_opcode::data:
        return take_data(packet);
    case tftp_opcode::acknowledgement:
        return take_acknowledgement(packet);
    case tftp_opcode::option_acknowledgement:
        return take_options(packet);
    default:
        return take_error(packet);
    }
}

void tftp_client::take_data(const tftp_packet& packet) {
    if (writing_)
        return;
    if (stage_ == stage::ended || !order_.is_next(packet.number)) {
        if (order_.is_acknowledged_again(packet.number)) {
            write_acknowledgement();
            send_last();
        }
        return;
    }
    if (stage_ == stage::asking)
        begin(plain_tftp_block, 1);
    if (packet.body.size() > block_size_)
        return fail_and_tell(fault_code::violation, tftp_error_code::illegal_operation,
                             "the block is too long");
    const bool is_final = packet.body.size() < block_size_;
    keep_block(packet.body, is_final);
    if (error_)
        return;
    if (order_.take(is_final))
        acknowledge();
    else
        start_waiting();
    if (is_final)
        stage_ = stage::ended;
}

void tftp_client::keep_block(std::span<const uint8_t> body, bool is_final) {
    data_ = body.data();
    data_size_ = body.size();
    if (netascii_) {
        uint8_t* const front = incoming_ + tftp_header_size - netascii_decoder::growth;
        data_size_ = decoder_.decode(body, front, is_final);
        data_ = front;
    }
    count_ += data_size_;
    if (size_limit_ && count_ > *size_limit_)
        fail_and_tell(fault_code::too_large, tftp_error_code::disk_full, "the file is too large");
}

/// A repeated acknowledgement is not answered with its blocks again: each would be doubled for ever.
void tftp_client::take_acknowledgement(const tftp_packet& packet) {
    if (!writing_ || !outstanding_)
        return;
    if (stage_ == stage::asking && packet.number == 0) {
        begin(plain_tftp_block, 1);
        outstanding_ = false;
    } else if (stage_ == stage::moving && window_.acknowledge(packet.number) > 0) {
        outstanding_ = false;
    }
}

void tftp_client::take_options(const tftp_packet& packet) {
    if (stage_ != stage::asking) {
        // The acknowledgement of the options was lost.
        if (!writing_ && order_.last() == 0)
            send_last();
        return;
    }
    if (!packet.options_valid || !grant(packet.options))
        return fail_and_tell(fault_code::violation, tftp_error_code::option_refused,
                             "the server granted options that were not asked for");
    begin(packet.options.block_size.value_or(plain_tftp_block), packet.options.window_size.value_or(1));
    outstanding_ = false;
    if (!writing_)
        acknowledge();
}

bool tftp_client::grant(const tftp_options& options) {
    if (options.block_size && (!asked_.block_size || *options.block_size > *asked_.block_size))
        return false;
    if (options.timeout_seconds && options.timeout_seconds != asked_.timeout_seconds)
        return false;
    if (options.transfer_size && !asked_.transfer_size)
        return false;
    if (options.window_size && (!asked_.window_size || *options.window_size > *asked_.window_size))
        return false;
    if (!writing_)
        size_ = options.transfer_size;
    return true;
}

/// A file that came whole stays so, whatever the server says when it missed the last acknowledgement.
void tftp_client::take_error(const tftp_packet& packet) {
    if (stage_ == stage::ended)
        return;
    const std::string_view text = packet.text.empty() ? text_of_tftp_error(packet.number) : packet.text;
    fail(fault_of_tftp_error(packet.number), text, packet.number);
}

void tftp_client::begin(size_t block_size, unsigned window_size) {
    stage_ = stage::moving;
    block_size_ = block_size;
    data_size_ = 0;
    order_.begin(window_size);
    encoder_ = {};
    decoder_ = {};
    if (writing_)
        window_.begin(block_size, window_size);
}

void tftp_client::write_acknowledgement() {
    order_.note_acknowledgement();
    outgoing_size_ = write_tftp_block_header({outgoing_.get(), small_packet}, tftp_opcode::acknowledgement,
                                             static_cast<uint16_t>(order_.last()));
}

void tftp_client::acknowledge() {
    write_acknowledgement();
    send_new(outgoing_size_);
}

/// Sends all blocks that are complete. Those behind a lost one go once more, with new ones behind them.
void tftp_client::send_window() {
    outstanding_ = true;
    send_new(0);
}

void tftp_client::send_new(size_t size) {
    outgoing_size_ = size;
    times_sent_ = 0;
    send_again();
}

void tftp_client::send_again() {
    if (times_sent_ == tries_) {
        fail_and_tell(fault_code::timed_out, tftp_error_code::not_defined, "no answer in time");
        return;
    }
    // Blocks may have come since the last acknowledgement, and others of their window were lost.
    if (!writing_ && stage_ == stage::moving)
        write_acknowledgement();
    const int factor = std::min(1 << std::min(times_sent_, 8u), longest_interval_factor);
    times_sent_++;
    send_last();
    next_sending_ = deadline(interval_ms_ > INT_MAX / factor ? INT_MAX : interval_ms_ * factor);
}

/// The server goes on: the wait for it begins anew.
void tftp_client::start_waiting() {
    times_sent_ = 1;
    next_sending_ = deadline(interval_ms_);
}

/// A packet that cannot be sent counts as lost on the way.
void tftp_client::send_last() {
    if (outgoing_size_ > 0)
        ombrel_sendto(socket_.get(), outgoing_.get(), outgoing_size_, peer_.get(), peer_.size(), 0);
    for (size_t i = 0; outgoing_size_ == 0 && i < window_.count(); i++) {
        const std::span<const uint8_t> packet = window_.packet(i);
        ombrel_sendto(socket_.get(), packet.data(), packet.size(), peer_.get(), peer_.size(), 0);
    }
}

void tftp_client::tell_error(const endpoint& to, tftp_error_code code, const char* text) {
    uint8_t packet[64];
    const size_t size = write_tftp_error(packet, code, text);
    ombrel_sendto(socket_.get(), packet, size, to.get(), to.size(), 0);
}

bool tftp_client::fail(fault_code fault, std::string_view text, int peer_code) {
    data_size_ = 0;
    return error_.set(fault, text, peer_code);
}

void tftp_client::fail_and_tell(fault_code fault, tftp_error_code code, const char* text) {
    if (peer_known_)
        tell_error(peer_, code, text);
    fail(fault, text);
}

ptrdiff_t tftp_client::read(void* buffer, size_t size, int timeout_ms) {
    const int ready = writing_ ? -1 : wait(timeout_ms);
    if (ready != 1)
        return ready == 0 ? transfer_waited : -1;
    const size_t taken = std::min(size, data_size_);
    if (taken > 0)
        memcpy(buffer, data_, taken);
    data_ += taken;
    data_size_ -= taken;
    return static_cast<ptrdiff_t>(taken);
}

ptrdiff_t tftp_client::write(const void* data, size_t size, int timeout_ms) {
    if (!writing_ || stage_ != stage::moving)
        return -1;
    const deadline limit(timeout_ms);
    size_t done = 0;
    while (done < size) {
        // The blocks may still have to be sent again until they are acknowledged.
        const int ready = wait(limit.left());
        if (ready == -1)
            return -1;
        if (ready == 0)
            break;
        done += fill(static_cast<const uint8_t*>(data) + done, size - done);
        if (window_.is_full())
            send_window();
    }
    count_ += done;
    return done > 0 || size == 0 ? static_cast<ptrdiff_t>(done) : transfer_waited;
}

/// @return bytes taken into the block that is being filled
size_t tftp_client::fill(const uint8_t* data, size_t size) {
    const std::span<uint8_t> room = window_.room();
    netascii_encoder::step done{std::min(size, room.size()), std::min(size, room.size())};
    if (netascii_)
        done = encoder_.encode({data, size}, room);
    else
        memcpy(room.data(), data, done.made);
    window_.add(done.made);
    return done.taken;
}

/// Answers the last block once more where its acknowledgement was lost, without waiting for that.
void tftp_client::look_back() {
    for (int i = 0; i < 4 && receive_one(0) >= 0; i++) {
    }
}

/// Sends what is left of the file, and waits until all of it is acknowledged.
bool tftp_client::send_rest(const deadline& limit) {
    while (wait_for_peer(limit) && !(window_.has_ended() && window_.is_empty())) {
        if (encoder_.is_waiting() && !window_.is_full())
            fill(nullptr, 0);
        // What is left of a pair may have filled the window.
        if (!window_.is_full())
            window_.end();
        send_window();
    }
    return !error_;
}

bool tftp_client::close() {
    if (!error_ && stage_ == stage::moving) {
        if (writing_)
            send_rest(deadline(limit_ms_));
        else
            tell_error(peer_, tftp_error_code::not_defined, "no more is wanted");
    } else if (!error_ && stage_ == stage::ended) {
        look_back();
    }
    release();
    return !error_;
}

void tftp_client::abandon() {
    if (!error_ && stage_ == stage::moving)
        tell_error(peer_, tftp_error_code::not_defined, "no more is wanted");
    release();
}

void tftp_client::release() {
    socket_.reset();
    outgoing_.reset();
    window_.release();
    incoming_ = nullptr;
    data_size_ = 0;
    order_.begin(1);
    stage_ = stage::closed;
}

} // namespace ombrel::protocol
