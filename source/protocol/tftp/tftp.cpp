#include "protocol/tftp/tftp.h"

#include <algorithm>
#include <cstring>

#include <ombrel/socket.h>

#include "protocol/patient_resolver.h"

namespace ombrel::protocol {

namespace {

constexpr size_t small_packet = 1024;
/// Tries at an address that another one follows.
constexpr unsigned passing_tries = 2;
constexpr int longest_interval_factor = 4;

fault_code fault_of(uint16_t error_code) {
    switch (static_cast<tftp_error_code>(error_code)) {
    case tftp_error_code::file_not_found:
        return fault_code::not_found;
    case tftp_error_code::access_violation:
    case tftp_error_code::no_such_user:
        return fault_code::access_denied;
    case tftp_error_code::disk_full:
        return fault_code::no_space;
    case tftp_error_code::file_exists:
        return fault_code::exists;
    case tftp_error_code::illegal_operation:
    case tftp_error_code::unknown_transfer:
        return fault_code::violation;
    default:
        return fault_code::rejected;
    }
}

const char* text_of(uint16_t error_code) {
    constexpr const char* texts[] = {"the server ended the transfer",
                                     "file not found",
                                     "access violation",
                                     "disk full",
                                     "illegal operation",
                                     "unknown transfer",
                                     "file exists",
                                     "no such user",
                                     "options refused"};
    return texts[error_code < std::size(texts) ? error_code : 0];
}

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
    options.transfer_size = request.write ? request.size : std::optional<uint64_t>(0);
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
    const size_t large = std::max(small_packet, tftp_header_size + request.block_size + 1);
    outgoing_.reset(static_cast<uint8_t*>(ombrel_alloc_tag(small_packet + large, "tftp_client", __LINE__)));
    if (!outgoing_)
        return false;
    outgoing_room_ = writing_ ? large : small_packet;
    incoming_ = outgoing_.get() + outgoing_room_;
    // One byte more than a block, so that one that is too long shows.
    incoming_room_ = writing_ ? small_packet : large;
    return true;
}

bool tftp_client::open_once(const tftp_request& request, const sockaddr* address, int address_size,
                            bool with_options, const deadline& limit) {
    error_.clear();
    // A number of its own for each attempt keeps answers to earlier ones away.
    socket_.reset(ombrel_open_socket(address->sa_family, SOCK_DGRAM, 0));
    if (!socket_)
        return error_.set(socket_fault(), "no socket");
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
                                           request.name, asked_);
    if (size == 0)
        return error_.set(fault_code::invalid, "the name cannot be asked for");
    outstanding_ = true;
    send_new(size);
    return true;
}

