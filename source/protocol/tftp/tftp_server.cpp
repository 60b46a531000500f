#include "protocol/tftp/tftp_server.h"

#include <cstring>
#include <new>

#include <ombrel/network.h>

#include "platform/socket.h"
#include "protocol/listen_address.h"
#include "protocol/tftp/tftp_error.h"

namespace ombrel::protocol {

using platform::socket_option;

namespace {

constexpr int requests_at_once = 32;
constexpr int tries_for_a_free_port = 16;
constexpr const char* stop_text = "the server stops";

bool refused(fault_code fault) {
    leave_fault(fault);
    return false;
}

int fail(fault_code fault) {
    leave_fault(fault);
    return -1;
}

void end_event(ombrel_event_t& event) {
    if ((event.m_flags & def_ombrel_event_assigned) != 0)
        ombrel_unassign_event(&event);
}

/// Whether it is an address of IPv4 within one of IPv6.
bool is_mapped(const endpoint& of) {
    return ombrel_in6addr_is_v4_mapped(&reinterpret_cast<const sockaddr_in6*>(of.get())->sin6_addr) == 1;
}

/// Whether two clients count as one address: of IPv6 the network's half does.
bool is_same_client(const endpoint& a, const endpoint& b) {
    constexpr int network_bits = 64;
    if (a.family() != AF_INET6 || b.family() != AF_INET6)
        return ombrel_compare_sockaddr_address(a.get(), b.get()) == 0;
    // Scopes tell how far an address reaches; one that holds an IPv4 address counts as a whole.
    if (is_mapped(a) || is_mapped(b))
        return ombrel_compare_sockaddr_address(a.get(), b.get()) == 0;
    endpoint first = a, second = b;
    ombrel_prefix_sockaddr(first.get(), network_bits);
    ombrel_prefix_sockaddr(second.get(), network_bits);
    return ombrel_compare_sockaddr_address(first.get(), second.get()) == 0;
}

} // namespace

tftp_server::~tftp_server() {
    shut_doors(0);
    while (first_ != nullptr) {
        first_->cut_off(fault_code::closed, stop_text);
        forget(*first_);
    }
    end_event(stop_event_);
    if (tree_open_)
        tree_.close();
    if (network_)
        ombrel_uninit_network();
}

bool tftp_server::open(ombrel_event_base_t* base, const ombrel_tftp_server_options_t& options) {
    base_ = base;
    options_ = options;
    packet_.reset(static_cast<uint8_t*>(ombrel_alloc_tag(packet_size, "ombrel_open_tftp_server", __LINE__)));
    if (!packet_)
        return refused(fault_code::no_memory);
    network_ = ombrel_init_network() == 0;
    tree_open_ = network_ && tree_.open(options.m_directory);
    options_.m_directory = nullptr; // the caller's text need not live on
    return tree_open_ && ombrel_assign_event(base, &stop_event_, -1, 0, on_stop, this) == 0;
}

int tftp_server::listen(const char* address, int port) {
    endpoint at;
    if (!is_port(port) || stopping_)
        return fail(fault_code::invalid);
    if (address == nullptr || strcmp(address, "localhost") == 0)
        return listen_at_loopbacks(port);
    if (!at.parse(AF_UNSPEC, address, port))
        return fail(fault_code::invalid);
    return open_door(at, true);
}

/// Clients ask either of the loop-back addresses, so both are needed as far as the host has them, and a free
/// port has to be free at both.
int tftp_server::listen_at_loopbacks(int port) {
    endpoint four, six;
    for (int tries = port == 0 ? tries_for_a_free_port : 1; tries > 0; tries--) {
        four.set_loopback(AF_INET, port);
        const int taken = open_door(four, true);
        if (taken < 0 && !failed_for_lack_of_host_support())
            return -1;
        six.set_loopback(AF_INET6, taken > 0 ? taken : port);
        const int also_taken = open_door(six, taken < 0);
        if (also_taken > 0 || (taken > 0 && failed_for_lack_of_host_support()))
            return taken > 0 ? taken : also_taken;
        const fault_keeper kept;
        if (taken > 0)
            shut_doors(door_count_ - 1);
    }
    return -1;
}

int tftp_server::open_door(const endpoint& at, bool is_shown) {
    if (door_count_ == most_doors)
        return fail(fault_code::too_large);
    socket_guard s(ombrel_open_socket(at.family(), SOCK_DGRAM, 0));
    if (s && at.family() == AF_INET6) // "::" is all addresses on every host
        platform::set_option(s.get(), socket_option::ipv6_only, is_wildcard(at) ? 0 : 1);
    if (!s || ombrel_bind(s.get(), at.get(), at.size()) != 0) {
        const fault_keeper kept;
        s.reset();
        return -1;
    }
    door& added = doors_[door_count_];
    added = {this, s.get(), is_shown, {}, {}};
    int size = endpoint::room();
    if (ombrel_getsockname(s.get(), added.own.get(), &size) != 0)
        return -1;
    door_count_++;
    s.release();
    if (ombrel_assign_event(base_, &added.event, added.socket,
                            def_ombrel_event_read | def_ombrel_event_persist, on_request, &added) == 0 &&
        ombrel_add_event(&added.event, -1) == 0)
        return added.own.port();
    shut_doors(door_count_ - 1);
    return fail(fault_code::no_memory);
}

void tftp_server::shut_doors(size_t left) {
    while (door_count_ > left) {
        door& last = doors_[--door_count_];
        end_event(last.event);
        last.socket = ombrel_close_socket(last.socket); // one of its requests may be looked at just now
    }
}

char* tftp_server::alloc_url(size_t index, const char* function, unsigned long line) const {
    for (size_t i = 0; i < door_count_; i++) {
        if (doors_[i].is_shown && index-- == 0)
            return alloc_listener_url("tftp", doors_[i].own, function, line);
    }
    leave_fault(fault_code::invalid);
    return nullptr;
}

void tftp_server::on_request(ombrel_event_t*, int fd, uint32_t flags, void* context) {
    const door& at = *static_cast<door*>(context);
    if ((flags & def_ombrel_event_read) == 0)
        return;
    tftp_server& self = *at.owner;
    const std::span<uint8_t> room = self.packet_room();
    // A handler may have stopped the server.
    for (int i = 0; i < requests_at_once && !self.stopping_; i++) {
        endpoint from;
        int from_size = endpoint::room();
        const int size = ombrel_recvfrom_now(fd, room.data(), room.size(), from.get(), &from_size);
        if (size == def_ombrel_socket_would_block)
            return;
        if (size > 0 && from.port() != 0)
            self.take_request(at, room.first(static_cast<size_t>(size)), from);
    }
}

void tftp_server::take_request(const door& at, std::span<const uint8_t> bytes, const endpoint& client) {
    tftp_request_packet request;
    switch (parse_tftp_request(bytes, request)) {
    case tftp_request_fault::other:
        return;
    case tftp_request_fault::malformed:
        counts_.m_requests++;
        counts_.m_refused++;
        return tell(at, client, tftp_error_code::illegal_operation, "the request is not understood");
    case tftp_request_fault::options:
        counts_.m_requests++;
        counts_.m_refused++;
        return tell(at, client, tftp_error_code::option_refused, "the options are not understood");
    default:
        if (!answer_known(client, request))
            begin_transfer(at, request, client);
    }
}

/// Whether the request belongs to a transfer that goes on. Where its client has been heard of, others who
/// send in its name change nothing; where it has not, it may ask for something else.
bool tftp_server::answer_known(const endpoint& client, const tftp_request_packet& request) {
    tftp_transfer* known = first_;
    while (known != nullptr && !(known->client() == client))
        known = known->next;
    if (known == nullptr)
        return false;
    if (!known->is_over() && known->is_confirmed())
        return true;
    if (!known->is_over() && known->is_repeated_by(request)) {
        known->repeat();
        return true;
    }
    known->cut_off(fault_code::closed, "the client began anew");
    forget(*known);
    return false;
}

fault_code tftp_server::check_limits(const endpoint& client) const {
    size_t of_client = 0;
    for (const tftp_transfer* one = first_; one != nullptr; one = one->next)
        of_client += !one->is_over() && is_same_client(one->client(), client) ? 1 : 0;
    const bool is_full = active_ >= options_.m_transfer_limit || of_client >= options_.m_address_limit;
    return is_full ? fault_code::busy : fault_code::none;
}

void tftp_server::begin_transfer(const door& at, const tftp_request_packet& request, const endpoint& client) {
    counts_.m_requests++;
    void* const room = ombrel_alloc_tag(sizeof(tftp_transfer), "ombrel_tftp_server", __LINE__);
    if (room == nullptr) {
        counts_.m_refused++;
        return tell(at, client, tftp_error_code::not_defined, "memory ran out");
    }
    tftp_transfer& made = *new (room) tftp_transfer(*this, client, request);
    if (check_limits(client) != fault_code::none)
        return refuse(at, made, fault_code::busy, "too many transfers, try again later");
    if (!admits(made) || stopping_)
        return refuse(at, made, fault_code::access_denied, "access violation");
    add(made);
    if (made.begin(at.own, request))
        return;
    if (made.is_over())
        return forget(made);
    refuse(at, made, made.error().fault(), nullptr);
}

int tftp_server::call(ombrel_tftp_server_handler_t handler, const tftp_transfer& transfer) {
    char address[address_text_size] = "";
    ombrel_inet_stop(transfer.client().get(), address, sizeof address);
    ombrel_tftp_transfer_t record{};
    record.m_address = address;
    transfer.describe(record);
    const bool before = in_handler_;
    in_handler_ = true;
    const int result = handler(handle_, &record, options_.m_context);
    in_handler_ = before;
    return result;
}

bool tftp_server::admits(const tftp_transfer& transfer) {
    return options_.m_request_handler == nullptr || call(options_.m_request_handler, transfer) == 0;
}

/// Ends a transfer that has not begun: the client is told from where it asked.
void tftp_server::refuse(const door& at, tftp_transfer& transfer, fault_code fault, const char* text) {
    transfer.set_refused(fault, text);
    counts_.m_refused++;
    tell(at, transfer.client(), tftp_error_of(fault), transfer.error().text());
    if (options_.m_log_handler != nullptr)
        call(options_.m_log_handler, transfer);
    forget(transfer);
}

void tftp_server::tell(const door& at, const endpoint& client, tftp_error_code code, const char* text) const {
    uint8_t packet[64];
    const size_t size = write_tftp_error(packet, code, text);
    ombrel_sendto_now(at.socket, packet, size, client.get(), client.size());
}

void tftp_server::add(tftp_transfer& transfer) {
    transfer.previous = last_;
    (last_ != nullptr ? last_->next : first_) = &transfer;
    last_ = &transfer;
    transfer.is_listed = true;
    active_++;
}

void tftp_server::note_end(const tftp_transfer& transfer) {
    active_--;
    drop_lingering(transfer);
    const bool good = !transfer.error();
    uint64_t& outcome = !good ? counts_.m_failed : transfer.is_upload() ? counts_.m_stored : counts_.m_read;
    outcome++;
    (transfer.is_upload() ? counts_.m_received : counts_.m_sent) += transfer.size();
    if (options_.m_log_handler != nullptr)
        call(options_.m_log_handler, transfer);
    if (stopping_ && active_ == 0)
        ombrel_add_event(&stop_event_, 0);
}

/// Those that linger count for no limit, so that many small uploads in a row are served, but are not more
/// than may go on.
void tftp_server::drop_lingering(const tftp_transfer& but) {
    size_t lingering = 0;
    for (tftp_transfer *one = last_, *before; one != nullptr; one = before) {
        before = one->previous;
        lingering += one->is_over() ? 1 : 0;
        if (lingering <= options_.m_transfer_limit || one == &but || !one->is_over())
            continue;
        one->cut_off(fault_code::none, nullptr);
        forget(*one);
    }
}

void tftp_server::forget(tftp_transfer& transfer) {
    if (transfer.is_listed) {
        active_ -= transfer.is_over() ? 0 : 1;
        (transfer.previous != nullptr ? transfer.previous->next : first_) = transfer.next;
        (transfer.next != nullptr ? transfer.next->previous : last_) = transfer.previous;
    }
    transfer.~tftp_transfer();
    ombrel_free_tag(&transfer, "ombrel_tftp_server", __LINE__);
}

bool tftp_server::stop(int timeout_ms, ombrel_tftp_stop_handler_t handler, void* context) {
    if (stopping_)
        return refused(fault_code::invalid);
    stopping_ = true;
    stop_handler_ = handler;
    stop_context_ = context;
    shut_doors(0);
    if (active_ == 0)
        timeout_ms = 0;
    return timeout_ms < 0 || ombrel_add_event(&stop_event_, timeout_ms) == 0;
}

void tftp_server::on_stop(ombrel_event_t*, int, uint32_t flags, void* context) {
    if ((flags & def_ombrel_event_timeout) != 0)
        static_cast<tftp_server*>(context)->end_stop();
}

/// The handler comes last, as it may close the server.
void tftp_server::end_stop() {
    while (first_ != nullptr) {
        first_->cut_off(fault_code::closed, stop_text);
        forget(*first_);
    }
    if (stop_handler_ != nullptr)
        stop_handler_(handle_, stop_context_);
}

void tftp_server::get_counts(ombrel_tftp_server_counts_t& counts) const {
    counts = counts_;
    counts.m_transfers = active_;
}

} // namespace ombrel::protocol

