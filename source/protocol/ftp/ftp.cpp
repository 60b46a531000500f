#include "protocol/ftp/ftp.h"

#include <cstring>

#include <ombrel/printf.h>
#include <ombrel/select.h>
#include <ombrel/socket.h>
#include <ombrel/string.h>

#include "protocol/patient_socket.h"

namespace ombrel::protocol {

namespace {

constexpr const char* anonymous_user = "anonymous";
constexpr const char* anonymous_password = "anonymous@";
constexpr int login_needs_password = 331, login_needs_account = 332, restart_accepted = 350;

const char* verb_of(ftp_direction direction) {
    constexpr const char* verbs[] = {"RETR", "STOR", "APPE"};
    return verbs[static_cast<int>(direction)];
}

} // namespace

bool ftp_client::open(const ftp_request& request) {
    close();
    error_.clear();
    size_.reset();
    extended_ = true;
    transferring_ = false;
    limit_ms_ = request.limit_ms;
    direction_ = request.direction;
    if (request.path[0] == '\0' || !is_ftp_argument(request.path))
        return error_.set(fault_code::invalid, "a path that no command can carry");
    path_.reset(ombrel_strdup_tag(request.path, "ftp_client", __LINE__));
    if (!path_)
        return error_.set(fault_code::no_memory, "out of memory");
    if (!control_.open(request.host, request.port, limit_ms_, error_) || !log_in(request) ||
        !command("TYPE", "I"))
        return false;
    ask_size();
    return !error_ && begin(request.offset);
}

/// A command that has to succeed.
bool ftp_client::command(std::string_view verb, std::string_view argument) {
    if (!control_.ask(verb, argument, deadline(limit_ms_), error_))
        return false;
    return control_.kind() == ftp_reply_kind::completed || control_.refuse(error_);
}

bool ftp_client::log_in(const ftp_request& request) {
    const char* const user = request.user != nullptr ? request.user : anonymous_user;
    const char* password = request.password;
    if (password == nullptr)
        password = request.user != nullptr ? "" : anonymous_password;
    const deadline limit(limit_ms_);
    if (!control_.ask("USER", user, limit, error_))
        return false;
    if (control_.code() == login_needs_password && !control_.ask("PASS", password, limit, error_))
        return false;
    if (control_.code() == login_needs_account)
        return error_.set(fault_code::access_denied, "the server wants an account", login_needs_account);
    return control_.kind() == ftp_reply_kind::completed || control_.refuse(error_);
}

/// The size is worth knowing, but servers need not tell it.
void ftp_client::ask_size() {
    uint64_t size = 0;
    if (control_.ask("SIZE", path_.get(), deadline(limit_ms_), error_) &&
        control_.kind() == ftp_reply_kind::completed && parse_ftp_size(control_.text(), size))
        size_ = size;
}

bool ftp_client::begin(uint64_t offset) {
    if (!open_passive())
        return false;
    position_ = offset;
    const deadline limit(limit_ms_);
    if (offset > 0) {
        char text[24];
        ombrel_snprintf(text, sizeof text, "%llu", static_cast<unsigned long long>(offset));
        if (!control_.ask("REST", text, limit, error_))
            return false;
        if (control_.code() != restart_accepted)
            return control_.refuse(error_);
    }
    if (!control_.send(verb_of(direction_), path_.get(), limit, error_) ||
        !control_.read_reply(limit, error_))
        return false;
    transferring_ = control_.kind() == ftp_reply_kind::preliminary;
    return transferring_ || control_.refuse(error_);
}

bool ftp_client::open_passive() {
    const deadline limit(limit_ms_);
    int port = 0;
    if (!ask_passive(limit, port))
        return false;
    data_.reset(control_.open_data(port, limit, error_));
    return static_cast<bool>(data_);
}

/// The extended form serves every family of addresses; servers that do not know it have the old one.
bool ftp_client::ask_passive(const deadline& limit, int& port) {
    if (extended_) {
        if (!control_.ask("EPSV", "", limit, error_))
            return false;
        if (control_.kind() == ftp_reply_kind::completed)
            return parse_ftp_extended_passive(control_.text(), port) ||
                   error_.set(fault_code::violation, "the reply to EPSV has no port");
        extended_ = false;
    }
    if (!control_.ask("PASV", "", limit, error_))
        return false;
    if (control_.kind() != ftp_reply_kind::completed)
        return control_.refuse(error_);
    return parse_ftp_passive(control_.text(), port) ||
           error_.set(fault_code::violation, "the reply to PASV has no port");
}

int ftp_client::wait(int timeout_ms) {
    if (error_)
        return -1;
    if (!data_)
        return direction_ == ftp_direction::retrieve ? 1 : -1;
    const int flags =
        direction_ == ftp_direction::retrieve ? def_ombrel_select_read : def_ombrel_select_write;
    const int ready = wait_until_ready(data_.get(), flags, deadline(timeout_ms));
    if (ready == -1)
        lose_data();
    return ready;
}

ptrdiff_t ftp_client::read(void* buffer, size_t size, int timeout_ms) {
    if (error_ || direction_ != ftp_direction::retrieve)
        return -1;
    if (size == 0 || !data_)
        return 0;
    const int result = receive_until(data_.get(), buffer, size, deadline(timeout_ms));
    if (result == def_ombrel_recv_timeout)
        return transfer_waited;
    if (result == -1)
        return lose_data(), -1;
    position_ += static_cast<uint64_t>(result);
    return result > 0 ? result : finish() && has_come_whole() ? 0 : -1;
}

/// A server that ends early may call that complete. What grew while it was read is none of its faults.
bool ftp_client::has_come_whole() {
    return !size_ || position_ >= *size_ || error_.set(fault_code::closed, "the file came short");
}

ptrdiff_t ftp_client::write(const void* data, size_t size, int timeout_ms) {
    if (error_ || direction_ == ftp_direction::retrieve || !data_)
        return -1;
    const deadline limit(timeout_ms);
    size_t done = 0;
    while (done < size) {
        const int result = send_until(data_.get(), static_cast<const char*>(data) + done, size - done, limit);
        if (result == -1)
            return lose_data(), -1;
        if (result == def_ombrel_send_timeout)
            break;
        done += static_cast<size_t>(result);
    }
    return done > 0 || size == 0 ? static_cast<ptrdiff_t>(done) : transfer_waited;
}

bool ftp_client::restart(uint64_t offset) {
    if (error_ || direction_ == ftp_direction::append)
        return false;
    return end_transfer() && begin(offset);
}

/// Closes the data connection, which ends what was stored, and takes the server's word on the whole.
bool ftp_client::finish() {
    data_.reset();
    if (!transferring_)
        return !error_;
    transferring_ = false;
    if (!control_.read_final_reply(deadline(limit_ms_), error_))
        return false;
    return control_.kind() == ftp_reply_kind::completed || control_.refuse(error_);
}

/// The server may complain about the missing reader, or have sent all before it noticed.
void ftp_client::abandon() {
    data_.reset();
    if (transferring_)
        control_.read_final_reply(deadline(limit_ms_), error_);
    transferring_ = false;
}

bool ftp_client::end_transfer() {
    if (direction_ != ftp_direction::retrieve)
        return finish();
    abandon();
    return !error_;
}

/// The server's reply says more about the cause than the connection does.
void ftp_client::lose_data() {
    if (finish())
        error_.set(fault_code::closed, "the data connection was lost");
}

bool ftp_client::close() {
    if (control_.is_open() && transferring_ && !error_)
        end_transfer();
    data_.reset();
    const bool good = !error_;
    if (control_.is_open()) {
        // Its reply is awaited, so that the server does not find the connection cut; what it says is no
        // matter.
        transfer_error ignored;
        control_.ask("QUIT", "", deadline(limit_ms_), ignored);
    }
    control_.close();
    path_.reset();
    return good;
}

} // namespace ombrel::protocol
