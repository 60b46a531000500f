// How a session logs in and out.
#include "protocol/ftp_server/ftp_server_session.h"

#include <algorithm>

#include "core/wipe.h"
#include "protocol/ftp_server/ftp_server_internal.h"
#include "text/slice.h"

namespace ombrel::protocol {

/// Whether there is such an account is not told; a name that is cut is too long for all.
void ftp_server_session::take_name(std::string_view name) {
    log_out();
    *put_text(name_, slice(name, 0, sizeof name_ - 1)) = '\0';
    reply(331, "The password, please.");
}

void ftp_server_session::take_password(std::string_view password) {
    char text[def_ombrel_secret_password_max + 2];
    const wipe_guard guard(text);
    *put_text(text, slice(password, 0, sizeof text - 1)) = '\0'; // one that is cut is too long for all
    const ftp_account* const meant = server_.accounts.meant_by(name_);
    check_.begin(server_.accounts.secret_for(meant), name_, text);
    is_checking_ = true;
    server_.checks++;
    if (meant != nullptr && meant->takes_any_password)
        judge_login();
    else
        go_on_checking();
}

/// A strong secret takes many turns of the loop, in which others are served.
void ftp_server_session::go_on_checking() {
    verb_ = "PASS";
    if (is_ending_)
        drop_check();
    else if (check_.step(secret_check::at_a_turn(server_.checks)))
        judge_login();
    verb_ = "";
}

void ftp_server_session::drop_check() {
    server_.checks -= is_checking_ ? 1 : 0;
    is_checking_ = false;
    check_.forget();
}

/// Accounts may have come and gone meanwhile. Somebody's password does not make a name known.
void ftp_server_session::judge_login() {
    ftp_account* const meant = server_.accounts.meant_by(name_);
    const bool is_right =
        meant != nullptr && (meant->takes_any_password || check_.is_password_of(meant->secret));
    drop_check();
    if (!is_right)
        fail_login("wrong name or password");
    else if (options().m_account_limit > 0 && meant->sessions >= options().m_account_limit)
        fail_login("too many sessions");
    else
        log_in(*meant);
}

void ftp_server_session::log_in(ftp_account& account) {
    account_ = &account;
    account.sessions++;
    if (tell({.kind = def_ombrel_ftp_server_event_logged_in, .reply = 230})) {
        log_out();
        fail_login("objected to");
        return;
    }
    server_.counts.m_logins++;
    command_limit_ = deadline(options().m_idle_ms);
    failures_ = 0;
    reply(230, "Logged in.");
}

/// A name that nobody has may be a password typed in the wrong place, and is not told.
void ftp_server_session::fail_login(const char* reason) {
    const ftp_account* const meant = server_.accounts.find(name_);
    server_.counts.m_failed_logins++;
    failures_++;
    name_[0] = '\0';
    tell({.kind = def_ombrel_ftp_server_event_login_failed,
          .reply = 530,
          .account = meant != nullptr ? meant->name : "",
          .reason = reason});
    const int pause = server_.pauses.after_failure(place_, options().m_login_pause_ms);
    is_paused_ = true;
    pause_ = deadline(pause);
    if (pause == 0)
        finish_login();
}

/// Answers the log-in that failed.
void ftp_server_session::finish_login() {
    is_paused_ = false;
    if (failures_ >= options().m_login_attempts)
        end(421, "Too many log-ins failed.");
    else
        reply(530, "The log-in failed.");
}

/// What the session chose and has under way goes with the account.
void ftp_server_session::log_out() {
    if (account_ == nullptr)
        return;
    account_->sessions--;
    account_ = nullptr;
    directory_.reset();
    forget_renamed();
    close_data();
    restart = 0;
    is_ascii = only_extended = false;
    facts = all_facts;
    command_limit_ = deadline(options().m_login_ms);
}

} // namespace ombrel::protocol