using namespace ombrel;
using namespace ombrel::protocol;

struct ombrel_tftp_server_ts {
    tftp_server server{this};
};

namespace {

bool are_sound(const ombrel_tftp_server_options_t& options) {
    constexpr uint32_t known = def_ombrel_tftp_server_write | def_ombrel_tftp_server_overwrite;
    const auto within = [](size_t value, size_t least, size_t most) {
        return value >= least && value <= most;
    };
    return options.m_directory != nullptr && (options.m_flags & ~known) == 0 &&
           options.m_transfer_limit >= 1 && options.m_address_limit >= 1 &&
           within(options.m_block_size_limit, plain_tftp_block, most_tftp_block) &&
           within(options.m_window_size_limit, 1, most_tftp_window) && options.m_retry_ms >= 1 &&
           options.m_tries >= 1;
}

int refuse() {
    leave_fault(fault_code::invalid);
    return -1;
}

} // namespace

int ombrel_init_tftp_server_options(ombrel_tftp_server_options_t* options) {
    if (options == nullptr)
        return refuse();
    *options = {};
    options->m_transfer_limit = 64;
    options->m_address_limit = 8;
    options->m_block_size_limit = most_tftp_block;
    options->m_window_size_limit = 32;
    options->m_retry_ms = 1000;
    options->m_tries = 5;
    options->m_whole_ms = 3600000;
    options->m_upload_limit = int64_t{256} << 20;
    return 0;
}

