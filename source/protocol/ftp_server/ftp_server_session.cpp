#include "protocol/ftp_server/ftp_server_session.h"

#include <algorithm>
#include <cstring>
#include <new>

#include <ombrel/printf.h>
#include <ombrel/socket.h>
#include <ombrel/string.h>
#include <ombrel/time.h>

#include "platform/socket.h"
#include "protocol/ftp_server/ftp_server_internal.h"
#include "protocol/ftp_server/ftp_verb.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

constexpr int commands_at_once = 64;      // before others have their turn
constexpr size_t most_unsent = 16 * 1024; // above which no further command is carried out
constexpr size_t sent_at_once = 16 * 1024;
constexpr int goodbye_ms = 1000; // for the client to read the last reply and close

bool has_control_character(std::string_view line) {
    return std::any_of(line.begin(), line.end(), [](char c) { return shown(c) != c; });
}

/// An IPv4 address that an IPv6 socket gives as one.
endpoint without_mapping(const endpoint& given) {
    static constexpr uint8_t mapped[12] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};
    if (given.family() != AF_INET6)
        return given;
    const uint8_t* const bytes = address_bytes(given.get(), ipv6_layout);
    if (memcmp(bytes, mapped, sizeof mapped) != 0)
        return given;
    endpoint plain;
    plain.set_raw(AF_INET, bytes + sizeof mapped);
    ombrel_sockaddr_set_port(plain.get(), given.port());
    return plain;
}

template<size_t room>
void put_client(char (&text)[room], const endpoint& peer) {
    char address[address_text_size];
    ombrel_inet_stop(peer.get(), address, sizeof address);
    ombrel_snprintf(text, room, peer.family() == AF_INET6 ? "[%s]:%d" : "%s:%d", address, peer.port());
}

} // namespace

const ombrel_ftp_server_options_t& ftp_server_session::options() const {
    return server_.options;
}

passive_ports& ftp_server_session::ports() {
    return server_.ports;
}

bool ftp_server_session::keep_text(const char* text, heap_ptr<char>& kept) {
    heap_ptr<char> copy(ombrel_strdup_tag(text, ftp_server_tag, __LINE__));
    if (!copy)
        return false;
    kept = std::move(copy);
    return true;
}

bool ftp_server_session::resolve(std::string_view name, ftp_path& path) {
    if (path.resolve(directory(), name)) {
        set_subject(path);
        return true;
    }
    refuse(550, "The name is too long.");
    return false;
}

ftp_server_session::ftp_server_session(ombrel_ftp_server_t& server, int socket, const endpoint& peer)
    : server_(server), number_(++server.last_session), peer_(without_mapping(peer)),
      begun_at_(ombrel_time_stamp_msec()), socket_(socket), command_limit_(server.options.m_login_ms),
      rate_(server.options.m_rate) {
    put_client(client_, peer_);
    data_.begin();
    server_.door.take_place(place_, peer);
    next_ = server_.sessions;
    if (next_ != nullptr)
        next_->previous_ = this;
    server_.sessions = this;
}

void ftp_server_session::begin(ombrel_ftp_server_t& server, int socket, const endpoint& peer) {
    auto* const block = allocate_record<ftp_server_session>(ftp_server_tag, __LINE__);
    if (block == nullptr) {
        ombrel_close_socket(socket);
        return;
    }
    auto* const session = new (block) ftp_server_session(server, socket, peer);
    if (!session->open()) {
        session->close("no memory");
        return;
    }
    session->greet();
    session->settle();
}

bool ftp_server_session::open() {
    endpoint own;
    int size = endpoint::room();
    const size_t line_room = options().m_line_limit;
    output_ = ombrel_open_buffer_ex(0);
    line_area_.reset(static_cast<char*>(ombrel_alloc_tag(line_room, ftp_server_tag, __LINE__)));
    if (output_ == nullptr || !line_area_ || ombrel_getsockname(socket_, own.get(), &size) != 0)
        return false;
    own_ = without_mapping(own);
    // Clients mark ABOR as urgent, which would take its last byte out of the line.
    platform::set_option(socket_, platform::socket_option::oob_inline, 1);
    reader_.open(line_area_.get(), line_room);
    control_.open(
        server_.base, [](void* self) { static_cast<ftp_server_session*>(self)->on_control(); }, this);
    data_watch_.open(
        server_.base, [](void* self) { static_cast<ftp_server_session*>(self)->on_data(); }, this);
    return timer_.open(
        server_.base, [](void* self) { static_cast<ftp_server_session*>(self)->on_time(); }, this);
}