int tftp_client::wait(int timeout_ms) {
    const deadline limit(timeout_ms);
    while (!error_ && !is_ready()) {
        const int size = receive_one(shorter_wait(limit.left(), next_sending_.left()));
        if (size == -1 && !failed_by(size, fault_code::interrupted))
            fail(fault_code::closed, "receiving failed");
        if (error_ || is_ready())
            break;
        if (next_sending_.passed())
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
        return writing_ ? !outstanding_ : position_ < filled_;
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
    // The number goes on at 0 behind 65535, so files are not limited.
    if (stage_ == stage::ended || packet.number != static_cast<uint16_t>(block_ + 1)) {
        if (block_ > 0 && packet.number == static_cast<uint16_t>(block_))
            send_last();
        return;
    }
    if (stage_ == stage::asking)
        begin(plain_tftp_block);
    if (packet.body.size() > block_size_)
        return fail_and_tell(fault_code::violation, tftp_error_code::illegal_operation,
                             "the block is too long");
    block_++;
    position_ = 0;
    filled_ = packet.body.size();
    acknowledge();
    if (filled_ < block_size_)
        stage_ = stage::ended;
}

/// A repeated acknowledgement is not answered with its block again: each would be doubled for ever.
void tftp_client::take_acknowledgement(const tftp_packet& packet) {
    if (!writing_ || !outstanding_ || packet.number != static_cast<uint16_t>(block_))
        return;
    if (stage_ == stage::asking)
        begin(plain_tftp_block);
    outstanding_ = false;
}

void tftp_client::take_options(const tftp_packet& packet) {
    if (stage_ != stage::asking) {
        // The acknowledgement of the options was lost.
        if (!writing_ && block_ == 0)
            send_last();
        return;
    }
    if (!packet.options_valid || !grant(packet.options))
        return fail_and_tell(fault_code::violation, tftp_error_code::option_refused,
                             "the server granted options that were not asked for");
    begin(packet.options.block_size.value_or(plain_tftp_block));
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
    if (!writing_)
        size_ = options.transfer_size;
    return true;
}

/// A file that came whole stays so, whatever the server says when it missed the last acknowledgement.
void tftp_client::take_error(const tftp_packet& packet) {
    if (stage_ == stage::ended)
        return;
    const std::string_view text = packet.text.empty() ? text_of(packet.number) : packet.text;
    fail(fault_of(packet.number), text, packet.number);
}

void tftp_client::begin(size_t block_size) {
    stage_ = stage::moving;
    block_size_ = block_size;
    block_ = 0;
    position_ = filled_ = 0;
}

void tftp_client::acknowledge() {
    send_new(write_tftp_block_header({outgoing_.get(), outgoing_room_}, tftp_opcode::acknowledgement,
                                     static_cast<uint16_t>(block_)));
}

void tftp_client::send_block() {
    block_++;
    outstanding_ = true;
    send_new(write_tftp_block_header({outgoing_.get(), outgoing_room_}, tftp_opcode::data,
                                     static_cast<uint16_t>(block_)) +
             filled_);
    filled_ = 0;
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
    const int factor = std::min(1 << std::min(times_sent_, 8u), longest_interval_factor);
    times_sent_++;
    send_last();
    next_sending_ = deadline(interval_ms_ > INT_MAX / factor ? INT_MAX : interval_ms_ * factor);
}

/// A packet that cannot be sent counts as lost on the way.
void tftp_client::send_last() {
    ombrel_sendto(socket_.get(), outgoing_.get(), outgoing_size_, peer_.get(), peer_.size(), 0);
}

void tftp_client::tell_error(const endpoint& to, tftp_error_code code, const char* text) {
    uint8_t packet[64];
    const size_t size = write_tftp_error(packet, code, text);
    ombrel_sendto(socket_.get(), packet, size, to.get(), to.size(), 0);
}

bool tftp_client::fail(fault_code fault, std::string_view text, int peer_code) {
    filled_ = position_ = 0;
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
    const size_t taken = std::min(size, filled_ - position_);
    if (taken > 0)
        memcpy(buffer, incoming_ + tftp_header_size + position_, taken);
    position_ += taken;
    return static_cast<ptrdiff_t>(taken);
}

ptrdiff_t tftp_client::write(const void* data, size_t size, int timeout_ms) {
    if (!writing_ || stage_ != stage::moving)
        return -1;
    const deadline limit(timeout_ms);
    size_t done = 0;
    while (done < size) {
        // The block may still have to be sent again until it is acknowledged.
        const int ready = wait(limit.left());
        if (ready == -1)
            return -1;
        if (ready == 0)
            break;
        const size_t taken = std::min(size - done, block_size_ - filled_);
        memcpy(outgoing_.get() + tftp_header_size + filled_, static_cast<const uint8_t*>(data) + done, taken);
        filled_ += taken;
        done += taken;
        if (filled_ == block_size_)
            send_block();
    }
    return done > 0 || size == 0 ? static_cast<ptrdiff_t>(done) : transfer_waited;
}

/// Answers the last block once more where its acknowledgement was lost, without waiting for that.
void tftp_client::look_back() {
    for (int i = 0; i < 4 && receive_one(0) >= 0; i++) {
    }
}

bool tftp_client::close() {
    if (!error_ && stage_ == stage::moving) {
        if (writing_) {
            const deadline limit(limit_ms_);
            if (wait_for_peer(limit)) {
                send_block();
                wait_for_peer(limit);
            }
        } else {
            tell_error(peer_, tftp_error_code::not_defined, "no more is wanted");
        }
    } else if (!error_ && stage_ == stage::ended) {
        look_back();
    }
    release();
    return !error_;
}

void tftp_client::release() {
    socket_.reset();
    outgoing_.reset();
    incoming_ = nullptr;
    position_ = filled_ = 0;
    block_ = 0;
    stage_ = stage::closed;
}

} // namespace ombrel::protocol