ombrel_tftp_server_t* ombrel_open_tftp_server_tag(ombrel_event_base_t* base,
                                                  const ombrel_tftp_server_options_t* options,
                                                  const char* function, unsigned long line) {
    if (base == nullptr || options == nullptr || !are_sound(*options))
        return refuse(), nullptr;
    void* const room = ombrel_alloc_tag(sizeof(ombrel_tftp_server_t), function, line);
    if (room == nullptr) {
        leave_fault(fault_code::no_memory);
        return nullptr;
    }
    auto* const made = new (room) ombrel_tftp_server_t;
    if (made->server.open(base, *options))
        return made;
    const fault_keeper kept;
    ombrel_close_tftp_server(made);
    return nullptr;
}

int ombrel_tftp_server_listen(ombrel_tftp_server_t* server, const char* address, int port) {
    return server != nullptr ? server->server.listen(address, port) : refuse();
}

char* ombrel_alloc_tftp_server_url_tag(ombrel_tftp_server_t* server, size_t index, const char* function,
                                       unsigned long line) {
    return server != nullptr ? server->server.alloc_url(index, function, line) : (refuse(), nullptr);
}

int ombrel_tftp_server_stop(ombrel_tftp_server_t* server, int timeout_ms, ombrel_tftp_stop_handler_t handler,
                            void* context) {
    if (server == nullptr)
        return refuse();
    return server->server.stop(timeout_ms, handler, context) ? 0 : -1;
}

int ombrel_tftp_server_get_counts(ombrel_tftp_server_t* server, ombrel_tftp_server_counts_t* counts) {
    if (server == nullptr || counts == nullptr)
        return refuse();
    server->server.get_counts(*counts);
    return 0;
}

int ombrel_close_tftp_server(ombrel_tftp_server_t* server) {
    if (server == nullptr)
        return 0;
    if (server->server.is_in_handler()) {
        leave_fault(fault_code::busy);
        return -1;
    }
    server->~ombrel_tftp_server_ts();
    ombrel_free_tag(server, "ombrel_close_tftp_server", __LINE__);
    return 0;
}