void ftp_server_session::greet() {
    if (tell({.kind = def_ombrel_ftp_server_event_connected, .reply = 220}))
        end(421, "Not now.");
    else
        reply(220, "%s", options().m_greeting);
}

void ftp_server_session::expel(const char* reason) {
    break_transfer(426, reason);
    log_out();
    end(421, reason);
    wake();
}

void ftp_server_session::close(const char* reason) {
    break_transfer(0, reason);
    if (end_reason_[0] == '\0')
        end_reason_ = reason;
    destroy();
}

void ftp_server_session::destroy() {
    tell({.kind = def_ombrel_ftp_server_event_left,
          .reason = end_reason_,
          .bytes = bytes_,
          .duration_ms = static_cast<int64_t>(ombrel_time_stamp_msec() - begun_at_)});
    log_out();
    ombrel_ftp_server_t& server = server_;
    this->~ftp_server_session();
    ombrel_free_tag(this, ftp_server_tag, __LINE__);
    note_leaving(server);
}

ftp_server_session::~ftp_server_session() {
    drop_check();
    control_.close();
    timer_.close();
    close_data();
    ombrel_close_socket(socket_);
    ombrel_close_buffer(output_);
    server_.door.leave_place(place_);
    (previous_ != nullptr ? previous_->next_ : server_.sessions) = next_;
    if (next_ != nullptr)
        next_->previous_ = previous_;
}

void ftp_server_session::settle() {
    if (server_.is_stopping && transfer_ == nullptr)
        end(421, "The server stops.");
    flush();
    if (is_ending_ && unsent() == 0)
        say_goodbye();
    if (is_over()) {
        close(saw_end_ ? "the client left" : "the connection broke");
        return;
    }
    if (!watch() || !timer_.set(next_moment()))
        close("no memory");
}

/// Whoever has sent all it wanted still gets its answers and its transfer.
bool ftp_server_session::is_over() const {
    if (is_broken_)
        return true;
    const bool is_idle = transfer_ == nullptr && !is_logging_in() && !has_more_ && unsent() == 0;
    return saw_end_ && is_idle && (is_ending_ || !reader_.has_line());
}

bool ftp_server_session::watch() {
    uint32_t wanted = 0;
    if (!saw_end_ && reader_.room_size() > 0)
        wanted |= def_ombrel_event_read;
    if (unsent() > 0)
        wanted |= def_ombrel_event_write;
    return control_.watch(socket_, wanted) && watch_data();
}

void ftp_server_session::on_control() {
    receive();
    carry_out();
    settle();
}

void ftp_server_session::on_time() {
    check_limits();
    carry_out();
    settle();
}

void ftp_server_session::receive() {
    if (is_ending_)
        reader_.drop();
    if (saw_end_ || reader_.room_size() == 0)
        return;
    char* const room = reader_.room();
    const int size = ombrel_recv_now(socket_, room, reader_.room_size());
    if (size > 0)
        reader_.take(static_cast<size_t>(size));
    else if (size == 0)
        saw_end_ = true;
    else if (size != def_ombrel_socket_would_block)
        is_broken_ = true;
}

void ftp_server_session::flush() {
    char unit[sent_at_once];
    while (!is_broken_ && unsent() > 0) {
        const size_t size = ombrel_peek_buffer_ex(output_, unit, sizeof unit, 0, 0);
        const int sent = ombrel_send_now(socket_, unit, size);
        if (sent == def_ombrel_socket_would_block)
            return;
        is_broken_ = sent < 0;
        if (is_broken_)
            return;
        ombrel_pop_buffer_ex(output_, nullptr, static_cast<size_t>(sent), 0);
        output_limit_ = deadline(options().m_progress_ms);
    }
}

