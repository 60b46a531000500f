// A session's data connection and transfer.
#include <algorithm>
#include <new>

#include <ombrel/printf.h>
#include <ombrel/time.h>

#include "core/fault.h"
#include "platform/file.h"
#include "protocol/ftp_server/ftp_server_internal.h"
#include "protocol/ftp_server/ftp_server_session.h"

namespace ombrel::protocol {

void ftp_server_session::close_data() {
    data_watch_.close();
    data_.close();
}

bool ftp_server_session::can_transfer() {
    if (!data_.is_prepared())
        refuse(425, "Say PASV, EPSV, PORT or EPRT first.");
    return data_.is_prepared();
}

ftp_transfer* ftp_server_session::make_transfer(ftp_transfer::direction way, int file, int64_t offset) {
    auto* const block = allocate_record<ftp_transfer>(ftp_server_tag, __LINE__);
    if (block == nullptr || !keep_text(subject_, transfer_path_)) {
        ombrel_check_free_tag(block, ftp_server_tag, __LINE__);
        if (file >= 0)
            platform::close_descriptor(file);
        leave_fault(fault_code::no_memory);
        refuse_by_fault();
        return nullptr;
    }
    return transfer_ = new (block) ftp_transfer(way, file, offset, is_ascii);
}

void ftp_server_session::drop_transfer() {
    const fault_keeper kept;
    if (transfer_ == nullptr)
        return;
    transfer_->~ftp_transfer();
    ombrel_free_tag(std::exchange(transfer_, nullptr), ftp_server_tag, __LINE__);
    is_moving_ = is_resting_ = false;
}

void ftp_server_session::begin_transfer() {
    transfer_verb_ = verb_;
    transfer_begun_at_ = ombrel_time_stamp_msec();
    data_limit_ = deadline(options().m_data_ms);
    server_.counts.m_transfers++;
    server_.counts.m_moving++;
    advance_data();
}

void ftp_server_session::on_data() {
    advance_data();
    carry_out();
    settle();
}

/// A client may connect before it says what for.
void ftp_server_session::advance_data() {
    if (is_moving_) {
        move_data();
        return;
    }
    if (transfer_ == nullptr && data_.is_connected())
        return;
    switch (data_.advance()) {
    case ftp_data_channel::step::waits:
        return;
    case ftp_data_channel::step::connected:
        data_watch_.close(); // before the descriptor's number goes to somebody else
        data_.stop_listening();
        if (transfer_ != nullptr)
            begin_moving();
        return;
    case ftp_data_channel::step::failed:
        if (transfer_ != nullptr)
            end_transfer(425, "The data connection cannot be made.");
        else
            close_data();
    }
}

void ftp_server_session::begin_moving() {
    is_moving_ = true;
    data_limit_ = deadline(options().m_progress_ms);
    if (transfer_->begin() == transfer_outcome::moving)
        move_data();
    else
        fail_transfer();
}

void ftp_server_session::move_data() {
    const int64_t before = transfer_->bytes();
    const int64_t allowed = rate_.allowed(ombrel_time_stamp_msec());
    is_resting_ = allowed <= 0;
    if (is_resting_) {
        rest_ = deadline(rate_.rest());
        return;
    }
    const transfer_outcome outcome = transfer_->move(data_.socket(), *server_.room, allowed);
    const int64_t moved = transfer_->bytes() - before;
    rate_.spend(moved);
    const bool receives = transfer_->way() == ftp_transfer::direction::receive;
    (receives ? server_.counts.m_received_bytes : server_.counts.m_sent_bytes) +=
        static_cast<uint64_t>(moved);
    if (moved > 0)
        data_limit_ = deadline(options().m_progress_ms);
    if (outcome == transfer_outcome::done)
        finish_transfer();
    else if (outcome == transfer_outcome::peer_failed)
        end_transfer(426, "The data connection broke.");
    else if (outcome == transfer_outcome::file_failed)
        fail_transfer();
}

void ftp_server_session::finish_transfer() {
    const ftp_listing* const listing = transfer_->listing();
    if (listing != nullptr && listing->was_cut_off())
        end_transfer(451, "The listing was too long, and cut off.");
    else if (listing != nullptr && listing->has_failed())
        end_transfer(451, "The directory could not be read to its end.");
    else
        end_transfer(226, "Done.");
}

void ftp_server_session::fail_transfer() {
    const fault_code why = transfer_->why().code;
    if (why == fault_code::no_space)
        end_transfer(452, "There is no room left.");
    else if (why == fault_code::too_large)
        end_transfer(552, "The file has become too large.");
    else
        end_transfer(451, "The file system failed.");
}

void ftp_server_session::break_transfer(int code, const char* reason) {
    if (transfer_ != nullptr)
        end_transfer(code, reason);
}

/// @param code 0 for no reply
void ftp_server_session::end_transfer(int code, const char* text) {
    const bool is_done = code == 226;
    bytes_ += transfer_->bytes();
    server_.counts.m_moving--;
    server_.counts.m_broken += is_done ? 0 : 1;
    close_data();
    const bool is_objected_to = tell_transfer(code, is_done ? "" : text);
    drop_transfer();
    command_limit_ = deadline(options().m_idle_ms);
    if (code != 0)
        reply(code, "%s", text);
    if (is_objected_to)
        end(421, "No more.");
}

bool ftp_server_session::tell_transfer(int code, const char* reason) {
    static constexpr int kinds[] = {def_ombrel_ftp_server_event_sent, def_ombrel_ftp_server_event_received,
                                    def_ombrel_ftp_server_event_listed};
    return tell({.kind = kinds[static_cast<int>(transfer_->way())],
                 .reply = code,
                 .command = transfer_verb_,
                 .path = transfer_path_.get(),
                 .reason = reason,
                 .bytes = transfer_->bytes(),
                 .duration_ms = static_cast<int64_t>(ombrel_time_stamp_msec() - transfer_begun_at_)});
}

bool ftp_server_session::watch_data() {
    int descriptor = data_.socket();
    uint32_t wanted = 0;
    if (is_moving_)
        wanted = is_resting_ ? 0 : transfer_->wanted();
    else if (!data_.is_connected())
        wanted = data_.wanted(descriptor);
    return data_watch_.watch(descriptor, wanted);
}

void ftp_server_session::check_transfer_limits() {
    if (is_resting_ && rest_.passed())
        move_data();
    else if (data_limit_.passed() && !is_resting_)
        end_transfer(is_moving_ ? 426 : 425,
                     is_moving_ ? "Nothing moved for too long." : "No data connection was made in time.");
}

/// Of the session or, while one is under way, of the transfer.
void ftp_server_session::put_status() {
    say("211-Status:");
    push(" ");
    push(client_);
    push(account_ != nullptr ? ", logged in as " : ", not logged in");
    say_name(account_ != nullptr ? account_->name : "");
    say(is_ascii ? ", type A" : ", type I");
    if (transfer_ != nullptr) {
        char text[96];
        ombrel_snprintf(text, sizeof text, " %s under way, %lld bytes so far", transfer_verb_,
                        static_cast<long long>(transfer_->bytes()));
        say(text);
    }
    reply(211, "End of status.");
}

} // namespace ombrel::protocol
