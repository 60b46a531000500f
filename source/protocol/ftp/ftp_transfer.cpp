// The bytes of a session's transfer, and how it ends.
#include <algorithm>
#include <climits>

#include <ombrel/socket.h>

#include "protocol/ftp/ftp_session.h"

namespace ombrel::protocol {

namespace {

int at_most(size_t size) {
    return static_cast<int>(std::min<size_t>(size, INT_MAX));
}

} // namespace

/// Waits for a socket, and meanwhile for a word of the server that ends the transfer.
/// @return 1 when the socket is ready, 0 when the time ran out, -1 after a failure
int ftp_session::await(int s, platform::readiness kind, const deadline& limit) {
    for (;;) {
        platform::poll_request requests[] = {{s, kind, false},
                                             {control_.socket(), platform::readiness::read, false}};
        const size_t count = control_.has_end() ? 1 : 2;
        // Words that came along with earlier ones wake nobody.
        const bool has_words = count == 2 && control_.has_input();
        const int pause = has_words ? 0 : shorter_wait(limit.left(), quiet_until_.left());
        const int ready = platform::poll_descriptors(requests, count, pause);
        if (ready == -1 && last_fault().code != fault_code::interrupted)
            return lose_data(), -1;
        if (ready > 0 && requests[0].ready)
            return 1;
        if ((has_words || ready > 0) && !look_at_control())
            return -1;
        if (limit.passed())
            return 0;
        if (!keep_alive())
            return -1;
    }
}

/// A refusal ends the transfer at once; a confirmation leaves what is still on its way.
bool ftp_session::look_at_control() {
    if (!control_.take_what_came(error_)) {
        transferring_ = false;
        close_data();
        return false;
    }
    if (control_.has_end() && control_.kind() != ftp_reply_kind::completed)
        return lose_data(), false;
    return true;
}

bool ftp_session::keep_alive() {
    if (!quiet_until_.passed())
        return true;
    quiet_until_ = deadline(settings_.keep_alive_ms);
    if (control_.has_end() || control_.send_noop(error_))
        return true;
    transferring_ = false;
    close_data();
    return false;
}

int ftp_session::wait(int timeout_ms) {
    if (error_)
        return -1;
    if (!data_)
        return job_.sends ? -1 : 1;
    return await(data_.get(), job_.sends ? platform::readiness::write : platform::readiness::read,
                 deadline(timeout_ms));
}

ptrdiff_t ftp_session::read(void* buffer, size_t size, int timeout_ms) {
    if (error_ || job_.sends)
        return -1;
    if (size == 0 || !data_)
        return 0;
    const deadline until(timeout_ms);
    int result;
    while ((result = ombrel_recv_now(data_.get(), buffer, static_cast<size_t>(at_most(size)))) < 0) {
        if (result == -1 && last_fault().code != fault_code::interrupted)
            return lose_data(), -1;
        const int ready = await(data_.get(), platform::readiness::read, until);
        if (ready != 1)
            return ready == 0 ? transfer_waited : -1;
    }
    position_ += static_cast<uint64_t>(result);
    return result > 0 ? result : finish() && has_come_whole() ? 0 : -1;
}

ptrdiff_t ftp_session::write(const void* data, size_t size, int timeout_ms) {
    if (error_ || !job_.sends || !data_)
        return -1;
    const deadline until(timeout_ms);
    size_t done = 0;
    while (done < size) {
        const int result = ombrel_send_now(data_.get(), static_cast<const char*>(data) + done,
                                           static_cast<size_t>(at_most(size - done)));
        if (result >= 0) {
            done += static_cast<size_t>(result);
            position_ += static_cast<uint64_t>(result);
            continue;
        }
        if (result == -1 && last_fault().code != fault_code::interrupted)
            return lose_data(), -1;
        const int ready = await(data_.get(), platform::readiness::write, until);
        if (ready == -1)
            return -1;
        if (ready == 0)
            break;
    }
    return done > 0 || size == 0 ? static_cast<ptrdiff_t>(done) : transfer_waited;
}

/// Nobody can know that a file is whole before it has ended.
bool ftp_session::confirms_too_early() {
    if (!job_.sends || settings_.is_lenient || !data_ || !control_.take_what_came(error_))
        return false;
    return control_.has_end() && control_.kind() == ftp_reply_kind::completed;
}

bool ftp_session::finish() {
    if (!transferring_)
        return close_data(), !error_;
    const bool early = confirms_too_early();
    close_data();
    transferring_ = false;
    if (error_ || !control_.read_end(limit(), error_))
        return false;
    const bool good = control_.kind() == ftp_reply_kind::completed || control_.refuse(error_);
    if (early)
        error_.set(fault_code::violation, "the server confirmed the file before its end");
    return control_.read_noop_replies(limit(), error_) && good && !early;
}

/// A server that ends early may call that complete. What grew while it was read is none of its faults; but
/// one that sends the whole file where the rest of it was asked for is at fault.
bool ftp_session::has_come_whole() {
    if (!job_.size)
        return true;
    if (position_ < *job_.size)
        return error_.set(fault_code::closed, "the file came short");
    return position_ == *job_.size || job_.offset == 0 || settings_.is_lenient || is_grown() ||
           error_.set(fault_code::violation, "more came than the rest of the file");
}

/// Whether the file has meanwhile got as long as what came.
bool ftp_session::is_grown() {
    std::optional<uint64_t> now;
    return find_size(job_.argument, now) && now && *now >= position_;
}

void ftp_session::leave() {
    close_data();
    if (transferring_)
        control_.read_end(limit(), error_) && control_.read_noop_replies(limit(), error_);
    transferring_ = false;
}

bool ftp_session::abort() {
    // The end of the data connection would be the end of the file.
    if (data_ && job_.sends)
        ombrel_set_linger_socket(data_.get(), 1, 0);
    close_data();
    if (!transferring_)
        return is_connected();
    transferring_ = false;
    transfer_error ignored; // as the transfer was given up
    return (is_connected() && control_.send_abort(limit(), ignored)) ||
           error_.set(fault_code::closed, "the connection was lost as the transfer was broken off");
}

/// The server's reply says more about the cause than the connection does.
void ftp_session::lose_data() {
    if (finish())
        error_.set(fault_code::closed, "the data connection was lost");
}

} // namespace ombrel::protocol