/// The connection is not closed with bytes of the client's unread, which would take the last reply from it.
void ftp_server_session::say_goodbye() {
    if (said_goodbye_)
        return;
    said_goodbye_ = true;
    ombrel_shutdown_socket(socket_, def_ombrel_shutdown_send);
    goodbye_limit_ = deadline(goodbye_ms);
}

int ftp_server_session::next_moment() const {
    int moment = has_more_ || is_checking_ ? 0 : -1;
    const auto heed = [&](bool counts, const deadline& limit) {
        moment = counts ? shorter_wait(moment, limit.left()) : moment;
    };
    heed(said_goodbye_, goodbye_limit_);
    heed(unsent() > 0, output_limit_);
    heed(is_paused_, pause_);
    heed(transfer_ != nullptr, data_limit_);
    heed(is_resting_, rest_);
    heed(transfer_ == nullptr && !is_logging_in() && !is_ending_, command_limit_);
    return moment;
}

void ftp_server_session::check_limits() {
    has_more_ = false;
    if ((said_goodbye_ && goodbye_limit_.passed()) || (unsent() > 0 && output_limit_.passed()))
        is_broken_ = true;
    else if (is_checking_)
        go_on_checking();
    else if (is_paused_ && pause_.passed())
        finish_login();
    else if (transfer_ != nullptr)
        check_transfer_limits();
    else if (!is_logging_in() && !is_ending_ && command_limit_.passed())
        end(421, account_ != nullptr ? "No command for too long." : "No log-in for too long.");
}

bool ftp_server_session::takes_commands() const {
    return !is_broken_ && !is_ending_ && !is_logging_in() && transfer_ == nullptr && unsent() < most_unsent;
}

void ftp_server_session::carry_out() {
    heed_during_transfer();
    // What ends a transfer may have come together with what began it.
    for (int i = 0; i < commands_at_once && takes_commands(); i++, heed_during_transfer()) {
        std::string_view line;
        switch (reader_.next(line)) {
        case ftp_line_reader::found::nothing:
            return;
        case ftp_line_reader::found::too_long:
            reply(500, "The line is too long.");
            break;
        case ftp_line_reader::found::line:
            execute(line);
        }
    }
    has_more_ = takes_commands() && reader_.has_line();
}

/// STAT, where it is the next one, is answered at once. ABOR ends the transfer wherever it waits among the
/// commands, and has its own answer in its turn.
void ftp_server_session::heed_during_transfer() {
    std::string_view line;
    if (transfer_ == nullptr)
        return;
    if (reader_.begins_with_word("STAT") && unsent() < most_unsent &&
        reader_.next(line) == ftp_line_reader::found::line)
        put_status();
    if (reader_.has_word("ABOR"))
        break_transfer(426, "Given up.");
}

void ftp_server_session::execute(std::string_view line) {
    const size_t end = std::min(line.find(' '), line.size());
    const std::string_view argument = slice(line, end + 1);
    const ftp_verb* const verb = find_ftp_verb(slice(line, 0, end));
    server_.counts.m_commands++;
    if (account_ != nullptr)
        command_limit_ = deadline(options().m_idle_ms);
    verb_ = verb != nullptr ? verb->name : "";
    subject_ = "";
    if (has_control_character(line))
        refuse(501, "Control characters are not allowed.");
    else if (verb == nullptr)
        refuse(500, "That is no command.");
    else if (allows(*verb, argument))
        verb->run(*this, argument);
    if (verb == nullptr || verb->run != run_rename_from)
        forget_renamed();
    verb_ = subject_ = "";
}

void ftp_server_session::refuse_right(std::string_view name) {
    ftp_path path;
    if (path.resolve(directory(), name))
        set_subject(path);
    refuse(550, "This account may not do that.");
    subject_ = "";
}

bool ftp_server_session::allows(const ftp_verb& verb, std::string_view argument) {
    const bool is_open = (verb.flags & verb_for_all) != 0;
    if (!is_open && account_ == nullptr)
        reply(530, "Log in first.");
    else if ((verb.flags & verb_needs_name) != 0 && argument.empty())
        refuse(501, "Something is missing behind the command.");
    else if (account_ != nullptr && (verb.rights & account_->rights) != verb.rights)
        refuse_right(argument);
    else
        return true;
    return false;
}

} // namespace ombrel::protocol
